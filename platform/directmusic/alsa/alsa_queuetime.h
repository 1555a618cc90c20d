// SPDX-License-Identifier: MIT
/// \file
/// From times of Sys_Clock to times of a sequencer queue. Arithmetic only, without ALSA.
#pragma once

#include <cstdint>

/// How far a queue's time lies ahead of Sys_Clock's, in nanoseconds, out of readings of both.
class Platform_AlsaOffset {
 public:
  /// Takes one reading: the clock before, the queue, the clock after. The one that took least counts.
  /// \param iBefore,iAfter microseconds. \param iQueue nanoseconds.
  void Add(std::int64_t iBefore, std::int64_t iQueue, std::int64_t iAfter);
  /// Measured against the clock's earlier reading, so that what is converted lies late by at most the length
  /// of the reading, and never early.
  std::int64_t Nanoseconds() const { return mOffset; }

 private:
  std::int64_t mOffset = 0;
  std::int64_t mShortest = INT64_MAX;
};

/// Converts the times of one port. The offset may change between two calls; times that were in order stay in
/// order all the same: a new offset holds behind the latest time that was converted with the old one.
class Platform_AlsaQueueTime {
 public:
  /// \param iTime microseconds of Sys_Clock. \param iNow the same clock's reading.
  /// \param iOffset nanoseconds, as measured last.
  /// \returns nanoseconds of the queue, never below 0.
  std::int64_t Convert(std::int64_t iTime, std::int64_t iNow, std::int64_t iOffset);

 private:
  bool mHasOffset = false;
  std::int64_t mOffset = 0;
  std::int64_t mOldOffset = 0;
  std::int64_t mSwitchTime = INT64_MIN;
  std::int64_t mLatest = INT64_MIN;
};
