// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_deliverymessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "mdid/mdie_controlevents.h"
#include "mdid/mdie_systemevents.h"
#include "mlox/mlox_directmidi/mlox_dm_timedevent.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/support/assert_recorder.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

// A status byte as a buffer's old content: a channel imposed where nothing was read would show.
constexpr auto kOldStatus = static_cast<signed char>(0x9A);

Mlox_DM_TimedEvent Record(const Mdie_Event& iEvent, const Mdie_Timestamp& iTimestamp = Test_At(10)) {
  return {iTimestamp, iEvent};
}

// A packet goes out as its bytes stand, so a test can choose the status byte.
Mdie_SysexPacketEvent Packet(std::initializer_list<unsigned char> iBytes) {
  return Mdie_SysexPacketEvent(static_cast<int>(iBytes.size()), iBytes.begin());
}

TEST(Mlox_DM_DeliveryMessageTest, AChannelIsImposedOnANoteOnUnlessItIsNegative) {
  const auto record = Record(Packet({0x91, 60, 100}));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 5);
  EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{0x95, 60, 100}));
  message.Set(&record, 0, -1);
  EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{0x91, 60, 100}));
}

TEST(Mlox_DM_DeliveryMessageTest, ChannelZeroIsARealChannel) {
  const auto record = Record(Packet({0x93, 60, 100}));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 0);
  EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{0x90, 60, 100}));
}

TEST(Mlox_DM_DeliveryMessageTest, ChannelsAreImposedFrom80ToEFAndOnNoSystemMessage) {
  const struct {
    unsigned char mStatus;
    int mExpected;
  } kRows[] = {{0x80, 0x82}, {0xBF, 0xB2}, {0xEF, 0xE2}, {0xF0, 0xF0},
               {0xF8, 0xF8}, {0xFF, 0xFF}, {0x7F, 0x7F}};
  for (const auto& row : kRows) {
    const auto record = Record(Packet({row.mStatus, 1, 2}));
    Mlox_DM_DeliveryMessage message;
    message.Set(&record, 0, 2);
    EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{row.mExpected, 1, 2}));
  }
}

TEST(Mlox_DM_DeliveryMessageTest, SysexIsNeverChanged) {
  for (const int length : {6, 200}) {
    const auto record = Record(Test_Sysex(length));
    Mlox_DM_DeliveryMessage message;
    message.Set(&record, 0, 7);
    EXPECT_EQ(message.GetMessageLength(), length);
    EXPECT_EQ(Test_Read(message).mBytes, Test_SysexBytes(length));
  }
}

TEST(Mlox_DM_DeliveryMessageTest, TheLowEightBitsOfTheChannelCountAsSigned) {
  const auto record = Record(Packet({0x91, 60, 100}));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, static_cast<int16_t>(0x0103));
  EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{0x93, 60, 100}));
  message.Set(&record, 0, 0x0080);
  EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{0x91, 60, 100})) << "0x80 is negative";
}

TEST(Mlox_DM_DeliveryMessageTest, AChannelAbove15IsReportedAndUsed) {
  Test_AssertRecorder recorder;
  const auto record = Record(Packet({0x90, 60, 100}));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 16);
  EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{0x90, 60, 100})) << "0x90 OR 0x10";
  message.Set(&record, 0, 0x21);
  EXPECT_EQ(Test_Read(message).mBytes, (Test_Bytes{0xB1, 60, 100})) << "0x90 OR 0x21";
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("iChannel >= 0 && iChannel <= 15", "iChannel >= 0 && iChannel <= 15"));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mdi/mdi_messageutils");
}

TEST(Mlox_DM_DeliveryMessageTest, AChannelAbove15IsOfNoConcernToASystemMessage) {
  Test_AssertRecorder recorder;
  const struct {
    Mdie_Event mEvent;
    Test_Bytes mBytes;
  } kRows[] = {{Mdie_TimingClockEvent(), {0xF8}},
               {Test_Sysex(6), Test_SysexBytes(6)},
               {Test_Sysex(200), Test_SysexBytes(200)},
               {Packet({0xF0, 1, 2}), {0xF0, 1, 2}},
               {Packet({0x7F, 1, 2}), {0x7F, 1, 2}}};
  for (const auto& row : kRows) {
    const auto record = Record(row.mEvent);
    Mlox_DM_DeliveryMessage message;
    message.Set(&record, 0, 16);
    EXPECT_EQ(Test_Read(message).mBytes, row.mBytes);
    signed char first = kOldStatus;
    message.GetPartialMessageData(&first, 0, 1);
    EXPECT_EQ(static_cast<unsigned char>(first), row.mBytes[0]);
  }
  EXPECT_EQ(recorder.Count(), 0);
}

TEST(Mlox_DM_DeliveryMessageTest, PartialDataCarriesTheChannelAtOffset0AndNowhereElse) {
  const auto record = Record(Packet({0x91, 0x92, 0x93}));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 5);
  std::array<signed char, 3> buffer{};
  message.GetPartialMessageData(buffer.data(), 0, 2);
  EXPECT_THAT(buffer, ElementsAre(static_cast<signed char>(0x95), static_cast<signed char>(0x92), 0));
  buffer.fill(0);
  message.GetPartialMessageData(buffer.data(), 1, 2);
  EXPECT_THAT(buffer, ElementsAre(static_cast<signed char>(0x92), static_cast<signed char>(0x93), 0))
      << "a byte at offset 1 isn't the status byte, whatever it looks like";
}

TEST(Mlox_DM_DeliveryMessageTest, PartialDataWithACountOf0OrBelowLeavesTheBufferUntouched) {
  const auto record = Record(Packet({0x91, 60, 100}));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 5);
  std::array<signed char, 2> buffer{kOldStatus, kOldStatus};
  message.GetPartialMessageData(buffer.data(), 0, 0);
  message.GetPartialMessageData(buffer.data(), 1, 0);
  message.GetPartialMessageData(buffer.data(), 0, -1);
  EXPECT_THAT(buffer, Each(kOldStatus));
}

TEST(Mlox_DM_DeliveryMessageTest, PartialDataFromBeforeTheMessageLeavesTheBufferUntouched) {
  const auto record = Record(Packet({0x91, 60, 100}));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 5);
  std::array<signed char, 2> buffer{kOldStatus, kOldStatus};
  message.GetPartialMessageData(buffer.data(), -1, 2);
  EXPECT_THAT(buffer, Each(kOldStatus)) << "the channel goes with an offset of exactly 0";
}

TEST(Mlox_DM_DeliveryMessageTest, PartialDataIsThatOfTheMessageThatTheViewShows) {
  const auto record = Record(Test_BankAndProgram(1, 2, 3));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 2, 4);
  std::array<signed char, 2> buffer{};
  message.GetPartialMessageData(buffer.data(), 0, 2);
  EXPECT_THAT(buffer, ElementsAre(static_cast<signed char>(0xC4), 3));
}

TEST(Mlox_DM_DeliveryMessageTest, PartialDataCutsALongSysex) {
  const auto record = Record(Test_Sysex(300));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 5);
  std::array<signed char, 2> buffer{};
  message.GetPartialMessageData(buffer.data(), 298, 2);
  EXPECT_THAT(buffer, ElementsAre(0x11, static_cast<signed char>(0xF7)));
}

TEST(Mlox_DM_DeliveryMessageTest, SampleTimeIsThatOfTheStampMinus1WhenImmediateAnd0WhenEmpty) {
  Mlox_DM_DeliveryMessage message;
  EXPECT_EQ(message.GetSampleTime(), 0);
  const auto timed = Record(Mdie_NoteOnEvent(60, 1), Test_At(123456789012345));
  message.Set(&timed, 0, 0);
  EXPECT_EQ(message.GetSampleTime(), 123456789012345);
  const auto immediate = Record(Mdie_NoteOnEvent(60, 1), Mdie_Timestamp());
  message.Set(&immediate, 0, 0);
  EXPECT_EQ(message.GetSampleTime(), -1);
  message.Set(nullptr, 0, 0);
  EXPECT_EQ(message.GetSampleTime(), 0);
}

TEST(Mlox_DM_DeliveryMessageTest, ANegativeSampleTimeIsReportedAndReturned) {
  Test_AssertRecorder recorder;
  const auto record = Record(Mdie_NoteOnEvent(60, 1), Test_At(-44100));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 0);
  EXPECT_EQ(message.GetSampleTime(), -44100);
  EXPECT_THAT(recorder.Texts(), ElementsAre("result >= 0"));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_deliverymessage");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_TRUE(recorder.Reports()[0].mRealTime)
      << "a plug-in reads on its audio thread: nothing is printed there";
}

TEST(Mlox_DM_DeliveryMessageTest, AnEmptyMessageHasLength0AndWritesNothing) {
  const auto record = Record(Packet({0x91, 60, 100}));
  Mlox_DM_DeliveryMessage message;
  std::array<signed char, 2> buffer{kOldStatus, kOldStatus};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(message.GetMessageLength(), 0);
    message.GetMessageData(buffer.data());
    message.GetPartialMessageData(buffer.data(), 0, 2);
    EXPECT_THAT(buffer, Each(kOldStatus));
    message.Set(&record, 0, 1);
    message.Set(nullptr, 0, 0);  // cleared, as before its record is freed
  }
}

TEST(Mlox_DM_DeliveryMessageTest, AnEventOfThreeMessagesIsShownAsThreeViewsOverOneRecord) {
  const auto record = Record(Test_BankAndProgram(1, 2, 3));
  Mlox_DM_DeliveryMessage message;
  message.Set(&record, 0, 4);
  EXPECT_EQ(Test_Read(message), (Test_Pulled{10, {0xB4, 0x00, 1}}));
  message.Set(&record, 1, 4);
  EXPECT_EQ(Test_Read(message), (Test_Pulled{10, {0xB4, 0x20, 2}}));
  message.Set(&record, 2, 4);
  EXPECT_EQ(Test_Read(message), (Test_Pulled{10, {0xC4, 3}}));
}

TEST(Mlox_DM_DeliveryMessageTest, TheInterfaceCountOfAnIdleMessageIs0AndAskingDoesNotDestroyIt) {
  const auto record = Record(Mdie_NoteOnEvent(60, 1));
  Mlox_DM_DeliveryMessage message;  // on the stack: a deletion would end the test
  message.Set(&record, 0, 0);
  EXPECT_EQ(message.GetInterfaceRefCount(), 0u);
  EXPECT_EQ(message.GetInterfaceRefCount(), 0u);
  EXPECT_EQ(message.GetSampleTime(), 10);
  message.AddRef();
  EXPECT_EQ(message.GetInterfaceRefCount(), 1u);
  message.Release();
}

TEST(Mlox_DM_DeliveryMessageTest, ReleaseTo0LeavesTheObjectUsableForTheNextSet) {
  const auto first = Record(Mdie_NoteOnEvent(60, 1));
  const auto second = Record(Mdie_NoteOnEvent(61, 2), Test_At(20));
  Mlox_DM_DeliveryMessage message;
  message.Set(&first, 0, 0);
  EXPECT_EQ(message.AddRef(), 1u);
  EXPECT_EQ(message.Release(), 0u);
  message.Set(&second, 0, 0);
  EXPECT_EQ(message.AddRef(), 1u);
  EXPECT_EQ(Test_Read(message), (Test_Pulled{20, {0x90, 61, 2}}));
  EXPECT_EQ(message.Release(), 0u);
}

TEST(Mlox_DM_DeliveryMessageTest, QueryInterfaceAnswersForTheMessageInterface) {
  Mlox_DM_DeliveryMessage message;
  void* resultP = nullptr;
  EXPECT_EQ(message.QueryInterface(IDirectMIDIMessage::kUID, &resultP), 0);
  EXPECT_EQ(resultP, static_cast<IDirectMIDIMessage*>(&message));
  EXPECT_EQ(message.GetInterfaceRefCount(), 1u);
  message.Release();
}

TEST(Mlox_DM_DeliveryMessageTest, QueryInterfaceAnswersForTheUnknownWithTheSameSubObject) {
  Mlox_DM_DeliveryMessage message;
  void* resultP = nullptr;
  EXPECT_EQ(message.QueryInterface(IQCFUnknown::kUID, &resultP), 0);
  EXPECT_EQ(resultP, static_cast<IDirectMIDIMessage*>(&message));
  EXPECT_EQ(message.GetInterfaceRefCount(), 1u);
  message.Release();
}

TEST(Mlox_DM_DeliveryMessageTest, QueryInterfaceAnswersAnyOtherIdWithNull) {
  Mlox_DM_DeliveryMessage message;
  for (int byte = 0; byte < 16; ++byte) {
    _qcfUID other = IDirectMIDIMessage::kUID;
    reinterpret_cast<unsigned char*>(&other)[byte] ^= 1;  // all sixteen bytes count
    void* resultP = &message;
    EXPECT_EQ(static_cast<uint32_t>(message.QueryInterface(other, &resultP)), 0x80000004u);
    EXPECT_EQ(resultP, nullptr);
  }
  EXPECT_EQ(message.GetInterfaceRefCount(), 0u);
}

TEST(Mlox_DM_DeliveryMessageTest, QueryInterfaceWithoutAPlaceForTheResultReportsAndAnswersNone) {
  Test_AssertRecorder recorder;
  Mlox_DM_DeliveryMessage message;
  EXPECT_EQ(static_cast<uint32_t>(message.QueryInterface(IDirectMIDIMessage::kUID, nullptr)), 0x80000004u);
  EXPECT_THAT(recorder.Texts(), ElementsAre("oResultPP"));
  EXPECT_TRUE(recorder.Reports()[0].mRealTime);
  EXPECT_EQ(message.GetInterfaceRefCount(), 0u);
}

TEST(Mlox_DM_DeliveryMessageTest, TheInterfaceIdIsTheToldOne) {
  const unsigned char kBytes[16] = {0x64, 0x76, 0x9D, 0xE5, 0x48, 0x2A, 0xD6, 0x11,
                                    0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6};
  EXPECT_EQ(std::memcmp(&IDirectMIDIMessage::kUID, kBytes, 16), 0);  // first three groups little-endian
}

}  // namespace
