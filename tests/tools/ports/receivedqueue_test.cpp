// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/receivedqueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace std::chrono_literals;

Mlox_MidiData DataOf(const std::vector<std::uint8_t>& iBytes, std::int64_t iTime) {
  Mlox_MidiData data;
  data.mData = iBytes.data();
  data.mLength = static_cast<std::uint32_t>(iBytes.size());
  data.mInputID = Mlox_InputID(1, 7);
  data.mTime = iTime;
  data.mSysexState = Mlox_MidiData::kFirstSysex;
  return data;
}

TEST(ReceivedQueue, CopiesWhatComesInOrder) {
  tool::ReceivedQueue queue;
  for (std::uint8_t i = 0; i < 3; ++i) {
    const std::vector<std::uint8_t> bytes{0xF0, i};
    Mlox_MidiData data = DataOf(bytes, i * 10);
    EXPECT_EQ(queue.ReceiveRawMidi(&data), 0);
  }
  tool::ReceivedMessage message;
  for (std::uint8_t i = 0; i < 3; ++i) {
    ASSERT_TRUE(queue.Take(message, 0us));
    EXPECT_EQ(message.mBytes, (std::vector<std::uint8_t>{0xF0, i}));
    EXPECT_EQ(message.mInput, Mlox_InputID(1, 7));
    EXPECT_EQ(message.mTime, i * 10);
    EXPECT_EQ(message.mSysexState, Mlox_MidiData::kFirstSysex);
  }
  EXPECT_FALSE(queue.Take(message, 0us));
}

TEST(ReceivedQueue, WakesWhoWaits) {
  tool::ReceivedQueue queue;
  std::thread writer([&] {
    const std::vector<std::uint8_t> bytes{0xF8};
    Mlox_MidiData data = DataOf(bytes, 1);
    queue.ReceiveRawMidi(&data);
  });
  tool::ReceivedMessage message;
  EXPECT_TRUE(queue.Take(message, 60s));
  writer.join();
}

TEST(ReceivedQueue, IsEndedOnlyWhenEverythingWasTaken) {
  tool::ReceivedQueue queue;
  const std::vector<std::uint8_t> bytes{0xF8};
  Mlox_MidiData data = DataOf(bytes, 1);
  queue.ReceiveRawMidi(&data);
  EXPECT_FALSE(queue.HasEnded());
  queue.End();
  EXPECT_FALSE(queue.HasEnded());
  tool::ReceivedMessage message;
  EXPECT_TRUE(queue.Take(message, 60s));
  EXPECT_TRUE(queue.HasEnded());
  EXPECT_FALSE(queue.Take(message, 60s));
}

// ---- when nobody takes ----

void Receive(tool::ReceivedQueue& ioQueue, std::int64_t iTime) {
  const std::vector<std::uint8_t> bytes{0xF8};
  Mlox_MidiData data = DataOf(bytes, iTime);
  EXPECT_EQ(ioQueue.ReceiveRawMidi(&data), 0);
}

// The time of the oldest message; -1 when there is none.
std::int64_t TakeTime(tool::ReceivedQueue& ioQueue) {
  tool::ReceivedMessage message;
  return ioQueue.Take(message, 0us) ? message.mTime : -1;
}

TEST(ReceivedQueue, HoldsSoManyMessagesAndDropsTheNewest) {
  tool::ReceivedQueue queue;
  const auto most = static_cast<std::int64_t>(tool::ReceivedQueue::kMostMessages);
  for (std::int64_t time = 0; time < most + 3; ++time) Receive(queue, time);
  for (std::int64_t time = 0; time < most; ++time) {
    ASSERT_EQ(queue.TakeDropped(), 0u);
    ASSERT_EQ(TakeTime(queue), time);
  }
  EXPECT_EQ(TakeTime(queue), -1);
  EXPECT_EQ(queue.TakeDropped(), 3u);
  EXPECT_EQ(queue.TakeDropped(), 0u) << "told already";
}

TEST(ReceivedQueue, DropsUntilHalfOfItHasBeenTaken) {
  tool::ReceivedQueue queue(4);
  for (std::int64_t time = 0; time < 5; ++time) Receive(queue, time);
  EXPECT_EQ(TakeTime(queue), 0);
  Receive(queue, 5);
  EXPECT_EQ(TakeTime(queue), 1);
  Receive(queue, 6);
  EXPECT_EQ(TakeTime(queue), 2);
  EXPECT_EQ(TakeTime(queue), 3);
  EXPECT_EQ(queue.TakeDropped(), 2u);
  EXPECT_EQ(TakeTime(queue), 6);
  EXPECT_EQ(TakeTime(queue), -1);
}

TEST(ReceivedQueue, EachGapIsToldAtItsPlace) {
  tool::ReceivedQueue queue(2);
  for (std::int64_t time = 0; time < 3; ++time) Receive(queue, time);
  EXPECT_EQ(TakeTime(queue), 0);
  for (std::int64_t time = 3; time < 6; ++time) Receive(queue, time);
  EXPECT_EQ(queue.TakeDropped(), 0u);
  EXPECT_EQ(TakeTime(queue), 1);
  EXPECT_EQ(queue.TakeDropped(), 1u);
  EXPECT_EQ(TakeTime(queue), 3);
  EXPECT_EQ(queue.TakeDropped(), 2u);
  EXPECT_EQ(TakeTime(queue), -1);
}

}  // namespace
