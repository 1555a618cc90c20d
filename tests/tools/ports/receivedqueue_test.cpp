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

}  // namespace
