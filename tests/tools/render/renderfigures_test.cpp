// SPDX-License-Identifier: MIT
#include "tools/mlox/render/renderfigures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/mlox/render/pulltimes.h"

namespace {

using std::chrono::nanoseconds;
using tool::PullTimes;
using tool::RenderFigures;

RenderFigures SomeFigures() {
  RenderFigures figures;
  figures.mEventsWritten = 12;
  figures.mMessagesDelivered = 11;
  figures.mLate = 2;
  figures.mDropped = 1;
  figures.mPullMaxUs = 30.5;
  figures.mPullP999Us = 4.25;
  figures.mRealTimeFactor = 80.5;
  figures.mFrames = 960000;
  figures.mPeak = 0.125;
  figures.mBlocks = 7;
  return figures;
}

TEST(RenderFigures, JsonIsOneObjectWithTheseKeysAndNoOthers) {
  EXPECT_EQ(ToJson(SomeFigures()),
            "{\"events_written\":12,\"messages_delivered\":11,\"late\":2,\"dropped\":1,\"pull_max_us\":30.5,"
            "\"pull_p999_us\":4.25,\"real_time_factor\":80.5,\"frames\":960000,\"peak\":0.125}\n");
}

TEST(RenderFigures, TextHasAllFigures) {
  const std::string text = ToText(SomeFigures());
  EXPECT_THAT(text, testing::HasSubstr("events written      12\n"));
  EXPECT_THAT(text, testing::HasSubstr("messages delivered  11\n"));
  EXPECT_THAT(text, testing::HasSubstr("late                2\n"));
  EXPECT_THAT(text, testing::HasSubstr("dropped             1\n"));
  EXPECT_THAT(text, testing::HasSubstr("longest pull        30.5 us\n"));
  EXPECT_THAT(text, testing::HasSubstr("99.9 % of pulls     4.2 us or less\n"));
  EXPECT_THAT(text, testing::HasSubstr("real-time factor    80.5\n"));
}

TEST(PullTimes, GiveTheLongestAndTheRankOf999InAThousand) {
  PullTimes times;
  for (int i = 2000; i >= 1; --i) {
    times.Add(nanoseconds(i * 1000));
  }
  EXPECT_DOUBLE_EQ(times.Microseconds(1000), 2000);
  EXPECT_DOUBLE_EQ(times.Microseconds(999), 1998);
  EXPECT_DOUBLE_EQ(times.Microseconds(500), 1000);
}

TEST(PullTimes, OfFewPullsTheRankIsRoundedUp) {
  PullTimes times;
  times.Add(nanoseconds(500));
  times.Add(nanoseconds(1500));
  EXPECT_DOUBLE_EQ(times.Microseconds(999), 1.5);
}

TEST(PullTimes, WithoutPullsAreZero) {
  PullTimes times;
  EXPECT_DOUBLE_EQ(times.Microseconds(999), 0);
}

TEST(PullTimes, ThatDoNotFitAreCut) {
  PullTimes times;
  times.Add(nanoseconds(-1));
  EXPECT_DOUBLE_EQ(times.Microseconds(1000), 0);
  times.Add(std::chrono::seconds(10));
  EXPECT_DOUBLE_EQ(times.Microseconds(1000), 4294967.295);
}

}  // namespace
