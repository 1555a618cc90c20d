// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_inputlane.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

class JackInputLane : public ::testing::Test {
 protected:
  void Arrive(const Bytes& iBytes) { mLane.Arrive(iBytes.data(), iBytes.size()); }
  Bytes Read() { return mLane.Read(mPiece) ? Bytes(mPiece.mBytes, mPiece.mBytes + mPiece.mLength) : Bytes(); }
  bool IsReadable(int iMilliseconds = 0) const {
    pollfd poll{mLane.Descriptor(), POLLIN, 0};
    return ::poll(&poll, 1, iMilliseconds) == 1;
  }

  Platform_JackInputLane mLane;
  Platform_Piece mPiece;
};

TEST_F(JackInputLane, TheDescriptorIsUpFromWakeUntilTheLastWasRead) {
  EXPECT_FALSE(IsReadable());
  mLane.Wake();
  EXPECT_FALSE(IsReadable()) << "a cycle in which nothing arrived wakes nobody";
  Arrive({0xC0, 1});
  Arrive({0xC0, 2});
  mLane.Wake();
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(Read(), (Bytes{0xC0, 1}));
  EXPECT_TRUE(IsReadable());
  EXPECT_EQ(Read(), (Bytes{0xC0, 2}));
  EXPECT_FALSE(IsReadable());
  EXPECT_EQ(Read(), Bytes{});
}

TEST_F(JackInputLane, AnEventLongerThanAPieceIsCut) {
  Bytes sysex(10'000, 5);
  sysex.front() = 0xF0;
  sysex.back() = 0xF7;
  Arrive(sysex);
  Bytes joined;
  for (const std::size_t length : {4096u, 4096u, 1808u}) {
    const Bytes piece = Read();
    EXPECT_EQ(piece.size(), length);
    joined.insert(joined.end(), piece.begin(), piece.end());
  }
  EXPECT_EQ(joined, sysex);
}

TEST_F(JackInputLane, AnEventWithSeveralMessagesIsTakenApart) {
  Arrive({0x90, 60, 100, 62, 100, 0xF8, 0xC0, 3});
  mLane.Wake();
  EXPECT_EQ(Read(), (Bytes{0x90, 60, 100}));
  EXPECT_TRUE(mLane.HasBuffered());
  EXPECT_EQ(Read(), (Bytes{0x90, 62, 100}));
  EXPECT_EQ(Read(), (Bytes{0xF8}));
  EXPECT_EQ(Read(), (Bytes{0xC0, 3}));
  EXPECT_FALSE(mLane.HasBuffered());
  EXPECT_EQ(Read(), Bytes{});
}

TEST_F(JackInputLane, DataThatBelongsToNothingIsLeftOut) {
  Arrive({1, 2, 3});
  Arrive({});
  Arrive({0xC0, 9});
  EXPECT_EQ(Read(), (Bytes{0xC0, 9}));
  EXPECT_EQ(Read(), Bytes{});
}

TEST_F(JackInputLane, ARealTimeByteBetweenPiecesLeavesTheMessageWhole) {
  Arrive({0xF0, 1, 2});
  Arrive({0xF8});
  Arrive({3, 0xF7});
  EXPECT_EQ(Read(), (Bytes{0xF0, 1, 2}));
  EXPECT_EQ(Read(), (Bytes{0xF8}));
  EXPECT_EQ(Read(), (Bytes{3, 0xF7}));
}

TEST_F(JackInputLane, ASlowReaderLosesTheNewestAndEveryLossIsCounted) {
  constexpr int kSent = 40'000;
  for (int i = 0; i < kSent; ++i) {
    Arrive({0xE0, static_cast<std::uint8_t>(i % 128), static_cast<std::uint8_t>(i / 128 % 128)});
  }
  int read = 0;
  for (Bytes bytes = Read(); !bytes.empty(); bytes = Read()) {
    ASSERT_EQ(bytes[1] + bytes[2] * 128, read % 16'384);
    ++read;
  }
  EXPECT_EQ(read, 32'768);
  EXPECT_EQ(mLane.Lost(), static_cast<std::uint64_t>(kSent - read));
  Arrive({0xC0, 1});
  EXPECT_EQ(Read(), (Bytes{0xC0, 1}));
}

TEST_F(JackInputLane, OfASystemExclusiveThatLostAPieceNoTailArrives) {
  Arrive({0xF0, 1});
  while (mLane.Lost() == 0) {
    Arrive(Bytes(4096, 2));
  }
  for (int i = 0; i < 3; ++i) {
    EXPECT_NE(Read(), Bytes{});
  }
  const std::uint64_t lost = mLane.Lost();
  Arrive({3, 0xF7});
  EXPECT_EQ(mLane.Lost(), lost + 1);
  Arrive({0x90, 1, 1});
  Arrive({0xF0, 4, 0xF7});
  Bytes last;
  Bytes lastButOne;
  for (Bytes bytes = Read(); !bytes.empty(); bytes = Read()) {
    lastButOne = last;
    last = bytes;
  }
  EXPECT_EQ(lastButOne, (Bytes{0x90, 1, 1}));
  EXPECT_EQ(last, (Bytes{0xF0, 4, 0xF7}));
}

// Anything at all may stand in a buffer that another program has filled.
TEST_F(JackInputLane, RandomBytesGiveWholeMessagesOrPiecesAndNothingElse) {
  std::mt19937 random(7);
  for (int round = 0; round < 20'000; ++round) {
    Bytes bytes(random() % 12);
    for (std::uint8_t& byte : bytes) {
      byte = static_cast<std::uint8_t>(random());
    }
    Arrive(bytes);
    for (Bytes message = Read(); !message.empty(); message = Read()) {
      for (std::size_t i = 1; i + 1 < message.size(); ++i) {
        ASSERT_LT(message[i], 0x80) << "a status inside a message";
      }
      if (message[0] >= 0x80 && message[0] < 0xF0) {
        ASSERT_EQ(message.size(), (message[0] & 0xE0) == 0xC0 ? 2u : 3u);
      }
    }
  }
}

TEST_F(JackInputLane, NoWakeIsLostBetweenTheCallbackAndAReaderThatSleeps) {
  constexpr int kCount = 50'000;
  std::thread callback([&] {
    std::mt19937 random(3);
    for (int i = 0; i < kCount; ++i) {
      Arrive({0xE0, static_cast<std::uint8_t>(i % 128), static_cast<std::uint8_t>(i / 128 % 128)});
      if (random() % 3 == 0 || i == kCount - 1) {
        mLane.Wake();
      }
      if (random() % 64 == 0) {
        std::this_thread::yield();
      }
    }
  });
  int read = 0;
  while (read + static_cast<int>(mLane.Lost()) < kCount) {
    ASSERT_TRUE(IsReadable(60'000)) << "the reader sleeps on " << read << " read";
    while (!Read().empty()) {
      ++read;
    }
  }
  callback.join();
  while (!Read().empty()) {
    ++read;
  }
  EXPECT_EQ(static_cast<std::uint64_t>(read) + mLane.Lost(), static_cast<std::uint64_t>(kCount));
}

}  // namespace
