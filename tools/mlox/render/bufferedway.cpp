// SPDX-License-Identifier: MIT
#include "tools/mlox/render/bufferedway.h"

#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

constexpr std::uint64_t kNodeID = 1;

}  // namespace

BufferedWay::BufferedWay(std::uint32_t iSampleRate, std::int32_t iAdvance)
    : mWorkstation(iSampleRate), mNode(mWorkstation.PlugInInterface(), kNodeID) {
  mNode.Setup().SetAdvanceScheduleRequirement(iAdvance);
  mDeliveryP = mNode.Setup().SetBufferedDelivery();
  if (mDeliveryP == nullptr) {
    throw ToolError("the plug-in's node gives no buffered delivery");
  }
  mWorkstation.ConnectTo(kNodeID);
}

BufferedWay::~BufferedWay() { mDeliveryP->Release(); }

void BufferedWay::Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) {
  mWorkstation.Write(iWriter, iMessage, iBytes);
}

void BufferedWay::Pull(std::int64_t iFirst, std::int64_t iLast, BlockMessages& oMessages) {
  ++mCounters.mPulls;
  while (IDirectMIDIMessage* const message = mDeliveryP->GetNextMessageInSampleRange(iFirst, iLast)) {
    ++mCounters.mPulls;
    ++mCounters.mPulledMessages;
    const auto length = static_cast<std::size_t>(message->GetMessageLength());
    std::uint8_t* const bytes = oMessages.Add(message->GetSampleTime(), length);
    message->GetMessageData(reinterpret_cast<signed char*>(bytes));
    message->Release();
  }
}

void BufferedWay::Idle() { mWorkstation.Idle(); }

WayCounters BufferedWay::Counters() const { return mCounters; }

}  // namespace tool
