// SPDX-License-Identifier: MIT
#include "platform/directmusic/midisplitter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Messages = std::vector<Bytes>;

class MidiSplitter : public ::testing::Test {
 protected:
  Messages Feed(const Bytes& iBytes) {
    Messages out;
    mSplitter.Feed(iBytes.data(), iBytes.size(), [&](const std::uint8_t* iData, std::size_t iLength) {
      out.emplace_back(iData, iData + iLength);
    });
    return out;
  }
  Messages FeedWord(std::uint32_t iWord) {
    Messages out;
    mSplitter.FeedWord(iWord, [&](const std::uint8_t* iData, std::size_t iLength) {
      out.emplace_back(iData, iData + iLength);
    });
    return out;
  }

  Platform_MidiSplitter mSplitter{4};
};

TEST_F(MidiSplitter, ABlobMayHoldSeveralMessages) {
  EXPECT_EQ(Feed({0x90, 60, 100, 0xC1, 5, 0xE2, 0, 64}),
            (Messages{{0x90, 60, 100}, {0xC1, 5}, {0xE2, 0, 64}}));
}

TEST_F(MidiSplitter, RunningStatusIsSpelledOut) {
  EXPECT_EQ(Feed({0x90, 60, 100, 61, 101}), (Messages{{0x90, 60, 100}, {0x90, 61, 101}}));
  EXPECT_EQ(Feed({62, 102}), (Messages{{0x90, 62, 102}})) << "also from one call to the next";
}

TEST_F(MidiSplitter, ASystemCommonMessageEndsRunningStatus) {
  EXPECT_EQ(Feed({0x90, 60, 100, 0xF3, 7, 61, 101}), (Messages{{0x90, 60, 100}, {0xF3, 7}}));
  EXPECT_EQ(mSplitter.StrayBytes(), 2u);
}

TEST_F(MidiSplitter, ARealTimeByteInsideAMessageGoesOutBeforeIt) {
  EXPECT_EQ(Feed({0x90, 60, 0xF8, 100}), (Messages{{0xF8}, {0x90, 60, 100}}));
}

TEST_F(MidiSplitter, SystemExclusiveGoesOutInPieces) {
  EXPECT_EQ(Feed({0xF0, 1, 2, 3, 4, 5, 0xF7}), (Messages{{0xF0, 1, 2, 3}, {4, 5, 0xF7}}));
  EXPECT_FALSE(mSplitter.IsInsideSysex());
}

TEST_F(MidiSplitter, APieceEndsWithTheCallAndTheMessageGoesOnWithTheNext) {
  EXPECT_EQ(Feed({0xF0, 1, 2}), (Messages{{0xF0, 1, 2}}));
  EXPECT_TRUE(mSplitter.IsInsideSysex());
  EXPECT_EQ(Feed({3, 4}), (Messages{{3, 4}}));
  EXPECT_EQ(Feed({0xF7}), (Messages{{0xF7}}));
  EXPECT_FALSE(mSplitter.IsInsideSysex());
}

TEST_F(MidiSplitter, ARealTimeByteInsideSystemExclusiveKeepsItsPlace) {
  EXPECT_EQ(Feed({0xF0, 1, 0xF8, 2, 0xF7}), (Messages{{0xF0, 1}, {0xF8}, {2, 0xF7}}));
}

TEST_F(MidiSplitter, AStatusInsideTheSameBlobCutsTheMessageShort) {
  EXPECT_EQ(Feed({0xF0, 1, 0x90, 60, 100}), (Messages{{0xF0, 1}, {0x90, 60, 100}}));
  EXPECT_FALSE(mSplitter.IsInsideSysex());
}

TEST_F(MidiSplitter, ANoteOfAnotherOutputBetweenTwoPiecesDoesNotEndTheMessage) {
  EXPECT_EQ(Feed({0xF0, 1, 2}), (Messages{{0xF0, 1, 2}}));
  EXPECT_EQ(Feed({0x90, 60, 100}), (Messages{{0x90, 60, 100}}));
  EXPECT_TRUE(mSplitter.IsInsideSysex());
  EXPECT_EQ(Feed({3, 0xF7}), (Messages{{3, 0xF7}}));
  EXPECT_EQ(mSplitter.StrayBytes(), 0u);
}

TEST_F(MidiSplitter, DataThatBelongsToNothingIsCountedAndLeftOut) {
  EXPECT_EQ(Feed({1, 2, 3}), Messages{});
  EXPECT_EQ(mSplitter.StrayBytes(), 3u);
}

TEST_F(MidiSplitter, LengthsAreExact) {
  EXPECT_EQ(Feed({0xF1, 0x23, 0xF2, 1, 2, 0xF6, 0xF8, 0xFE}),
            (Messages{{0xF1, 0x23}, {0xF2, 1, 2}, {0xF6}, {0xF8}, {0xFE}}));
}

TEST_F(MidiSplitter, AWordIsReadByTheLengthOfItsStatus) {
  EXPECT_EQ(FeedWord(0x00643C90), (Messages{{0x90, 0x3C, 0x64}}));
  EXPECT_EQ(FeedWord(0x000005C3), (Messages{{0xC3, 5}}));
  EXPECT_EQ(FeedWord(0x000000F8), (Messages{{0xF8}}));
}

TEST_F(MidiSplitter, AWordIsReadOnWhileTheNextByteIsAStatus) {
  EXPECT_EQ(FeedWord(0x0000F8F8), (Messages{{0xF8}, {0xF8}}));
  EXPECT_EQ(FeedWord(0x00F805C3), (Messages{{0xC3, 5}, {0xF8}}));
}

TEST_F(MidiSplitter, TheCommonOutputsWordGoesOutAsOneByteAlone) {
  EXPECT_EQ(FeedWord(0x00643CFF), (Messages{{0xFF}}));
  EXPECT_EQ(mSplitter.StrayBytes(), 0u);
}

TEST_F(MidiSplitter, ShortSystemExclusiveFitsAWord) {
  EXPECT_EQ(FeedWord(0x0000F7F0), (Messages{{0xF0, 0xF7}}));
  EXPECT_EQ(FeedWord(0x00F701F0), (Messages{{0xF0, 1, 0xF7}}));
}

TEST_F(MidiSplitter, TheLastChunkOfALongMessageMayComeAsAWord) {
  Feed({0xF0, 1});
  EXPECT_EQ(FeedWord(0x00F70005), (Messages{{5, 0, 0xF7}}));
  Feed({0xF0, 1});
  EXPECT_EQ(FeedWord(0x000000F7), (Messages{{0xF7}}));
}

TEST_F(MidiSplitter, ResetForgetsWhatWasBegun) {
  Feed({0xF0, 1});
  mSplitter.Reset();
  EXPECT_FALSE(mSplitter.IsInsideSysex());
  EXPECT_EQ(Feed({5}), Messages{});
}

TEST_F(MidiSplitter, AnyBytesGiveWellFormedMessages) {
  std::mt19937 random(20261121);
  std::size_t messages = 0;
  for (int round = 0; round < 20000; ++round) {
    Bytes bytes(random() % 12);
    for (auto& byte : bytes) {
      byte = static_cast<std::uint8_t>(random() % 3 == 0 ? 0x80 + random() % 0x80 : random() % 0x80);
    }
    for (const Bytes& message : Feed(bytes)) {
      ++messages;
      ASSERT_GE(message.size(), 1u);
      ASSERT_LE(message.size(), 4u);
      for (std::size_t i = 1; i + 1 < message.size(); ++i) {
        ASSERT_LT(message[i], 0x80) << "a status inside a message";
      }
    }
  }
  EXPECT_GT(messages, 20000u);
}

}  // namespace
