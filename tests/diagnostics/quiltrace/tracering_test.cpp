// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracering.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "tests/diagnostics/quiltrace/interrupting.h"

namespace {

template <class Record, std::size_t kCapacity, template <class> class Atomic>
std::vector<Record> TakeAll(QuilTrace_Ring<Record, kCapacity, Atomic>& ioRing) {
  std::vector<Record> records;
  for (Record record{}; ioRing.Pop(record);) records.push_back(record);
  return records;
}

TEST(QuilTrace_RingTest, RecordsComeOutOnceInTheOrderOfTheirPushes) {
  QuilTrace_Ring<int, 8> ring;
  EXPECT_TRUE(ring.IsEmpty());
  for (const int record : {3, 1, 2}) EXPECT_TRUE(ring.Push(record));
  EXPECT_FALSE(ring.IsEmpty());
  EXPECT_EQ(TakeAll(ring), (std::vector<int>{3, 1, 2}));
  EXPECT_TRUE(TakeAll(ring).empty());
  EXPECT_TRUE(ring.IsEmpty());
}

TEST(QuilTrace_RingTest, AFullRingDropsTheNewRecordAndCountsIt) {
  QuilTrace_Ring<int, 4> ring;
  for (int record = 0; record < 4; ++record) EXPECT_TRUE(ring.Push(record));
  EXPECT_FALSE(ring.Push(4));
  EXPECT_FALSE(ring.Push(5));
  EXPECT_EQ(ring.DroppedCount(), 2U);
  EXPECT_EQ(TakeAll(ring), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_TRUE(ring.Push(6));
  EXPECT_EQ(TakeAll(ring), std::vector<int>{6});
}

TEST(QuilTrace_RingTest, EachPlaceIsFreeAgainAsSoonAsItsRecordIsTaken) {
  QuilTrace_Ring<int, 4> ring;
  int next = 0;
  int taken = 0;
  for (; next < 4; ++next) EXPECT_TRUE(ring.Push(next));
  for (int round = 0; round < 50; ++round, ++taken, ++next) {
    int record = -1;
    ASSERT_TRUE(ring.Pop(record));
    EXPECT_EQ(record, taken);
    EXPECT_TRUE(ring.Push(next));
    EXPECT_FALSE(ring.Push(-1));
  }
  EXPECT_EQ(ring.DroppedCount(), 50U);
}

TEST(QuilTrace_RingTest, AClosedRingAcceptsNothingAndStillGivesOutWhatItHas) {
  QuilTrace_Ring<int, 4> ring;
  EXPECT_TRUE(ring.Push(1));
  ring.Close();
  ring.Close();
  EXPECT_FALSE(ring.Push(2));
  EXPECT_FALSE(ring.IsEmpty());
  EXPECT_EQ(TakeAll(ring), std::vector<int>{1});
  EXPECT_TRUE(ring.IsEmpty());
  EXPECT_EQ(ring.DroppedCount(), 0U) << "it came too late, nothing was lost on the way";
}

template <std::size_t kCapacity>
std::vector<int> TakenNumbers(QuilTrace_Ring<Test_Interrupting, kCapacity>& ioRing) {
  std::vector<int> numbers;
  for (const Test_Interrupting& record : TakeAll(ioRing)) numbers.push_back(record.mNumber);
  return numbers;
}

TEST(QuilTrace_RingTest, AStoppedCallerHoldsBackWhatIsBehindItButNoOtherCaller) {
  QuilTrace_Ring<Test_Interrupting, 4> ring;
  Test_Interrupting::sInterrupt = [&ring] {
    for (int number = 1; number <= 3; ++number) EXPECT_TRUE(ring.Push(Test_Interrupting(number)));
    EXPECT_EQ(TakenNumbers(ring), std::vector<int>()) << "order is kept";
    EXPECT_FALSE(ring.IsEmpty());
    EXPECT_FALSE(ring.Push(Test_Interrupting(4))) << "full, and it comes back at once";
  };
  EXPECT_TRUE(ring.Push(Test_Interrupting(0)));
  EXPECT_EQ(TakenNumbers(ring), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(ring.DroppedCount(), 1U);
}

TEST(QuilTrace_RingTest, AClosedRingCanGiveUpACallerThatIsStoppedAndThenRefusesItsRecord) {
  QuilTrace_Ring<Test_Interrupting, 4> ring;
  Test_Interrupting::sInterrupt = [&ring] {
    EXPECT_TRUE(ring.Push(Test_Interrupting(1)));
    ring.Close();
    EXPECT_EQ(TakenNumbers(ring), std::vector<int>());
    ring.GiveUpOldest();
    EXPECT_EQ(TakenNumbers(ring), std::vector<int>{1}) << "what was accepted behind it comes out";
    EXPECT_TRUE(ring.IsEmpty());
  };
  EXPECT_FALSE(ring.Push(Test_Interrupting(0))) << "nobody will read it";
  EXPECT_EQ(ring.DroppedCount(), 1U);
}

TEST(QuilTrace_RingTest, AFinishedRecordIsNotGivenUp) {
  QuilTrace_Ring<int, 4> ring;
  EXPECT_TRUE(ring.Push(1));
  ring.Close();
  ring.GiveUpOldest();
  EXPECT_EQ(TakeAll(ring), std::vector<int>{1});
  ring.GiveUpOldest();
  EXPECT_TRUE(ring.IsEmpty()) << "nor is a place that nobody claimed";
  EXPECT_EQ(ring.DroppedCount(), 0U);
}

// What other callers do between a caller's last look at the ring and its exchange.
std::function<void()> sOvertake;

// An atomic that lets them.
template <class Value>
struct Overtaken : std::atomic<Value> {
  using std::atomic<Value>::atomic;
  bool compare_exchange_strong(Value& ioExpected, Value iDesired, std::memory_order iOrder) {
    if (const auto overtake = std::exchange(sOvertake, nullptr)) overtake();
    return std::atomic<Value>::compare_exchange_strong(ioExpected, iDesired, iOrder);
  }
};

// Far larger than what overtakes: no push fails for want of room.
using OvertakenRing = QuilTrace_Ring<int, 1024, Overtaken>;

// The next so many exchanges come too late: somebody else's record, -1, is in the place.
void OvertakeTimes(OvertakenRing& ioRing, int iTimes) {
  if (iTimes == 0) return;
  sOvertake = [&ioRing, iTimes] {
    EXPECT_TRUE(ioRing.Push(-1));
    OvertakeTimes(ioRing, iTimes - 1);
  };
}

// As docs/threading.md and docs/tracing.md say.
constexpr int kAttempts = 64;

TEST(QuilTrace_RingTest, ACallerThatOthersOvertakeGetsAPlaceWithItsLastAttempt) {
  OvertakenRing ring;
  OvertakeTimes(ring, kAttempts - 1);
  EXPECT_TRUE(ring.Push(1));
  std::vector<int> expected(kAttempts - 1, -1);
  expected.push_back(1);
  EXPECT_EQ(TakeAll(ring), expected);
  EXPECT_EQ(ring.DroppedCount(), 0U);
}

TEST(QuilTrace_RingTest, ACallerThatOthersOvertakeTooOftenDropsItsRecordAndCountsIt) {
  OvertakenRing ring;
  OvertakeTimes(ring, 500);
  EXPECT_FALSE(ring.Push(1));
  sOvertake = nullptr;
  EXPECT_EQ(TakeAll(ring), std::vector<int>(kAttempts, -1)) << "it gave up when so many had overtaken it";
  EXPECT_EQ(ring.DroppedCount(), 1U);
  EXPECT_TRUE(ring.Push(2)) << "which says nothing of the next";
  EXPECT_EQ(TakeAll(ring), std::vector<int>{2});
}

struct Numbered {
  int mCaller = 0;
  int mNumber = 0;
  // What the rest of a record is to a reader: torn if it doesn't agree.
  int mCheck[12] = {};
};

constexpr std::size_t kCallers = 8;
constexpr int kEach = 20000;

// Callers that push as fast as they can into a ring that is far too small for them.
template <class Ring>
void PushFromOneThread(Ring& ioRing, int iCaller, std::atomic<std::uint64_t>& ioAccepted) {
  for (int number = 0; number < kEach; ++number) {
    Numbered record;
    record.mCaller = iCaller;
    record.mNumber = number;
    for (int& check : record.mCheck) check = iCaller * kEach + number;
    if (ioRing.Push(record)) ioAccepted.fetch_add(1);
    if (number % 16 == 0) std::this_thread::yield();
  }
}

TEST(QuilTrace_RingTest, ManyCallersLoseNothingThatIsntCountedAndEachKeepsItsOrder) {
  QuilTrace_Ring<Numbered, 16> ring;
  std::atomic<std::uint64_t> accepted{0};
  std::atomic<std::size_t> finished{0};
  std::vector<std::thread> callers;
  for (std::size_t caller = 0; caller < kCallers; ++caller) {
    callers.emplace_back([&, caller] {
      PushFromOneThread(ring, static_cast<int>(caller), accepted);
      finished.fetch_add(1);
    });
  }
  std::vector<int> last(kCallers, -1);
  std::uint64_t taken = 0;
  const auto take = [&] {
    for (const Numbered& record : TakeAll(ring)) {
      int& before = last[static_cast<std::size_t>(record.mCaller)];
      EXPECT_GT(record.mNumber, before) << "of caller " << record.mCaller;
      before = record.mNumber;
      for (const int check : record.mCheck) EXPECT_EQ(check, record.mCaller * kEach + record.mNumber);
      ++taken;
    }
  };
  while (finished.load() < kCallers) {
    take();
    std::this_thread::yield();
  }
  for (std::thread& caller : callers) caller.join();
  take();
  EXPECT_EQ(taken, accepted.load()) << "all that was accepted has come out";
  EXPECT_EQ(taken + ring.DroppedCount(), kCallers * static_cast<std::uint64_t>(kEach));
  EXPECT_GT(ring.DroppedCount(), 0U) << "the ring was small enough to run full";
  EXPECT_GT(taken, 16U) << "and came round";
}

TEST(QuilTrace_RingTest, OfCallersThatMeetItsCloseEachKnowsWhetherItsRecordWasTaken) {
  for (int round = 0; round < 200; ++round) {
    QuilTrace_Ring<int, 64> ring;
    std::atomic<std::uint64_t> accepted{0};
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 3; ++caller) {
      callers.emplace_back([&] {
        for (int number = 0; number < 20; ++number) {
          if (ring.Push(number)) accepted.fetch_add(1);
        }
      });
    }
    ring.Close();
    std::uint64_t taken = 0;
    while (!ring.IsEmpty()) {
      taken += TakeAll(ring).size();
      if (round % 2 == 0) ring.GiveUpOldest();
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_TRUE(ring.IsEmpty());
    EXPECT_EQ(taken, accepted.load());
  }
}

}  // namespace
