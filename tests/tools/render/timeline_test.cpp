// SPDX-License-Identifier: MIT
#include "tools/mlox/render/timeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/song_builder.h"
#include "tools/mlox/render/deliveredlist.h"
#include "tools/mlox/song/songreader.h"
#include "tools/mlox/tool_error.h"

namespace {

using tool::Timeline;
using tool::WriterOf;

/// The timeline of a file at 8000 Hz, as text.
std::string TextOf(const Test_Bytes& iFile) {
  return ToText(Timeline(tool::SongReader(iFile).Read(), 8000, std::nullopt));
}

// ---- order ----

TEST(Timeline, OrdersBySampleFirst) {
  // 16000 ticks a quarter note: 4 ticks a sample.
  EXPECT_EQ(
      TextOf(Test_Join({Test_SongHeader(1, 2, 16000), Test_Track({8, 0xC0, 1}), Test_Track({4, 0xCF, 2})})),
      "1 cf 02\n2 c0 01\n");
}

TEST(Timeline, WithinASampleMessagesWithoutAChannelComeFirst) {
  EXPECT_EQ(TextOf(Test_OneTrackSong({0, 0xC0, 1, 0, 0xF0, 2, 1, 0xF7, 0, 0xF7, 1, 0xF8})),
            "0 f0 01 f7\n0 f8\n0 c0 01\n");
}

TEST(Timeline, WithinASampleChannelsAscend) {
  EXPECT_EQ(TextOf(Test_OneTrackSong({0, 0xCF, 1, 0, 0xC3, 2, 0, 0xC0, 3})), "0 c0 03\n0 c3 02\n0 cf 01\n");
}

TEST(Timeline, WithinAChannelTracksThenPositionsDecide) {
  EXPECT_EQ(TextOf(Test_Join({Test_SongHeader(1, 2, 96), Test_Track({0, 0xC1, 1, 0, 0xB1, 7, 9, 0, 0xC1, 2}),
                              Test_Track({0, 0xC1, 3, 0, 0xC0, 4})})),
            "0 c0 04\n0 c1 01\n0 b1 07 09\n0 c1 02\n0 c1 03\n");
}

TEST(Timeline, TicksThatFallInOneSampleAreOneTime) {
  // A quarter of a sample a tick: tick 1 of track 0 and tick 0 of track 1 are both sample 0, so the track
  // decides.
  EXPECT_EQ(
      TextOf(Test_Join({Test_SongHeader(1, 2, 16000), Test_Track({1, 0xC0, 1}), Test_Track({0, 0xC0, 2})})),
      "0 c0 01\n0 c0 02\n");
}

// ---- dealing ----

TEST(Timeline, OneWriterHasAllChannels) {
  for (int channel = -1; channel < 16; ++channel) {
    EXPECT_EQ(WriterOf(channel, 1), 0) << channel;
  }
}

TEST(Timeline, TwoWritersHaveEightChannelsEach) {
  for (int channel = -1; channel < 16; ++channel) {
    EXPECT_EQ(WriterOf(channel, 2), channel < 8 ? 0 : 1) << channel;
  }
}

TEST(Timeline, ThreeWritersHaveNeighbouringChannels) {
  const int expected[] = {0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2};
  for (int channel = 0; channel < 16; ++channel) {
    EXPECT_EQ(WriterOf(channel, 3), expected[channel]) << channel;
  }
}

TEST(Timeline, WriterZeroHasWhatHasNoChannel) { EXPECT_EQ(WriterOf(-1, 3), 0); }

// ---- length ----

TEST(Timeline, LastsTwoSecondsLongerThanItsLastMessage) {
  const Timeline timeline(tool::SongReader(Test_OneTrackSong({96, 0xC0, 1})).Read(), 48000, std::nullopt);
  EXPECT_EQ(timeline.Frames(), 24000 + 96000);
  EXPECT_EQ(timeline.SampleRate(), 48000u);
}

TEST(Timeline, OfASongWithoutMessagesLastsTwoSeconds) {
  EXPECT_EQ(Timeline(tool::SongReader(Test_OneTrackSong({})).Read(), 8000, std::nullopt).Frames(), 16000);
}

TEST(Timeline, LeavesOutWhatLiesAtOrBehindTheLengthAskedFor) {
  // Samples 0, 250, 500.
  const auto file = Test_OneTrackSong({0, 0xC0, 1, 1, 0xC0, 2, 1, 0xC0, 3});
  const Timeline cut(tool::SongReader(file).Read(), 48000, 500);
  EXPECT_EQ(ToText(cut), "0 c0 01\n250 c0 02\n");
  EXPECT_EQ(cut.Frames(), 500);
  EXPECT_EQ(ToText(Timeline(tool::SongReader(file).Read(), 48000, 501)), "0 c0 01\n250 c0 02\n500 c0 03\n");
}

TEST(Timeline, RefusesASongThatNoWavFileHolds) {
  const auto file = Test_Join({Test_SongHeader(0, 1, 1), Test_Track({0xFF, 0xFF, 0xFF, 0x7F, 0xC0, 1})});
  try {
    Timeline(tool::SongReader(file).Read(), 48000, std::nullopt);
    FAIL() << "268435455 quarter notes were accepted";
  } catch (const tool::ToolError& error) {
    EXPECT_STREQ(error.what(),
                 "the song lasts 134217730 seconds, a WAV file holds 11166; --seconds renders a part");
  }
  EXPECT_EQ(Timeline(tool::SongReader(file).Read(), 48000, 480).Frames(), 480)
      << "but a part of it can be rendered";
}

}  // namespace
