// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_pace.h"

#include <gtest/gtest.h>

namespace {

TEST(AlsaPace, TakesWhatFitsAndThenAsMuchAsFlowsOff) {
  Platform_AlsaPace pace(100, 1'000);
  EXPECT_TRUE(pace.Take(0, 60));
  EXPECT_TRUE(pace.Take(0, 40));
  EXPECT_FALSE(pace.Take(0, 1));
  EXPECT_FALSE(pace.Take(999, 1)) << "a thousandth of a second makes room for one";
  EXPECT_TRUE(pace.Take(1'000, 1));
  EXPECT_FALSE(pace.Take(1'000, 1));
}

TEST(AlsaPace, AVesselLeftAloneIsEmptyAndNoEmptier) {
  Platform_AlsaPace pace(100, 1'000);
  EXPECT_TRUE(pace.Take(0, 100));
  EXPECT_TRUE(pace.Take(3'600'000'000, 100));
  EXPECT_FALSE(pace.Take(3'600'000'000, 1));
  EXPECT_TRUE(pace.Take(INT64_MAX, 100));
}

TEST(AlsaPace, WhatIsLargerThanTheRoomPassesWhenTheVesselIsEmpty) {
  Platform_AlsaPace pace(100, 1'000);
  EXPECT_TRUE(pace.Take(0, 250));
  EXPECT_FALSE(pace.Take(0, 1));
  EXPECT_FALSE(pace.Take(149'000, 100));
  EXPECT_TRUE(pace.Take(250'000, 250));
}

TEST(AlsaPace, TimesThatStepBackCountAsTheLatest) {
  Platform_AlsaPace pace(100, 1'000);
  EXPECT_TRUE(pace.Take(50'000, 90));
  EXPECT_FALSE(pace.Take(0, 20));
  EXPECT_TRUE(pace.Take(0, 10));
  EXPECT_FALSE(pace.Take(50'000, 1));
}

TEST(AlsaPace, WhatDidNotGoOutIsGivenBack) {
  Platform_AlsaPace pace(100, 1'000);
  EXPECT_TRUE(pace.Take(0, 100));
  pace.GiveBack(30);
  EXPECT_TRUE(pace.Take(0, 30));
  EXPECT_FALSE(pace.Take(0, 1));
}

TEST(AlsaPace, WhatWasTakenBackFromLaterFlowsOffFromNowOn) {
  Platform_AlsaPace pace(100, 1'000);
  EXPECT_TRUE(pace.Take(90'000, 100));
  pace.StepBack(10'000);
  EXPECT_FALSE(pace.Take(10'000, 1));
  EXPECT_TRUE(pace.Take(60'000, 50));
}

}  // namespace
