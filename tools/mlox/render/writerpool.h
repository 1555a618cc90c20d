// SPDX-License-Identifier: MIT
/// \file
/// The workstation's writers: one thread each, dealt neighbouring channels.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <thread>
#include <vector>

#include "tools/mlox/render/schedule.h"
#include "tools/mlox/render/timeline.h"
#include "tools/mlox/render/way.h"

namespace tool {

/// What the writers did.
struct WriterCounters {
  std::uint64_t mWritten = 0;
  std::uint64_t mWrittenAfterFirstPull = 0;  ///< Written when a pull had already begun or been made.
  std::uint64_t mWrittenDuringPull = 0;      ///< Writes that met a pull under way.
};

/// Starts the threads and lets each write its messages in the order of the timeline. Timeline, way and
/// schedule must outlive the pool. Made, joined and destroyed on one thread.
class WriterPool {
 public:
  WriterPool(const Timeline& iTimeline, Way& iWay, Schedule& iSchedule, int iWriters);
  WriterPool(const WriterPool&) = delete;
  WriterPool& operator=(const WriterPool&) = delete;
  /// Cancels the schedule if Join wasn't called, and joins.
  ~WriterPool();

  /// Waits for the writers, and throws what one of them threw.
  void Join();

  /// The sum over all writers, after Join.
  WriterCounters Counters() const;

 private:
  void Run(int iWriter);
  void WriteAll(int iWriter);

  const Timeline& mTimeline;
  Way& mWay;
  Schedule& mSchedule;
  std::array<std::vector<std::size_t>, kMaxWriters> mShares;  // indices into the timeline
  std::array<WriterCounters, kMaxWriters> mCounters;          // each written by its writer alone
  std::array<std::exception_ptr, kMaxWriters> mFaults;
  std::vector<std::thread> mThreads;
};

}  // namespace tool
