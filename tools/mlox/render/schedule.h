// SPDX-License-Identifier: MIT
/// \file
/// Keeps writers and audio thread in step: writers run ahead by a bound in samples, the audio thread pulls no
/// block that isn't written.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <limits>

#include "tools/mlox/render/timeline.h"

namespace tool {

/// The meeting place. Two kinds of published numbers:
/// A: mWrittenBelow[i], release in PublishWritten, acquire in WaitForWriters: who sees it sees all that
/// writer i wrote
///    for samples below it.
/// B: mPosition, release in PublishPosition, acquire in WaitToWrite: the sample that the audio thread has
/// come to. Neither side can wait for ever: a writer is held only at samples at least four blocks behind the
/// position, and has then published a number behind the block that the audio thread waits for.
class Schedule {
 public:
  /// What a writer publishes that has nothing left to write.
  static constexpr std::int64_t kEverything = std::numeric_limits<std::int64_t>::max();

  /// How far writers may run ahead of the block being pulled: four blocks at least, and at least 1024 samples
  /// so that small blocks don't cost a change of threads each. A song lasts minutes, so the writers still
  /// write while most of its blocks are pulled.
  static constexpr std::int64_t RunAheadFor(std::int64_t iBlock) {
    return iBlock * 4 > 1024 ? iBlock * 4 : 1024;
  }

  Schedule(int iWriters, std::int64_t iRunAhead);

  // ---- [writer] ----

  /// Waits until a message at `iSample` may be written. False: give up.
  bool WaitToWrite(std::int64_t iSample);
  /// Everything below `iBelow` is written.
  void PublishWritten(int iWriter, std::int64_t iBelow);
  /// Odd while a pull is under way; another number after each change.
  std::uint64_t PullMark() const { return mPullMark.load(std::memory_order_relaxed); }

  // ---- [audio] ----

  /// The audio thread has come to the block that starts at `iPosition`. Larger at each call.
  void PublishPosition(std::int64_t iPosition);
  /// Waits until every writer has written all up to `iLast`, included. False: give up.
  bool WaitForWriters(std::int64_t iLast);
  /// Whether no writer has anything left to write.
  bool IsAllWritten() const;
  void BeginPull() { mPullMark.fetch_add(1, std::memory_order_relaxed); }
  void EndPull() { mPullMark.fetch_add(1, std::memory_order_relaxed); }

  // ---- [any] ----

  /// Lets everybody give up.
  void Cancel();
  bool IsCancelled() const { return mIsCancelled.load(std::memory_order_acquire); }
  /// The position last published.
  std::int64_t Position() const { return mPosition.load(std::memory_order_acquire); }

 private:
  struct alignas(64) Published {
    std::atomic<std::int64_t> mBelow{0};
  };

  const int mWriters;
  const std::int64_t mRunAhead;
  std::array<Published, kMaxWriters> mWrittenBelow;
  alignas(64) std::atomic<std::int64_t> mPosition{-1};
  alignas(64) std::atomic<std::uint64_t> mPullMark{0};
  std::atomic<bool> mIsCancelled{false};
};

}  // namespace tool
