// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/songplan.h"

#include <algorithm>

#include "tools/mlox/song/songclock.h"

namespace tool {

std::vector<PlannedMessage> PlanSong(const Song& iSong, double iSeconds) {
  constexpr std::uint32_t kMicroseconds = 1000000;
  const SongClock clock(iSong, kMicroseconds);
  std::vector<PlannedMessage> plan;
  plan.reserve(iSong.mMessages.size());
  for (const SongMessage& message : iSong.mMessages) {
    const std::int64_t time = clock.SampleAt(message.mTick);
    if (iSeconds > 0 && static_cast<double>(time) >= iSeconds * kMicroseconds) continue;
    plan.push_back({time, message});
  }
  std::stable_sort(plan.begin(), plan.end(), [](const PlannedMessage& iLeft, const PlannedMessage& iRight) {
    return iLeft.mTime < iRight.mTime;
  });
  return plan;
}

}  // namespace tool
