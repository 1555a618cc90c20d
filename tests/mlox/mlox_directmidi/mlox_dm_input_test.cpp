// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_input.h"

#include <thread>

#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_inputport.h"
#include "tests/support/dm_fixture.h"

namespace {

constexpr unsigned char kNote[] = {0x90, 60, 100};

const Mlox_DM_DeviceDescriptor& AsNode(const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP) {
  return dynamic_cast<const Mlox_DM_DeviceDescriptor&>(*iDescriptorP);
}

class Mlox_DM_InputTest : public Test_DM_Fixture {
 protected:
  bool TakeInputsChanged() {
    const int before = mListener.mInputsChanged;
    Manager().CheckStudioSetup();
    return mListener.mInputsChanged != before;
  }
};

// ---- inquiries ----

TEST_F(Mlox_DM_InputTest, GetInputIDIsTheServicesIndexAndTheNodesUniqueId) {
  const Mlox_DM_Input* inputP = NewInput("Keys");
  EXPECT_EQ(inputP->GetInputID().mServiceIndex, 1);
  EXPECT_EQ(inputP->GetInputID().mInputNumber, AsNode(inputP->GetDeviceDescriptor()).GetUniqueID());
}

TEST_F(Mlox_DM_InputTest, GetInputIDIsFixedAtConstruction) {
  const Mlox_DM_Input* inputP = NewInput("Keys");
  const Mlox_InputID id = inputP->GetInputID();
  mServiceP->SetServiceIndex(3);
  EXPECT_EQ(inputP->GetInputID(), id);
  mServiceP->SetServiceIndex(1);
}

TEST_F(Mlox_DM_InputTest, GetDeviceDescriptorIsThatOfAnInput) {
  const Mlox_DM_Input* inputP = NewInput("Keys");
  EXPECT_TRUE(inputP->GetDeviceDescriptor()->IsInput());
  EXPECT_EQ(inputP->GetDeviceDescriptor()->GetName(), "Keys");
  EXPECT_EQ(inputP->GetDeviceDescriptor(), inputP->GetDeviceDescriptor());
}

TEST_F(Mlox_DM_InputTest, GetNameIsTheNodesName) { EXPECT_EQ(NewInput("Keys")->GetName(), "Keys"); }

TEST_F(Mlox_DM_InputTest, ANullNameIsEmpty) {
  Mlox_DM_Input* inputP = NewInput(nullptr);
  EXPECT_EQ(inputP->GetName(), "");
  inputP->SetName("Keys");
  inputP->SetName(nullptr);
  EXPECT_EQ(inputP->GetName(), "");
}

TEST_F(Mlox_DM_InputTest, TheNameOfAnInputIsStoredAsItComes) {
  // Making names valid belongs to devices.
  EXPECT_EQ(NewInput("a\xFF")->GetName(), "a\xFF");
}

TEST_F(Mlox_DM_InputTest, IsMidiChannelAvailableIsTheBitOfTheMask) {
  Mlox_DM_Input* inputP = NewInput("Keys");
  EXPECT_TRUE(inputP->IsMidiChannelAvailable(15));
  inputP->SetChannelMask(0x0002);
  EXPECT_FALSE(inputP->IsMidiChannelAvailable(0));
  EXPECT_TRUE(inputP->IsMidiChannelAvailable(1));
  EXPECT_FALSE(inputP->IsMidiChannelAvailable(15));
}

TEST_F(Mlox_DM_InputTest, IsNotPhysical) { EXPECT_FALSE(NewInput("Keys")->IsPhysical()); }
TEST_F(Mlox_DM_InputTest, IsVirtual) { EXPECT_TRUE(NewInput("Keys")->IsVirtual()); }
TEST_F(Mlox_DM_InputTest, IsNoSyncSource) { EXPECT_FALSE(NewInput("Keys")->IsSyncSource()); }
TEST_F(Mlox_DM_InputTest, IsUserDefinedAsInherited) { EXPECT_TRUE(NewInput("Keys")->IsUserDefined()); }
TEST_F(Mlox_DM_InputTest, IsAPlugIn) { EXPECT_TRUE(NewInput("Keys")->IsPlugIn()); }
TEST_F(Mlox_DM_InputTest, GetTrackPtrIsTheClientId) {
  EXPECT_EQ(NewInput("Keys", 0x123456789ABCDEF0u)->GetTrackPtr(), 0x123456789ABCDEF0u);
}

// ---- interfaces ----

TEST_F(Mlox_DM_InputTest, QueryInterfaceGivesTheClientInput) {
  IDirectMIDIClientInput* nodeP = NewClientInput("Keys");
  EXPECT_EQ(Test_DM_Query<IDirectMIDIClientInput>(nodeP), nodeP);
  EXPECT_EQ(nodeP->Release(), 1u);
}

TEST_F(Mlox_DM_InputTest, QueryInterfaceGivesTheReceivingInterface) {
  IDirectMIDIClientInput* nodeP = NewClientInput("Keys");
  auto* receiveP = Test_DM_Query<IDirectMIDIInputReceiveMIDI>(nodeP);
  EXPECT_EQ(receiveP, static_cast<IDirectMIDIInputReceiveMIDI*>(static_cast<Mlox_DM_Input*>(nodeP)));
  EXPECT_EQ(receiveP->Release(), 1u);
}

TEST_F(Mlox_DM_InputTest, QueryInterfaceGivesThePrivateUnknownForTheUnknown) {
  IDirectMIDIClientInput* nodeP = NewClientInput("Keys");
  auto* unknownP = Test_DM_Query<IQCFUnknown>(nodeP);
  EXPECT_EQ(unknownP, static_cast<Mlox_DM_Input*>(nodeP)->GetPrivateUnknown());
  EXPECT_EQ(unknownP->Release(), 1u);
}

TEST_F(Mlox_DM_InputTest, QueryInterfaceWithAnyOtherIdGivesNullAndNoInterface) {
  IDirectMIDIClientInput* nodeP = NewClientInput("Keys");
  for (const _qcfUID& uid : {IDirectMIDIClientOutput::kUID, IDirectMIDIOutputDeliverySetup::kUID}) {
    void* resultP = nodeP;
    EXPECT_EQ(static_cast<uint32_t>(nodeP->QueryInterface(uid, &resultP)), 0x80000004u);
    EXPECT_EQ(resultP, nullptr);
  }
}

// ---- set-up ----

TEST_F(Mlox_DM_InputTest, SetChannelMaskTellsThatInputsHaveChanged) {
  Mlox_DM_Input* inputP = NewInput("Keys");
  TakeInputsChanged();
  inputP->SetChannelMask(1);
  EXPECT_TRUE(TakeInputsChanged());
  inputP->SetChannelMask(1);
  EXPECT_TRUE(TakeInputsChanged()) << "an equal mask is told too";
}

TEST_F(Mlox_DM_InputTest, SetNameKeepsTheInputIdAndTheConnectionAndTellsThatInputsHaveChanged) {
  Mlox_DM_Input* inputP = NewInput("Keys");
  Test_DM_RawReceiver raw;
  inputP->Connect(&raw);
  const Mlox_InputID id = inputP->GetInputID();
  TakeInputsChanged();
  inputP->SetName("Pads");
  EXPECT_EQ(inputP->GetName(), "Pads");
  EXPECT_EQ(inputP->GetInputID(), id);
  EXPECT_TRUE(inputP->ReceiveMIDI(kNote, 3, 0));
  EXPECT_TRUE(TakeInputsChanged());
  inputP->SetName("Pads");
  EXPECT_TRUE(TakeInputsChanged()) << "unlike a device, an input tells of its own name again";
}

TEST_F(Mlox_DM_InputTest, SetPluginIdentificationIsAnnouncedToListeners) {
  SFicPlugInSpec spec{1, 2, 3};
  Mlox_DM_Input* inputP = NewInput("Keys");
  inputP->SetPluginIdentification(&spec, 5);
  EXPECT_TRUE(inputP->HasPluginTag());
  EXPECT_EQ(mListener.mRegistered, std::vector<SFicPlugInSpec*>{&spec});
}

TEST_F(Mlox_DM_InputTest, AnInputWithALocatorHasATaggedDescriptor) {
  SFicPlugInSpec spec{4, 5, 6};
  const Mlox_DM_PlugInInstDict_Spec key(spec);
  const Mlox_DM_PlugInLocator locator{Sys_UUID(9, 8, 7, 6), 5};
  Mlox_DM_PlugInInstDict::Singleton().AddEntry(key, locator);
  Mlox_DM_Input* inputP = NewInput("Keys");
  inputP->SetPluginIdentification(&spec, 5);
  const auto descriptorP = inputP->GetDeviceDescriptor();
  ASSERT_TRUE(AsNode(descriptorP).HasPluginTag());
  EXPECT_EQ(AsNode(descriptorP).GetPluginLocator(), locator);
  EXPECT_TRUE(descriptorP->IsInput());
  Mlox_DM_PlugInInstDict::Singleton().RemoveEntry(key);
}

// ---- two counts ----

TEST_F(Mlox_DM_InputTest, TheLastInterfaceReleaseLeavesTheListAndDestroysTheInput) {
  IDirectMIDIClientInput* nodeP = NewClientInput("Keys");
  Forget(nodeP);
  TakeInputsChanged();
  const int32_t componentsBefore = CQCFUnknown::LiveCount();
  EXPECT_EQ(nodeP->Release(), 0u);
  EXPECT_EQ(mServiceP->GetNumberOfInputs(), 0);
  EXPECT_TRUE(TakeInputsChanged());
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1);
}

TEST_F(Mlox_DM_InputTest, AnApplicationsReferenceKeepsTheInputReadableAfterTheLastInterfaceRelease) {
  IDirectMIDIClientInput* nodeP = NewClientInput("Keys");
  Forget(nodeP);
  Mlox_InputRef input = mServiceP->GetInput(0);
  const int32_t componentsBefore = CQCFUnknown::LiveCount();
  nodeP->Release();
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore);
  EXPECT_EQ(input->GetName(), "Keys");
  input = nullptr;
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1);
}

TEST_F(Mlox_DM_InputTest, AnInterfaceReferenceKeepsTheInputAliveBeyondItsService) {
  IDirectMIDIClientInput* nodeP = NewClientInput("Keys");
  Forget(nodeP);
  auto* receiveP = Test_DM_Query<IDirectMIDIInputReceiveMIDI>(nodeP);
  nodeP->Release();
  const int32_t componentsBefore = CQCFUnknown::LiveCount();
  Manager().RemoveAllServices();
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1) << "the service alone has gone";
  EXPECT_FALSE(receiveP->ReceiveMIDI(kNote, 3, 0));
  EXPECT_EQ(receiveP->Release(), 0u);
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 2);
}

#ifndef NDEBUG
TEST_F(Mlox_DM_InputTest, MakingNamingAndTheLastReleaseOffTheMainThreadAreReported) {
  Test_AssertRecorder recorder;
  std::thread([this] {
    IDirectMIDIClientInput* nodeP = mServiceP->CreateClientInput("A");
    nodeP->SetName("B");
    nodeP->Release();
  }).join();
  EXPECT_EQ(recorder.Count("IsMainThread()"), 3);
  NewInput("C")->SetName("D");
  EXPECT_EQ(recorder.Count("IsMainThread()"), 3);
}
#endif

}  // namespace
