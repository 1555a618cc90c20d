// SPDX-License-Identifier: MIT
#include "cmn/cmn_raiseto.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(Cmn_RaiseTo, RaisesAndNeverLowers) {
  std::atomic<int> number{5};
  Cmn_RaiseTo(number, 7);
  EXPECT_EQ(number, 7);
  Cmn_RaiseTo(number, 7);
  Cmn_RaiseTo(number, 6);
  EXPECT_EQ(number, 7);
}

TEST(Cmn_RaiseTo, OfManyThreadsTheHighestValueStays) {
  constexpr int kThreads = 4;
  constexpr int kEach = 20000;
  std::atomic<int> number{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&number, thread] {
      for (int i = 0; i < kEach; ++i) Cmn_RaiseTo(number, i * kThreads + thread);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(number, kEach * kThreads - 1);
}

}  // namespace
