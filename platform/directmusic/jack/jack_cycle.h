// SPDX-License-Identifier: MIT
/// \file
/// One cycle of a JACK server in the library's own time.
#pragma once

#include <cstdint>

/// One cycle: the time that it holds, and the frames that this time is cut into.
struct Platform_JackCycle {
  std::int64_t mStart = 0;  ///< microseconds of Sys_Clock, inclusive
  std::int64_t mEnd = 0;    ///< exclusive, after mStart
  std::uint32_t mFrames = 0;

  /// The first frame that does not lie before a time: 0 for a time that has passed, mFrames or more for one
  /// that this cycle does not hold. Rounded up, so that nothing ever sounds early.
  std::int64_t FrameOf(std::int64_t iTime) const noexcept {
    if (iTime <= mStart) {
      return 0;
    }
    if (iTime >= mEnd) {
      return mFrames;
    }
    const std::int64_t span = mEnd - mStart;
    return ((iTime - mStart) * mFrames + span - 1) / span;
  }
};
