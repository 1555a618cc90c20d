// SPDX-License-Identifier: MIT
#include "midixml/midimessage.h"

#include <gtest/gtest.h>

#include <numeric>
#include <utility>
#include <vector>

using midixml::MIDIMessage;

namespace {

std::vector<int> Bytes(const MIDIMessage& iMessage) {
  return std::vector<int>(iMessage.GetData(), iMessage.GetData() + iMessage.GetLength());
}

std::vector<uint8_t> Counting(int iLength) {
  std::vector<uint8_t> bytes(static_cast<size_t>(iLength));
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  return bytes;
}

MIDIMessage Message(int iLength) {
  MIDIMessage message;
  message.Set(iLength, Counting(iLength).data());
  return message;
}

TEST(MIDIMessage, StartsEmpty) {
  const MIDIMessage message;
  EXPECT_EQ(message.GetLength(), 0);
  EXPECT_FALSE(message.IsLarge());
}

TEST(MIDIMessage, SetWithLengthEightStaysInline) {
  const MIDIMessage message = Message(8);
  EXPECT_FALSE(message.IsLarge());
  EXPECT_EQ(Bytes(message), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8}));
  const auto* objectP = reinterpret_cast<const uint8_t*>(&message);
  EXPECT_GE(message.GetData(), objectP);
  EXPECT_LT(message.GetData(), objectP + sizeof(message));
}

TEST(MIDIMessage, SetWithLengthNineAllocates) {
  const MIDIMessage message = Message(9);
  EXPECT_TRUE(message.IsLarge());
  EXPECT_EQ(Bytes(message), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(MIDIMessage, SetBelowOneStoresNothing) {
  MIDIMessage message = Message(9);
  message.Set(0, nullptr);
  EXPECT_EQ(message.GetLength(), 0);
  message = Message(3);
  message.Set(-1, nullptr);
  EXPECT_EQ(message.GetLength(), 0);
}

TEST(MIDIMessage, AppendFromEightToNineMovesTheBytesToTheHeap) {
  MIDIMessage message = Message(8);
  const uint8_t next = 9;
  message.Append(1, &next);
  EXPECT_TRUE(message.IsLarge());
  EXPECT_EQ(Bytes(message), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(MIDIMessage, AppendFromNineToTenMakesANewBodyAndLeavesACopyUntouched) {
  MIDIMessage message = Message(9);
  const MIDIMessage copy(message);
  const uint8_t* sharedP = copy.GetData();
  const uint8_t next = 10;
  message.Append(1, &next);
  EXPECT_NE(message.GetData(), sharedP);
  EXPECT_EQ(copy.GetData(), sharedP);
  EXPECT_EQ(Bytes(copy), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(Bytes(message), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

TEST(MIDIMessage, ACopyOfALargeMessageSharesItsBody) {
  const MIDIMessage message = Message(9);
  const MIDIMessage copy(message);
  EXPECT_EQ(copy.GetData(), message.GetData());
}

TEST(MIDIMessage, ACopyOfAnInlineMessageHasBytesOfItsOwn) {
  MIDIMessage message = Message(3);
  const MIDIMessage copy(message);
  const uint8_t next = 99;
  message.Append(1, &next);
  EXPECT_EQ(Bytes(copy), (std::vector<int>{1, 2, 3}));
}

TEST(MIDIMessage, AppendOfNothingChangesNothing) {
  MIDIMessage message = Message(9);
  const uint8_t* bodyP = message.GetData();
  message.Append(0, nullptr);
  EXPECT_EQ(message.GetData(), bodyP);
  EXPECT_EQ(message.GetLength(), 9);
}

TEST(MIDIMessage, ManyAppendsToALongMessageLeaveSharedCopiesUntouched) {
  MIDIMessage message = Message(5000);
  const MIDIMessage copy(message);
  for (int index = 0; index < 20000; ++index) {
    const auto next = static_cast<uint8_t>(index);
    message.Append(1, &next);
  }
  ASSERT_EQ(copy.GetLength(), 5000);
  ASSERT_EQ(message.GetLength(), 25000);
  EXPECT_EQ(Bytes(copy), Bytes(Message(5000)));
  for (int index = 0; index < 20000; ++index) {
    ASSERT_EQ(message.GetData()[5000 + index], static_cast<uint8_t>(index));
  }
}

TEST(MIDIMessage, TwoCopiesOfALongMessageGrowApart) {
  MIDIMessage message = Message(5000);
  MIDIMessage copy(message);
  const uint8_t first = 0x11;
  const uint8_t second = 0x22;
  message.Append(1, &first);
  copy.Append(1, &second);
  EXPECT_EQ(message.GetData()[5000], first);
  EXPECT_EQ(copy.GetData()[5000], second);
}

TEST(MIDIMessage, AssignmentSharesAndReleases) {
  MIDIMessage message = Message(20);
  MIDIMessage other = Message(30);
  other = message;
  EXPECT_EQ(other.GetData(), message.GetData());
  const MIDIMessage& alias = other;
  other = alias;
  EXPECT_EQ(other.GetLength(), 20);
  const MIDIMessage moved(std::move(other));
  EXPECT_EQ(moved.GetData(), message.GetData());
}

}  // namespace
