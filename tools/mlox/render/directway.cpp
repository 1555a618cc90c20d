// SPDX-License-Identifier: MIT
#include "tools/mlox/render/directway.h"

#include <vector>

#include "mlox/mlox_directmidi/idirectmidimessage.h"

namespace tool {

namespace {

constexpr std::uint64_t kNodeID = 1;

/// Which writer this thread is. A direct client isn't told who writes, but it is called on the writer's
/// thread.
thread_local int tWriter = 0;

}  // namespace

DirectWay::DirectWay(std::uint32_t iSampleRate, std::int32_t iAdvance)
    : mWorkstation(iSampleRate), mNode(mWorkstation.PlugInInterface(), kNodeID) {
  mNode.Setup().SetAdvanceScheduleRequirement(iAdvance);
  mNode.Setup().SetDirectDelivery(this);
  mWorkstation.ConnectTo(kNodeID);
}

DirectWay::~DirectWay() { mNode.Setup().SetDirectDelivery(nullptr); }

void DirectWay::Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) {
  tWriter = iWriter;
  mWorkstation.Write(iWriter, iMessage, iBytes);
}

void DirectWay::Pull(std::int64_t, std::int64_t iLast, BlockMessages& oMessages) {
  mQueues.TakeUntil(iLast, oMessages);
}

void DirectWay::Idle() { mWorkstation.Idle(); }

WayCounters DirectWay::Counters() const {
  WayCounters counters;
  counters.mDirectCalls = mCalls.load(std::memory_order_relaxed);
  counters.mHandedOver = mQueues.Taken();
  return counters;
}

/// The message lives on the writer's stack: its bytes are copied out before it is released.
void DirectWay::ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) {
  mCalls.fetch_add(1, std::memory_order_relaxed);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(iMessageP->GetMessageLength()));
  iMessageP->GetMessageData(reinterpret_cast<signed char*>(bytes.data()));
  mQueues.Push(tWriter, iMessageP->GetSampleTime(), bytes);
  iMessageP->Release();
}

}  // namespace tool
