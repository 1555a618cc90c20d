// SPDX-License-Identifier: MIT
/// \file
/// The figures of a rendering, for people and for programs.
#pragma once

#include <cstdint>
#include <string>

#include "tools/mlox/render/way.h"
#include "tools/mlox/render/writerpool.h"

namespace tool {

/// What happened in a rendering.
struct RenderFigures {
  std::uint64_t mEventsWritten = 0;
  std::uint64_t mMessagesDelivered = 0;
  std::uint64_t mLate = 0;     ///< Delivered at another sample than written.
  std::int64_t mDropped = 0;   ///< Written minus delivered.
  double mPullMaxUs = 0;       ///< Microseconds.
  double mPullP999Us = 0;      ///< 99.9 % of the pulls took no longer.
  double mRealTimeFactor = 0;  ///< Seconds of sound for each second that rendering took.
  std::int64_t mFrames = 0;
  double mPeak = 0;  ///< Largest absolute sample value; 1 is full scale.

  std::uint64_t mBlocks = 0;
  std::uint64_t mBlocksPulledWhileWriting = 0;  ///< Pulls that began before the last message was written.
  WriterCounters mWriters;
  WayCounters mWay;
};

/// One object with the keys events_written, messages_delivered, late, dropped, pull_max_us, pull_p999_us,
/// real_time_factor, frames and peak, on one line.
std::string ToJson(const RenderFigures& iFigures);

/// The same for people, several lines, with what else is worth knowing.
std::string ToText(const RenderFigures& iFigures);

}  // namespace tool
