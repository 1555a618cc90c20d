// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracerounds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "tests/diagnostics/quiltrace/interrupting.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A log that keeps the numbers of its records, and what else it was told.
struct Log {
  void Write(const Test_Interrupting& iRecord) {
    mNumbers.push_back(iRecord.mNumber);
    if (mWriting) mWriting();
  }
  void TellDropped(std::uint64_t iDropped) { mTold.push_back(iDropped); }
  void Flush() { mFlushed.push_back(mNumbers.size()); }

  std::vector<int> mNumbers;
  std::vector<std::uint64_t> mTold;
  std::vector<std::size_t> mFlushed;  // how many records each flush came behind
  std::function<void()> mWriting;
};

class QuilTrace_RoundsTest : public testing::Test {
 protected:
  void Push(int iFirst, int iLast) {
    for (int number = iFirst; number <= iLast; ++number)
      EXPECT_TRUE(mRing.Push(Test_Interrupting(number))) << number;
  }

  QuilTrace_Ring<Test_Interrupting, 4> mRing;
  QuilTrace_Gate mGate{std::chrono::minutes(1)};
  Log mLog;
  QuilTrace_Rounds<Test_Interrupting, 4, Log> mRounds{mRing, mGate, mLog};
};

TEST_F(QuilTrace_RoundsTest, WritesWhatIsThereAndFlushesOnceForIt) {
  Push(1, 3);
  mRounds.WriteWhatIsThere();
  EXPECT_THAT(mLog.mNumbers, ElementsAre(1, 2, 3));
  EXPECT_THAT(mLog.mFlushed, ElementsAre(3U));
  mRounds.WriteWhatIsThere();
  EXPECT_THAT(mLog.mFlushed, ElementsAre(3U)) << "there is nothing new";
  EXPECT_THAT(mLog.mTold, IsEmpty());
}

TEST_F(QuilTrace_RoundsTest, ARoundEndsAfterAsManyRecordsAsTheRingHoldsHoweverFastTheyCome) {
  Push(1, 4);
  mLog.mWriting = [this] {
    if (mLog.mNumbers.size() < 6) Push(10, 10);
  };
  mRounds.WriteWhatIsThere();
  EXPECT_THAT(mLog.mFlushed, ElementsAre(4U, 8U, 9U));
}

TEST_F(QuilTrace_RoundsTest, WhatWasDroppedIsToldOnceWhenTheRingIsEmpty) {
  Push(1, 4);
  EXPECT_FALSE(mRing.Push(Test_Interrupting(5)));
  mRounds.WriteWhatIsThere();
  mRounds.WriteWhatIsThere();
  EXPECT_THAT(mLog.mTold, ElementsAre(1U));
}

TEST_F(QuilTrace_RoundsTest, TheRestOfARingThatNobodyIsStoppedInIsWrittenAtOnce) {
  Push(1, 3);
  mRing.Close();
  mRounds.WriteTheRest(std::chrono::hours(1));
  EXPECT_THAT(mLog.mNumbers, ElementsAre(1, 2, 3));
}

TEST_F(QuilTrace_RoundsTest, ACallerThatIsStoppedIsWaitedForAndItsRecordIsWrittenInItsPlace) {
  std::thread writer;
  std::atomic<bool> isDone{false};
  Test_Interrupting::sInterrupt = [&] {
    Push(1, 2);
    mRing.Close();
    writer = std::thread([&] {
      mRounds.WriteTheRest(std::chrono::hours(1));
      isDone = true;
    });
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_FALSE(isDone) << "it waits for this caller";
  };
  EXPECT_TRUE(mRing.Push(Test_Interrupting(0)));
  writer.join();
  EXPECT_THAT(mLog.mNumbers, ElementsAre(0, 1, 2));
  EXPECT_EQ(mRing.DroppedCount(), 0U);
}

TEST_F(QuilTrace_RoundsTest, ACallerThatStaysStoppedIsGivenUpWhenPatienceEndsAndWhatIsBehindItIsWritten) {
  Test_Interrupting::sInterrupt = [&] {
    Push(1, 2);
    mRing.Close();
    const Clock::time_point begin = Clock::now();
    mRounds.WriteTheRest(milliseconds(60));
    EXPECT_GE(Clock::now() - begin, milliseconds(60));
    EXPECT_THAT(mLog.mNumbers, ElementsAre(1, 2));
    EXPECT_THAT(mLog.mTold, ElementsAre(1U)) << "the one that was given up";
  };
  EXPECT_FALSE(mRing.Push(Test_Interrupting(0))) << "nobody will read it";
}

TEST_F(QuilTrace_RoundsTest, AForkThatWaitsIsLetInBehindTheLineUnderWay) {
  Push(1, 4);
  std::thread fork;
  std::size_t atFork = 0;
  bool isIn = false;
  mLog.mWriting = [&] {
    if (mLog.mNumbers.size() != 2) return;
    fork = std::thread([&] {
      isIn = mGate.EnterFork();
      atFork = mLog.mFlushed.empty() ? 0 : mLog.mFlushed.back();
      mGate.LeaveFork();
    });
    while (!mGate.IsForkWaiting()) std::this_thread::yield();
  };
  mRounds.WriteWhatIsThere();
  fork.join();
  EXPECT_TRUE(isIn);
  EXPECT_EQ(atFork, 2U) << "and what was written has been given to the system";
  EXPECT_THAT(mLog.mNumbers, ElementsAre(1, 2, 3, 4)) << "the others come behind it";
}

}  // namespace
