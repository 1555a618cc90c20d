// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/songplan.h"

#include <gtest/gtest.h>

namespace {

/// 96 ticks a quarter at 120 a minute: a tick is 5208.33 microseconds.
tool::Song SongOf(const std::vector<std::uint64_t>& iTicks) {
  tool::Song song;
  for (std::uint32_t i = 0; i < iTicks.size(); ++i) {
    tool::SongMessage message;
    message.mTick = iTicks[i];
    message.mTrack = i;
    message.mOffset = i;
    message.mLength = 1;
    song.mMessages.push_back(message);
    song.mBytes.push_back(0xF8);
  }
  return song;
}

TEST(PlanSong, OrdersByTimeAndKeepsTheOrderOfTheFileWithinATime) {
  const tool::Song song = SongOf({96, 0, 96, 0});
  const auto plan = tool::PlanSong(song, 0);
  ASSERT_EQ(plan.size(), 4u);
  EXPECT_EQ(plan[0].mTime, 0);
  EXPECT_EQ(plan[0].mMessage.mTrack, 1u);
  EXPECT_EQ(plan[1].mMessage.mTrack, 3u);
  EXPECT_EQ(plan[2].mTime, 500000);
  EXPECT_EQ(plan[2].mMessage.mTrack, 0u);
  EXPECT_EQ(plan[3].mMessage.mTrack, 2u);
}

TEST(PlanSong, LeavesOutWhatIsDueAtOrAfterTheLimit) {
  EXPECT_EQ(tool::PlanSong(SongOf({0, 95, 96, 97}), 0.5).size(), 2u);
  EXPECT_EQ(tool::PlanSong(SongOf({0, 95, 96, 97}), 0).size(), 4u);
}

TEST(PlanSong, TakesAnEmptySong) { EXPECT_TRUE(tool::PlanSong(tool::Song(), 0).empty()); }

}  // namespace
