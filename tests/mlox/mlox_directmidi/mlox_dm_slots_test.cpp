// SPDX-License-Identifier: MIT
// Calls the interfaces that plug-ins and the application hold through their tables, by position, as an old
// binary would. Nothing of the library may be included here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/mlox/mlox_directmidi/mlox_dm_slotobjects.h"
#include "tests/support/slot_table.h"

namespace {

/// An interface id as 16 bytes in memory, on the little-endian machines that there are.
struct Id {
  uint32_t mFirst;
  uint16_t mSecond;
  uint16_t mThird;
  uint8_t mRest[8];
};

constexpr Id kUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
constexpr Id kMessage{0xE59D7664, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
constexpr Id kBufferedDelivery{0xE59D7665, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
constexpr Id kClientOutput{0xE59D7666, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
constexpr Id kGlobalOutput{0xE59D7667, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
constexpr Id kDeliverySetup{0xE59D7668, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
constexpr Id kClientOutput2{0xE59D7669, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
constexpr Id kClientOutput3{0xE59D766A, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
constexpr Id kClientOutput4{0x7668628A, 0xBF59, 0x4435, {0x81, 0x0A, 0x27, 0xC6, 0xBF, 0x44, 0xD4, 0xFE}};
constexpr Id kClientInput{0x2CC1E8D1, 0x9424, 0x11DA, {0xA7, 0x2B, 0x08, 0x00, 0x20, 0x0C, 0x9A, 0x66}};
constexpr Id kReceive{0x2CC1E8D2, 0x9424, 0x11DA, {0xA7, 0x2B, 0x08, 0x00, 0x20, 0x0C, 0x9A, 0x66}};

constexpr uint32_t kNoInterface = 0x80000004u;

uint32_t Query(const Test_SlotTable& iTable, const Id& iId, void** oResultP) {
  return iTable.Call<uint32_t, const Id*, void**>(1, &iId, oResultP);
}
uint32_t AddRef(const Test_SlotTable& iTable) { return iTable.Call<uint32_t>(2); }
uint32_t Release(const Test_SlotTable& iTable) { return iTable.Call<uint32_t>(3); }

/// What a host's plug-in specification looks like to the library.
struct Spec {
  uint32_t mTag;
  uint64_t mHigh;
  uint64_t mLow;
};

class Mlox_DM_SlotsTest : public ::testing::Test {
 protected:
  /// Asks an interface for all ids; those expected give iExpectedP or another object's interface, all others
  /// nothing.
  static void ExpectAnswers(void* iInterfaceP, const std::vector<const Id*>& iKnown) {
    const Test_SlotTable table(iInterfaceP, 0);
    for (const Id* idP :
         {&kUnknown, &kMessage, &kBufferedDelivery, &kClientOutput, &kGlobalOutput, &kDeliverySetup,
          &kClientOutput2, &kClientOutput3, &kClientOutput4, &kClientInput, &kReceive}) {
      const bool isKnown = std::find(iKnown.begin(), iKnown.end(), idP) != iKnown.end();
      void* resultP = iInterfaceP;
      EXPECT_EQ(Query(table, *idP, &resultP), isKnown ? 0u : kNoInterface) << std::hex << idP->mFirst;
      EXPECT_EQ(resultP != nullptr, isKnown) << std::hex << idP->mFirst;
      if (resultP != nullptr) Release(Test_SlotTable(resultP, 0));
    }
  }

  Test_DM_SlotObjects mObjects;
};

TEST_F(Mlox_DM_SlotsTest, CountingOfEachInterfaceIsItsSecondAndThirdOperation) {
  for (void* interfaceP : {mObjects.mClientOutputP, mObjects.mDeliverySetupP, mObjects.mClientInputP,
                           mObjects.mReceiveP, mObjects.mGlobalOutputP}) {
    const Test_SlotTable table(interfaceP, 0);
    EXPECT_EQ(AddRef(table), 2u);
    EXPECT_EQ(AddRef(table), 3u);
    EXPECT_EQ(Release(table), 2u);
    EXPECT_EQ(Release(table), 1u);
  }
}

TEST_F(Mlox_DM_SlotsTest, CountingOfTheFactoryIsItsSecondAndThirdOperation) {
  const Test_SlotTable table(mObjects.mFactoryP, 0);
  EXPECT_EQ(AddRef(table), 1u);
  EXPECT_EQ(AddRef(table), 2u);
  EXPECT_EQ(Release(table), 1u);
  EXPECT_EQ(Release(table), 0u);
}

// ---- QueryInterface of each component class ----

TEST_F(Mlox_DM_SlotsTest, ADeviceAnswersToTheOutputIdsTheUnknownAndTheDeliverySetup) {
  ExpectAnswers(mObjects.mClientOutputP, {&kUnknown, &kClientOutput, &kClientOutput2, &kClientOutput3,
                                          &kClientOutput4, &kDeliverySetup});
  ExpectAnswers(mObjects.mDeliverySetupP, {&kUnknown, &kClientOutput, &kClientOutput2, &kClientOutput3,
                                           &kClientOutput4, &kDeliverySetup});
}

TEST_F(Mlox_DM_SlotsTest, AnInputAnswersToItsTwoIdsAndTheUnknown) {
  ExpectAnswers(mObjects.mClientInputP, {&kUnknown, &kClientInput, &kReceive});
  ExpectAnswers(mObjects.mReceiveP, {&kUnknown, &kClientInput, &kReceive});
}

TEST_F(Mlox_DM_SlotsTest, AGlobalOutputAnswersToItsIdTheDeliverySetupAndTheUnknown) {
  ExpectAnswers(mObjects.mGlobalOutputP, {&kUnknown, &kGlobalOutput, &kDeliverySetup});
}

TEST_F(Mlox_DM_SlotsTest, AServiceWithoutAnOuterAnswersToTheUnknownAlone) {
  ExpectAnswers(mObjects.mFactoryP, {&kUnknown});
}

// ---- IDirectMIDI, 2 and 3 ----

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIOperation4IsCreateClientOutput) {
  const Test_SlotTable table(mObjects.mFactoryP, 0);
  void* nodeP = table.Call<void*, const char*>(4, "Fourth");
  EXPECT_EQ(mObjects.CountOutputs(), 2);
  EXPECT_EQ(mObjects.LastOutputName(), "Fourth");
  EXPECT_EQ(mObjects.LastOutputTrack(), 0u);
  Test_DM_SlotObjects::ReleaseNode(nodeP);
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIOperation5IsCreateGlobalOutput) {
  const Test_SlotTable table(mObjects.mFactoryP, 0);
  void* nodeP = table.Call<void*>(5);
  void* resultP = nullptr;
  EXPECT_EQ(Query(Test_SlotTable(nodeP, 0), kGlobalOutput, &resultP), 0u);
  EXPECT_EQ(resultP, nodeP);
  EXPECT_EQ(mObjects.CountOutputs(), 1);
  EXPECT_EQ(mObjects.CountInputs(), 1);
  Test_DM_SlotObjects::ReleaseNode(nodeP);
  Test_DM_SlotObjects::ReleaseNode(nodeP);
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDI2Operation6IsCreateClientInput) {
  const Test_SlotTable table(mObjects.mFactoryP, 0);
  void* nodeP = table.Call<void*, const char*>(6, "Sixth");
  EXPECT_EQ(mObjects.CountInputs(), 2);
  EXPECT_EQ(mObjects.LastInputName(), "Sixth");
  EXPECT_EQ(mObjects.LastInputTrack(), 0u);
  Test_DM_SlotObjects::ReleaseNode(nodeP);
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDI3Operation7IsCreateClientOutputEx) {
  const Test_SlotTable table(mObjects.mFactoryP, 0);
  void* nodeP = table.Call<void*, const char*, uint64_t>(7, "Seventh", 0x0123456789ABCDEFu);
  EXPECT_EQ(mObjects.LastOutputName(), "Seventh");
  EXPECT_EQ(mObjects.LastOutputTrack(), 0x0123456789ABCDEFu);
  Test_DM_SlotObjects::ReleaseNode(nodeP);
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDI3Operation8IsCreateClientInputEx) {
  const Test_SlotTable table(mObjects.mFactoryP, 0);
  void* nodeP = table.Call<void*, const char*, uint64_t>(8, "Eighth", 0xFEDCBA9876543210u);
  EXPECT_EQ(mObjects.LastInputName(), "Eighth");
  EXPECT_EQ(mObjects.LastInputTrack(), 0xFEDCBA9876543210u);
  Test_DM_SlotObjects::ReleaseNode(nodeP);
}

// ---- IDirectMIDIClientOutput, 2, 3 and 4 ----

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientOutputOperation4IsSetChannelMask) {
  Test_SlotTable(mObjects.mClientOutputP, 0).Call<void, uint16_t>(4, 0x0004);
  EXPECT_TRUE(mObjects.OutputHasChannel(2));
  EXPECT_FALSE(mObjects.OutputHasChannel(0));
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientOutputOperation5IsSetName) {
  Test_SlotTable(mObjects.mClientOutputP, 0).Call<void, const char*>(5, "Renamed");
  EXPECT_EQ(mObjects.OutputName(), "Renamed");
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientOutput2Operation6IsSetPluginIdentification) {
  Spec spec{1, 2, 3};
  Test_SlotTable(mObjects.mClientOutputP, 0).Call<void, void*, int32_t>(6, &spec, 4);
  EXPECT_TRUE(mObjects.OutputHasTag());
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientOutput3Operation7IsSetReceivesMBC) {
  Test_SlotTable(mObjects.mClientOutputP, 0).Call<void, bool>(7, false);
  EXPECT_FALSE(mObjects.OutputReceivesMBC());
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientOutput4Operation8IsIsMidiSourceLive) {
  const Test_SlotTable table(mObjects.mClientOutputP, 0);
  EXPECT_FALSE(table.Call<bool>(8));
  mObjects.SetOutputLive(true);
  EXPECT_TRUE(table.Call<bool>(8));
}

// ---- IDirectMIDIClientInput ----

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientInputOperation4IsSetChannelMask) {
  Test_SlotTable(mObjects.mClientInputP, 0).Call<void, uint16_t>(4, 0x8000);
  EXPECT_TRUE(mObjects.InputHasChannel(15));
  EXPECT_FALSE(mObjects.InputHasChannel(0));
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientInputOperation5IsSetName) {
  Test_SlotTable(mObjects.mClientInputP, 0).Call<void, const char*>(5, "Renamed");
  EXPECT_EQ(mObjects.InputName(), "Renamed");
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIClientInputOperation6IsSetPluginIdentification) {
  Spec spec{1, 2, 3};
  Test_SlotTable(mObjects.mClientInputP, 0).Call<void, void*, int32_t>(6, &spec, 4);
  EXPECT_TRUE(mObjects.InputHasTag());
}

#if !defined(MLOX_TEST_CALLS_CHECK_TYPES)
// Receivers and sources that are no C++ objects: the sanitizer's check of types refuses to call them.

// ---- IDirectMIDIInputReceiveMIDI and the table of the receiver behind it ----

/// The record that a receiver of the application gets, as far as these tests read it.
struct Record {
  const uint8_t* mDataP;
  uint32_t mLength;
  int32_t mServiceIndex;
  int32_t mInputNumber;
  int32_t mSysexState;
  uint32_t mTimeKind;
  int64_t mTime;
  bool mIsTimeValid;
};

/// A receiver with a table made by hand: two entries of a destructor, then the receiving operation.
struct HandMadeReceiver {
  void** mTableP;
  Record mRecord;
  int mCalls;
};

void NeverCalled(void*) { FAIL() << "the library never deletes a receiver"; }
int Receive(void* iReceiverP, Record* iRecordP) {
  auto* receiverP = static_cast<HandMadeReceiver*>(iReceiverP);
  receiverP->mRecord = *iRecordP;
  ++receiverP->mCalls;
  return 0;
}

std::vector<void*> ReceiverTable() {
  auto* destructorP = reinterpret_cast<void*>(&NeverCalled);
  auto* receiveP = reinterpret_cast<void*>(&Receive);
#if defined(_MSC_VER)
  return {destructorP, receiveP};
#else
  return {destructorP, destructorP, receiveP};
#endif
}

constexpr int kReceiverDestructorAt = 6;

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIInputReceiveMIDIOperations4And5ReceiveAndTheReceiverGoesOnBehindThem) {
  std::vector<void*> entries = ReceiverTable();
  HandMadeReceiver receiver{entries.data(), {}, 0};
  const Test_SlotTable table(mObjects.mReceiveP, kReceiverDestructorAt);
  const uint8_t bytes[] = {0x90, 60, 100};

  EXPECT_FALSE((table.Call<bool, const uint8_t*, int32_t, int64_t>(4, bytes, 3, 7)));
  table.Call<void, void*>(7, &receiver);
  EXPECT_TRUE((table.Call<bool, const uint8_t*, int32_t, int64_t>(4, bytes, 3, 7)));
  EXPECT_EQ(receiver.mRecord.mDataP, bytes);
  EXPECT_EQ(receiver.mRecord.mLength, 3u);
  EXPECT_EQ(receiver.mRecord.mServiceIndex, 1);
  EXPECT_EQ(receiver.mRecord.mSysexState, 0);
  EXPECT_EQ(receiver.mRecord.mTimeKind, 1u);
  EXPECT_EQ(receiver.mRecord.mTime, 7);
  EXPECT_TRUE(receiver.mRecord.mIsTimeValid);
  EXPECT_TRUE((table.Call<bool, const uint8_t*, int32_t, int64_t>(5, bytes, 3, -1)));
  EXPECT_EQ(receiver.mRecord.mSysexState, 5);
  EXPECT_EQ(receiver.mRecord.mTimeKind, 0u);
  EXPECT_FALSE(receiver.mRecord.mIsTimeValid);
  table.Call<void>(8);
  EXPECT_FALSE((table.Call<bool, const uint8_t*, int32_t, int64_t>(4, bytes, 3, 7)));
  EXPECT_EQ(receiver.mCalls, 2);
  struct Ids {
    int32_t mServiceIndex;
    int32_t mInputNumber;
  };
  const Ids ids = table.Call<Ids>(9);
  EXPECT_EQ(ids.mServiceIndex, receiver.mRecord.mServiceIndex);
  EXPECT_EQ(ids.mInputNumber, receiver.mRecord.mInputNumber);
}

// ---- IDirectMIDIGlobalOutput and Mlox_DataSource ----

/// A data source with a table made by hand: connect, then disconnect, and no destructor in front.
struct HandMadeSource {
  void** mTableP;
  std::vector<void*> mConnected;
  std::vector<void*> mDisconnected;
};

void ConnectSource(void* iSourceP, void* const* iReferenceP) {
  static_cast<HandMadeSource*>(iSourceP)->mConnected.push_back(*iReferenceP);
}
void DisconnectSource(void* iSourceP, void* const* iReferenceP) {
  static_cast<HandMadeSource*>(iSourceP)->mDisconnected.push_back(*iReferenceP);
}

TEST_F(Mlox_DM_SlotsTest, IDirectMIDIGlobalOutputOperations4To6ReachTheSourcesFirstAndSecondOperation) {
  void* entries[] = {reinterpret_cast<void*>(&ConnectSource), reinterpret_cast<void*>(&DisconnectSource)};
  HandMadeSource click{entries, {}, {}}, clock{entries, {}, {}}, mtc{entries, {}, {}};
  mObjects.SetSources(&click, &clock, &mtc);
  const Test_SlotTable table(mObjects.mGlobalOutputP, 0);
  const std::vector<void*> once{mObjects.mBasicOutputP};

  table.Call<void, bool>(4, true);
  EXPECT_EQ(click.mConnected, once);
  EXPECT_TRUE(clock.mConnected.empty() && mtc.mConnected.empty());
  table.Call<void, bool>(5, true);
  EXPECT_EQ(clock.mConnected, once);
  EXPECT_TRUE(mtc.mConnected.empty());
  table.Call<void, bool>(6, true);
  EXPECT_EQ(mtc.mConnected, once);

  table.Call<void, bool>(6, false);
  EXPECT_EQ(mtc.mDisconnected, once);
  EXPECT_TRUE(click.mDisconnected.empty() && clock.mDisconnected.empty());
  table.Call<void, bool>(4, false);
  table.Call<void, bool>(5, false);
  EXPECT_EQ(click.mDisconnected, once);
  EXPECT_EQ(clock.mDisconnected, once);
  mObjects.SetSources(nullptr, nullptr, nullptr);
}

#endif  // MLOX_TEST_CALLS_CHECK_TYPES

// ---- what nodes and descriptors have in common ----

TEST_F(Mlox_DM_SlotsTest, TheCommonPartOfNodesHasItsOperationsInOrder) {
  const Test_SlotTable table(mObjects.mDeviceNodeP);
  EXPECT_EQ(table.Call<std::string>(2), "Output");
  table.Call<void, const char*>(3, "Renamed");
  EXPECT_EQ(mObjects.OutputName(), "Renamed");
  table.Call<void, uint16_t>(4, 0x0001);
  EXPECT_TRUE((table.Call<bool, short>(5, 0)));
  EXPECT_FALSE((table.Call<bool, short>(5, 1)));
  EXPECT_FALSE(table.Call<bool>(7));
  Spec spec{11, 22, 33};
  table.Call<void, void*, int32_t>(6, &spec, 1);
  EXPECT_TRUE(table.Call<bool>(7));
  const Spec given = table.Call<Spec>(8);
  EXPECT_EQ(given.mTag, 11u);
  EXPECT_EQ(given.mHigh, 22u);
  EXPECT_EQ(given.mLow, 33u);
}

TEST_F(Mlox_DM_SlotsTest, ANodesDescriptorHasItsOperationsInOrder) {
  void* descriptorP = const_cast<void*>(mObjects.mDescriptorP);
  const Test_SlotTable table(descriptorP);
  EXPECT_TRUE((table.Call<bool, void*>(2, descriptorP)));
  EXPECT_FALSE((table.Call<bool, void*>(2, nullptr)));
  EXPECT_EQ(table.Call<std::string>(3), "Tagged");
  EXPECT_EQ(table.Call<int>(4), 1 ^ 3);
  EXPECT_EQ(table.Call<int>(5), 1);
  EXPECT_FALSE(table.Call<bool>(6));
  EXPECT_TRUE(table.Call<bool>(7));
  EXPECT_TRUE((table.Call<bool, void*>(8, descriptorP)));
  EXPECT_FALSE((table.Call<bool, void*>(8, nullptr)));
}

}  // namespace
