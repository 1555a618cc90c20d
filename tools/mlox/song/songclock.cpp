// SPDX-License-Identifier: MIT
#include "tools/mlox/song/songclock.h"

#include <algorithm>

namespace tool {

SongClock::SongClock(const Song& iSong, std::uint32_t iSampleRate) : mNumerator(iSampleRate) {
  const SongDivision& division = iSong.mDivision;
  if (!division.mIsSmpte) {
    AddMetricalSegments(iSong);
    mDenominator = Wide{1'000'000} * division.mTicksPerQuarter;
    return;
  }
  // A song on film time counts frames and has no use for tempo: one segment, a tick counting 1.
  mSegments.push_back({0, 0, 1});
  mDenominator = Wide{division.mFrameRate} * division.mTicksPerFrame;
  if (division.mFrameRate == 29) {
    // Rate 29 names the 30 frames of colour television, which take 1001/1000 of a second.
    mNumerator *= 1001;
    mDenominator = Wide{30'000} * division.mTicksPerFrame;
  }
}

void SongClock::AddMetricalSegments(const Song& iSong) {
  mSegments.push_back({0, 0, SongTempo{}.mMicrosecondsPerQuarter});
  for (const SongTempo& tempo : iSong.mTempos) {
    const Segment& last = mSegments.back();
    const Wide elapsed = last.mElapsed + Wide{tempo.mTick - last.mTick} * last.mMicrosecondsPerQuarter;
    mSegments.push_back({tempo.mTick, elapsed, tempo.mMicrosecondsPerQuarter});
  }
}

std::int64_t SongClock::SampleAt(std::uint64_t iTick) const {
  const auto behind =
      std::upper_bound(mSegments.begin(), mSegments.end(), iTick,
                       [](std::uint64_t iValue, const Segment& iSegment) { return iValue < iSegment.mTick; });
  const Segment& segment = *(behind - 1);
  const Wide elapsed = segment.mElapsed + Wide{iTick - segment.mTick} * segment.mMicrosecondsPerQuarter;
  const Wide sample = (elapsed * mNumerator + mDenominator / 2) / mDenominator;
  return static_cast<std::int64_t>(std::min(sample, Wide{kTooLate}));
}

}  // namespace tool
