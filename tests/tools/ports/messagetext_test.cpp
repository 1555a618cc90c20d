// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/messagetext.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::string TextOf(const std::vector<std::uint8_t>& iBytes) { return tool::MessageText(iBytes); }

TEST(MessageText, TellsEachChannelMessageWithChannelsFromOne) {
  EXPECT_EQ(TextOf({0x80, 60, 64}), "note off C4 (60) velocity 64 channel 1");
  EXPECT_EQ(TextOf({0x91, 61, 100}), "note on C#4 (61) velocity 100 channel 2");
  EXPECT_EQ(TextOf({0xA2, 0, 5}), "poly pressure C-1 (0) = 5 channel 3");
  EXPECT_EQ(TextOf({0xB3, 7, 90}), "controller 7 = 90 channel 4");
  EXPECT_EQ(TextOf({0xC4, 12}), "program 12 channel 5");
  EXPECT_EQ(TextOf({0xD5, 33}), "channel pressure 33 channel 6");
  EXPECT_EQ(TextOf({0xEF, 0, 64}), "pitch bend 0 channel 16");
  EXPECT_EQ(TextOf({0xE0, 0, 0}), "pitch bend -8192 channel 1");
  EXPECT_EQ(TextOf({0x9F, 127, 1}), "note on G9 (127) velocity 1 channel 16");
}

TEST(MessageText, TellsChannelModes) {
  EXPECT_EQ(TextOf({0xB0, 120, 0}), "all sound off (120 = 0) channel 1");
  EXPECT_EQ(TextOf({0xB0, 123, 0}), "all notes off (123 = 0) channel 1");
  EXPECT_EQ(TextOf({0xB0, 127, 0}), "poly (127 = 0) channel 1");
}

TEST(MessageText, TellsSystemMessages) {
  EXPECT_EQ(TextOf({0xF1, 0x35}), "quarter frame 35");
  EXPECT_EQ(TextOf({0xF2, 1, 2}), "song position 257");
  EXPECT_EQ(TextOf({0xF3, 4}), "song 4");
  EXPECT_EQ(TextOf({0xF6}), "tune request");
  EXPECT_EQ(TextOf({0xF8}), "clock");
  EXPECT_EQ(TextOf({0xFA}), "start");
  EXPECT_EQ(TextOf({0xFB}), "continue");
  EXPECT_EQ(TextOf({0xFC}), "stop");
  EXPECT_EQ(TextOf({0xFE}), "active sensing");
  EXPECT_EQ(TextOf({0xFF}), "reset");
}

TEST(MessageText, TellsSystemExclusiveMessagesAndTheirPiecesByLengthAndBeginning) {
  EXPECT_EQ(TextOf({0xF0, 0x7E, 0xF7}), "system exclusive, 3 bytes: f0 7e f7");
  EXPECT_EQ(TextOf({0x01, 0xF7}), "system exclusive, 2 bytes: 01 f7");
  EXPECT_EQ(TextOf(std::vector<std::uint8_t>(13, 0x11)),
            "system exclusive, 13 bytes: 11 11 11 11 11 11 11 11 11 11 11 11 ...");
}

TEST(MessageText, TellsWhatIsNoMessageByItsBytes) {
  EXPECT_EQ(TextOf({0x90, 60}), "bytes 90 3c");
  EXPECT_EQ(TextOf({0x90, 60, 0x80}), "bytes 90 3c 80");
  EXPECT_EQ(TextOf({0xF2, 1}), "bytes f2 01");
  EXPECT_EQ(TextOf({0xF4}), "bytes f4");
  EXPECT_EQ(TextOf({}), "nothing");
}

}  // namespace
