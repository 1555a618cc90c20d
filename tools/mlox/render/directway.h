// SPDX-License-Identifier: MIT
/// \file
/// The way of a plug-in that is called for each message as it is written.
#pragma once

#include <atomic>
#include <cstdint>

#include "mlox/mlox_directmidi/idirectmidioutput_directdeliveryclient.h"
#include "tools/mlox/render/mergedqueues.h"
#include "tools/mlox/render/pluginnode.h"
#include "tools/mlox/render/way.h"
#include "tools/mlox/render/workstation.h"

namespace tool {

/// Writers write to the outputs of a node; its client is called on their threads, copies each message into
/// the queue of its writer, and the audio thread merges the queues.
class DirectWay : public Way, private IDirectMIDIOutput_DirectDeliveryClient {
 public:
  /// \param iAdvance  samples by which the plug-in wants its events early: more than 0 makes its outputs
  /// time-stamped.
  DirectWay(std::uint32_t iSampleRate, std::int32_t iAdvance);
  ~DirectWay() override;

  void Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) override;
  void Pull(std::int64_t iFirst, std::int64_t iLast, BlockMessages& oMessages) override;
  void Idle() override;
  WayCounters Counters() const override;

 private:
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override;

  Workstation mWorkstation;
  PlugInNode mNode;
  MergedQueues mQueues;
  std::atomic<std::uint64_t> mCalls{0};
};

}  // namespace tool
