// SPDX-License-Identifier: MIT
/// \file
/// Turns the ticks of a song into samples, exactly: integers throughout, rounded once.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "tools/mlox/song/song.h"

namespace tool {

/// The time base of one song at one sample rate.
class SongClock {
 public:
  /// What SampleAt answers for a time that no file of ours can hold.
  static constexpr std::int64_t kTooLate = std::numeric_limits<std::int64_t>::max() / 2;

  /// `iSong` need not outlive the clock. `iSampleRate` in Hz, above 0.
  SongClock(const Song& iSong, std::uint32_t iSampleRate);

  /// The sample nearest to a tick, halves rounded up; at most kTooLate.
  std::int64_t SampleAt(std::uint64_t iTick) const;

 private:
  // 2^50 ticks (what 16 MiB can add up to) times 2^24 microseconds times 2^17 Hz need 91 bits.
  __extension__ using Wide = unsigned __int128;

  /// From a tick on, one tempo holds. mElapsed is the time until there, in microseconds times ticks a
  /// quarter.
  struct Segment {
    std::uint64_t mTick;
    Wide mElapsed;
    std::uint32_t mMicrosecondsPerQuarter;
  };

  void AddMetricalSegments(const Song& iSong);

  std::vector<Segment> mSegments;  // by tick, the first at 0
  Wide mNumerator;                 // elapsed time times this by mDenominator is a sample
  Wide mDenominator;
};

}  // namespace tool
