// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_midireceivecallback.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/mlox/mlox_directmusic/receive_support.h"

namespace {

using State = Mlox_MidiData::ESysexState;

class ReceiveCallback : public testing::Test {
 protected:
  ReceiveCallback() { mCallback.SetRawReceiver(&mRaw); }
  // Hands the bytes over and gives the class that the record was given.
  State Receive(const std::vector<std::uint8_t>& iBytes) {
    Mlox_MidiData record;
    record.mData = iBytes.data();
    record.mLength = static_cast<std::uint32_t>(iBytes.size());
    EXPECT_EQ(mCallback.Receive(&record), 0);
    return record.mSysexState;
  }
  static void SetSuspended(bool iFlag) {
    Mlox_DirectMusic_ServiceHandle::Singleton().SuspendedFlag().store(iFlag);
  }

  Test_AttachedService mService;
  Test_WaitableReceiver mRaw;
  Mlox_DirectMusic_MIDIReceiveCallback mCallback;
};

TEST_F(ReceiveCallback, HandsOverTheVeryRecordClassified) {
  const std::vector<std::uint8_t> bytes = {0xF0, 1, 0xF7};
  Mlox_MidiData record;
  record.mData = bytes.data();
  record.mLength = 3;
  EXPECT_EQ(mCallback.Receive(&record), 0);
  ASSERT_EQ(mRaw.Count(), 1u);
  EXPECT_EQ(mRaw.Received()[0].mRecordP, &record);
  EXPECT_EQ(mRaw.Received()[0].mSysexState, Mlox_MidiData::kWholeSysex);
}

TEST_F(ReceiveCallback, PiecesOfALongMessageAreClassifiedOneBehindTheOther) {
  EXPECT_EQ(Receive({0xF0, 1}), Mlox_MidiData::kFirstSysex);
  EXPECT_EQ(Receive({2, 3}), Mlox_MidiData::kMiddleSysex);
  EXPECT_EQ(Receive({4, 0xF7}), Mlox_MidiData::kLastSysex);
  EXPECT_EQ(Receive({0x90, 60, 100}), Mlox_MidiData::kNoSysex);
}

TEST_F(ReceiveCallback, PiecesOfTwoInputsDisturbEachOthersClasses) {
  // One classifier for each application port, on purpose.
  EXPECT_EQ(Receive({0xF0, 1}), Mlox_MidiData::kFirstSysex);
  EXPECT_EQ(Receive({0xF0, 1, 0xF7}), Mlox_MidiData::kNoSysex);
  EXPECT_EQ(Receive({2, 0xF7}), Mlox_MidiData::kNoSysex);
}

TEST_F(ReceiveCallback, SuspendedServiceDropsWithoutAdvancingTheClassification) {
  EXPECT_EQ(Receive({0xF0, 1}), Mlox_MidiData::kFirstSysex);
  SetSuspended(true);
  EXPECT_EQ(Receive({2, 0xF7}), Mlox_MidiData::kNoSysex);
  SetSuspended(false);
  EXPECT_EQ(Receive({2, 3}), Mlox_MidiData::kMiddleSysex);
  EXPECT_EQ(mRaw.Count(), 2u);
}

TEST_F(ReceiveCallback, WithoutAServiceEverythingIsDropped) {
  Mlox_DirectMusic_ServiceHandle::Singleton().Detach();
  EXPECT_EQ(Receive({0xF0, 1}), Mlox_MidiData::kNoSysex);
  EXPECT_EQ(mRaw.Count(), 0u);
}

TEST_F(ReceiveCallback, WithoutARawReceiverThePieceIsStillClassified) {
  mCallback.SetRawReceiver(nullptr);
  EXPECT_EQ(Receive({0xF0, 1}), Mlox_MidiData::kFirstSysex);
  EXPECT_EQ(Receive({2}), Mlox_MidiData::kMiddleSysex);
}

TEST_F(ReceiveCallback, AnswerTwoBringsTheSameRecordAgainUntilItIsTaken) {
  int calls = 0;
  mRaw.mOnReceive = [&](Mlox_MidiData&) { return ++calls < 4 ? 2 : 0; };
  Receive({0xF0, 1});
  ASSERT_EQ(mRaw.Count(), 4u);
  for (const Test_Received& received : mRaw.Received()) {
    EXPECT_EQ(received.mRecordP, mRaw.Received()[0].mRecordP);
    EXPECT_EQ(received.mSysexState, Mlox_MidiData::kFirstSysex);
  }
}

TEST_F(ReceiveCallback, AnyOtherAnswerTakesTheRecord) {
  for (const int answer : {0, 1, 3, -1}) {
    mRaw.mOnReceive = [answer](Mlox_MidiData&) { return answer; };
    Receive({0xF8});
  }
  EXPECT_EQ(mRaw.Count(), 4u);
}

TEST_F(ReceiveCallback, WithdrawnReceiverThatAnswersTwoIsNotCalledAgain) {
  mRaw.mOnReceive = [&](Mlox_MidiData&) {
    mCallback.SetWithdrawn(true);
    return 2;
  };
  Receive({0xF8});
  EXPECT_EQ(mRaw.Count(), 1u);
}

// ---- who is who ----

class StrangeCallback : public IDirectMusicMIDIReceiveCallback {
 public:
  HRESULT Receive(Mlox_MidiData*) override { return 0; }
  HRESULT IsDifferentFrom(std::shared_ptr<IDirectMusicMIDIReceiveCallback>) override { return 1; }
  void SetRawReceiver(Mlox_RawMidiReceiver*) override {}
};

TEST_F(ReceiveCallback, TwoOfOneRawReceiverAreTheSame) {
  const auto other = std::make_shared<Mlox_DirectMusic_MIDIReceiveCallback>();
  EXPECT_EQ(mCallback.IsDifferentFrom(other), 1);
  other->SetRawReceiver(&mRaw);
  EXPECT_EQ(mCallback.IsDifferentFrom(other), 0);
  Test_WaitableReceiver second;
  other->SetRawReceiver(&second);
  EXPECT_EQ(mCallback.IsDifferentFrom(other), 1);
}

TEST_F(ReceiveCallback, OneOfAnotherClassAndNoneAreDifferent) {
  EXPECT_EQ(mCallback.IsDifferentFrom(std::make_shared<StrangeCallback>()), 1);
  EXPECT_EQ(mCallback.IsDifferentFrom(nullptr), 1);
}

}  // namespace
