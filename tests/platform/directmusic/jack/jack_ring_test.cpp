// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_ring.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Record = Platform_JackRing::Record;

Bytes BytesOf(const Record& iRecord) { return {iRecord.mBytes, iRecord.mBytes + iRecord.mLength}; }

bool Push(Platform_JackRing& ioRing, std::int64_t iTime, const Bytes& iBytes) {
  return ioRing.Push(iTime, iBytes.data(), iBytes.size());
}

TEST(JackRing, GivesBackWhatWentInInOrder) {
  Platform_JackRing ring(256);
  Record record;
  EXPECT_TRUE(ring.IsEmpty());
  EXPECT_FALSE(ring.Take(record));
  EXPECT_TRUE(Push(ring, 7, {1, 2, 3}));
  EXPECT_TRUE(Push(ring, -8, {4}));
  EXPECT_FALSE(ring.IsEmpty());
  ASSERT_TRUE(ring.Take(record));
  EXPECT_EQ(record.mTime, 7);
  EXPECT_EQ(BytesOf(record), (Bytes{1, 2, 3}));
  ASSERT_TRUE(ring.Take(record));
  EXPECT_EQ(record.mTime, -8);
  EXPECT_EQ(BytesOf(record), (Bytes{4}));
  EXPECT_TRUE(ring.IsEmpty());
}

TEST(JackRing, RefusesWhatHasNoRoomAndOverwritesNothing) {
  Platform_JackRing ring(128);
  for (std::uint8_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(Push(ring, i, {i}));
  }
  EXPECT_FALSE(Push(ring, 9, {9}));
  EXPECT_FALSE(Push(ring, 9, Bytes(200, 9))) << "more than the whole ring";
  Record record;
  for (std::uint8_t i = 0; i < 4; ++i) {
    ASSERT_TRUE(ring.Take(record));
    EXPECT_EQ(BytesOf(record), (Bytes{i}));
  }
}

TEST(JackRing, ARecordThatIsKeptHoldsTheRoomBehindIt) {
  Platform_JackRing ring(128);
  Record records[4];
  for (std::uint8_t i = 0; i < 4; ++i) {
    ASSERT_TRUE(Push(ring, i, {i}));
    ASSERT_TRUE(ring.Take(records[i]));
  }
  for (const int i : {1, 2, 3}) {
    ring.Done(records[i]);
  }
  EXPECT_FALSE(Push(ring, 9, {9}));
  EXPECT_EQ(BytesOf(records[0]), (Bytes{0}));
  ring.Done(records[0]);
  for (std::uint8_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(Push(ring, i, {i}));
  }
}

// The model is a list; records are ended in any order.
TEST(JackRing, AgreesWithAListOverRandomOperations) {
  for (std::uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Platform_JackRing ring(1024);
    std::deque<Bytes> model;
    std::vector<std::pair<Record, Bytes>> kept;
    std::size_t pushed = 0;
    for (int i = 0; i < 20'000; ++i) {
      if (random() % 2 == 0) {
        const Bytes bytes(random() % 200 + 1, static_cast<std::uint8_t>(random()));
        if (Push(ring, i, bytes)) {
          model.push_back(bytes);
          ++pushed;
        }
      }
      Record record;
      if (random() % 2 == 0 && ring.Take(record)) {
        ASSERT_FALSE(model.empty());
        ASSERT_EQ(BytesOf(record), model.front());
        kept.emplace_back(record, model.front());
        model.pop_front();
      }
      if (random() % 2 == 0 && !kept.empty()) {
        const auto any = kept.begin() + static_cast<std::ptrdiff_t>(random() % kept.size());
        ASSERT_EQ(BytesOf(any->first), any->second) << "overwritten while it was kept";
        ring.Done(any->first);
        kept.erase(any);
      }
    }
    EXPECT_GT(pushed, 3'000u);
  }
}

TEST(JackRing, Carries200000RecordsFromThreadToThread) {
  constexpr int kCount = 200'000;
  Platform_JackRing ring(4096);
  std::thread writer([&] {
    for (int i = 0; i < kCount; ++i) {
      const Bytes bytes(static_cast<std::size_t>(i % 40 + 1), static_cast<std::uint8_t>(i));
      while (!Push(ring, i, bytes)) {
        std::this_thread::yield();
      }
    }
  });
  int wrong = 0;
  for (int i = 0; i < kCount; ++i) {
    Record record;
    while (!ring.Take(record)) {
      std::this_thread::yield();
    }
    wrong += record.mTime == i && record.mLength == static_cast<std::size_t>(i % 40 + 1) &&
                     record.mBytes[record.mLength - 1] == static_cast<std::uint8_t>(i)
                 ? 0
                 : 1;
    ring.Done(record);
  }
  writer.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
