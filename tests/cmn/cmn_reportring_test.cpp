// SPDX-License-Identifier: MIT
#include "cmn/cmn_reportring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace {

TEST(Cmn_ReportRingTest, RecordsComeOutInOrderOnce) {
  Cmn_ReportRing<int, 8> ring;
  for (int record : {3, 1, 2}) EXPECT_TRUE(ring.Push(record));
  EXPECT_EQ(ring.TakeAll(), (std::vector<int>{3, 1, 2}));
  EXPECT_TRUE(ring.TakeAll().empty());
}

TEST(Cmn_ReportRingTest, AFullRingDropsTheNewRecordAndCountsIt) {
  Cmn_ReportRing<int, 8> ring;
  for (int record = 0; record < 8; ++record) EXPECT_TRUE(ring.Push(record));
  EXPECT_FALSE(ring.Push(8));
  EXPECT_EQ(ring.DroppedCount(), 1u);
  EXPECT_EQ(ring.TakeAll(), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_TRUE(ring.Push(9));
  EXPECT_EQ(ring.TakeAll(), (std::vector<int>{9}));
}

TEST(Cmn_ReportRingTest, EveryPlaceOfTheRingIsUsedAgain) {
  Cmn_ReportRing<int, 4> ring;
  for (int round = 0; round < 50; ++round) {
    for (int record = 0; record < round % 5; ++record) EXPECT_TRUE(ring.Push(record));
    EXPECT_EQ(ring.TakeAll().size(), static_cast<std::size_t>(round % 5));
  }
  EXPECT_EQ(ring.DroppedCount(), 0u);
}

// Runs something in the middle of a push, as other threads would while its writer is stopped there.
struct Interrupting {
  Interrupting() = default;
  explicit Interrupting(int iNumber) : mNumber(iNumber) {}
  Interrupting(const Interrupting&) = default;
  Interrupting& operator=(const Interrupting& iOther) {
    if (sInterrupt) std::exchange(sInterrupt, nullptr)();
    mNumber = iOther.mNumber;
    return *this;
  }
  int mNumber = 0;
  static inline std::function<void()> sInterrupt;
};

template <std::size_t kCapacity>
std::vector<int> TakenNumbers(Cmn_ReportRing<Interrupting, kCapacity>& ioRing) {
  std::vector<int> numbers;
  for (const Interrupting& record : ioRing.TakeAll()) numbers.push_back(record.mNumber);
  return numbers;
}

TEST(Cmn_ReportRingTest, AStoppedWriterHidesNoFinishedRecordAndCostsTheOthersOnePlace) {
  Cmn_ReportRing<Interrupting, 8> ring;
  Interrupting::sInterrupt = [&ring] {
    EXPECT_EQ(TakenNumbers(ring), std::vector<int>());
    for (int round = 0; round < 20; ++round) {
      for (int number = 1; number <= 7; ++number) EXPECT_TRUE(ring.Push(Interrupting(number)));
      EXPECT_FALSE(ring.Push(Interrupting(8))) << "the eighth place is the stopped writer's";
      std::vector<int> numbers = TakenNumbers(ring);
      std::sort(numbers.begin(), numbers.end());
      EXPECT_EQ(numbers, (std::vector<int>{1, 2, 3, 4, 5, 6, 7}));
    }
  };
  EXPECT_TRUE(ring.Push(Interrupting(99)));
  EXPECT_EQ(ring.DroppedCount(), 20u);
  EXPECT_EQ(TakenNumbers(ring), std::vector<int>{99});
}

TEST(Cmn_ReportRingTest, ManyWritersLoseNothingThatIsntCounted) {
  struct Record {
    int mWriter = 0;
    int mNumber = 0;
  };
  Cmn_ReportRing<Record, 64> ring;
  constexpr int kWriters = 4;
  constexpr int kEach = 20000;
  std::atomic<int> finished{0};
  std::vector<std::thread> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.emplace_back([&, writer] {
      for (int number = 0; number < kEach; ++number) {
        ring.Push({writer, number});
        if (number % 32 == 0) std::this_thread::yield();
      }
      finished.fetch_add(1);
    });
  }
  std::vector<int> last(kWriters, -1);
  std::uint64_t taken = 0;
  bool isOver = false;
  while (!isOver) {
    std::this_thread::yield();
    isOver = finished.load() == kWriters;
    for (const Record& record : ring.TakeAll()) {
      EXPECT_GE(record.mNumber, 0);
      EXPECT_NE(record.mNumber, last[static_cast<std::size_t>(record.mWriter)]) << "a record came twice";
      last[static_cast<std::size_t>(record.mWriter)] = record.mNumber;
      ++taken;
    }
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(taken + ring.DroppedCount(), static_cast<std::uint64_t>(kWriters * kEach));
  EXPECT_GT(taken, 0u);
}

}  // namespace
