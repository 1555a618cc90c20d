// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/histogram.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tool {

namespace {

constexpr std::size_t kBins = 20;

std::string Escaped(const std::string& iText) {
  std::string text;
  for (const char character : iText) {
    switch (character) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '>':
        text += "&gt;";
        break;
      default:
        text += character;
    }
  }
  return text;
}

}  // namespace

// The bins reach to the 99th part in a hundred; what lies beyond is in the last, so that one late message
// doesn't squeeze the others into a single bar.
Histogram::Histogram(std::vector<double> iTimes) : mTimes(std::move(iTimes)) {
  std::sort(mTimes.begin(), mTimes.end());
  const double first = mTimes.front();
  const double width = std::max((Quantile(0.99) - first) / (kBins - 1), 1.0);
  for (std::size_t i = 0; i < kBins; ++i) mBins.push_back({first + static_cast<double>(i) * width, 0});
  for (const double time : mTimes) {
    const auto bin = static_cast<std::size_t>((time - first) / width);
    ++mBins[std::min(bin, kBins - 1)].mCount;
  }
  for (const Bin& bin : mBins) mFullest = std::max(mFullest, bin.mCount);
}

double Histogram::Quantile(double iP) const {
  const auto rank = static_cast<std::size_t>(std::ceil(iP * static_cast<double>(mTimes.size())));
  return mTimes[std::clamp<std::size_t>(rank, 1, mTimes.size()) - 1];
}

std::string Histogram::Text(std::size_t iColumns) const {
  constexpr std::size_t kBesideTheBar = 24;
  const std::size_t longest = iColumns > kBesideTheBar + 10 ? iColumns - kBesideTheBar : 10;
  std::string text;
  for (const Bin& bin : mBins) {
    const std::size_t length = (bin.mCount * longest + mFullest - 1) / mFullest;
    text += fmt::format("{:>9.0f} us  {:#<{}} {}\n", bin.mFrom, "", length, bin.mCount);
  }
  return text;
}

std::string Histogram::Svg(const std::string& iTitle) const {
  constexpr double kLeft = 40;
  constexpr double kTop = 40;
  constexpr double kHeight = 260;
  constexpr double kBarWidth = 33;
  std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"720\" height=\"360\" font-family=\"sans-serif\" "
      "font-size=\"11\">\n<rect width=\"720\" height=\"360\" fill=\"white\"/>\n";
  svg += fmt::format("<text x=\"{}\" y=\"24\" font-size=\"14\">{}</text>\n", kLeft, Escaped(iTitle));
  for (std::size_t i = 0; i < mBins.size(); ++i) {
    const double height = kHeight * static_cast<double>(mBins[i].mCount) / static_cast<double>(mFullest);
    const double x = kLeft + static_cast<double>(i) * kBarWidth;
    svg +=
        fmt::format("<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" fill=\"#4a7ab5\"/>\n",
                    x, kTop + kHeight - height, kBarWidth - 2, height);
    if (i % 2 == 0) {
      svg += fmt::format("<text x=\"{:.1f}\" y=\"318\">{:.0f}</text>\n", x, mBins[i].mFrom);
    }
  }
  svg += fmt::format("<text x=\"{}\" y=\"340\">microseconds; p50 {:.0f}, p99 {:.0f}, longest {:.0f}</text>\n",
                     kLeft, Quantile(0.5), Quantile(0.99), Longest());
  return svg + "</svg>\n";
}

}  // namespace tool
