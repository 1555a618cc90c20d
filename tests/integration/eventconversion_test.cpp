// SPDX-License-Identifier: MIT
#include "tools/mlox/song/eventconversion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mdid/mdie_controlevents.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_programevent.h"
#include "mdid/mdie_sysexevents.h"
#include "tests/support/assert_recorder.h"

namespace {

using tool::MakeEvent;
using tool::SongMessageKind;
using Bytes = std::vector<std::uint8_t>;

/// The only message of an event. The channel of a channel message isn't part of the event: it is 0 here.
Bytes MessageOf(const Mdie_Event& iEvent) {
  EXPECT_EQ(iEvent.GetNumMessages(), 1);
  Bytes bytes(static_cast<std::size_t>(iEvent.GetMessageLength(0)));
  iEvent.GetMessageData(reinterpret_cast<signed char*>(bytes.data()), 0);
  return bytes;
}

struct Case {
  Bytes mBytes;
  Mdie_Event::EType mType;
};

class EventConversion : public testing::TestWithParam<Case> {};

TEST_P(EventConversion, GivesOneMessageOfTheSameBytes) {
  const Test_AssertRecorder recorder;
  const Mdie_Event event = MakeEvent(SongMessageKind::kChannel, GetParam().mBytes);
  EXPECT_EQ(event.GetType(), GetParam().mType);
  EXPECT_EQ(MessageOf(event), GetParam().mBytes);
  EXPECT_EQ(recorder.Count(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Messages, EventConversion,
    testing::Values(
        Case{{0x80, 60, 0}, Mdie_Event::kNoteOff}, Case{{0x80, 127, 127}, Mdie_Event::kNoteOff},
        Case{{0x90, 0, 1}, Mdie_Event::kNoteOn}, Case{{0x90, 127, 127}, Mdie_Event::kNoteOn},
        Case{{0xA0, 127, 0}, Mdie_Event::kPolyPressure}, Case{{0xA0, 0, 127}, Mdie_Event::kPolyPressure},
        Case{{0xB0, 0, 127}, Mdie_Event::kController}, Case{{0xB0, 32, 1}, Mdie_Event::kController},
        Case{{0xB0, 119, 0}, Mdie_Event::kController}, Case{{0xC0, 0}, Mdie_Event::kProgram},
        Case{{0xC0, 127}, Mdie_Event::kProgram}, Case{{0xD0, 0}, Mdie_Event::kMonoPressure},
        Case{{0xD0, 127}, Mdie_Event::kMonoPressure}, Case{{0xE0, 0, 0}, Mdie_Event::kPitchBend},
        Case{{0xE0, 0, 64}, Mdie_Event::kPitchBend}, Case{{0xE0, 127, 127}, Mdie_Event::kPitchBend},
        Case{{0xE0, 1, 0}, Mdie_Event::kPitchBend}));

TEST(EventConversionOfBends, CountsFromTheCentre) {
  const auto bend = [](Bytes iBytes) {
    return MakeEvent(SongMessageKind::kChannel, iBytes).AsPitchBend().GetBendValue();
  };
  EXPECT_EQ(bend({0xE0, 0, 0}), -8192);
  EXPECT_EQ(bend({0xE0, 0, 64}), 0);
  EXPECT_EQ(bend({0xE0, 127, 127}), 8191);
}

TEST(EventConversionOfPrograms, CarriesNoBank) {
  const Mdie_Event event = MakeEvent(SongMessageKind::kChannel, Bytes{0xC0, 5});
  EXPECT_TRUE(event.AsProgram().IsProgramEnabled());
  EXPECT_EQ(event.AsProgram().GetProgram(), 5);
  EXPECT_FALSE(event.AsProgram().IsLSBBankEnabled());
  EXPECT_FALSE(event.AsProgram().IsMSBBankEnabled());
}

TEST(EventConversionOfNoteOns, OfVelocity0TravelAsPacketsOfTheirThreeBytes) {
  const Test_AssertRecorder recorder;
  const Bytes bytes = {0x93, 60, 0};
  const Mdie_Event event = MakeEvent(SongMessageKind::kChannel, bytes);
  EXPECT_EQ(event.GetType(), Mdie_Event::kSysexPacket);
  EXPECT_EQ(MessageOf(event), bytes);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST(EventConversionOfChannelMessages, KeepsEveryPairOfDataBytesOfEveryKindAndFailsNoCheck) {
  const Test_AssertRecorder recorder;
  for (int status = 0x80; status < 0xF0; status += 0x10) {
    const bool hasOneDataByte = status == 0xC0 || status == 0xD0;
    for (int data = 0; data < 128 * (hasOneDataByte ? 1 : 128); ++data) {
      Bytes bytes = {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(data % 128)};
      if (!hasOneDataByte) bytes.push_back(static_cast<std::uint8_t>(data / 128));
      ASSERT_EQ(MessageOf(MakeEvent(SongMessageKind::kChannel, bytes)), bytes);
    }
  }
  EXPECT_EQ(recorder.Count(), 0);
}

TEST(EventConversionOfChannelModes, TravelAsPacketsOfTheirThreeBytes) {
  const Test_AssertRecorder recorder;
  for (int number = 120; number < 128; ++number) {
    const Bytes bytes = {0xB5, static_cast<std::uint8_t>(number), 1};
    const Mdie_Event event = MakeEvent(SongMessageKind::kChannel, bytes);
    EXPECT_EQ(event.GetType(), Mdie_Event::kSysexPacket) << number;
    EXPECT_EQ(MessageOf(event), bytes) << number;
  }
  EXPECT_EQ(recorder.Count(), 0);
}

TEST(EventConversionOfChannelModes, AllNotesOffIsAnEventOfItsOwn) {
  const Mdie_Event event = MakeEvent(SongMessageKind::kChannel, Bytes{0xB0, 123, 0});
  EXPECT_EQ(event.GetType(), Mdie_Event::kAllNotesOff);
  EXPECT_EQ(MessageOf(event), (Bytes{0xB0, 123, 0}));
}

TEST(EventConversionOfSysex, KeepsShortAndLongOnes) {
  const Test_AssertRecorder recorder;
  for (const std::size_t length : std::initializer_list<std::size_t>{2, 5, 77, 78, 79, 256, 5000}) {
    Bytes bytes(length, 0x11);
    bytes.front() = 0xF0;
    bytes.back() = 0xF7;
    const Mdie_Event event = MakeEvent(SongMessageKind::kSysex, bytes);
    EXPECT_EQ(event.GetType(), length <= 78 ? Mdie_Event::kShortSysex : Mdie_Event::kLongSysex) << length;
    EXPECT_EQ(MessageOf(event), bytes);
  }
  EXPECT_EQ(recorder.Count(), 0);
}

TEST(EventConversionOfRawBytes, KeepsThemInAPacketOrInASysexEvent) {
  const Test_AssertRecorder recorder;
  const Bytes small = {0x9A, 64, 100, 0xF8};
  EXPECT_EQ(MakeEvent(SongMessageKind::kRaw, small).GetType(), Mdie_Event::kSysexPacket);
  EXPECT_EQ(MessageOf(MakeEvent(SongMessageKind::kRaw, small)), small);
  const Bytes large(79, 0x22);
  EXPECT_EQ(MakeEvent(SongMessageKind::kRaw, large).GetType(), Mdie_Event::kLongSysex);
  EXPECT_EQ(MessageOf(MakeEvent(SongMessageKind::kRaw, large)), large);
  EXPECT_EQ(recorder.Count(), 0);
}

}  // namespace
