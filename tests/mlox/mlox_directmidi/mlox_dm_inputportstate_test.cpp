// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_inputportstate.h"

#include <memory>

#include "mlox/mlox_inputport.h"
#include "tests/support/dm_fixture.h"

namespace {

constexpr unsigned char kNote[] = {0x90, 60, 100};

/// An input of another service.
class ForeignInput : public Mlox_Input {
 public:
  Mlox_InputID GetInputID() const override { return Mlox_InputID(9, 9); }
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() const override { return nullptr; }
  std::string GetName() const override { return "Foreign"; }
  bool IsMidiChannelAvailable(short) const override { return true; }
  bool IsPhysical() const override { return true; }
  bool IsVirtual() const override { return false; }
  bool IsSyncSource() const override { return false; }
  uint64_t GetTrackPtr() const override { return 0; }
};

class Mlox_DM_InputPortStateTest : public Test_DM_Fixture {
 protected:
  Mlox_DM_InputPortStateTest() : mFirstP(NewInput("First")), mSecondP(NewInput("Second")) {}

  std::unique_ptr<Mlox_InputPort> NewPort(Mlox_RawMidiReceiver* iReceiverP) {
    return std::unique_ptr<Mlox_InputPort>(Manager().CreateInputPort(iReceiverP));
  }

  Mlox_DM_Input* mFirstP;
  Mlox_DM_Input* mSecondP;
  Test_DM_RawReceiver mRaw;
};

TEST_F(Mlox_DM_InputPortStateTest, ConnectedInputsReachThePortsReceiver) {
  const auto portP = NewPort(&mRaw);
  portP->ConnectToInputs({mFirstP, mSecondP});
  EXPECT_TRUE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  EXPECT_TRUE(mSecondP->ReceiveMIDISpecial(kNote, 3, -1));
  ASSERT_EQ(mRaw.mRecords.size(), 2u);
  EXPECT_EQ(mRaw.mRecords[0].mInputID, mFirstP->GetInputID());
  EXPECT_EQ(mRaw.mRecords[1].mInputID, mSecondP->GetInputID());
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest, ConnectionsAddUp) {
  const auto portP = NewPort(&mRaw);
  portP->ConnectToInputs({mFirstP});
  portP->ConnectToInputs({mSecondP});
  EXPECT_TRUE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  EXPECT_TRUE(mSecondP->ReceiveMIDI(kNote, 3, 10));
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest, ConnectToInputsWithAnEmptyVectorChangesNothing) {
  const auto portP = NewPort(&mRaw);
  portP->ConnectToInputs({mFirstP});
  portP->ConnectToInputs({});
  EXPECT_TRUE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest, InputsOfOtherServicesAndNullOnesAreSkipped) {
  Test_AssertRecorder recorder;
  const auto portP = NewPort(&mRaw);
  portP->ConnectToInputs({Mlox_InputRef(new ForeignInput), Mlox_InputRef(), mFirstP});
  EXPECT_TRUE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  portP->CloseCurrentConnections();
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_InputPortStateTest, ANullPortIsReportedAndNothingHappens) {
  const Test_AssertRecorder recorder;
  mServiceP->CreateInputPort(nullptr);
  mServiceP->ConnectInputsToInputPort({mFirstP}, nullptr);
  mServiceP->InputPortCloseConnections(nullptr);
  EXPECT_EQ(recorder.Texts(), std::vector<std::string>(3, "iInputPortP != nullptr"));
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10));
}

TEST_F(Mlox_DM_InputPortStateTest, AfterInputPortCloseConnectionsASendReturnsFalse) {
  const auto portP = NewPort(&mRaw);
  portP->ConnectToInputs({mFirstP, mSecondP});
  portP->CloseCurrentConnections();
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  EXPECT_FALSE(mSecondP->ReceiveMIDI(kNote, 3, 10));
  EXPECT_TRUE(mRaw.mRecords.empty());
}

TEST_F(Mlox_DM_InputPortStateTest, AConnectedInputIsKeptAliveUntilThePortCloses) {
  const auto portP = NewPort(&mRaw);
  IDirectMIDIClientInput* nodeP = mServiceP->CreateClientInput("Third");
  portP->ConnectToInputs({static_cast<Mlox_DM_Input*>(nodeP)});
  const int32_t componentsBefore = CQCFUnknown::LiveCount();
  nodeP->Release();
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore);
  portP->CloseCurrentConnections();
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1);
}

TEST_F(Mlox_DM_InputPortStateTest, ASecondPortTakesTheInputFromTheFirst) {
  Test_DM_RawReceiver second;
  const auto firstPortP = NewPort(&mRaw);
  const auto secondPortP = NewPort(&second);
  firstPortP->ConnectToInputs({mFirstP});
  secondPortP->ConnectToInputs({mFirstP});
  EXPECT_TRUE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  EXPECT_TRUE(mRaw.mRecords.empty());
  EXPECT_EQ(second.mRecords.size(), 1u);
  firstPortP->CloseCurrentConnections();
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10))
      << "closing one port silences an input that another shares";
  secondPortP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest, APortWithoutAReceiverConnectsToNothing) {
  const auto receivingP = NewPort(&mRaw);
  receivingP->ConnectToInputs({mFirstP});
  EXPECT_TRUE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  const auto portP = NewPort(nullptr);
  EXPECT_NE(portP->GetServiceEntry(1), nullptr) << "it is served like any other";
  portP->ConnectToInputs({mFirstP});
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10)) << "it took the input from the other port";
  portP->CloseCurrentConnections();
  receivingP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest, ClosingLeavesThePortsEntryAsItIs) {
  const auto portP = NewPort(&mRaw);
  void* entryP = portP->GetServiceEntry(1);
  ASSERT_NE(entryP, nullptr);
  portP->CloseCurrentConnections();
  EXPECT_EQ(portP->GetServiceEntry(1), entryP);
}

TEST_F(Mlox_DM_InputPortStateTest, AClosedPortIsReportedAndNeitherConnectedNorClosedAgain) {
  const auto portP = NewPort(&mRaw);
  portP->CloseCurrentConnections();
  Test_AssertRecorder recorder;
  portP->ConnectToInputs({mFirstP});
  EXPECT_EQ(recorder.Count(), 1);
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  portP->CloseCurrentConnections();
  EXPECT_EQ(recorder.Count(), 2);
}

TEST_F(Mlox_DM_InputPortStateTest, AnEntryOfAnotherPortIsReportedAndNotFollowed) {
  const auto portP = NewPort(&mRaw);
  Test_DM_RawReceiver second;
  const auto otherP = NewPort(&second);
  otherP->SetServiceEntry(1, portP->GetServiceEntry(1));
  Test_AssertRecorder recorder;
  otherP->ConnectToInputs({mFirstP});
  EXPECT_EQ(recorder.Count(), 1);
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest, APortWithoutAnEntryIsPassedOverWithoutAReport) {
  const auto portP = NewPort(&mRaw);
  void* entryP = portP->GetServiceEntry(1);
  portP->SetServiceEntry(1, nullptr);
  Test_AssertRecorder recorder;
  portP->ConnectToInputs({mFirstP});
  portP->CloseCurrentConnections();
  EXPECT_EQ(recorder.Count(), 0);
  portP->SetServiceEntry(1, entryP);
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest, AServiceWithoutAPlaceInThePortsArrayRefusesPortsWithAReport) {
  const auto portP = NewPort(&mRaw);
  for (const int index : {-1, 0, 4}) {
    Test_AssertRecorder recorder;
    Mlox_DM_Service service(nullptr, &Allocator(), nullptr);
    if (index != -1) service.SetServiceIndex(index);
    EXPECT_EQ(service.GetServiceIndex(), index);
    service.CreateInputPort(portP.get());
    service.ConnectInputsToInputPort({mFirstP}, portP.get());
    service.InputPortCloseConnections(portP.get());
    EXPECT_EQ(recorder.Count(), 3) << index;
  }
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  portP->CloseCurrentConnections();
}

TEST_F(Mlox_DM_InputPortStateTest,
       CloseThenRemoveServicesThenDeleteThePortIsAnOrdinaryShutdownWithOneReport) {
  auto portP = NewPort(&mRaw);
  portP->ConnectToInputs({mFirstP});
  portP->CloseCurrentConnections();
  Test_AssertRecorder recorder;
  Manager().RemoveAllServices();  // closes every port again: the stale entry is reported and not followed
  EXPECT_EQ(recorder.Count(), 1);
  portP.reset();
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10));
}

TEST_F(Mlox_DM_InputPortStateTest, RemoveServicesClosesThePortAndItMayBeDeletedLater) {
  Test_AssertRecorder recorder;
  auto portP = NewPort(&mRaw);
  portP->ConnectToInputs({mFirstP});
  Manager().RemoveAllServices();
  EXPECT_FALSE(mFirstP->ReceiveMIDI(kNote, 3, 10));
  EXPECT_EQ(recorder.Count(), 0);
  portP.reset();
}

TEST_F(Mlox_DM_InputPortStateTest, ALaterServiceOfTheSameIndexServesAPortThatIsStillThere) {
  auto portP = NewPort(&mRaw);
  Manager().RemoveAllServices();
  mServiceP = new Mlox_DM_Service(nullptr, &Allocator(), nullptr);
  Manager().AddService(mServiceP, 1);
  Mlox_DM_Input* inputP = NewInput("Third");
  portP->ConnectToInputs({inputP});
  EXPECT_TRUE(inputP->ReceiveMIDI(kNote, 3, 10));
  portP->CloseCurrentConnections();
}

}  // namespace
