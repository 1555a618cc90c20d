// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracegate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

TEST(QuilTrace_GateTest, AForkIsInAtOnceWhereNoRoundIsUnderWay) {
  QuilTrace_Gate gate;
  EXPECT_FALSE(gate.IsForkWaiting());
  EXPECT_TRUE(gate.EnterFork());
  EXPECT_FALSE(gate.IsForkWaiting());
  gate.LeaveFork();
  gate.EnterRound();
  gate.LeaveRound();
}

TEST(QuilTrace_GateTest, AForkGoesAheadWithoutWhenARoundDoesNotEnd) {
  QuilTrace_Gate gate;
  gate.EnterRound();
  std::thread([&gate] {
    const Clock::time_point begin = Clock::now();
    EXPECT_FALSE(gate.EnterFork());
    EXPECT_GE(Clock::now() - begin, QuilTrace_Gate::kForkPatience);
    EXPECT_FALSE(gate.IsForkWaiting()) << "it has given up";
    gate.LeaveFork();
    EXPECT_FALSE(gate.EnterFork()) << "what it hadn't, it hasn't given back";
    gate.LeaveFork();
  }).join();
  gate.LeaveRound();
  EXPECT_TRUE(gate.EnterFork());
  gate.LeaveFork();
}

TEST(QuilTrace_GateTest, AForkGetsItsTurnAheadOfRoundsThatFollowEachOtherAtOnce) {
  QuilTrace_Gate gate(std::chrono::minutes(1));
  std::atomic<bool> isEnding{false};
  std::atomic<int> rounds{0};
  std::thread writer([&] {
    while (!isEnding) {
      gate.EnterRound();
      ++rounds;
      while (!gate.IsForkWaiting() && !isEnding) std::this_thread::yield();
      gate.LeaveRound();
    }
  });
  int last = 0;
  for (int fork = 0; fork < 50; ++fork) {
    while (rounds == last) std::this_thread::yield();  // until the next one is under way
    last = rounds;
    EXPECT_TRUE(gate.EnterFork()) << fork;
    EXPECT_EQ(rounds, last) << "a round began while a fork waited";
    gate.LeaveFork();
  }
  isEnding = true;
  writer.join();
}

TEST(QuilTrace_GateTest, RoundsAndForksOfSeveralThreadsKeepOutOfEachOthersWay) {
  QuilTrace_Gate gate;
  int inside = 0;  // whoever is in owns it
  const auto pass = [&inside] {
    EXPECT_EQ(++inside, 1);
    --inside;
  };
  std::vector<std::thread> forks;
  for (int thread = 0; thread < 3; ++thread) {
    forks.emplace_back([&] {
      for (int fork = 0; fork < 200; ++fork) {
        if (gate.EnterFork()) pass();
        gate.LeaveFork();
      }
    });
  }
  for (int round = 0; round < 200; ++round) {
    gate.EnterRound();
    pass();
    gate.LeaveRound();
  }
  for (std::thread& thread : forks) thread.join();
}

}  // namespace
