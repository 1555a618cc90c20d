// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_pace.h"

#include <algorithm>

namespace {

constexpr std::int64_t kMillion = 1'000'000;

}  // namespace

Platform_AlsaPace::Platform_AlsaPace(std::int64_t iRoom, std::int64_t iPerSecond)
    : mRoom(iRoom * kMillion), mPerSecond(iPerSecond) {}

bool Platform_AlsaPace::Take(std::int64_t iTime, std::int64_t iAmount) {
  if (iTime > mTime) {
    // A vessel that was left alone for long is empty; the product below must not overflow.
    const bool isEmpty = mTime == INT64_MIN || iTime - mTime > mLevel / mPerSecond;
    mLevel = isEmpty ? 0 : mLevel - (iTime - mTime) * mPerSecond;
    mTime = iTime;
  }
  const std::int64_t amount = iAmount * kMillion;
  if (mLevel > 0 && mLevel + amount > mRoom) {
    return false;
  }
  mLevel += amount;
  return true;
}

void Platform_AlsaPace::GiveBack(std::int64_t iAmount) {
  mLevel = std::max<std::int64_t>(mLevel - iAmount * kMillion, 0);
}

void Platform_AlsaPace::StepBack(std::int64_t iTime) { mTime = std::min(mTime, iTime); }
