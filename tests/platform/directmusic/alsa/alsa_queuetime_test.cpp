// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_queuetime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

TEST(AlsaOffset, TheReadingThatTookLeastCounts) {
  Platform_AlsaOffset offset;
  offset.Add(100, 1'000'000, 150);
  EXPECT_EQ(offset.Nanoseconds(), 900'000);
  offset.Add(200, 1'110'000, 203);
  EXPECT_EQ(offset.Nanoseconds(), 910'000);
  offset.Add(300, 1'500'000, 310);
  EXPECT_EQ(offset.Nanoseconds(), 910'000);
}

TEST(AlsaOffset, IsMeasuredAgainstTheEarlierReadingSoThatNothingComesEarly) {
  // The queue stood at 0 when the clock stood at 105; whenever it was read in between, a time comes out late
  // by at most the 10 microseconds of the reading.
  for (std::int64_t readAt = 100; readAt <= 110; ++readAt) {
    Platform_AlsaOffset offset;
    offset.Add(100, (readAt - 105) * 1'000, 110);
    Platform_AlsaQueueTime times;
    const std::int64_t late = times.Convert(1'000, 500, offset.Nanoseconds()) - (1'000 - 105) * 1'000;
    EXPECT_GE(late, 0);
    EXPECT_LE(late, 10'000);
  }
}

TEST(AlsaQueueTime, AddsTheOffset) {
  Platform_AlsaQueueTime times;
  EXPECT_EQ(times.Convert(2'000, 1'000, 500), 2'000'500);
  EXPECT_EQ(times.Convert(3'000, 1'000, 500), 3'000'500);
}

TEST(AlsaQueueTime, ATimeBeforeTheQueueBeganIsItsBeginning) {
  Platform_AlsaQueueTime times;
  EXPECT_EQ(times.Convert(100, 0, -1'000'000), 0);
}

TEST(AlsaQueueTime, ANewOffsetHoldsBehindTheLatestTime) {
  Platform_AlsaQueueTime times;
  EXPECT_EQ(times.Convert(10'000, 0, 0), 10'000'000);
  // The queue turned out to be 5 microseconds behind: what is later than 10,000 goes by that, but not before
  // what was converted already.
  EXPECT_EQ(times.Convert(10'002, 1'000, -5'000), 10'000'000);
  EXPECT_EQ(times.Convert(10'004, 1'000, -5'000), 10'000'000);
  EXPECT_EQ(times.Convert(10'006, 1'000, -5'000), 10'001'000);
  EXPECT_EQ(times.Convert(20'000, 1'000, -5'000), 19'995'000);
}

TEST(AlsaQueueTime, AnEarlierTimeBehindANewOffsetStillGoesByTheOldOne) {
  Platform_AlsaQueueTime times;
  EXPECT_EQ(times.Convert(10'000, 0, 0), 10'000'000);
  EXPECT_EQ(times.Convert(20'000, 1'000, 7'000), 20'007'000);
  EXPECT_EQ(times.Convert(9'999, 1'000, 7'000), 9'999'000);
}

TEST(AlsaQueueTime, AThirdOffsetWaitsUntilTheSecondHasTakenOver) {
  Platform_AlsaQueueTime times;
  times.Convert(10'000, 0, 0);
  times.Convert(10'500, 1'000, -5'000);
  EXPECT_EQ(times.Convert(11'000, 2'000, 9'000), 10'995'000);
  EXPECT_EQ(times.Convert(12'000, 10'001, 9'000), 12'009'000);
}

TEST(AlsaQueueTime, TimesInOrderStayInOrderWhateverTheOffsetDoes) {
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Platform_AlsaQueueTime times;
    std::int64_t now = 1'000'000;
    std::vector<std::pair<std::int64_t, std::int64_t>> converted;
    for (int i = 0; i < 200; ++i) {
      now += static_cast<std::int64_t>(random() % 50'000);
      const std::int64_t time = now + static_cast<std::int64_t>(random() % 100'000);
      const std::int64_t offset = static_cast<std::int64_t>(random() % 2'000'000) - 1'000'000;
      converted.emplace_back(time, times.Convert(time, now, offset));
      // What is past has left the queue.
      std::erase_if(converted, [&](const auto& iPair) { return iPair.first < now; });
      std::vector<std::pair<std::int64_t, std::int64_t>> sorted = converted;
      std::sort(sorted.begin(), sorted.end());
      for (std::size_t k = 1; k < sorted.size(); ++k) {
        ASSERT_LE(sorted[k - 1].second, sorted[k].second);
      }
    }
  }
}

TEST(AlsaQueueTime, TimesBeyondAllBoundsDoNotOverflow) {
  Platform_AlsaQueueTime times;
  EXPECT_EQ(times.Convert(INT64_MIN, 0, 0), 0);
  EXPECT_GT(times.Convert(INT64_MAX, 0, 1'000), INT64_MAX / 8);
}

}  // namespace
