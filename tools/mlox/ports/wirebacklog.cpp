// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/wirebacklog.h"

#include <algorithm>

namespace tool {

namespace {

// Ten bits at 31,250 a second.
constexpr std::int64_t kMicrosecondsPerByte = 320;
constexpr std::int64_t kLongest = std::int64_t{3600} * 1000000;

}  // namespace

void WireBacklog::Add(std::int64_t iTime, std::size_t iBytes) {
  mLastTime = std::max(mLastTime, iTime);
  mEmptyAt = std::max(mEmptyAt, iTime) + static_cast<std::int64_t>(iBytes) * kMicrosecondsPerByte;
}

std::int64_t WireBacklog::EmptyAt() const { return std::min(mEmptyAt, mLastTime + kLongest); }

}  // namespace tool
