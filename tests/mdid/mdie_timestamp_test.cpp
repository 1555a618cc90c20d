// SPDX-License-Identifier: MIT
#include "mdid/mdie_timestamp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "tests/support/assert_recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::int64_t kLowest = INT64_MIN;
constexpr std::int64_t kHighest = INT64_MAX;

TEST(Mdie_Timestamp, IsAPlainValueOf24Bytes) {
  EXPECT_EQ(24u, sizeof(Mdie_Timestamp));
  EXPECT_TRUE(std::is_trivially_copyable_v<Mdie_Timestamp>);
  EXPECT_FALSE(std::is_polymorphic_v<Mdie_Timestamp>);
}

TEST(Mdie_Timestamp, TheFlagLiesBeforeTheTime) {
  const Mdie_Timestamp immediate;
  const Mdie_Timestamp timed(Time_Sample(0x0102030405060708));
  unsigned char first = 0xFF;
  std::memcpy(&first, static_cast<const void*>(&immediate), 1);
  EXPECT_EQ(1, first);
  std::memcpy(&first, static_cast<const void*>(&timed), 1);
  EXPECT_EQ(0, first);
}

TEST(Mdie_Timestamp, AnImmediateStampIsImmediateWithAZeroTime) {
  const Mdie_Timestamp stamp;
  EXPECT_TRUE(stamp.IsImmediate());
  Test_AssertRecorder recorder;
  EXPECT_EQ(0, stamp.AsSample().AsInt64());
}

TEST(Mdie_Timestamp, AStampWithATimeGivesItsSampleBack) {
  Test_AssertRecorder recorder;
  for (const std::int64_t sample :
       {kLowest, std::int64_t{-1}, std::int64_t{0}, std::int64_t{48000}, kHighest}) {
    const Mdie_Timestamp stamp{Time_Sample(sample)};
    EXPECT_FALSE(stamp.IsImmediate());
    EXPECT_EQ(sample, stamp.GetTime().AsSample().AsInt64());
    EXPECT_EQ(sample, stamp.AsSample().AsInt64());
  }
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_Timestamp, AskingAnImmediateStampForItsTimeIsReportedFromItsOwnSource) {
  const Mdie_Timestamp stamp;
  Test_AssertRecorder recorder;
  EXPECT_EQ(0, stamp.GetTime().AsSample().AsInt64());
  ASSERT_EQ(1, recorder.Count());
  EXPECT_EQ("!mIsImmediate", recorder.Reports()[0].mText);
  EXPECT_EQ("mlox/mdie_timestamp", recorder.Reports()[0].mSource);
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST(Mdie_Timestamp, StampsAreOrderedByTheirSignedSampleValues) {
  Test_AssertRecorder recorder;
  const Mdie_Timestamp lowest{Time_Sample(kLowest)};
  const Mdie_Timestamp minusOne{Time_Sample(-1)};
  const Mdie_Timestamp zero{Time_Sample(0)};
  const Mdie_Timestamp highest{Time_Sample(kHighest)};
  EXPECT_TRUE(lowest < minusOne);
  EXPECT_TRUE(minusOne < zero);
  EXPECT_TRUE(zero < highest);
  EXPECT_FALSE(zero < minusOne);
  EXPECT_FALSE(highest < lowest);
  EXPECT_FALSE(zero < zero);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST(Mdie_Timestamp, ComparingImmediateStampsIsReportedForEachAndUsesTheStoredValues) {
  const Mdie_Timestamp immediate;
  const Mdie_Timestamp timed{Time_Sample(5)};
  Test_AssertRecorder recorder;
  EXPECT_TRUE(immediate < timed);
  EXPECT_THAT(recorder.Texts(), ElementsAre("!mIsImmediate"));
  EXPECT_FALSE(immediate < immediate);
  EXPECT_EQ(3, recorder.Count("!mIsImmediate"));
}

TEST(Mdie_Timestamp, CopiesCarryBothFields) {
  const Mdie_Timestamp timed{Time_Sample(77)};
  Mdie_Timestamp copy;
  copy = timed;
  EXPECT_FALSE(copy.IsImmediate());
  EXPECT_EQ(77, copy.AsSample().AsInt64());
  copy = Mdie_Timestamp();
  EXPECT_TRUE(copy.IsImmediate());
}

}  // namespace
