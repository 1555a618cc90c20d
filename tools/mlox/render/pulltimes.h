// SPDX-License-Identifier: MIT
/// \file
/// How long pulls took.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tool {

/// The time of every pull, in nanoseconds.
class PullTimes {
 public:
  /// Room for so many pulls, so that adding one does not allocate.
  void Reserve(std::size_t iPulls) { mTimes.reserve(iPulls); }

  void Add(std::chrono::nanoseconds iTime) {
    const auto kMost = std::int64_t{UINT32_MAX};  // 4 seconds: a pull that takes longer is a hang
    mTimes.push_back(static_cast<std::uint32_t>(std::clamp<std::int64_t>(iTime.count(), 0, kMost)));
  }

  /// Microseconds that `iPerMille` thousandths of the pulls did not exceed: the value of rank ceil(n *
  /// iPerMille / 1000), counted from 1 in ascending order. 1000 is the longest. 0 without pulls.
  double Microseconds(std::size_t iPerMille) {
    if (mTimes.empty()) {
      return 0;
    }
    const std::size_t rank = std::max<std::size_t>((mTimes.size() * iPerMille + 999) / 1000, 1);
    const auto place = mTimes.begin() + static_cast<std::ptrdiff_t>(rank - 1);
    std::nth_element(mTimes.begin(), place, mTimes.end());
    return *place / 1000.0;
  }

 private:
  std::vector<std::uint32_t> mTimes;
};

}  // namespace tool
