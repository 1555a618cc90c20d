// SPDX-License-Identifier: MIT
#include "mlox/mlox_mididata.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace {

// ---- Mlox_GetMIDIMessageLength ----

// All 256 lengths, 16 a line; data bytes without running status give 0.
constexpr int kLengths[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x00
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x10
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x20
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x30
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x40
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x50
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x60
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x70
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3,  // 0x80
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3,  // 0x90
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3,  // 0xA0
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3,  // 0xB0
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,  // 0xC0
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,  // 0xD0
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3,  // 0xE0
    0, 2, 3, 2, 1, 1, 1, 0, 1, 1, 1, 1, 1, 1, 1, 1,  // 0xF0
};

TEST(Mlox_GetMIDIMessageLength, AllBytesWithoutRunningStatusFollowTheTable) {
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(kLengths[byte], Mlox_GetMIDIMessageLength(static_cast<unsigned char>(byte), nullptr)) << byte;
  }
}

TEST(Mlox_GetMIDIMessageLength, AllStatusBytesReplaceTheRunningStatus) {
  for (int status = 0x80; status < 256; ++status) {
    unsigned char running = 0x55;
    EXPECT_EQ(kLengths[status], Mlox_GetMIDIMessageLength(static_cast<unsigned char>(status), &running))
        << status;
    EXPECT_EQ(status, running);
  }
}

TEST(Mlox_GetMIDIMessageLength, ADataByteTakesTheLengthOfAnyRunningStatusLessOneAndKeepsIt) {
  for (int status = 0; status < 256; ++status) {
    const int expected = kLengths[status] == 0 ? 0 : kLengths[status] - 1;
    for (const int byte : {0x00, 0x40, 0x7F}) {
      const auto data = static_cast<unsigned char>(byte);
      auto running = static_cast<unsigned char>(status);
      EXPECT_EQ(expected, Mlox_GetMIDIMessageLength(data, &running)) << "running status " << status;
      EXPECT_EQ(status, running);
    }
  }
}

TEST(Mlox_GetMIDIMessageLength, NoteOnIs3AndIsStoredAsRunningStatus) {
  EXPECT_EQ(3, Mlox_GetMIDIMessageLength(0x90, nullptr));
  unsigned char running = 0;
  EXPECT_EQ(3, Mlox_GetMIDIMessageLength(0x90, &running));
  EXPECT_EQ(0x90, running);
}

TEST(Mlox_GetMIDIMessageLength, ADataByteGives2After90And1AfterC0And0AfterF0OrF7OrNothing) {
  unsigned char running = 0x90;
  EXPECT_EQ(2, Mlox_GetMIDIMessageLength(60, &running));
  running = 0xC0;
  EXPECT_EQ(1, Mlox_GetMIDIMessageLength(60, &running));
  running = 0xF0;
  EXPECT_EQ(0, Mlox_GetMIDIMessageLength(60, &running));
  running = 0xF7;
  EXPECT_EQ(0, Mlox_GetMIDIMessageLength(60, &running));
  running = 0;
  EXPECT_EQ(0, Mlox_GetMIDIMessageLength(60, &running));
}

TEST(Mlox_GetMIDIMessageLength, ADataByteWithANullPointerGives0) {
  EXPECT_EQ(0, Mlox_GetMIDIMessageLength(0x40, nullptr));
}

// Settled behaviour, contrary to MIDI: real-time bytes end running status.
TEST(Mlox_GetMIDIMessageLength, AfterF8TheRunningStatusIsF8AndAFollowingDataByteGives0) {
  unsigned char running = 0x90;
  EXPECT_EQ(1, Mlox_GetMIDIMessageLength(0xF8, &running));
  EXPECT_EQ(0xF8, running);
  EXPECT_EQ(0, Mlox_GetMIDIMessageLength(60, &running));
}

// ---- Mlox_MidiData ----

TEST(Mlox_MidiData, IsAPlainRecordWithItsFieldsInOrder) {
  EXPECT_TRUE(std::is_trivially_copyable_v<Mlox_MidiData>);
  EXPECT_TRUE(std::is_standard_layout_v<Mlox_MidiData>);
  EXPECT_EQ(0u, offsetof(Mlox_MidiData, mData));
  EXPECT_LT(offsetof(Mlox_MidiData, mData), offsetof(Mlox_MidiData, mLength));
  EXPECT_LT(offsetof(Mlox_MidiData, mLength), offsetof(Mlox_MidiData, mInputID));
  EXPECT_LT(offsetof(Mlox_MidiData, mInputID), offsetof(Mlox_MidiData, mSysexState));
  EXPECT_LT(offsetof(Mlox_MidiData, mSysexState), offsetof(Mlox_MidiData, mTimeKind));
  EXPECT_LT(offsetof(Mlox_MidiData, mTimeKind), offsetof(Mlox_MidiData, mTime));
  EXPECT_LT(offsetof(Mlox_MidiData, mTime), offsetof(Mlox_MidiData, mIsTimeValid));
  EXPECT_EQ(4u, sizeof(Mlox_MidiData::ESysexState));
  EXPECT_EQ(4u, sizeof(Mlox_MidiData::mTimeKind));
  EXPECT_EQ(8u, sizeof(Mlox_MidiData::mTime));
}

TEST(Mlox_MidiData, EnumeratorsHaveTheirNumbers) {
  EXPECT_EQ(0, Mlox_MidiData::kNoSysex);
  EXPECT_EQ(1, Mlox_MidiData::kWholeSysex);
  EXPECT_EQ(2, Mlox_MidiData::kFirstSysex);
  EXPECT_EQ(3, Mlox_MidiData::kMiddleSysex);
  EXPECT_EQ(4, Mlox_MidiData::kLastSysex);
  EXPECT_EQ(0u, Mlox_MidiData::kClockTime);
  EXPECT_EQ(1u, Mlox_MidiData::kSampleTime);
}

// ---- Mlox_SetSysexState ----

struct Answer {
  int mField;
  int mReturned;
  bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& iAnswer, std::ostream* oStreamP) {
  *oStreamP << "field " << iAnswer.mField << ", returned " << iAnswer.mReturned;
}

Answer Step(int iState, const std::vector<std::uint8_t>& iBytes) {
  Mlox_MidiData data;
  data.mData = iBytes.data();
  data.mLength = static_cast<std::uint32_t>(iBytes.size());
  data.mSysexState = static_cast<Mlox_MidiData::ESysexState>(99);
  const int returned = Mlox_SetSysexState(&data, static_cast<Mlox_MidiData::ESysexState>(iState));
  return {data.mSysexState, returned};
}

TEST(Mlox_SetSysexState, ANullRecordGives0) {
  EXPECT_EQ(0, Mlox_SetSysexState(nullptr, Mlox_MidiData::kMiddleSysex));
}

TEST(Mlox_SetSysexState, ThreePiecesGive2And3And4AndReturn2And3And0) {
  EXPECT_EQ((Answer{2, 2}), Step(0, {0xF0, 1, 2}));
  EXPECT_EQ((Answer{3, 3}), Step(2, {3, 4}));
  EXPECT_EQ((Answer{3, 3}), Step(3, {5}));
  EXPECT_EQ((Answer{4, 0}), Step(3, {6, 0xF7}));
}

TEST(Mlox_SetSysexState, TwoPiecesGive2And4) {
  EXPECT_EQ((Answer{2, 2}), Step(0, {0xF0}));
  EXPECT_EQ((Answer{4, 0}), Step(2, {0xF7}));
}

TEST(Mlox_SetSysexState, OnePieceFromF0ToF7Gives1AndReturns0) {
  EXPECT_EQ((Answer{1, 0}), Step(0, {0xF0, 1, 2, 0xF7}));
}

TEST(Mlox_SetSysexState, APieceThatStartsWithF0WhileTheStateIs3GivesField0AndReturns0) {
  EXPECT_EQ((Answer{0, 0}), Step(3, {0xF0, 1}));
  EXPECT_EQ((Answer{0, 0}), Step(2, {0xF0, 1}));
  EXPECT_EQ((Answer{0, 0}), Step(2, {0xF0, 1, 0xF7}));
}

TEST(Mlox_SetSysexState, PlainChannelMessagesWithState0GiveField0AndReturn0) {
  EXPECT_EQ((Answer{0, 0}), Step(0, {0x90, 60, 100, 0x80, 60, 0}));
  EXPECT_EQ((Answer{0, 0}), Step(0, {0xF7}));
}

TEST(Mlox_SetSysexState, Length0WithState2GivesField0AndReturns2) {
  EXPECT_EQ((Answer{0, 2}), Step(2, {}));
  EXPECT_EQ((Answer{0, 3}), Step(3, {}));
  EXPECT_EQ((Answer{0, 0}), Step(0, {}));
}

TEST(Mlox_SetSysexState, LengthWithoutBytesKeepsTheState) {
  Mlox_MidiData data;
  data.mLength = 3;
  data.mSysexState = Mlox_MidiData::kLastSysex;
  EXPECT_EQ(Mlox_MidiData::kMiddleSysex, Mlox_SetSysexState(&data, Mlox_MidiData::kMiddleSysex));
  EXPECT_EQ(Mlox_MidiData::kNoSysex, data.mSysexState);
}

TEST(Mlox_SetSysexState, BytesWithLength0AreNotRead) {
  const std::uint8_t start = 0xF0;
  Mlox_MidiData data;
  data.mData = &start;
  EXPECT_EQ(Mlox_MidiData::kFirstSysex, Mlox_SetSysexState(&data, Mlox_MidiData::kFirstSysex));
  EXPECT_EQ(Mlox_MidiData::kNoSysex, data.mSysexState);
}

TEST(Mlox_SetSysexState, State5GivesField0AndReturns0) {
  EXPECT_EQ((Answer{0, 0}), Step(5, {0xF0, 1}));
  EXPECT_EQ((Answer{0, 0}), Step(5, {1, 2}));
  EXPECT_EQ((Answer{0, 0}), Step(5, {}));
  EXPECT_EQ((Answer{0, 0}), Step(-1, {0xF0, 1}));
  EXPECT_EQ((Answer{0, 0}), Step(-1, {1, 0xF7}));
}

TEST(Mlox_SetSysexState, States1And4CountAs0) {
  for (const int state : {1, 4}) {
    EXPECT_EQ((Answer{2, 2}), Step(state, {0xF0, 1}));
    EXPECT_EQ((Answer{1, 0}), Step(state, {0xF0, 0xF7}));
    EXPECT_EQ((Answer{0, 0}), Step(state, {1, 2}));
    EXPECT_EQ((Answer{0, 0}), Step(state, {})) << "the returned state is the one counted with, 0";
  }
}

TEST(Mlox_SetSysexState, BytesBehindTheEndAreNotLookedAt) {
  EXPECT_EQ((Answer{1, 0}), Step(0, {0xF0, 1, 0xF7, 0xF0, 2}));
  EXPECT_EQ((Answer{4, 0}), Step(3, {1, 0xF7, 0xF0, 2}));
}

TEST(Mlox_SetSysexState, InsideAMessageAPieceOfRealTimeOrChannelBytesCountsAsItsMiddle) {
  EXPECT_EQ((Answer{3, 3}), Step(2, {0xF8}));
  EXPECT_EQ((Answer{3, 3}), Step(3, {0x90, 60, 100}));
  EXPECT_EQ((Answer{4, 0}), Step(3, {0x90, 60, 100, 0xF7}));
}

TEST(Mlox_SetSysexState, OnlyTheFieldOfTheRecordIsWritten) {
  const std::uint8_t bytes[] = {0xF0, 1, 0xF7};
  Mlox_MidiData data;
  data.mData = bytes;
  data.mLength = 3;
  data.mInputID = Mlox_InputID(2, 7);
  data.mTimeKind = Mlox_MidiData::kSampleTime;
  data.mTime = 123;
  data.mIsTimeValid = true;
  Mlox_SetSysexState(&data, Mlox_MidiData::kNoSysex);
  EXPECT_EQ(bytes, data.mData);
  EXPECT_EQ(3u, data.mLength);
  EXPECT_EQ(Mlox_InputID(2, 7), data.mInputID);
  EXPECT_EQ(1u, data.mTimeKind);
  EXPECT_EQ(123, data.mTime);
  EXPECT_TRUE(data.mIsTimeValid);
}

}  // namespace
