// SPDX-License-Identifier: MIT
/// \file
/// How times are spread, drawn in a terminal and as a picture.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

/// Times in microseconds, in bins of equal width.
class Histogram {
 public:
  /// \param iTimes  at least one
  explicit Histogram(std::vector<double> iTimes);

  /// The time that the p-th part (0 to 1) doesn't exceed.
  double Quantile(double iP) const;
  double Longest() const { return mTimes.back(); }

  /// A line a bin: from where, a bar, how many.
  /// \param iColumns  the width of the terminal
  std::string Text(std::size_t iColumns) const;

  /// A picture of its own, 720 by 360 points.
  std::string Svg(const std::string& iTitle) const;

 private:
  struct Bin {
    double mFrom;
    std::size_t mCount;
  };

  std::vector<double> mTimes;  // sorted
  std::vector<Bin> mBins;
  std::size_t mFullest = 1;
};

}  // namespace tool
