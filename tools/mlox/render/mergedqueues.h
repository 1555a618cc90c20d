// SPDX-License-Identifier: MIT
/// \file
/// A queue for each writer, read as one.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "tools/mlox/render/blockmessages.h"
#include "tools/mlox/render/handoverqueue.h"
#include "tools/mlox/render/timeline.h"

namespace tool {

/// The queues of all writers. Reading merges them by sample; at equal samples the lower writer comes first.
class MergedQueues {
 public:
  /// [writer] One thread for each writer.
  void Push(int iWriter, std::int64_t iSample, std::span<const std::uint8_t> iBytes);

  /// [audio] Moves every message up to `iLast`, included, to `oMessages`.
  void TakeUntil(std::int64_t iLast, BlockMessages& oMessages);

  /// Messages taken so far. On the audio thread, or when nothing plays.
  std::uint64_t Taken() const { return mTaken; }

 private:
  HandoverQueue* EarliestQueue(std::int64_t iLast);

  std::array<HandoverQueue, kMaxWriters> mQueues;
  std::uint64_t mTaken = 0;
};

}  // namespace tool
