// SPDX-License-Identifier: MIT
/// \file
/// The way that uses nothing of the library: what the two others are measured against.
#pragma once

#include "tools/mlox/render/mergedqueues.h"
#include "tools/mlox/render/way.h"

namespace tool {

/// Hands the bytes of the song over as they are.
class NoneWay : public Way {
 public:
  void Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) override;
  void Pull(std::int64_t iFirst, std::int64_t iLast, BlockMessages& oMessages) override;
  WayCounters Counters() const override;

 private:
  MergedQueues mQueues;
};

}  // namespace tool
