// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"
#include "tests/mlox/mlox_directmusic/device_fixture.h"

namespace {

using Access = Test_DirectMusicOutputAccess;
using Lines = std::vector<std::string>;

constexpr Mlox_InputID kNoID{-1, -1};
constexpr DWORD kNoGroup = 0xFFFFFFFF;

using Mlox_DirectMusic_DeviceTest = Test_DeviceFixture;

// ---- the raw objects ----

TEST_F(Mlox_DirectMusic_DeviceTest, OutputsAndPortAreLeftAloneUntilAskedFor) {
  const auto device = NewDevice(mEndpoint);
  EXPECT_EQ(Calls().Lines(), Lines{});
  EXPECT_EQ(mPort.References(), 0);
}

TEST_F(Mlox_DirectMusic_DeviceTest, EmptyRawObjectsMakeADeviceOfWhichNothingIsKnown) {
  Mlox_DirectMusic_Device device(nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(device.GetName(), "");
  EXPECT_EQ(device.GetManufacturerName(), "");
  EXPECT_EQ(device.GetModelName(), "");
  EXPECT_EQ(device.GetInputID(), kNoID);
  EXPECT_EQ(device.GetIOMloxID(), kNoID);
  EXPECT_EQ(device.GetNumConnections(), 0);
  EXPECT_FALSE(device.IsUserDefined());
  EXPECT_TRUE(device.IsMidiChannelAvailable(15));
  EXPECT_EQ(device.ReadInMinWriteTime(), 0.0);
  EXPECT_EQ(device.GetMinWriteTime(), 0.0);
  std::shared_ptr<IEndpointProperties> endpoint;
  device.GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint, nullptr);
  for (int level = 0; level < 3; ++level) EXPECT_FALSE(device.IsPartOf(kNoID, level)) << level;
  EXPECT_NE(device.GetCommonOutput(), nullptr);
}

TEST_F(Mlox_DirectMusic_DeviceTest, MatchComparesDeviceEntityAndEndpointInThisOrder) {
  const auto device = NewDevice(mEndpoint);
  mStudio->Calls().Clear();
  EXPECT_TRUE(Match(*device, mEndpoint));
  EXPECT_EQ(mStudio->Calls().Lines(), (Lines{"CompareRaw 2", "CompareRaw 1", "CompareRaw 0"}));
}

TEST_F(Mlox_DirectMusic_DeviceTest, MatchStopsAtTheFirstThatDiffersWhateverTheResult) {
  const auto device = NewDevice(mEndpoint);
  const char* const calls[] = {"CompareRaw 2", "CompareRaw 1", "CompareRaw 0"};
  for (int level = 0; level < 3; ++level) {
    for (const HRESULT result : {S_FALSE, E_FAIL}) {
      mStudio->Calls().Clear();
      mStudio->Calls().Fail(calls[level], result, 1);
      EXPECT_FALSE(Match(*device, mEndpoint));
      EXPECT_EQ(mStudio->Calls().Lines(), Lines(calls, calls + level + 1));
    }
  }
}

TEST_F(Mlox_DirectMusic_DeviceTest, AMatchTakesTheMarkAwayAndNothingSetsIt) {
  const auto device = NewDevice(mEndpoint);
  Test_StudioNode& other = mStudio->AddPort("{other}", "Other", false);
  EXPECT_FALSE(device->IsNeedsVerification());
  EXPECT_FALSE(Match(*device, other));
  EXPECT_FALSE(device->IsNeedsVerification()) << "an unmarked device stays unmarked";
  device->SetNeedsVerification();
  EXPECT_FALSE(Match(*device, other));
  EXPECT_TRUE(device->IsNeedsVerification());
  EXPECT_TRUE(Match(*device, mEndpoint));
  EXPECT_FALSE(device->IsNeedsVerification());
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnUpdateIsAlwaysTrueAndForgetsEveryCacheEvenOfTheSameObjects) {
  mStudio->SetKeepsObjects(true);
  const auto device = NewDevice(mEndpoint);
  EXPECT_EQ(device->GetName(), "Keys");
  EXPECT_EQ(device->GetManufacturerName(), "Maker");
  EXPECT_EQ(device->GetModelName(), "Model");
  EXPECT_TRUE(device->IsMidiChannelAvailable(3));
  DoubleOf(mDevice, getter_wrapper::Get_PROPID_DeviceScheduleAheadMuSec()) = 30000.0;
  EXPECT_EQ(device->ReadInMinWriteTime(), 30000.0);

  StringOf(mEntity, getter_wrapper::Get_PROPID_EntityName()) = "Pads";
  StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceManufacturerName()) = "Other maker";
  StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceModelName()) = "Other model";
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 1;
  EXPECT_EQ(device->GetName(), "Keys") << "what was read stays";
  EXPECT_EQ(device->GetManufacturerName(), "Maker");
  EXPECT_EQ(device->GetModelName(), "Model");
  EXPECT_TRUE(device->IsMidiChannelAvailable(3));
  EXPECT_EQ(device->GetMinWriteTime(), 30000.0);

  EXPECT_TRUE(Update(*device, mEndpoint));
  EXPECT_EQ(device->GetName(), "Pads");
  EXPECT_EQ(device->GetManufacturerName(), "Other maker");
  EXPECT_EQ(device->GetModelName(), "Other model");
  EXPECT_FALSE(device->IsMidiChannelAvailable(3));
  EXPECT_EQ(device->GetMinWriteTime(), 0.0) << "measured again";
  EXPECT_EQ(device->GetOMSOutputRefNum(), -1);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnUpdateOfTheSameObjectsReopensThePortIfThereAreOutputs) {
  mStudio->SetKeepsObjects(true);
  const auto device = NewDevice(mEndpoint);
  EXPECT_TRUE(Update(*device, mEndpoint));
  EXPECT_EQ(Calls().CountBeginning("Keys: "), 0) << "no outputs, no port";
  device->GetCommonOutput();
  EXPECT_EQ(Calls().Count("Keys: GetCaps 308"), 1);
  EXPECT_TRUE(Update(*device, mEndpoint));
  EXPECT_EQ(Calls().Count("Keys: GetCaps 308"), 2);
  EXPECT_EQ(Calls().Count("Keys: Activate 1"), 1) << "the activator counts a second use";
  EXPECT_EQ(mPort.References(), kCacheAndActivator + 2) << "the device's and the output's";
}

TEST_F(Mlox_DirectMusic_DeviceTest, TheIdentitiesAreReadAnewOnlyForOtherObjects) {
  mStudio->SetKeepsObjects(true);
  const auto device = NewDevice(mEndpoint);
  device->GetInputID();
  mStudio->Calls().Clear();
  Update(*device, mEndpoint);
  device->GetInputID();
  EXPECT_EQ(mStudio->Calls().CountBeginning("GetIDs"), 0);
  mStudio->SetKeepsObjects(false);
  Update(*device, mEndpoint);
  EXPECT_EQ(mStudio->Calls().Count("GetIDs 2"), 1);
  EXPECT_EQ(mStudio->Calls().Count("GetIDs 1"), 1);
  EXPECT_EQ(mStudio->Calls().Count("GetIDs 0"), 1);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnIdentityThatCannotBeReadIsMinusOneTwice) {
  mStudio->Calls().Fail("GetIDs", E_FAIL);
  const auto device = NewDevice(mEndpoint);
  EXPECT_EQ(device->GetInputID(), kNoID);
  EXPECT_TRUE(device->IsPartOf(kNoID, 1));
  EXPECT_TRUE(device->IsPartOf(kNoID, 2));
}

TEST_F(Mlox_DirectMusic_DeviceTest, WithoutAServiceIndexAnIdentityIsMinusOneTwice) {
  SetDirectMusicServiceIndex(-1);
  const auto device = NewDevice(mEndpoint);
  EXPECT_EQ(device->GetInputID(), kNoID);
  EXPECT_EQ(device->GetIOMloxID(), kNoID);
}

// ---- updates and outputs ----

TEST_F(Mlox_DirectMusic_DeviceTest, AnotherNameRefreshesTheDescriptorsOfTheOutputs) {
  const auto device = NewDevice(mEndpoint);
  Mlox_Output* commonP = device->GetCommonOutput();
  Mlox_Output* channelP = device->GetOutputForChannel(4);
  StringOf(mEntity, getter_wrapper::Get_PROPID_EntityName()) = "Pads";
  Update(*device, mEndpoint);
  EXPECT_EQ(device->GetCommonOutput(), commonP) << "the outputs stay";
  EXPECT_EQ(device->GetOutputForChannel(4), channelP);
  EXPECT_EQ(commonP->GetDescriptor()->GetDeviceDescriptor()->GetName(), "Pads");
  EXPECT_EQ(channelP->GetDescriptor()->GetDeviceDescriptor()->GetName(), "Pads");
  EXPECT_EQ(channelP->GetDescriptor()->GetChannel(), 4);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnotherNumberRefreshesTheDescriptorsOfTheOutputs) {
  const auto device = NewDevice(mEndpoint);
  Mlox_Output* commonP = device->GetCommonOutput();
  const int number = NextNumber();
  SetNumber(mEndpoint, number);
  // Read before the update, the old number is still the old descriptor's.
  EXPECT_NE(commonP->GetDescriptor()->GetDeviceDescriptor()->GetHashValue(), number);
  Update(*device, mEndpoint);
  EXPECT_EQ(commonP->GetDescriptor()->GetDeviceDescriptor()->GetHashValue(), number);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnUnchangedDescriptorLeavesTheOutputsUnrefreshedButHandsThemThePort) {
  const auto device = NewDevice(mEndpoint);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetCommonOutput());
  const auto before = outputP->GetDescriptor();
  Calls().Clear();
  Update(*device, mEndpoint);
  EXPECT_EQ(outputP->GetDescriptor(), before) << "the very object";
  EXPECT_EQ(Access::Port(*outputP), &mPort);
  EXPECT_EQ(Calls().Count("Flush"), 1) << "the same port and the same group are set again";
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnotherPortIsHandedToTheOutputs) {
  const auto device = NewDevice(mEndpoint);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetOutputForChannel(0));
  Test_FakePort& other = mRoot.AddOutput(2, "Other");
  Test_StudioNode& elsewhere = mStudio->AddPort(other.GuidText(), "Keys", false);
  SetNumber(elsewhere, NextNumber());
  Update(*device, elsewhere);
  EXPECT_EQ(Access::Port(*outputP), &other);
  EXPECT_EQ(mPort.References(), kCacheAndActivator);
  EXPECT_TRUE(other.IsActive());
}

TEST_F(Mlox_DirectMusic_DeviceTest, APortThatIsGoneIsTakenFromTheOutputs) {
  const auto device = NewDevice(mEndpoint);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetOutputForChannel(0));
  Test_StudioNode& elsewhere = mStudio->AddPort("{no port}", "Keys", false);
  Update(*device, elsewhere);
  EXPECT_EQ(Access::Port(*outputP), nullptr);
  EXPECT_EQ(Access::Group(*outputP), kNoGroup);
  EXPECT_FALSE(outputP->IsTimestamped());
}

// The comparison is deliberately of this shape.
TEST_F(Mlox_DirectMusic_DeviceTest, TheSamePortWithAnotherGroupLeavesTheOutputAlone) {
  const auto device = NewDevice(mEndpoint);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetOutputForChannel(0));
  IntOf(mEndpoint, getter_wrapper::Get_PROPID_EndpointUniqueID()) = 9;
  Calls().Clear();
  Update(*device, mEndpoint);
  EXPECT_EQ(Access::Group(*outputP), 1u);
  EXPECT_EQ(Calls().Count("Flush"), 0);
  auto* laterP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetOutputForChannel(1));
  EXPECT_EQ(Access::Group(*laterP), 9u) << "outputs made from now on have the new one";
}

// ---- what is read ----

TEST_F(Mlox_DirectMusic_DeviceTest, TheNameOfHardwareIsTheEntitysName) {
  StringOf(mEntity, getter_wrapper::Get_PROPID_EntityUserName()) = "Mine";
  const auto device = NewDevice(mEndpoint);
  EXPECT_FALSE(device->IsUserDefined());
  EXPECT_EQ(device->GetName(), "Keys");
}

TEST_F(Mlox_DirectMusic_DeviceTest, TheNameOfAUserDefinedDeviceIsTheUsers) {
  MakeUserDefined(mDevice);
  StringOf(mEntity, getter_wrapper::Get_PROPID_EntityUserName()) = "Mine";
  const auto device = NewDevice(mEndpoint);
  EXPECT_TRUE(device->IsUserDefined());
  EXPECT_EQ(device->GetName(), "Mine");
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnAbsentUserNameGivesTheEntitysNameAFailureGivesNone) {
  MakeUserDefined(mDevice);
  EXPECT_EQ(NewDevice(mEndpoint)->GetName(), "Keys");
  mStudio->Calls().Fail("GetStringProperty userName", E_FAIL);
  EXPECT_EQ(NewDevice(mEndpoint)->GetName(), "");
  mStudio->Calls().Mend("GetStringProperty userName");
  mStudio->Calls().Fail("GetStringProperty name", E_FAIL);
  EXPECT_EQ(NewDevice(mEndpoint)->GetName(), "");
}

TEST_F(Mlox_DirectMusic_DeviceTest, AFlagThatCannotBeReadKeepsWhatWasKnown) {
  MakeUserDefined(mDevice);
  const auto device = NewDevice(mEndpoint);
  mStudio->Calls().Fail("GetFlagProperty external", E_FAIL);
  Update(*device, mEndpoint);
  EXPECT_TRUE(device->IsUserDefined());
  EXPECT_FALSE(NewDevice(mEndpoint)->IsUserDefined()) << "nothing was known";
}

TEST_F(Mlox_DirectMusic_DeviceTest, TheDescriptorHasTheNameAndTheNumberOfTheEndpoint) {
  const auto device = NewDevice(mEndpoint);
  const auto descriptor = device->GetDeviceDescriptor();
  EXPECT_NE(dynamic_cast<const Mlox_DirectMusic_DeviceDescriptor*>(descriptor.get()), nullptr);
  EXPECT_TRUE(descriptor->IsOutput());
  EXPECT_EQ(descriptor->GetName(), "Keys");
  EXPECT_EQ(descriptor->GetHashValue(), mNumber);
  EXPECT_EQ(device->GetDeviceDescriptor(), descriptor) << "made once";
}

TEST_F(Mlox_DirectMusic_DeviceTest, NamesOfMakerAndModelAreReadOnce) {
  const auto device = NewDevice(mEndpoint);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(device->GetManufacturerName(), "Maker");
    EXPECT_EQ(device->GetModelName(), "Model");
  }
  EXPECT_EQ(mStudio->Calls().Count("GetStringProperty manufacturer"), 1);
  EXPECT_EQ(mStudio->Calls().Count("GetStringProperty model"), 1);
}

TEST_F(Mlox_DirectMusic_DeviceTest, EmptyNamesOfMakerAndModelAreReadAgainEachTime) {
  StringOf(mDevice, getter_wrapper::Get_PROPID_DeviceManufacturerName()) = "";
  mStudio->Calls().Fail("GetStringProperty model", E_FAIL);
  const auto device = NewDevice(mEndpoint);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(device->GetManufacturerName(), "");
    EXPECT_EQ(device->GetModelName(), "");
  }
  EXPECT_EQ(mStudio->Calls().Count("GetStringProperty manufacturer"), 2);
  EXPECT_EQ(mStudio->Calls().Count("GetStringProperty model"), 2);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AllChannelsAreAvailableWhenTheStudioDoesNotTell) {
  const auto device = NewDevice(mEndpoint);
  for (short channel = 0; channel < 16; ++channel) EXPECT_TRUE(device->IsMidiChannelAvailable(channel));
  EXPECT_EQ(mStudio->Calls().Count("GetIntProperty receiveChannels"), 1);
}

TEST_F(Mlox_DirectMusic_DeviceTest, BitNOfTheMaskIsChannelN) {
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 0x8004;
  const auto device = NewDevice(mEndpoint);
  for (short channel = 0; channel < 16; ++channel)
    EXPECT_EQ(device->IsMidiChannelAvailable(channel), channel == 2 || channel == 15) << channel;
}

TEST_F(Mlox_DirectMusic_DeviceTest, Channel16IsNotAvailableAndMinusOneAlwaysIs) {
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 0x7FFFFFFF;
  EXPECT_FALSE(NewDevice(mEndpoint)->IsMidiChannelAvailable(16));
  EXPECT_FALSE(NewDevice(mEndpoint)->IsMidiChannelAvailable(-2));
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 0;
  EXPECT_TRUE(NewDevice(mEndpoint)->IsMidiChannelAvailable(-1)) << "even with an all-zero mask";
}

TEST_F(Mlox_DirectMusic_DeviceTest, AMaskOfZeroIsReadAgainAtEachCall) {
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 0;
  const auto device = NewDevice(mEndpoint);
  EXPECT_FALSE(device->IsMidiChannelAvailable(0));
  EXPECT_FALSE(device->IsMidiChannelAvailable(0));
  EXPECT_EQ(mStudio->Calls().Count("GetIntProperty receiveChannels"), 2);
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 1;
  EXPECT_TRUE(device->IsMidiChannelAvailable(0));
}

TEST_F(Mlox_DirectMusic_DeviceTest, TheWriteTimeIsMeasuredAtEachCallUntilTheStudioHasToldIt) {
  const auto device = NewDevice(mEndpoint);
  device->GetCommonOutput();
  AheadOfMaster(40000);
  EXPECT_EQ(device->GetMinWriteTime(), 4000.0);
  AheadOfMaster(70000);
  EXPECT_EQ(device->GetMinWriteTime(), 7000.0) << "not stored";
  DoubleOf(mDevice, getter_wrapper::Get_PROPID_DeviceScheduleAheadMuSec()) = 123.5;
  EXPECT_EQ(device->GetMinWriteTime(), 7000.0) << "nothing of the library asks the studio";
  EXPECT_EQ(device->ReadInMinWriteTime(), 123.5);
  EXPECT_EQ(device->GetMinWriteTime(), 123.5);
}

TEST_F(Mlox_DirectMusic_DeviceTest, WarningIsTheDevicesWriteTimeWhereThatIsAbove50Milliseconds) {
  const auto device = NewDevice(mEndpoint);
  Mlox_Output* outputP = device->GetCommonOutput();
  double& told = DoubleOf(mDevice, getter_wrapper::Get_PROPID_DeviceScheduleAheadMuSec());
  told = 20000.0;
  device->ReadInMinWriteTime();
  EXPECT_EQ(outputP->GetTimestampedPreSendSamples(48000.0), 2400);
  told = 100000.0;
  device->ReadInMinWriteTime();
  EXPECT_EQ(outputP->GetTimestampedPreSendSamples(48000.0), 4800);
  told = 50000.0;
  device->ReadInMinWriteTime();
  EXPECT_EQ(outputP->GetTimestampedPreSendSamples(48000.0), 2400);
  told = 50019.9;
  device->ReadInMinWriteTime();
  EXPECT_EQ(outputP->GetTimestampedPreSendSamples(48000.0), 2400) << "2400.96, cut";
}

TEST_F(Mlox_DirectMusic_DeviceTest, WithoutAPortTheWarningIsTheDevicesWriteTime) {
  const auto device = NewDevice(mStudio->AddPort("{no port}", "Keys", false));
  Mlox_Output* outputP = device->GetCommonOutput();
  EXPECT_EQ(outputP->GetTimestampedPreSendSamples(48000.0), 0);
}

TEST_F(Mlox_DirectMusic_DeviceTest, HardwareDoesItsInputAndOutputItself) {
  const auto device = NewDevice(mEndpoint);
  EXPECT_EQ(device->GetInputID(), (Mlox_InputID{kServiceIndex, mNumber}));
  EXPECT_EQ(device->GetIOMloxID(), device->GetInputID());
  std::shared_ptr<IEndpointProperties> endpoint;
  device->GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint->CompareRaw(mStudio->EndpointOf(mEndpoint)), 0);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AUserDefinedDevicePlaysThroughTheFirstEndpointThatItIsWiredTo) {
  Test_StudioNode& user = AddUserDevice("Mine");
  Test_StudioNode& second = mStudio->AddPort("{second}", "Second", false);
  Test_FakeStudio::Wire(user, mEndpoint);
  Test_FakeStudio::Wire(user, second);
  const auto device = NewDevice(user);
  EXPECT_EQ(device->GetIOMloxID(), (Mlox_InputID{kServiceIndex, mNumber}));
  EXPECT_NE(device->GetInputID(), device->GetIOMloxID());
  std::shared_ptr<IEndpointProperties> endpoint;
  device->GetIOEndpoint(&endpoint);
  ASSERT_NE(endpoint, nullptr);
  EXPECT_EQ(endpoint->CompareRaw(mStudio->EndpointOf(mEndpoint)), 0);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetCommonOutput());
  EXPECT_EQ(Access::Port(*outputP), &mPort);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AUserDefinedDeviceThatIsNotWiredHasNoEndpointToPlayThrough) {
  const auto device = NewDevice(AddUserDevice("Mine"));
  EXPECT_EQ(device->GetIOMloxID(), kNoID);
  std::shared_ptr<IEndpointProperties> endpoint;
  device->GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint, nullptr);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AConnectionThatCannotBeReadIsNone) {
  Test_StudioNode& user = AddUserDevice("Mine");
  Test_FakeStudio::Wire(user, mEndpoint);
  const auto device = NewDevice(user);
  mStudio->Calls().Fail("GetConnection 0", E_FAIL, 1);
  EXPECT_EQ(device->GetIOMloxID(), kNoID);
  EXPECT_EQ(device->GetIOMloxID(), (Mlox_InputID{kServiceIndex, mNumber})) << "tried again";
}

TEST_F(Mlox_DirectMusic_DeviceTest, TheEndpointToPlayThroughNeedsServiceStudioAndAllThreeRawObjects) {
  Test_StudioNode& user = AddUserDevice("Mine");
  Test_FakeStudio::Wire(user, mEndpoint);
  const auto device = NewDevice(user);
  std::shared_ptr<IEndpointProperties> endpoint;
  Handle().SetStudio(nullptr);
  device->GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint, nullptr) << "no studio";
  Handle().Detach();
  device->GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint, nullptr) << "no service";
  Handle().Attach(reinterpret_cast<Mlox_DirectMusic_Service*>(this));
  Handle().SetStudio(mStudio);
  mStudio->Calls().Fail("FindRawProperties", E_FAIL, 1);
  device->GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint, nullptr) << "not found";
  mStudio->Calls().Fail("FindRawProperties", S_OK, 1);
  device->GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint, nullptr) << "found, but empty";
  device->GetIOEndpoint(&endpoint);
  EXPECT_NE(endpoint, nullptr);
  device->GetIOEndpoint(nullptr);
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnEndpointOfAnIdentityThatIsNotRegisteredIsNotFound) {
  Test_StudioNode& user = AddUserDevice("Mine");
  Test_FakeStudio::Wire(user, mEndpoint);
  const auto device = NewDevice(user);
  device->GetIOMloxID();
  ClearRegisteredIDs();
  std::shared_ptr<IEndpointProperties> endpoint;
  device->GetIOEndpoint(&endpoint);
  EXPECT_EQ(endpoint, nullptr);
}

TEST_F(Mlox_DirectMusic_DeviceTest, CountsItsConnections) {
  Test_StudioNode& user = AddUserDevice("Mine");
  const auto device = NewDevice(user);
  EXPECT_EQ(device->GetNumConnections(), 0);
  Test_FakeStudio::Wire(user, mEndpoint);
  EXPECT_EQ(device->GetNumConnections(), 1);
  mStudio->Calls().Fail("GetNumConnections", E_FAIL, 1);
  EXPECT_EQ(device->GetNumConnections(), 0);
}

TEST_F(Mlox_DirectMusic_DeviceTest, KnowsWhatItIsConnectedTo) {
  Test_StudioNode& user = AddUserDevice("Mine");
  Test_StudioNode& second = mStudio->AddPort("{second}", "Second", false);
  Test_StudioNode& third = mStudio->AddPort("{third}", "Third", false);
  Test_FakeStudio::Wire(user, mEndpoint);
  Test_FakeStudio::Wire(user, second);
  const auto device = NewDevice(user);
  EXPECT_FALSE(device->IsConnectedTo({kServiceIndex, mNumber})) << "not registered yet";
  const Mlox_InputID first = GetMloxIDFromIDs(mStudio->IDsOf(mEndpoint));
  EXPECT_TRUE(device->IsConnectedTo(first));
  EXPECT_TRUE(device->IsConnectedTo(GetMloxIDFromIDs(mStudio->IDsOf(second))));
  EXPECT_FALSE(device->IsConnectedTo(GetMloxIDFromIDs(mStudio->IDsOf(third))));
  mStudio->Calls().Clear();
  EXPECT_TRUE(device->IsConnectedTo(first));
  EXPECT_EQ(mStudio->Calls().CountBeginning("GetConnection"), 1) << "stops at the first hit";
  mStudio->Calls().Fail("GetConnection 0", E_FAIL);
  EXPECT_FALSE(device->IsConnectedTo(first));
  EXPECT_TRUE(device->IsConnectedTo(GetMloxIDFromIDs(mStudio->IDsOf(second)))) << "passed over";
}

TEST_F(Mlox_DirectMusic_DeviceTest, IsPartOfItsEndpointItsEntityAndItsDevice) {
  const int entityNumber = NextNumber();
  const int deviceNumber = NextNumber();
  SetNumber(mEntity, entityNumber);
  SetNumber(mDevice, deviceNumber);
  const auto device = NewDevice(mEndpoint);
  const Mlox_InputID ids[] = {
      {kServiceIndex, mNumber}, {kServiceIndex, entityNumber}, {kServiceIndex, deviceNumber}};
  for (int id = 0; id < 3; ++id)
    for (int level = -1; level < 4; ++level)
      EXPECT_EQ(device->IsPartOf(ids[id], level), id == level) << id << " " << level;
  EXPECT_FALSE(device->IsPartOf({kServiceIndex + 1, mNumber}, 0)) << "both halves count";
}

// ---- the port ----

TEST_F(Mlox_DirectMusic_DeviceTest, TheFirstOutputOpensAndActivatesThePort) {
  const auto device = NewDevice(mEndpoint);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetOutputForChannel(7));
  EXPECT_EQ(Access::Port(*outputP), &mPort);
  EXPECT_EQ(Access::Group(*outputP), 1u);
  EXPECT_EQ(Calls().LinesBeginning("Keys: "),
            (Lines{"Keys: GetCaps 308", "Keys: Activate 0", "Keys: Activate 1"}));
  EXPECT_TRUE(mPort.IsActive());
  EXPECT_EQ(mPort.References(), kCacheAndActivator + 2);
  device->GetOutputForChannel(8);
  EXPECT_EQ(Calls().Count("Keys: GetCaps 308"), 1);
  EXPECT_EQ(mPort.References(), kCacheAndActivator + 3);
}

TEST_F(Mlox_DirectMusic_DeviceTest, TwoDevicesOnOnePortActivateItOnce) {
  Test_StudioNode& user = AddUserDevice("Mine");
  Test_FakeStudio::Wire(user, mEndpoint);
  const auto hardware = NewDevice(mEndpoint);
  const auto mine = NewDevice(user);
  hardware->GetCommonOutput();
  mine->GetCommonOutput();
  EXPECT_EQ(Calls().Count("Keys: Activate 1"), 1);
  hardware->SetServiceReleased();
  mine->SetServiceReleased();
  EXPECT_TRUE(mPort.IsActive()) << "letting go doesn't deactivate";
}

struct Obstacle {
  const char* mStudioCall;
  const char* mRootCall;
};

TEST_F(Mlox_DirectMusic_DeviceTest, ADeviceWhosePortCannotBeOpenedStillMakesOutputs) {
  const Obstacle obstacles[] = {
      {"GetIDs 0", nullptr},                    // the endpoint has no identity
      {"GetStringProperty uniqueID", nullptr},  // nor a port
      {nullptr, "CreatePort"},                  // the port can't be had
      {"GetIntProperty uniqueID", nullptr},     // its group isn't known
  };
  for (const Obstacle& obstacle : obstacles) {
    SCOPED_TRACE(obstacle.mStudioCall != nullptr ? obstacle.mStudioCall : obstacle.mRootCall);
    DirectMusicClient::ReleaseDirectMusicPtr();
    DirectMusicClient::GetDirectMusicPtr(true)->Release();
    const auto device = NewDevice(mEndpoint);
    if (obstacle.mStudioCall != nullptr) mStudio->Calls().Fail(obstacle.mStudioCall, E_FAIL);
    if (obstacle.mRootCall != nullptr) Calls().Fail(obstacle.mRootCall, E_FAIL);
    auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetOutputForChannel(7));
    if (obstacle.mStudioCall != nullptr) mStudio->Calls().Mend(obstacle.mStudioCall);
    if (obstacle.mRootCall != nullptr) Calls().Mend(obstacle.mRootCall);
    ASSERT_NE(outputP, nullptr);
    EXPECT_EQ(Access::Port(*outputP), nullptr);
    EXPECT_EQ(Access::Group(*outputP), kNoGroup);
    EXPECT_FALSE(mPort.IsActive());
    EXPECT_LE(mPort.References(), 1) << "at most the cache's";
  }
}

TEST_F(Mlox_DirectMusic_DeviceTest, APortThatCouldNotBeOpenedIsNotTriedAgainForTheNextOutput) {
  const auto device = NewDevice(mEndpoint);
  Calls().Fail("CreatePort", E_FAIL, 1);
  device->GetOutputForChannel(7);
  auto* nextP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetOutputForChannel(8));
  EXPECT_EQ(Access::Port(*nextP), nullptr);
  EXPECT_EQ(Calls().CountBeginning("CreatePort"), 1);
  Update(*device, mEndpoint);
  EXPECT_EQ(Access::Port(*nextP), &mPort) << "but at the next update";
}

TEST_F(Mlox_DirectMusic_DeviceTest, APortWithoutCapsIsUsedButNotActivated) {
  Calls().Fail("GetCaps", E_FAIL);
  const auto device = NewDevice(mEndpoint);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetCommonOutput());
  EXPECT_EQ(Access::Port(*outputP), &mPort);
  EXPECT_EQ(Calls().CountBeginning("Keys: Activate"), 0);
}

TEST_F(Mlox_DirectMusic_DeviceTest, APortThatFailedActivationIsUsedAllTheSameAndNotTriedAgain) {
  Calls().Fail("Keys: Activate 1", E_FAIL);
  const auto device = NewDevice(mEndpoint);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(device->GetCommonOutput());
  EXPECT_EQ(Access::Port(*outputP), &mPort);
  Calls().Mend("Keys: Activate 1");
  Update(*device, mEndpoint);
  EXPECT_EQ(Calls().Count("Keys: Activate 1"), 1);
  EXPECT_FALSE(mPort.IsActive());
}

// ---- outputs ----

TEST_F(Mlox_DirectMusic_DeviceTest, MinusOneIsNoChannelButTheCommonOutput) {
  const auto device = NewDevice(mEndpoint);
  EXPECT_EQ(device->GetOutputForChannel(-1), nullptr);
  Mlox_Output* commonP = device->GetCommonOutput();
  ASSERT_NE(commonP, nullptr);
  EXPECT_EQ(commonP->GetDescriptor()->GetChannel(), -1);
  EXPECT_EQ(commonP->GetDevice(), device.get());
}

TEST_F(Mlox_DirectMusic_DeviceTest, ThereIsAtMostOneOutputForEachChannel) {
  const auto device = NewDevice(mEndpoint);
  std::vector<Mlox_Output*> outputs{device->GetCommonOutput()};
  for (short channel = 0; channel < 16; ++channel) {
    Mlox_Output* outputP = device->GetOutputForChannel(channel);
    ASSERT_NE(outputP, nullptr);
    EXPECT_EQ(outputP->GetDescriptor()->GetChannel(), channel);
    for (const Mlox_Output* otherP : outputs) EXPECT_NE(otherP, outputP);
    outputs.push_back(outputP);
  }
  for (short channel = 0; channel < 16; ++channel)
    EXPECT_EQ(device->GetOutputForChannel(channel), outputs[static_cast<std::size_t>(channel) + 1]);
  EXPECT_EQ(device->GetCommonOutput(), outputs[0]);
}

TEST_F(Mlox_DirectMusic_DeviceTest, ThereIsNoOutputForAChannelThatIsNotAvailable) {
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 1;
  const auto device = NewDevice(mEndpoint);
  EXPECT_NE(device->GetOutputForChannel(0), nullptr);
  EXPECT_EQ(device->GetOutputForChannel(1), nullptr);
  EXPECT_EQ(device->GetOutputForChannel(16), nullptr);
  EXPECT_NE(device->GetCommonOutput(), nullptr);
}

TEST_F(Mlox_DirectMusic_DeviceTest, LettingGoOfTheOutputsLeavesThemValidAndReleased) {
  const auto device = NewDevice(mEndpoint);
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(device->GetOutputForChannel(2));
  device->ReleaseOutList();
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(output.get());
  EXPECT_TRUE(Access::IsReleased(*outputP));
  EXPECT_EQ(output->GetDevice(), nullptr);
  EXPECT_EQ(mPort.References(), kCacheAndActivator + 1) << "the output's own";
  EXPECT_NE(device->GetOutputForChannel(2), output.get()) << "the device goes on and makes new ones";
}

TEST_F(Mlox_DirectMusic_DeviceTest, OnceTheServiceHasLetGoThereAreNoOutputsForGood) {
  const auto device = NewDevice(mEndpoint);
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(device->GetOutputForChannel(2));
  EXPECT_FALSE(device->IsServiceReleased());
  device->SetServiceReleased();
  EXPECT_TRUE(device->IsServiceReleased());
  EXPECT_EQ(output->GetDevice(), nullptr);
  EXPECT_EQ(device->GetOutputForChannel(2), nullptr);
  EXPECT_EQ(device->GetCommonOutput(), nullptr);
  Update(*device, mEndpoint);
  EXPECT_EQ(device->GetCommonOutput(), nullptr);
}

TEST_F(Mlox_DirectMusic_DeviceTest, TheEndOfADeviceLetsGoOfItsOutputs) {
  Cmn_AliasedRefCountPtr<Mlox_Output> output;
  {
    const auto device = NewDevice(mEndpoint);
    output = device->GetOutputForChannel(2);
  }
  EXPECT_EQ(output->GetDevice(), nullptr);
  EXPECT_EQ(output->GetTimestampedPreSendSamples(48000.0), 0);
  output->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(1, 1), Mlox_OutputContextRef());
  EXPECT_TRUE(mPort.Played().empty());
}

TEST_F(Mlox_DirectMusic_DeviceTest, TheBeatClockOffsetGoesToTheCommonOutput) {
  const auto device = NewDevice(mEndpoint);
  EXPECT_TRUE(device->GetReceivesMBC());
  device->SetBeatClockOffsetSamples(-100);
  EXPECT_EQ(device->GetBeatClockOffsetSamples(), -100);
  EXPECT_EQ(device->GetCommonOutput()->GetUserBeatClockOffset(), Time_SampleLength(-100));
}

// ---- copies ----

TEST_F(Mlox_DirectMusic_DeviceTest, ACopySharesTheRawObjectsAndTheOutputsAndTakesAPortReferenceOfItsOwn) {
  const auto device = NewDevice(mEndpoint);
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(device->GetOutputForChannel(2));
  device->SetNeedsVerification();
  const int before = mPort.References();
  {
    Mlox_DirectMusic_Device copy(*device);
    EXPECT_EQ(mPort.References(), before + 1);
    EXPECT_EQ(copy.GetOutputForChannel(2), output.get());
    EXPECT_EQ(copy.GetDeviceDescriptor(), device->GetDeviceDescriptor());
    EXPECT_TRUE(copy.IsNeedsVerification());
    EXPECT_TRUE(Match(copy, mEndpoint));
    EXPECT_EQ(copy.GetInputID(), device->GetInputID());
    EXPECT_EQ(output->GetDevice(), device.get()) << "the outputs' device is the one that made them";
  }
  EXPECT_EQ(mPort.References(), before);
  EXPECT_TRUE(device->IsNeedsVerification()) << "a copy has marks of its own";
}

TEST_F(Mlox_DirectMusic_DeviceTest, AnAssignedDeviceHasEveryFieldOfTheOther) {
  MakeUserDefined(mDevice);
  IntOf(mEntity, getter_wrapper::Get_PROPID_EntityReceiveChannels()) = 4;
  DoubleOf(mDevice, getter_wrapper::Get_PROPID_DeviceScheduleAheadMuSec()) = 55.0;
  Test_FakeStudio::Wire(mEndpoint, mStudio->AddPort("{other}", "Other", true));
  const auto device = NewDevice(mEndpoint);
  device->ReadInMinWriteTime();
  device->GetManufacturerName();
  device->GetModelName();
  device->IsMidiChannelAvailable(2);
  device->SetServiceReleased();
  const Mlox_InputID io = device->GetIOMloxID();
  EXPECT_NE(io, kNoID);

  Mlox_DirectMusic_Device other(nullptr, nullptr, nullptr, nullptr, nullptr);
  other.GetCommonOutput();
  other = *device;
  mStudio->Calls().Clear();
  EXPECT_EQ(other.GetManufacturerName(), "Maker");
  EXPECT_EQ(other.GetModelName(), "Model");
  EXPECT_TRUE(other.IsMidiChannelAvailable(2));
  EXPECT_FALSE(other.IsMidiChannelAvailable(3));
  EXPECT_EQ(other.GetMinWriteTime(), 55.0);
  EXPECT_EQ(other.GetIOMloxID(), io);
  EXPECT_TRUE(other.IsUserDefined());
  EXPECT_TRUE(other.IsServiceReleased());
  EXPECT_TRUE(other.IsPartOf(device->GetInputID(), 0));
  EXPECT_EQ(mStudio->Calls().Lines(), Lines{}) << "what was read came along";
  EXPECT_EQ(other.GetCommonOutput(), nullptr);
}

TEST_F(Mlox_DirectMusic_DeviceTest, ACopyMakesOutputsWithTheGroupAndTheAllocatorOfTheOther) {
  constexpr Mem2_MasterAllocator::Presize kPresizes[] = {{36, 1}};
  Mem2_MasterAllocator allocator(kPresizes);
  Mlox_DirectMusic_Device device(&mAppCallback, mStudio->DeviceOf(mDevice), mStudio->EntityOf(mEntity),
                                 mStudio->EndpointOf(mEndpoint), &allocator);
  device.GetCommonOutput();
  Mlox_DirectMusic_Device copy(device);
  auto* outputP = dynamic_cast<Mlox_DirectMusic_Output*>(copy.GetOutputForChannel(2));
  EXPECT_EQ(Access::Port(*outputP), &mPort);
  EXPECT_EQ(Access::Group(*outputP), 1u);
  const std::vector<unsigned char> bytes(200, 0xF8);
  outputP->WriteRawMIDI(bytes.data(), static_cast<int>(bytes.size()), Mlox_OutputContextRef());
  EXPECT_EQ(allocator.GetCounters().mGrownInPlace, 1u);
}

TEST_F(Mlox_DirectMusic_DeviceTest, ACopyHasTheEndpointToPlayThroughAndTheIdentitiesOfTheOther) {
  Test_StudioNode& user = AddUserDevice("Mine");
  Test_FakeStudio::Wire(user, mEndpoint);
  const int entityNumber = NextNumber();
  const int deviceNumber = NextNumber();
  SetNumber(*user.mParentP, entityNumber);
  SetNumber(*user.mParentP->mParentP, deviceNumber);
  const auto device = NewDevice(user);
  std::shared_ptr<IEndpointProperties> endpoint;
  device->GetIOEndpoint(&endpoint);
  ASSERT_NE(endpoint, nullptr);
  Mlox_DirectMusic_Device copy(*device);
  Handle().SetStudio(nullptr);
  std::shared_ptr<IEndpointProperties> copied;
  copy.GetIOEndpoint(&copied);
  EXPECT_EQ(copied, endpoint);
  EXPECT_TRUE(copy.IsPartOf({kServiceIndex, entityNumber}, 1));
  EXPECT_TRUE(copy.IsPartOf({kServiceIndex, deviceNumber}, 2));
}

TEST_F(Mlox_DirectMusic_DeviceTest, AssigningADeviceToItselfOrToAnotherKeepsThePortsCountRight) {
  const auto device = NewDevice(mEndpoint);
  device->GetCommonOutput();
  const int before = mPort.References();
  const Mlox_DirectMusic_Device& same = *device;
  *device = same;
  EXPECT_EQ(mPort.References(), before);
  {
    Mlox_DirectMusic_Device other(nullptr, nullptr, nullptr, nullptr, nullptr);
    other = *device;
    EXPECT_EQ(mPort.References(), before + 1);
    other = *device;
    EXPECT_EQ(mPort.References(), before + 1);
  }
  EXPECT_EQ(mPort.References(), before);
}

// ---- threads ----

TEST_F(Mlox_DirectMusic_DeviceTest, UpdatesInquiriesAndWritesMayMeet) {
  constexpr int kRounds = 100;
  const auto device = NewDevice(mEndpoint);
  const Cmn_AliasedRefCountPtr<Mlox_Output> output(device->GetOutputForChannel(0));
  std::atomic<bool> isDone{false};
  std::thread writer([&] {
    while (!isDone) {
      output->WriteEvent(Mdie_Timestamp(Time_Sample(1)), Mdie_NoteOnEvent(1, 1), Mlox_OutputContextRef());
      output->GetTimestampedPreSendSamples(48000.0);
    }
  });
  std::thread asker([&] {
    while (!isDone) {
      device->GetName();
      device->GetManufacturerName();
      device->IsMidiChannelAvailable(3);
      device->GetOutputForChannel(3);
      output->GetDescriptor();
    }
  });
  for (int round = 0; round < kRounds; ++round) Update(*device, mEndpoint);
  device->SetServiceReleased();
  isDone = true;
  writer.join();
  asker.join();
  EXPECT_EQ(output->GetDevice(), nullptr);
}

}  // namespace
