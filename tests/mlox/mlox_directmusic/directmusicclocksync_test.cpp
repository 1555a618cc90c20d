// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicclocksync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/mlox/mlox_directmusic/client_fixture.h"
#include "tests/mlox/mlox_directmusic/receive_support.h"

/// Reaches the line.
struct Test_DirectMusicClockSyncAccess {
  static double Count(DirectMusicClockSync& iClock) { return iClock.mFit.mCount; }
  static std::int64_t LastUpdate(DirectMusicClockSync& iClock) { return iClock.mLastUpdate; }
  static bool HasClock(DirectMusicClockSync& iClock) { return iClock.mMasterClockP != nullptr; }
};

namespace {

using Access = Test_DirectMusicClockSyncAccess;

class DirectMusicClockSyncTest : public Test_ClientFixture {
 protected:
  // The master clock runs at ten times the microseconds, plus 500.
  void SetBoth(std::int64_t iMicroseconds) {
    Test_FakeTime::Set(iMicroseconds);
    mRoot.MasterClock().mTime = iMicroseconds * 10 + 500;
  }
  int Readings() { return Calls().Count("MasterClock: GetTime"); }
};

TEST_F(DirectMusicClockSyncTest, FirstAcquireTakesAReadingAndHoldsRootAndClock) {
  MakeRoot();
  SetBoth(1000000);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_EQ(Readings(), 1);
  EXPECT_EQ(Access::Count(*clock), 1.0);
  EXPECT_EQ(mRoot.References(), 3);
  EXPECT_EQ(mRoot.MasterClock().References(), 1);
}

TEST_F(DirectMusicClockSyncTest, EveryAcquireGivesTheSameObjectUntilTheLastRelease) {
  MakeRoot();
  DirectMusicClockSync* const firstP = DirectMusicClockSync::Acquire();
  DirectMusicClockSync* const secondP = DirectMusicClockSync::Acquire();
  EXPECT_EQ(firstP, secondP);
  firstP->Release();
  EXPECT_EQ(mRoot.MasterClock().References(), 1);
  secondP->Release();
  EXPECT_EQ(mRoot.MasterClock().References(), 0);
  EXPECT_EQ(mRoot.References(), 2);
}

TEST_F(DirectMusicClockSyncTest, AfterTheCountReachedZeroTheNextAcquireMakesItAnew) {
  MakeRoot();
  SetBoth(1000000);
  DirectMusicClockSync::Acquire()->Release();
  SetBoth(1000001);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_EQ(Readings(), 2);
  EXPECT_EQ(Access::Count(*clock), 1.0);
}

TEST_F(DirectMusicClockSyncTest, TwoQuestionsWithin100MillisecondsTakeOneReading) {
  MakeRoot();
  SetBoth(1000000);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  SetBoth(1099999);
  clock->Update();
  clock->MicrosecondsToReferenceTime(0);
  EXPECT_EQ(Readings(), 1);
  SetBoth(1100000);
  clock->MicrosecondsToReferenceTime(0);
  EXPECT_EQ(Readings(), 2);
  clock->ReferenceTimeToMicroseconds(0);
  EXPECT_EQ(Readings(), 2);
}

TEST_F(DirectMusicClockSyncTest, FirstOfTheTwoMicrosecondReadingsTellsWhetherTheIntervalIsOver) {
  MakeRoot();
  Test_FakeTime::Set(1000000);
  Test_FakeTime::SetStep(1);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  Test_FakeTime::Set(Access::LastUpdate(*clock) + 99999);
  clock->Update();
  EXPECT_EQ(Readings(), 1);
  Test_FakeTime::Set(Access::LastUpdate(*clock) + 100000);
  clock->Update();
  EXPECT_EQ(Readings(), 2);
}

TEST_F(DirectMusicClockSyncTest, BeforeTheSecondReadingThereIsNoTime) {
  MakeRoot();
  SetBoth(1000000);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(1000000), INT64_MIN);
  EXPECT_EQ(clock->ReferenceTimeToMicroseconds(10000500), INT64_MIN);
}

TEST_F(DirectMusicClockSyncTest, TwoReadingsMakeTheLine) {
  MakeRoot();
  SetBoth(1000000);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  SetBoth(2000000);
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(1500000), 15000500);
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(3000000), 30000500);
  EXPECT_EQ(clock->ReferenceTimeToMicroseconds(15000500), 1500000);
  EXPECT_EQ(clock->ReferenceTimeToMicroseconds(30000500), 3000000);
}

TEST_F(DirectMusicClockSyncTest, ThirdReadingEntersWithAThirdOfItsWeight) {
  // Worked out by hand. The first reading is x 0, y 0; the second x 200000, y 2000000: with a count of 2 the
  // sums are XY 200000 * 2000000 / 2 = 2e11 and XX 200000^2 / 2 = 2e10, the means 100000 and 1000000. The
  // third is x 400000, y 7000000: dx 300000 and dy 6000000 add 300000 * 6000000 / 3 = 6e11 to XY and 300000^2
  // / 3 = 3e10 to XX. So XY / XX is 8e11 / 5e10 = 16; the means are 200000 and 3000000.
  MakeRoot();
  Test_FakeTime::Set(0);
  mRoot.MasterClock().mTime = 0;
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  Test_FakeTime::Set(200000);
  mRoot.MasterClock().mTime = 2000000;
  clock->Update();
  Test_FakeTime::Set(400000);
  mRoot.MasterClock().mTime = 7000000;
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(200100), 3001600);
  // YY is 2000000^2 / 2 + 6000000^2 / 3 = 2e12 + 1.2e13 = 1.4e13; 8e11 / 1.4e13 is 2 / 35.
  EXPECT_EQ(clock->ReferenceTimeToMicroseconds(3000000 + 3500), 200200);
}

TEST_F(DirectMusicClockSyncTest, CostOfReadingTheClockIsTakenOff) {
  MakeRoot();
  Test_FakeTime::Set(1000000);
  Test_FakeTime::SetStep(30);  // a 1000000, b 1000030, c 1000060
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_EQ(Access::LastUpdate(*clock), 1000030);
}

TEST_F(DirectMusicClockSyncTest, ResultIsTruncatedTowardsZero) {
  MakeRoot();
  Test_FakeTime::Set(0);
  mRoot.MasterClock().mTime = 0;
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  Test_FakeTime::Set(200000);
  mRoot.MasterClock().mTime = 100000;  // half a unit a microsecond
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(3), 1);
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(-3), -1);
}

TEST_F(DirectMusicClockSyncTest, ResultThatDoesNotFitIsNoTime) {
  MakeRoot();
  SetBoth(1000000);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  SetBoth(2000000);
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(INT64_MAX), INT64_MIN);
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(INT64_MIN), INT64_MIN);
}

TEST_F(DirectMusicClockSyncTest, WithoutARootThereIsNoClockAndNoneIsMade) {
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_FALSE(Access::HasClock(*clock));
  EXPECT_EQ(mRoot.mCreations, 0);
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(5), INT64_MIN);
  EXPECT_EQ(clock->MeasureLatency(&mRoot.AddOutput(1, "Out")), 0);
}

TEST_F(DirectMusicClockSyncTest, RootWithoutAClockIsLetGo) {
  MakeRoot();
  Calls().Fail("GetMasterClock", E_FAIL);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_FALSE(Access::HasClock(*clock));
  EXPECT_EQ(mRoot.References(), 2);
}

TEST_F(DirectMusicClockSyncTest, RootThatSucceedsWithoutAClockIsLetGoToo) {
  MakeRoot();
  Calls().Fail("GetMasterClock", S_OK);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_FALSE(Access::HasClock(*clock));
  EXPECT_EQ(mRoot.References(), 2);
}

// ---- latency ----

TEST_F(DirectMusicClockSyncTest, LatencyWithoutAPortIsZero) {
  MakeRoot();
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  EXPECT_EQ(clock->MeasureLatency(nullptr), 0);
}

TEST_F(DirectMusicClockSyncTest, DelayBetweenTheReadingsCancelsOut) {
  MakeRoot();
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  // Master, latency, latency, master: 1000, 6007, 6014, 1021 give 5007 and 4993.
  int reading = 0;
  Calls().mOnCall = [&](const std::string& iLine) {
    if (iLine == "MasterClock: GetTime") mRoot.MasterClock().mTime = reading++ == 0 ? 1000 : 1021;
    if (iLine == "Out latency: GetTime") port.LatencyClock().mTime = reading++ == 1 ? 6007 : 6014;
  };
  EXPECT_EQ(clock->MeasureLatency(&port), 5000);
  Calls().mOnCall = nullptr;
  EXPECT_EQ(port.LatencyClock().References(), 0);
}

TEST_F(DirectMusicClockSyncTest, MeanOfTheDifferencesIsCutToAWholeNumber) {
  MakeRoot();
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  mRoot.MasterClock().mTime = 1000;
  port.LatencyClock().mTime = 1005;
  port.LatencyClock().mStep = 1;  // 5 and 6
  EXPECT_EQ(clock->MeasureLatency(&port), 5);
}

TEST_F(DirectMusicClockSyncTest, FailureOfTheSecondRoundLeavesTheFirstDifference) {
  MakeRoot();
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  mRoot.MasterClock().mTime = 1000;
  port.LatencyClock().mTime = 3000;
  port.LatencyClock().mStep = 500;
  Calls().Fail("Out latency: GetTime", E_FAIL, 1, 1);
  EXPECT_EQ(clock->MeasureLatency(&port), 2000);
}

TEST_F(DirectMusicClockSyncTest, FailureOfTheFirstRoundLeavesItsDifferenceAndNoSecondRound) {
  MakeRoot();
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  mRoot.MasterClock().mTime = 1000;
  port.LatencyClock().mTime = 3000;
  Calls().Fail("MasterClock: GetTime", E_FAIL, 1);
  Calls().Clear();
  EXPECT_EQ(clock->MeasureLatency(&port), 3000) << "a clock that can't be read counts as 0";
  EXPECT_EQ(Calls().Count("MasterClock: GetTime"), 1);
  EXPECT_EQ(Calls().Count("Out latency: GetTime"), 1);
}

TEST_F(DirectMusicClockSyncTest, PortWithoutALatencyClockHasNone) {
  MakeRoot();
  Test_FakePort& port = mRoot.AddOutput(1, "Out");
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  port.LatencyClock().mTime = 3000;
  Calls().Fail("GetLatencyClock", E_FAIL);
  EXPECT_EQ(clock->MeasureLatency(&port), 0);
}

// ---- threads ----

TEST_F(DirectMusicClockSyncTest, WhileOneThreadRefitsTheOthersConvertAlongTheLineAsItWas) {
  MakeRoot();
  SetBoth(1000000);
  const DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  SetBoth(2000000);
  clock->Update();
  // The third reading is due, and whoever takes it stands inside the clock until the others have converted.
  Test_FakeTime::Set(3000000);
  mRoot.MasterClock().mTime = 50000500;
  Test_Gate isInside;
  Test_Gate haveConverted;
  std::atomic<bool> wereHeld{false};
  std::atomic<int> readings{0};
  Calls().mOnCall = [&](const std::string& iLine) {
    if (iLine != "MasterClock: GetTime" || ++readings > 1) return;
    isInside.Open();
    wereHeld = !haveConverted.Wait();
  };
  std::thread refitter([&] { clock->Update(); });
  EXPECT_TRUE(isInside.Wait());
  EXPECT_EQ(clock->MicrosecondsToReferenceTime(3000000), 30000500);
  EXPECT_EQ(clock->ReferenceTimeToMicroseconds(30000500), 3000000);
  haveConverted.Open();
  refitter.join();
  Calls().mOnCall = nullptr;
  EXPECT_FALSE(wereHeld);
  EXPECT_EQ(readings, 1) << "nobody else took a reading";
  EXPECT_NE(clock->MicrosecondsToReferenceTime(3000000), 30000500) << "the line is another one now";
}

TEST_F(DirectMusicClockSyncTest, ThreadsConvertAlongOneLineWhileItIsRefitted) {
  MakeRoot();
  SetBoth(1000000);
  DirectMusicClockSyncPtr clock(DirectMusicClockSync::Acquire());
  SetBoth(2000000);
  clock->Update();
  // Each reading finds the fake clocks on the same line, so that every state of the line is that one: time
  // stands still while a reader is inside, which may take its time on a busy machine.
  std::mutex timeMutex;
  Calls().mOnCall = [&](const std::string&) { mRoot.MasterClock().mTime = Test_FakeTime::Now() * 10 + 500; };
  std::atomic<bool> isDone{false};
  std::thread mover([&] {
    for (int i = 0; i < 2000; ++i) {
      {
        const std::lock_guard lock(timeMutex);
        Test_FakeTime::Advance(100000);
      }
      clock->Update();
    }
    isDone = true;
  });
  std::vector<std::thread> readers;
  std::atomic<int> wrong{0};
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!isDone.load()) {
        std::this_thread::yield();
        const std::lock_guard lock(timeMutex);
        DirectMusicClockSync* const heldP = DirectMusicClockSync::Acquire();
        const double error =
            static_cast<double>(heldP->MicrosecondsToReferenceTime(5000000) - INT64_C(50000500));
        if (std::abs(error) > 1) ++wrong;
        heldP->Release();
      }
    });
  }
  mover.join();
  for (std::thread& reader : readers) reader.join();
  Calls().mOnCall = nullptr;
  EXPECT_EQ(wrong, 0);
}

}  // namespace
