// SPDX-License-Identifier: MIT
#include "tools/mlox/render/schedule.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace {

using tool::Schedule;
using namespace std::chrono_literals;

template <class Result>
bool IsWaiting(const std::future<Result>& iFuture) {
  return iFuture.wait_for(50ms) == std::future_status::timeout;
}

TEST(Schedule, WritersRunAheadByFourBlocksAtLeastAndNeverByMuch) {
  EXPECT_EQ(Schedule::RunAheadFor(1), 1024);
  EXPECT_EQ(Schedule::RunAheadFor(64), 1024);
  EXPECT_EQ(Schedule::RunAheadFor(256), 1024);
  EXPECT_EQ(Schedule::RunAheadFor(257), 1028);
  EXPECT_EQ(Schedule::RunAheadFor(1024), 4096);
}

TEST(Schedule, NobodyWritesBeforeTheFirstBlock) {
  Schedule schedule(1, 1024);
  auto writer = std::async(std::launch::async, [&schedule] { return schedule.WaitToWrite(0); });
  EXPECT_TRUE(IsWaiting(writer));
  schedule.PublishPosition(0);
  EXPECT_TRUE(writer.get());
}

TEST(Schedule, AWriterWaitsAtItsBoundInSamples) {
  Schedule schedule(1, 256);
  schedule.PublishPosition(64);
  EXPECT_TRUE(schedule.WaitToWrite(64 + 255));
  auto writer = std::async(std::launch::async, [&schedule] { return schedule.WaitToWrite(64 + 256); });
  EXPECT_TRUE(IsWaiting(writer));
  schedule.PublishPosition(65);
  EXPECT_TRUE(writer.get());
}

TEST(Schedule, TheAudioThreadWaitsUntilAllWritersHavePassedTheEndOfTheBlock) {
  Schedule schedule(2, 1024);
  schedule.PublishWritten(0, 64);
  schedule.PublishWritten(1, 63);
  auto audio = std::async(std::launch::async, [&schedule] { return schedule.WaitForWriters(63); });
  EXPECT_TRUE(IsWaiting(audio)) << "sample 63 itself isn't written yet";
  schedule.PublishWritten(1, 64);
  EXPECT_TRUE(audio.get());
}

TEST(Schedule, WritersBeyondItsNumberAreNotWaitedFor) {
  Schedule schedule(1, 1024);
  schedule.PublishWritten(0, 1000);
  EXPECT_TRUE(schedule.WaitForWriters(999));
}

TEST(Schedule, AllIsWrittenWhenEveryWriterSaysSo) {
  Schedule schedule(2, 1024);
  EXPECT_FALSE(schedule.IsAllWritten());
  schedule.PublishWritten(0, Schedule::kEverything);
  EXPECT_FALSE(schedule.IsAllWritten());
  schedule.PublishWritten(1, Schedule::kEverything);
  EXPECT_TRUE(schedule.IsAllWritten());
}

TEST(Schedule, CancellingWakesWriters) {
  Schedule schedule(1, 1024);
  auto writer = std::async(std::launch::async, [&schedule] { return schedule.WaitToWrite(5000); });
  EXPECT_TRUE(IsWaiting(writer));
  schedule.Cancel();
  EXPECT_FALSE(writer.get());
  EXPECT_TRUE(schedule.IsCancelled());
  EXPECT_FALSE(schedule.WaitToWrite(0)) << "and nobody writes any more";
}

TEST(Schedule, TheAudioThreadGivesUpWhenAWriterGaveUp) {
  Schedule schedule(1, 1024);
  auto audio = std::async(std::launch::async, [&schedule] { return schedule.WaitForWriters(63); });
  EXPECT_TRUE(IsWaiting(audio));
  schedule.Cancel();
  schedule.PublishWritten(0, Schedule::kEverything);
  EXPECT_FALSE(audio.get());
}

TEST(Schedule, ThePullMarkIsOddDuringAPull) {
  Schedule schedule(1, 1024);
  EXPECT_EQ(schedule.PullMark(), 0u);
  schedule.BeginPull();
  EXPECT_EQ(schedule.PullMark(), 1u);
  schedule.EndPull();
  EXPECT_EQ(schedule.PullMark(), 2u);
}

}  // namespace
