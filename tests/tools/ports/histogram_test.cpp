// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/histogram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using testing::HasSubstr;

std::vector<double> OneToHundred() {
  std::vector<double> times;
  for (int i = 100; i >= 1; --i) times.push_back(i);
  return times;
}

TEST(Histogram, GivesQuantilesByRank) {
  const tool::Histogram histogram(OneToHundred());
  EXPECT_EQ(histogram.Quantile(0.5), 50);
  EXPECT_EQ(histogram.Quantile(0.99), 99);
  EXPECT_EQ(histogram.Quantile(0), 1);
  EXPECT_EQ(histogram.Quantile(1), 100);
  EXPECT_EQ(histogram.Longest(), 100);
}

TEST(Histogram, DrawsTwentyBinsWithinTheWidth) {
  const std::string text = tool::Histogram(OneToHundred()).Text(60);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 20);
  std::size_t longest = 0;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    longest = std::max(longest, end - start);
    start = end + 1;
  }
  EXPECT_LE(longest, 60u);
}

TEST(Histogram, PutsWhatLiesFarBeyondIntoTheLastBin) {
  std::vector<double> times(199, 10.0);
  times.push_back(1e6);
  const std::string text = tool::Histogram(times).Text(80);
  EXPECT_THAT(text, HasSubstr(" 199\n"));
  EXPECT_TRUE(text.ends_with(" 1\n")) << text;
}

TEST(Histogram, TakesASingleTime) {
  const tool::Histogram histogram({7.0});
  EXPECT_EQ(histogram.Quantile(0.5), 7);
  EXPECT_THAT(histogram.Text(10), HasSubstr("#"));
}

TEST(Histogram, PictureEscapesItsTitle) {
  const std::string svg = tool::Histogram(OneToHundred()).Svg("a<b>&c");
  EXPECT_THAT(svg, HasSubstr("a&lt;b&gt;&amp;c"));
  EXPECT_THAT(svg, HasSubstr("p50 50, p99 99, longest 100"));
  EXPECT_TRUE(svg.starts_with("<svg "));
  EXPECT_TRUE(svg.ends_with("</svg>\n"));
}

}  // namespace
