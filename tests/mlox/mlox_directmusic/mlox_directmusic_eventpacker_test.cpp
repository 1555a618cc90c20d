// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_eventpacker.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Packer = Mlox_DirectMusic_EventPacker;

constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();

// What a packer asks for, in order. A sleep moves the clock on.
class RecordingTarget final : public Packer::Target {
 public:
  struct Sent {
    bool mImmediate;
    std::int64_t mTime;
    Bytes mBytes;
  };

  void Send(bool iImmediate, std::int64_t iTime, const unsigned char* iDataP, int iLength) override {
    mSent.push_back({iImmediate, iTime, Bytes(iDataP, iDataP + iLength)});
    mLog.push_back("send " + std::to_string(iLength));
  }
  bool IsStopped() override {
    mLog.emplace_back("stopped?");
    return mStopAfter >= 0 && static_cast<int>(mSent.size()) >= mStopAfter;
  }
  std::int64_t Now() override { return mNow; }
  void Sleep(std::int64_t iMilliseconds) override {
    mSleeps.push_back(iMilliseconds);
    mLog.push_back("sleep " + std::to_string(iMilliseconds));
  }

  std::vector<Sent> mSent;
  std::vector<std::int64_t> mSleeps;
  std::vector<std::string> mLog;
  std::int64_t mNow = 0;
  int mStopAfter = -1;  // stopped once this many sends are made; -1: never
};

// An event with messages of the test's choice.
struct FakeEvent {
  std::vector<Bytes> mMessages;
  std::vector<int> mLengths = {};  // told in place of the true lengths, if there are any
  Mdie_Event::EType mType = Mdie_Event::kLongSysex;

  int GetNumMessages() const { return static_cast<int>(mMessages.size()); }
  int GetMessageLength(int iIndex) const {
    const auto index = static_cast<std::size_t>(iIndex);
    return mLengths.empty() ? static_cast<int>(mMessages[index].size()) : mLengths[index];
  }
  void GetMessageData(signed char* oDataP, int iIndex) const {
    GetPartialMessageData(oDataP, iIndex, 0, GetMessageLength(iIndex));
  }
  void GetPartialMessageData(signed char* oDataP, int iIndex, int iOffset, int iLength) const {
    for (int i = 0; i < iLength; ++i)
      oDataP[i] = static_cast<signed char>(
          mMessages[static_cast<std::size_t>(iIndex)][static_cast<std::size_t>(iOffset + i)]);
  }
  Mdie_Event::EType GetType() const { return mType; }
};

// 0xF0, data bytes that tell their place, 0xF7.
Bytes Sysex(std::size_t iLength) {
  Bytes bytes(iLength);
  for (std::size_t i = 0; i < iLength; ++i) bytes[i] = static_cast<unsigned char>(i % 127);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

Mdie_SysexEvent SysexEvent(std::size_t iLength) {
  const Bytes bytes = Sysex(iLength);
  return {static_cast<int>(bytes.size()), bytes.data()};
}

Bytes Part(const Bytes& iBytes, std::size_t iFrom, std::size_t iLength) {
  return {iBytes.begin() + static_cast<std::ptrdiff_t>(iFrom),
          iBytes.begin() + static_cast<std::ptrdiff_t>(iFrom + iLength)};
}

template <class Event>
RecordingTarget Write(const Event& iEvent, short iChannel, bool iImmediate = false, std::int64_t iTime = 0) {
  RecordingTarget target;
  Packer(target, iChannel).Write(iEvent, iImmediate, iTime);
  return target;
}

// ---- the channel ----

TEST(Mlox_DirectMusic_EventPacker, NoteOnOnChannel3GoesOutAs0x93) {
  const RecordingTarget target = Write(Mdie_NoteOnEvent(60, 100), 3);
  ASSERT_EQ(target.mSent.size(), 1u);
  EXPECT_EQ(target.mSent[0].mBytes, (Bytes{0x93, 60, 100}));
}

TEST(Mlox_DirectMusic_EventPacker, NoteOnOnTheCommonOutputGoesOutAs0xFF) {
  const RecordingTarget target = Write(Mdie_NoteOnEvent(60, 100), -1);
  ASSERT_EQ(target.mSent.size(), 1u);
  EXPECT_EQ(target.mSent[0].mBytes, (Bytes{0xFF, 60, 100}));
}

TEST(Mlox_DirectMusic_EventPacker, ImposesChannelsOnVoiceMessagesAlone) {
  EXPECT_EQ(Packer::ImposeChannel(0x80, 15), 0x8F);
  EXPECT_EQ(Packer::ImposeChannel(0xEF, 0), 0xE0);
  EXPECT_EQ(Packer::ImposeChannel(0x7F, 5), 0x7F);
  EXPECT_EQ(Packer::ImposeChannel(0xF0, 5), 0xF0);
  EXPECT_EQ(Packer::ImposeChannel(0xFF, 5), 0xFF);
  EXPECT_EQ(Packer::ImposeChannel(0x80, -1), 0xFF);
  EXPECT_EQ(Packer::ImposeChannel(0xF8, -1), 0xF8);
}

TEST(Mlox_DirectMusic_EventPacker, ImposesTheChannelOnEachMessageOfAnEvent) {
  // MSB 1, LSB 2, program 3, all enabled
  const RecordingTarget target = Write(Mdie_ProgramEvent(3, 1 * 128 + 2), 9, false, 500);
  ASSERT_EQ(target.mSent.size(), 1u);
  EXPECT_EQ(target.mSent[0].mBytes, (Bytes{0xB9, 0, 1, 0xB9, 32, 2, 0xC9, 3}));
  EXPECT_EQ(target.mSent[0].mTime, 500);
  EXPECT_FALSE(target.mSent[0].mImmediate);
}

TEST(Mlox_DirectMusic_EventPacker, SystemMessagesKeepTheirStatusOnEveryOutput) {
  EXPECT_EQ(Write(Mdie_TimingClockEvent(), 4).mSent.at(0).mBytes, (Bytes{0xF8}));
  EXPECT_EQ(Write(Mdie_TimingClockEvent(), -1).mSent.at(0).mBytes, (Bytes{0xF8}));
}

// ---- sharing a send ----

TEST(Mlox_DirectMusic_EventPacker, TwoMessagesOf200BytesGoOutInTwoSendsWithTheSameStamp) {
  const RecordingTarget target = Write(FakeEvent{{Sysex(200), Sysex(200)}}, 0, false, 777);
  ASSERT_EQ(target.mSent.size(), 2u);
  EXPECT_EQ(target.mSent[0].mBytes, Sysex(200));
  EXPECT_EQ(target.mSent[1].mBytes, Sysex(200));
  EXPECT_EQ(target.mSent[0].mTime, 777);
  EXPECT_EQ(target.mSent[1].mTime, 777);
  EXPECT_FALSE(target.mSent[0].mImmediate);
  EXPECT_FALSE(target.mSent[1].mImmediate);
  EXPECT_TRUE(target.mSleeps.empty());
}

TEST(Mlox_DirectMusic_EventPacker, MessagesThatFillASendExactlyShareIt) {
  const RecordingTarget target = Write(FakeEvent{{Sysex(200), Sysex(56)}}, 0);
  ASSERT_EQ(target.mSent.size(), 1u);
  EXPECT_EQ(target.mSent[0].mBytes.size(), 256u);
}

TEST(Mlox_DirectMusic_EventPacker, OneByteMoreThanASendStartsAnother) {
  const RecordingTarget target = Write(FakeEvent{{Sysex(200), Sysex(57)}}, 0);
  ASSERT_EQ(target.mSent.size(), 2u);
  EXPECT_EQ(target.mSent[0].mBytes.size(), 200u);
  EXPECT_EQ(target.mSent[1].mBytes.size(), 57u);
}

TEST(Mlox_DirectMusic_EventPacker, MessagesWithoutALengthAreSkipped) {
  const FakeEvent event{{{0x90, 1, 1}, {0x90, 2, 2}, {0x90, 3, 3}}, {0, -5, 3}};
  const RecordingTarget target = Write(event, 0);
  ASSERT_EQ(target.mSent.size(), 1u);
  EXPECT_EQ(target.mSent[0].mBytes, (Bytes{0x90, 3, 3}));
}

TEST(Mlox_DirectMusic_EventPacker, NothingIsSentForNoBytesAtAll) {
  EXPECT_TRUE(Write(FakeEvent{{{0x90, 1, 1}}, {0}}, 0).mLog.empty());
  EXPECT_TRUE(Write(FakeEvent{{}}, 0).mLog.empty());
}

TEST(Mlox_DirectMusic_EventPacker, AnImmediateEventIsSentAsSuch) {
  const RecordingTarget target = Write(Mdie_NoteOnEvent(1, 2), 0, true, 0);
  ASSERT_EQ(target.mSent.size(), 1u);
  EXPECT_TRUE(target.mSent[0].mImmediate);
  EXPECT_EQ(target.mSent[0].mTime, 0);
}

// ---- long messages ----

TEST(Mlox_DirectMusic_EventPacker, AMessageOf256BytesIsNotLong) {
  const RecordingTarget target = Write(SysexEvent(256), 0, false, 1000);
  ASSERT_EQ(target.mSent.size(), 1u);
  EXPECT_EQ(target.mSent[0].mBytes, Sysex(256));
  EXPECT_FALSE(target.mSent[0].mImmediate);
  EXPECT_TRUE(target.mSleeps.empty());
}

TEST(Mlox_DirectMusic_EventPacker, AMessageOf257BytesGoesOutInPiecesOf256And1AtTheSpeedOfTheWire) {
  const RecordingTarget target = Write(SysexEvent(257), 0, false, 1000);
  ASSERT_EQ(target.mSent.size(), 2u);
  EXPECT_EQ(target.mSent[0].mBytes, Part(Sysex(257), 0, 256));
  EXPECT_EQ(target.mSent[1].mBytes, (Bytes{0xF7}));
  EXPECT_EQ(target.mSent[0].mTime, 1000);
  EXPECT_EQ(target.mSent[1].mTime, 1000 + 81920);
  EXPECT_TRUE(target.mSent[0].mImmediate);
  EXPECT_TRUE(target.mSent[1].mImmediate);
  EXPECT_EQ(target.mSleeps, (std::vector<std::int64_t>{82, 1}));
}

TEST(Mlox_DirectMusic_EventPacker, APieceIsReadThenTheStopIsAskedThenItIsSentThenSlept) {
  const RecordingTarget target = Write(SysexEvent(300), 0, true);
  EXPECT_EQ(target.mLog, (std::vector<std::string>{"stopped?", "send 256", "sleep 82", "stopped?", "send 44",
                                                   "sleep 15"}));
}

TEST(Mlox_DirectMusic_EventPacker, PausesAreTheWireTimeAndOneCutToWholeMilliseconds) {
  EXPECT_EQ(Packer::PauseAfter(1), 1);     // 1.32
  EXPECT_EQ(Packer::PauseAfter(3), 1);     // 1.96
  EXPECT_EQ(Packer::PauseAfter(4), 2);     // 2.28
  EXPECT_EQ(Packer::PauseAfter(255), 82);  // 82.6
  EXPECT_EQ(Packer::PauseAfter(256), 82);  // 82.92
}

TEST(Mlox_DirectMusic_EventPacker, ALongMessage10SecondsAheadKeepsItsWriterForAsLong) {
  RecordingTarget target;
  target.mNow = 3000000;
  Packer(target, 0).Write(SysexEvent(257), false, 13000000);
  EXPECT_EQ(target.mSleeps, (std::vector<std::int64_t>{10000, 82, 1}));
  EXPECT_EQ(target.mLog.front(), "sleep 10000");
}

TEST(Mlox_DirectMusic_EventPacker, ALongMessage40MillisecondsAheadIsSentAtOnce) {
  RecordingTarget target;
  target.mNow = 3000000;
  Packer(target, 0).Write(SysexEvent(257), false, 3040000);
  EXPECT_EQ(target.mSleeps, (std::vector<std::int64_t>{82, 1}));
}

TEST(Mlox_DirectMusic_EventPacker, ALongMessageWaitsFromMoreThan50MillisecondsOn) {
  RecordingTarget at50;
  at50.mNow = 1000;
  Packer(at50, 0).Write(SysexEvent(257), false, 51000);
  EXPECT_EQ(at50.mSleeps, (std::vector<std::int64_t>{82, 1}));
  RecordingTarget above;
  above.mNow = 1000;
  Packer(above, 0).Write(SysexEvent(257), false, 51001);
  EXPECT_EQ(above.mSleeps, (std::vector<std::int64_t>{50, 82, 1}));
}

TEST(Mlox_DirectMusic_EventPacker, OnlyALongSysexWaitsForItsTime) {
  FakeEvent event{{Sysex(257)}};
  event.mType = Mdie_Event::kSysexPacket;
  EXPECT_EQ(Write(event, 0, false, 10000000).mSleeps, (std::vector<std::int64_t>{82, 1}));
}

TEST(Mlox_DirectMusic_EventPacker, AnImmediateLongSysexDoesNotWait) {
  EXPECT_EQ(Write(SysexEvent(257), 0, true, 10000000).mSleeps, (std::vector<std::int64_t>{82, 1}));
}

TEST(Mlox_DirectMusic_EventPacker, WhatWasPackedGoesOutInFrontOfALongMessage) {
  const RecordingTarget target = Write(FakeEvent{{{0x90, 1, 1}, Sysex(257), {0x80, 1, 1}}}, 2, false, 60);
  ASSERT_EQ(target.mSent.size(), 4u);
  EXPECT_EQ(target.mSent[0].mBytes, (Bytes{0x92, 1, 1}));
  EXPECT_FALSE(target.mSent[0].mImmediate);
  EXPECT_EQ(target.mSent[1].mBytes.size(), 256u);
  EXPECT_EQ(target.mSent[2].mBytes.size(), 1u);
  EXPECT_EQ(target.mSent[3].mBytes, (Bytes{0x82, 1, 1}));
  EXPECT_FALSE(target.mSent[3].mImmediate);
  EXPECT_EQ(target.mSent[3].mTime, 60);
}

TEST(Mlox_DirectMusic_EventPacker, TheChannelIsNotImposedOnALongMessage) {
  Bytes bytes(300, 1);
  bytes[0] = 0x90;
  EXPECT_EQ(Write(FakeEvent{{bytes}}, 3).mSent.at(0).mBytes.front(), 0x90);
}

TEST(Mlox_DirectMusic_EventPacker, AStopAbandonsTheRestOfALongMessageAndOfTheEvent) {
  RecordingTarget target;
  target.mStopAfter = 2;
  Packer(target, 0).Write(FakeEvent{{{0x90, 1, 1}, Sysex(1000), {0x80, 1, 1}}}, true, 0);
  ASSERT_EQ(target.mSent.size(), 2u);
  EXPECT_EQ(target.mSent[0].mBytes, (Bytes{0x90, 1, 1}));
  EXPECT_EQ(target.mSent[1].mBytes, Part(Sysex(1000), 0, 256)) << "no 0xF7 follows: the message is cut";
}

TEST(Mlox_DirectMusic_EventPacker, AStopDuringTheWaitSendsNothing) {
  RecordingTarget target;
  target.mStopAfter = 0;
  Packer(target, 0).Write(SysexEvent(257), false, 10000000);
  EXPECT_TRUE(target.mSent.empty());
  EXPECT_EQ(target.mSleeps, (std::vector<std::int64_t>{10000}));
}

TEST(Mlox_DirectMusic_EventPacker, AStopDoesNotConcernShortMessages) {
  RecordingTarget target;
  target.mStopAfter = 0;
  Packer(target, 0).Write(Mdie_NoteOnEvent(1, 1), true, 0);
  EXPECT_EQ(target.mSent.size(), 1u);
}

TEST(Mlox_DirectMusic_EventPacker, APackerServesOneEventAfterTheOther) {
  RecordingTarget target;
  target.mStopAfter = 1;
  Packer packer(target, 0);
  packer.Write(FakeEvent{{Sysex(300)}}, true, 0);
  packer.Write(Mdie_NoteOnEvent(5, 6), false, 9);
  ASSERT_EQ(target.mSent.size(), 2u);
  EXPECT_EQ(target.mSent[1].mBytes, (Bytes{0x90, 5, 6}));
  EXPECT_EQ(target.mSent[1].mTime, 9);
}

// ---- times out of reach ----

TEST(Mlox_DirectMusic_EventPacker, TimesOfPiecesAreCountedIn64Bits) {
  // 6,710,887 bytes take longer than 31 bits of microseconds.
  EXPECT_EQ(Packer::TimeOfPiece(0, 6710887), 2147483840);
  EXPECT_EQ(Packer::TimeOfPiece(1000, std::numeric_limits<int>::max()), 687194767040 + 1000);
}

TEST(Mlox_DirectMusic_EventPacker, TimesOfPiecesEndAtTheLatestTime) {
  EXPECT_EQ(Packer::TimeOfPiece(kLatest, 256), kLatest);
  EXPECT_EQ(Packer::TimeOfPiece(kLatest - 81920, 256), kLatest);
  EXPECT_EQ(Packer::TimeOfPiece(kEarliest, 256), kEarliest + 81920);
}

TEST(Mlox_DirectMusic_EventPacker, ExtremeTimesAndClocksDoNotOverflow) {
  for (const std::int64_t now : {kEarliest, std::int64_t{0}, kLatest}) {
    for (const std::int64_t time : {kEarliest, std::int64_t{0}, kLatest}) {
      RecordingTarget target;
      target.mNow = now;
      Packer(target, 0).Write(SysexEvent(257), false, time);
      EXPECT_EQ(target.mSent.size(), 2u) << now << " " << time;
      EXPECT_EQ(target.mSleeps.size(), now != kLatest && time == kLatest ? 3u : 2u) << now << " " << time;
    }
  }
}

// ---- raw bytes ----

struct RawCase {
  const char* mName;
  Bytes mIn;
  bool mIsGood;
  Bytes mOut;
};

TEST(Mlox_DirectMusic_EventPacker, RawMessagesAreWalkedAndGetTheChannel) {
  const RawCase cases[] = {
      {"one note", {0x90, 60, 1}, true, {0x95, 60, 1}},
      {"several messages", {0xC0, 3, 0xB1, 7, 100, 0xF8}, true, {0xC5, 3, 0xB5, 7, 100, 0xF8}},
      {"running status", {0x90, 60, 1, 61, 1}, true, {0x95, 60, 1, 61, 1}},
      {"a truncated tail", {0x90, 60, 1, 0x80, 60}, false, {}},
      {"a truncated running message", {0x90, 60, 1, 61}, false, {}},
      {"data without a status", {60, 1}, false, {}},
      {"data behind a real-time byte: that is the running status now", {0x90, 60, 1, 0xF8, 61, 1}, false, {}},
      {"the end of a system exclusive message", {0x90, 60, 1, 0xF7}, false, {}},
      {"system exclusive behind a message", {0x90, 60, 1, 0xF0, 1, 0xF7}, false, {}},
  };
  for (const RawCase& item : cases) {
    SCOPED_TRACE(item.mName);
    Bytes out(item.mIn.size());
    const bool isGood = Packer::CopyRaw(item.mIn.data(), static_cast<int>(item.mIn.size()), 5, out.data());
    EXPECT_EQ(isGood, item.mIsGood);
    EXPECT_EQ(isGood ? out : Bytes{}, item.mOut);
  }
}

TEST(Mlox_DirectMusic_EventPacker, RawVoiceMessagesOnTheCommonOutputBecome0xFF) {
  const Bytes in{0x90, 60, 1};
  Bytes out(3);
  EXPECT_TRUE(Packer::CopyRaw(in.data(), 3, -1, out.data()));
  EXPECT_EQ(out, (Bytes{0xFF, 60, 1}));
}

}  // namespace
