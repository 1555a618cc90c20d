// SPDX-License-Identifier: MIT
#include "tools/mlox/render/noneway.h"

namespace tool {

void NoneWay::Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) {
  mQueues.Push(iWriter, iMessage.mSample, iBytes);
}

void NoneWay::Pull(std::int64_t, std::int64_t iLast, BlockMessages& oMessages) {
  mQueues.TakeUntil(iLast, oMessages);
}

WayCounters NoneWay::Counters() const {
  WayCounters counters;
  counters.mHandedOver = mQueues.Taken();
  return counters;
}

}  // namespace tool
