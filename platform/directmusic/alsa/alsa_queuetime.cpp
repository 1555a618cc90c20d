// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_queuetime.h"

#include <algorithm>

namespace {

constexpr std::int64_t kNanoseconds = 1'000;
// Beyond it the product would overflow; the sequencer counts seconds in 32 bits and ends long before.
constexpr std::int64_t kLatestTime = INT64_MAX / (4 * kNanoseconds);

}  // namespace

void Platform_AlsaOffset::Add(std::int64_t iBefore, std::int64_t iQueue, std::int64_t iAfter) {
  if (iAfter - iBefore < mShortest) {
    mShortest = iAfter - iBefore;
    mOffset = iQueue - iBefore * kNanoseconds;
  }
}

std::int64_t Platform_AlsaQueueTime::Convert(std::int64_t iTime, std::int64_t iNow, std::int64_t iOffset) {
  const std::int64_t time = std::clamp(iTime, -kLatestTime, kLatestTime);
  if (!mHasOffset) {
    mHasOffset = true;
    mOffset = iOffset;
    mOldOffset = iOffset;
  } else if (iOffset != mOffset && iNow > mSwitchTime) {
    mOldOffset = mOffset;
    mOffset = iOffset;
    mSwitchTime = mLatest;
  }
  mLatest = std::max(mLatest, time);
  if (time < mSwitchTime) {
    return std::max<std::int64_t>(time * kNanoseconds + mOldOffset, 0);
  }
  std::int64_t converted = time * kNanoseconds + mOffset;
  if (mSwitchTime != INT64_MIN) {
    converted = std::max(converted, mSwitchTime * kNanoseconds + mOldOffset);
  }
  return std::max<std::int64_t>(converted, 0);
}
