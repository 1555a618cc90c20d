// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_receiver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "cmn/cmn_realtimescope.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace {

class Receiver : public Mlox_DM_Receiver {
 public:
  int32_t QueryInterface(const _qcfUID&, void**) override { return kQCF_NoInterface; }
  uint32_t AddRef() override { return 1; }
  uint32_t Release() override { return 1; }
  Mlox_InputID GetInputID() const override { return Mlox_InputID(2, 34); }
};

class RawReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    mData = *iDataP;
    ++mCalls;
    mWasRealTime = Cmn_RealTimeScope::IsActive();
    return mResult;
  }
  Mlox_MidiData mData;
  int mCalls = 0;
  bool mWasRealTime = false;
  int mResult = 0;
};

constexpr unsigned char kNote[] = {0x92, 60, 100};

TEST(Mlox_DM_Receiver, ReceiveMIDIWithNoConnectionReturnsFalse) {
  Receiver receiver;
  EXPECT_FALSE(receiver.ReceiveMIDI(kNote, 3, 0));
  EXPECT_FALSE(receiver.ReceiveMIDISpecial(kNote, 3, 0));
}

TEST(Mlox_DM_Receiver, AReceiverThatReturnsZeroGivesTrueAndAnythingElseFalse) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  EXPECT_TRUE(receiver.ReceiveMIDI(kNote, 3, 0));
  for (const int result : {1, 2, -1}) {
    raw.mResult = result;
    EXPECT_FALSE(receiver.ReceiveMIDI(kNote, 3, 0)) << result;
    EXPECT_FALSE(receiver.ReceiveMIDISpecial(kNote, 3, 0)) << result;
  }
  EXPECT_EQ(raw.mCalls, 7) << "2 asks for nothing here: no call is repeated";
}

TEST(Mlox_DM_Receiver, TheRecordPointsAtTheCallersBytes) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  receiver.ReceiveMIDI(kNote, 3, 1000);
  EXPECT_EQ(raw.mData.mData, kNote);
  EXPECT_EQ(raw.mData.mLength, 3u);
  EXPECT_EQ(raw.mData.mInputID, Mlox_InputID(2, 34));
}

TEST(Mlox_DM_Receiver, ASampleTimeOfMinusOneGivesNoTime) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  receiver.ReceiveMIDI(kNote, 3, -1);
  EXPECT_FALSE(raw.mData.mIsTimeValid);
  EXPECT_EQ(raw.mData.mTimeKind, 0u);
  EXPECT_EQ(raw.mData.mTime, 0);
}

TEST(Mlox_DM_Receiver, ASampleTimeOfZeroIsATime) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  receiver.ReceiveMIDI(kNote, 3, 0);
  EXPECT_TRUE(raw.mData.mIsTimeValid);
  EXPECT_EQ(raw.mData.mTimeKind, 1u);
  EXPECT_EQ(raw.mData.mTime, 0);
}

TEST(Mlox_DM_Receiver, AnyOtherSampleTimeIsHandedOnBelowMinusOneToo) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  receiver.ReceiveMIDI(kNote, 3, 5'000'000'000);
  EXPECT_EQ(raw.mData.mTime, 5'000'000'000);
  receiver.ReceiveMIDI(kNote, 3, -2);
  EXPECT_TRUE(raw.mData.mIsTimeValid);
  EXPECT_EQ(raw.mData.mTimeKind, 1u);
  EXPECT_EQ(raw.mData.mTime, -2);
}

TEST(Mlox_DM_Receiver, ReceiveMIDISpecialDiffersFromReceiveMIDIInTheSysexStateAlone) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  receiver.ReceiveMIDI(kNote, 3, 77);
  const Mlox_MidiData plain = raw.mData;
  receiver.ReceiveMIDISpecial(kNote, 3, 77);
  const Mlox_MidiData special = raw.mData;
  EXPECT_EQ(static_cast<int>(plain.mSysexState), 0);
  EXPECT_EQ(static_cast<int>(special.mSysexState), 5);
  EXPECT_EQ(special.mData, plain.mData);
  EXPECT_EQ(special.mLength, plain.mLength);
  EXPECT_EQ(special.mInputID, plain.mInputID);
  EXPECT_EQ(special.mTimeKind, plain.mTimeKind);
  EXPECT_EQ(special.mTime, plain.mTime);
  EXPECT_EQ(special.mIsTimeValid, plain.mIsTimeValid);
}

TEST(Mlox_DM_Receiver, NoClassificationOfSysexIsMade) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  const unsigned char sysex[] = {0xF0, 1, 0xF7};
  receiver.ReceiveMIDI(sysex, 3, -1);
  EXPECT_EQ(static_cast<int>(raw.mData.mSysexState), 0);
}

TEST(Mlox_DM_Receiver, ASecondConnectReplacesTheFirstReceiver) {
  Receiver receiver;
  RawReceiver first, second;
  receiver.Connect(&first);
  receiver.Connect(&second);
  EXPECT_TRUE(receiver.ReceiveMIDI(kNote, 3, 0));
  EXPECT_EQ(first.mCalls, 0);
  EXPECT_EQ(second.mCalls, 1);
}

TEST(Mlox_DM_Receiver, AfterDisconnectASendReturnsFalse) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  receiver.Disconnect();
  EXPECT_FALSE(receiver.ReceiveMIDI(kNote, 3, 0));
  EXPECT_EQ(raw.mCalls, 0);
}

TEST(Mlox_DM_Receiver, ReceivingMarksItsThreadAsRealTime) {
  Receiver receiver;
  RawReceiver raw;
  receiver.Connect(&raw);
  receiver.ReceiveMIDI(kNote, 3, 0);
  EXPECT_TRUE(raw.mWasRealTime);
  EXPECT_FALSE(Cmn_RealTimeScope::IsActive());
}

/// Counts only: it is called on the sender's thread while the main thread connects and disconnects it.
class CountingRawReceiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData*) override {
    mCalls.fetch_add(1);
    return 0;
  }
  std::atomic<int> mCalls{0};
};

TEST(Mlox_DM_Receiver, ConnectAndDisconnectMayMeetASendInProgress) {
  Receiver receiver;
  CountingRawReceiver raw;
  std::atomic<bool> stop{false};
  std::atomic<int> accepted{0}, refused{0};
  std::thread sender([&] {
    while (!stop) (receiver.ReceiveMIDI(kNote, 3, 0) ? accepted : refused).fetch_add(1);
  });
  while (accepted < 1000 || refused < 1000) {
    receiver.Connect(&raw);
    std::this_thread::yield();
    receiver.Disconnect();
    std::this_thread::yield();
  }
  stop = true;
  sender.join();
  EXPECT_EQ(raw.mCalls, accepted);
}

}  // namespace
