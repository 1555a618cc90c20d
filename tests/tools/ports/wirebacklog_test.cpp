// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/wirebacklog.h"

#include <gtest/gtest.h>

namespace {

using tool::WireBacklog;

constexpr std::int64_t kStart = 1'000'000;

TEST(WireBacklog, WithNothingWrittenThereIsNothingToWaitFor) { EXPECT_EQ(WireBacklog().EmptyAt(), 0); }

TEST(WireBacklog, AByteTakes320MicrosecondsFromItsTimeOn) {
  WireBacklog backlog;
  backlog.Add(kStart, 3);
  EXPECT_EQ(backlog.EmptyAt(), kStart + 960);
}

TEST(WireBacklog, WhatIsWrittenInOneGoGoesOutOneBehindTheOther) {
  WireBacklog backlog;
  for (int i = 0; i < 100; ++i) backlog.Add(kStart + i, 30);
  EXPECT_EQ(backlog.EmptyAt(), kStart + 100 * 30 * 320);
}

TEST(WireBacklog, AWireThatWasIdleMeanwhileBeginsAtTheTimeOfTheNextMessage) {
  WireBacklog backlog;
  backlog.Add(kStart, 3);
  backlog.Add(kStart + 5000, 2);
  EXPECT_EQ(backlog.EmptyAt(), kStart + 5000 + 640);
}

TEST(WireBacklog, AMessageForAnEarlierTimeWaitsForTheWireAllTheSame) {
  WireBacklog backlog;
  backlog.Add(kStart, 10);
  backlog.Add(kStart - 1000, 10);
  EXPECT_EQ(backlog.EmptyAt(), kStart + 20 * 320);
}

TEST(WireBacklog, ABacklogOfDaysEndsAnHourBehindItsLastMessage) {
  WireBacklog backlog;
  backlog.Add(kStart, std::size_t{64} << 20);
  EXPECT_EQ(backlog.EmptyAt(), kStart + 3600LL * 1'000'000);
  backlog.Add(kStart + 7, 1);
  EXPECT_EQ(backlog.EmptyAt(), kStart + 7 + 3600LL * 1'000'000);
}

}  // namespace
