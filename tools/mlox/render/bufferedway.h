// SPDX-License-Identifier: MIT
/// \file
/// The way of a plug-in that pulls its messages once a block.
#pragma once

#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "tools/mlox/render/pluginnode.h"
#include "tools/mlox/render/way.h"
#include "tools/mlox/render/workstation.h"

namespace tool {

/// Writers write to the outputs of a node; the audio thread pulls from the node's buffered delivery.
class BufferedWay : public Way {
 public:
  /// \param iAdvance  samples by which the plug-in wants its events early: more than 0 makes its outputs
  /// time-stamped.
  BufferedWay(std::uint32_t iSampleRate, std::int32_t iAdvance);
  ~BufferedWay() override;

  void Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) override;
  void Pull(std::int64_t iFirst, std::int64_t iLast, BlockMessages& oMessages) override;
  void Idle() override;
  WayCounters Counters() const override;

 private:
  Workstation mWorkstation;
  PlugInNode mNode;
  IDirectMIDIBufferedDelivery* mDeliveryP = nullptr;
  WayCounters mCounters;  // the audio thread's
};

}  // namespace tool
