// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_directmusic/mlox_directmusic_notificationcallback.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"
#include "mlox/mlox_genericdevdescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_outputdescriptor.h"
#include "mlox/mlox_persistentinput.h"
#include "mlox/mlox_persistentoutput.h"
#include "tests/mlox/mlox_directmusic/service_fixture.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/fake_studio.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Mlox_DirectMusic_ServiceTest : public Test_DirectMusic_ServiceFixture {
 protected:
  // Wires a user-defined device to a real port, out and in, and tells that side of the wiring alone: the port
  // is listed still.
  void WireWithTheRealSideUntold() {
    mStudio->PlugIn(Output("O", "Port out"));
    mStudio->PlugIn(Input("I", "Port in"));
    mStudio->AddUserDefined(UserDefined("U", "Synth"));
    Live();
    mStudio->Silently([](Test_ModelStudio& ioStudio) {
      ioStudio.Wire("U", "O");
      ioStudio.Wire("U", "I");
    });
    mStudio->Tell({{mStudio->IDs("U", 0, false), 4}, {mStudio->IDs("U", 0, true), 4}});
    ASSERT_THAT(Devices(), ElementsAre("Port out", "Synth"));
    ASSERT_THAT(Inputs(), ElementsAre("Port in", "Synth"));
  }
};

// ---- counts and rebuild ----

TEST_F(Mlox_DirectMusic_ServiceTest, TheListsAreEmptyUntilTheFirstCount) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  ASSERT_TRUE(Activate());
  EXPECT_EQ(Service().GetOutputDevice(0), nullptr);
  EXPECT_FALSE(Service().GetInput(0));
  Mlox_InputList list;
  Manager().GetInputs(&list, static_cast<Mlox_EInputVirtualSelection>(2),
                      static_cast<Mlox_EInputSyncSelection>(2));
  EXPECT_THAT(list, IsEmpty());
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  EXPECT_THAT(Inputs(), ElementsAre("Keys"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheFirstCountOfTheManagerLeavesUsableIndices) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  ASSERT_TRUE(Activate());
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 1);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 1);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Manager().GetOutputDevice(0)->GetName(), "Synth");
  EXPECT_EQ(Manager().GetInput(0)->GetName(), "Keys");
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DirectMusic_ServiceTest, AnIndexOutsideAListGivesNull) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  for (const int index : {-1, 1, 1000}) {
    EXPECT_EQ(Service().GetOutputDevice(index), nullptr) << index;
    EXPECT_FALSE(Service().GetInput(index)) << index;
  }
}

TEST_F(Mlox_DirectMusic_ServiceTest, ACountClearsTheChangeFlagsAndAChangeRaisesThem) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  ASSERT_TRUE(Activate());
  EXPECT_TRUE(Access::NeedsRebuild(Service()));
  EXPECT_TRUE(Access::DevicesChanged(Service()));
  EXPECT_TRUE(Access::InputsChanged(Service()));
  Count();
  EXPECT_FALSE(Access::NeedsRebuild(Service()));
  EXPECT_FALSE(Access::DevicesChanged(Service()));
  EXPECT_FALSE(Access::InputsChanged(Service()));
  mStudio->Unplug("O");
  EXPECT_TRUE(Access::DevicesChanged(Service()));
  EXPECT_FALSE(Access::InputsChanged(Service()));
  mStudio->Unplug("I");
  EXPECT_TRUE(Access::InputsChanged(Service()));
}

TEST_F(Mlox_DirectMusic_ServiceTest, ADeviceThatIsPresentBeforeAndAfterARebuildKeepsItsObject) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  const auto* deviceP = Device(0);
  const Mlox_InputRef input = Service().GetInput(0);
  Access::Rebuild(Service());
  EXPECT_EQ(Device(0), deviceP);
  EXPECT_EQ(Service().GetInput(0).get(), input.get());
  EXPECT_FALSE(Device(0)->IsNeedsVerification());
  EXPECT_FALSE(InputAt(0)->IsNeedsVerification());
}

TEST_F(Mlox_DirectMusic_ServiceTest, EverySurvivorRaisesTheChangeFlagInARebuild) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  ASSERT_FALSE(Access::DevicesChanged(Service()));
  ASSERT_FALSE(Access::InputsChanged(Service()));
  Access::Rebuild(Service());
  EXPECT_TRUE(Access::DevicesChanged(Service())) << "an update always counts as a change";
  EXPECT_TRUE(Access::InputsChanged(Service()));
}

TEST_F(Mlox_DirectMusic_ServiceTest, ARebuildWithOneDeviceGoneBroadcastsOnceForThatDevice) {
  mStudio->PlugIn(Output("O", "Synth"));
  Live();
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().CheckStudioSetup();
  mLog.clear();
  mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.Unplug("O"); });
  Access::Rebuild(Service());
  EXPECT_THAT(Devices(), IsEmpty());
  EXPECT_THAT(mLog, IsEmpty()) << "flags only";
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged true"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, ARebuildKeepsTheOrderOfTheSurvivors) {
  for (const char* name : {"A", "B", "C", "D"}) mStudio->PlugIn(Output(name, name));
  Live();
  mStudio->Silently([](Test_ModelStudio& ioStudio) {
    ioStudio.Unplug("B");
    ioStudio.PlugIn(Output("E", "E"));
  });
  Access::Rebuild(Service());
  EXPECT_THAT(Devices(), ElementsAre("A", "C", "D", "E"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, AUserDefinedEndpointWithNoConnectionsMakesNoDeviceAtAllInARebuild) {
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  Live();
  EXPECT_THAT(Devices(), IsEmpty());
  EXPECT_THAT(Inputs(), IsEmpty());
  Access::Rebuild(Service());
  EXPECT_FALSE(Access::DevicesChanged(Service())) << "none was made and swept again";
  EXPECT_FALSE(Access::InputsChanged(Service()));
}

TEST_F(Mlox_DirectMusic_ServiceTest, WhereAUserDefinedDeviceSitsOnARealPortOnlyItIsListed) {
  mStudio->PlugIn(Output("O", "Port out"));
  mStudio->PlugIn(Input("I", "Port in"));
  mStudio->PlugIn(Output("O2", "Other"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  mStudio->Wire("U", "O");
  mStudio->Wire("U", "I");
  Live();
  EXPECT_THAT(Devices(), ElementsAre("Other", "Synth"));
  EXPECT_THAT(Inputs(), ElementsAre("Synth"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, AUserDefinedDeviceThatOnlyAnotherOneIsConnectedToIsRemoved) {
  // Wired, so that a device is made, but the far end isn't listed: no real device is connected to it.
  mStudio->PlugIn(Output("O", "Port"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  mStudio->Wire("U", "O");
  mStudio->Fail("GetDevice O", E_FAIL);
  Live();
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(Mlox_DirectMusic_ServiceTest, AUserDefinedInputOnAPortThatIsNotListedIsRemoved) {
  mStudio->PlugIn(Input("I", "Port"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  mStudio->Wire("U", "I");
  mStudio->Fail("GetDevice I", E_FAIL);
  Live();
  EXPECT_THAT(Inputs(), IsEmpty());
}

TEST_F(Mlox_DirectMusic_ServiceTest, ACountOfWiresOutOfAllMeasureKeepsNoRebuildForEver) {
  mStudio->PlugIn(Output("O", "Port out"));
  mStudio->PlugIn(Input("I", "Port in"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  mStudio->Wire("U", "O");
  mStudio->Wire("U", "I");
  for (const char* id : {"O", "I", "U"}) {
    mStudio->SetRow(id, [](Test_ModelDevice& ioRow) { ioRow.mClaimedConnections = 2000000000; });
  }
  Live();
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  EXPECT_THAT(Inputs(), ElementsAre("Synth"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, BothGroupsAreReadThePresentOneFirst) {
  mStudio->PlugIn(Output("O", "Port"));
  Live();
  EXPECT_EQ(mStudio->Calls("GetDeviceCount"), 2);
  mStudio->Fail("GetDeviceCount online", E_FAIL);
  Access::Rebuild(Service());
  EXPECT_EQ(mStudio->Calls("GetDeviceCount"), 3) << "a failure ends the rebuild";
}

TEST_F(Mlox_DirectMusic_ServiceTest, WhatIsListedOfBothGroupsStandsInTheirOrderThePresentOneFirst) {
  const std::shared_ptr<Test_FakeStudio> studio = Test_FakeStudio::Install();
  for (const char* group : {"offline", "online"}) {
    for (const char* number : {" 1", " 2"}) {
      for (const bool isSource : {true, false}) {
        const std::string name = std::string(isSource ? "In " : "Out ") + group + number;
        Test_StudioNode& device = *studio->AddPort(name, name, isSource).mParentP->mParentP;
        studio->RemoveDevice(device);
        studio->ReturnDevice(device, std::string(group) == "online");
      }
    }
  }
  Live();
  EXPECT_THAT(Devices(), ElementsAre("Out online 1", "Out online 2", "Out offline 1", "Out offline 2"));
  EXPECT_THAT(Inputs(), ElementsAre("In online 1", "In online 2", "In offline 1", "In offline 2"));
  // And all of it survives a rebuild.
  const auto* deviceP = Device(2);
  const Mlox_InputRef input = Service().GetInput(2);
  Access::Rebuild(Service());
  EXPECT_THAT(Devices(), ElementsAre("Out online 1", "Out online 2", "Out offline 1", "Out offline 2"));
  EXPECT_EQ(Device(2), deviceP);
  EXPECT_EQ(Service().GetInput(2).get(), input.get());
}

TEST_F(Mlox_DirectMusic_ServiceTest, ADeviceThatCannotBeHadIsSkipped) {
  for (const char* name : {"A", "B", "C"}) mStudio->PlugIn(Output(name, name));
  mStudio->Fail("GetDevice B", E_FAIL);
  Live();
  EXPECT_THAT(Devices(), ElementsAre("A", "C"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, AnEntityThatCannotBeHadIsSkipped) {
  for (const char* name : {"A", "B", "C"}) mStudio->PlugIn(Output(name, name));
  mStudio->Fail("GetEntity B", E_FAIL);
  mStudio->Fail("GetEntityCount C", E_FAIL);
  Live();
  EXPECT_THAT(Devices(), ElementsAre("A"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, AnEndpointThatCannotBeHadOrHasNoIdentifiersIsSkipped) {
  for (const char* name : {"A", "B", "C", "D"}) mStudio->PlugIn(Output(name, name));
  mStudio->Fail("GetEndpoint A", E_FAIL);
  mStudio->Fail("GetEndpointCount B", E_FAIL);
  mStudio->Fail("GetIDs C", E_FAIL);
  Live();
  EXPECT_THAT(Devices(), ElementsAre("D"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, ASourceThatCannotBeHadOrHasNoIdentifiersIsSkipped) {
  for (const char* name : {"A", "B", "C", "D"}) mStudio->PlugIn(Input(name, name));
  mStudio->Fail("GetEndpoint A", E_FAIL);
  mStudio->Fail("GetEndpointCount B", E_FAIL);
  mStudio->Fail("GetIDs C", E_FAIL);
  Live();
  EXPECT_THAT(Inputs(), ElementsAre("D"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, AFailingGetDeviceCountEndsTheRebuildWithTheMarksSetAndNothingSwept) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.Unplug("O"); });
  mStudio->Fail("GetDeviceCount offline", E_FAIL);
  Access::Rebuild(Service());
  EXPECT_TRUE(Device(0)->IsNeedsVerification());
  EXPECT_TRUE(InputAt(0)->IsNeedsVerification());
}

TEST_F(Mlox_DirectMusic_ServiceTest, AFailingGetDeviceCountLeavesTheCountAtZeroAndIsTriedAgainAtEachCount) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->Fail("GetDeviceCount", E_FAIL);
  ASSERT_TRUE(Activate());
  EXPECT_EQ(Service().GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(Service().GetNumberOfInputs(), 0);
  EXPECT_EQ(Service().GetNumberOfInputs(), 0);
  EXPECT_EQ(mStudio->Calls("GetDeviceCount"), 3);
  EXPECT_TRUE(Access::NeedsRebuild(Service()));
  EXPECT_TRUE(Access::DevicesChanged(Service()));
  mStudio->Fail("GetDeviceCount", S_OK);
  EXPECT_EQ(Service().GetNumberOfOutputDevices(), 1);
}

TEST_F(Mlox_DirectMusic_ServiceTest, AnIDThatIsTakenBySomethingElseChangesNothing) {
  mStudio->PlugIn(Output("A", "First"));
  mStudio->PlugIn(Input("I", "First in"));
  Live();
  const auto* deviceP = Device(0);
  for (const auto& [id, isSource, twin] :
       {std::tuple{"A", false, Output("B", "Twin")}, std::tuple{"I", true, Input("J", "Twin in")}}) {
    Test_ModelDevice device = twin;
    device.mMloxIDs = mStudio->Row(id).mMloxIDs;
    mStudio->PlugIn(device);
  }
  EXPECT_THAT(Devices(), ElementsAre("First"));
  EXPECT_THAT(Inputs(), ElementsAre("First in"));
  EXPECT_EQ(Device(0), deviceP);
}

// ---- without a studio ----

TEST_F(Mlox_DirectMusic_ServiceTest, WithNoStudioEveryCountIsZeroAndTheServiceStaysUnbuilt) {
  Test_ModelStudio::Install(nullptr);
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  Manager().AddService(&Service(), 8);
  EXPECT_EQ(Service().GetStudio(), nullptr);
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(Manager().GetNumberOfInputs(), 0);
    EXPECT_EQ(Service().GetNumberOfInputs(), 0);
    EXPECT_EQ(Service().GetNumberOfOutputDevices(), 0);
    EXPECT_TRUE(Access::NeedsRebuild(Service()));
    EXPECT_TRUE(Access::InputsChanged(Service()));
  }
}

TEST_F(Mlox_DirectMusic_ServiceTest, WithoutDirectMusicTheStudioIsMadeFromANullRoot) {
  static bool sWasNull;
  sWasNull = false;
  mRoot.mCreateResult = E_FAIL;
  IDirectMusicStudio::SetFactory([](IDirectMusic8* iRootP) -> std::shared_ptr<IDirectMusicStudio> {
    sWasNull = iRootP == nullptr;
    return std::make_shared<Test_ModelStudio>();
  });
  EXPECT_TRUE(Activate());
  EXPECT_TRUE(sWasNull);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 0);
}

TEST_F(Mlox_DirectMusic_ServiceTest, ASetDirectSoundThatAnswersAnythingButZeroDropsTheStudio) {
  mStudio->PlugIn(Output("O", "Synth"));
  mRoot.Calls().Fail("SetDirectSound", S_FALSE);
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  EXPECT_EQ(Service().GetStudio(), nullptr);
  EXPECT_EQ(Service().GetNumberOfOutputDevices(), 0);
}

TEST_F(Mlox_DirectMusic_ServiceTest, AFailingRegisterNotificationDropsTheStudio) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->Fail("RegisterNotification", S_FALSE);
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  EXPECT_EQ(Service().GetStudio(), nullptr);
  EXPECT_EQ(Service().GetNumberOfOutputDevices(), 0);
}

// ---- life ----

TEST_F(Mlox_DirectMusic_ServiceTest,
       ItTakesTheSystemsDefaultOfSoundMakesTheStudioOfTheRootAndFillsThePortCache) {
  static IDirectMusic8* sRootP;
  static std::shared_ptr<Test_ModelStudio> sStudio;
  sRootP = nullptr;
  sStudio = mStudio;
  IDirectMusicStudio::SetFactory([](IDirectMusic8* iRootP) -> std::shared_ptr<IDirectMusicStudio> {
    sRootP = iRootP;
    return std::move(sStudio);
  });
  mRoot.AddOutput(1, "Out");
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  EXPECT_EQ(mRoot.Calls().Count("SetDirectSound null null"), 1);
  EXPECT_EQ(sRootP, &mRoot);
  EXPECT_EQ(mRoot.Calls().Count("CreatePort " + Test_FakeDirectMusic::GuidTextOf(1)), 1);
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheDestructorBroadcastsAlsoWhenItHadNoDevices) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  Manager().CheckStudioSetup();
  mLog.clear();
  delete &Service();
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged true"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheDestructorGivesBackTheClock) {
  Live();
  EXPECT_EQ(mRoot.MasterClock().References(), 1);
  Manager().RemoveAllServices();
  EXPECT_EQ(mRoot.MasterClock().References(), 0);
}

TEST_F(Mlox_DirectMusic_ServiceTest, ThereIsAtMostOne) {
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  auto* serviceP = &Service();
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  EXPECT_EQ(&Service(), serviceP);
}

TEST_F(Mlox_DirectMusic_ServiceTest, ItsIndexIsTheFirstNumberOfEveryID) {
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  EXPECT_EQ(GetDirectMusicServiceIndex(), 1);
  EXPECT_EQ(Service().GetInput(0)->GetInputID().mServiceIndex, 1);
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheDestructorEndsTheSubscriptionReleasesEverythingAndClearsTheHandle) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  const Mlox_DirectMusic_Device* deviceP = Device(0);
  Mlox_Output* outputP = Device(0)->GetCommonOutput();
  const Cmn_AliasedRefCountPtr<Mlox_Output> keptOutput(outputP);
  const Mlox_InputRef input = Service().GetInput(0);
  ASSERT_TRUE(mStudio->HasSubscriber());
  ASSERT_FALSE(GetRegisteredIDs().empty());
  Manager().RemoveAllServices();
  EXPECT_FALSE(mStudio->HasSubscriber());
  EXPECT_EQ(mStudio->Unregistrations(), 1);
  EXPECT_TRUE(deviceP->IsServiceReleased()) << "and still there";
  EXPECT_TRUE(static_cast<const Mlox_DirectMusic_Input*>(input.get())->IsServiceReleased());
  EXPECT_EQ(outputP->GetDevice(), nullptr);
  EXPECT_EQ(sService.load(), nullptr);
  EXPECT_TRUE(GetRegisteredIDs().empty());
  EXPECT_EQ(input->GetName(), "Keys");
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheDestructorEndsTheSubscriptionBeforeItReleasesAnything) {
  static Mlox_DirectMusic_Device* sDeviceP;
  class WatchingStudio : public Test_ModelStudio {
   public:
    HRESULT UnregisterNotification(const OLECHAR* iID) override {
      mWasReleased = sDeviceP->IsServiceReleased();
      mLockWasHeld = DirectMusicSubsystemLock::IsHeldByThisThread();
      mServiceWasThere = sService.load() != nullptr;
      return Test_ModelStudio::UnregisterNotification(iID);
    }
    bool mWasReleased = true;
    bool mLockWasHeld = true;
    bool mServiceWasThere = false;
  };
  const auto studio = std::make_shared<WatchingStudio>();
  Test_ModelStudio::Install(studio);
  studio->PlugIn(Output("O", "Synth"));
  Live();
  sDeviceP = Device(0);
  Manager().RemoveAllServices();
  EXPECT_FALSE(studio->mWasReleased);
  EXPECT_FALSE(studio->mLockWasHeld) << "a notification in progress needs it to end";
  EXPECT_TRUE(studio->mServiceWasThere);
}

TEST_F(Mlox_DirectMusic_ServiceTest, AHundredRoundsOfActivatingCountingAndRemovingWork) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Test_RecordingReceiver receiver;
  for (int round = 0; round < 100; ++round) {
    ASSERT_TRUE(Activate()) << round;
    Count();
    ASSERT_THAT(Devices(), ElementsAre("Synth")) << round;
    ASSERT_THAT(Inputs(), ElementsAre("Keys")) << round;
    const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
    portP->ConnectToInputs({Manager().GetInput(0)});
    mStudio->Unplug("O");
    ASSERT_THAT(Devices(), IsEmpty()) << round;
    mStudio->Plug("O");
    ASSERT_THAT(Devices(), ElementsAre("Synth")) << round;
    Manager().RemoveAllServices();
    ASSERT_EQ(sService.load(), nullptr) << round;
  }
  EXPECT_EQ(mStudio->Unregistrations(), 100);
}

TEST_F(Mlox_DirectMusic_ServiceTest, ANotificationBetweenTheRoundsIsDroppedUntilTheNewServiceHasAnIndex) {
  mStudio->PlugIn(Output("O", "Synth"));
  Live();
  Manager().RemoveAllServices();
  ASSERT_EQ(GetDirectMusicServiceIndex(), 1) << "stays from the round before";
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  mStudio->Plug("O");
  EXPECT_EQ(Service().GetOutputDevice(0), nullptr);
}

// ---- flags ----

TEST_F(Mlox_DirectMusic_ServiceTest, SuspendingChangesTheFlagAloneAndDevicesStay) {
  mStudio->PlugIn(Output("O", "Synth"));
  Live();
  Manager().Suspend(Mlox_Manager::kDirectMusicService);
  EXPECT_TRUE(Service().IsSuspended());
  EXPECT_TRUE(sService.load()->IsSuspended());
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  Manager().Resume(Mlox_Manager::kDirectMusicService);
  EXPECT_FALSE(Service().IsSuspended());
  EXPECT_FALSE(sService.load()->IsSuspended());
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheZeroJitterDelayIsZeroAtFirstAndStored) {
  Live();
  EXPECT_EQ(Service().GetZeroJitterDelay(), 0);
  Manager().GetOSService()->SetZeroJitterDelay(480);
  EXPECT_EQ(Service().GetZeroJitterDelay(), 480);
  EXPECT_EQ(sService.load()->GetZeroJitterDelay(), 480);
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheStopFlagIsSetAtFirstAndStopPlaybackSetsIt) {
  Live();
  EXPECT_TRUE(Service().IsStopPlaybackFlagSet());
  Service().SetStopPlaybackFlag(false);
  EXPECT_FALSE(Service().IsStopPlaybackFlagSet());
  EXPECT_FALSE(sService.load()->IsStopPlaybackFlagSet());
  Manager().StopServicesPlayback();
  EXPECT_TRUE(Service().IsStopPlaybackFlagSet());
}

TEST_F(Mlox_DirectMusic_ServiceTest, AStopAskedOfAMissingServiceAnswersTrue) {
  Live();
  Service().SetStopPlaybackFlag(false);
  Mlox_DirectMusic_ServiceHandle* handleP = sService.load();
  Manager().RemoveAllServices();
  EXPECT_TRUE(handleP->IsStopPlaybackFlagSet());
}

TEST_F(Mlox_DirectMusic_ServiceTest, ItNamesNoPlugInSource) {
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  EXPECT_FALSE(Service().IsPlugInSource(Service().GetInput(0)->GetInputID()));
}

// ---- inputs for the application ----

TEST_F(Mlox_DirectMusic_ServiceTest, TheVirtualFilterAppliesAndTheSyncSelectionIsIgnored) {
  mStudio->PlugIn(Input("R", "Real"));
  Test_ModelDevice other = Input("V", "Virtual");
  other.mIsVirtual = true;
  mStudio->PlugIn(other);
  Live();
  const auto names = [&](int iVirtual, int iSync) {
    Mlox_InputList list;
    Manager().GetInputs(&list, static_cast<Mlox_EInputVirtualSelection>(iVirtual),
                        static_cast<Mlox_EInputSyncSelection>(iSync));
    std::vector<std::string> found;
    for (const auto& input : list) found.push_back(input->GetName());
    return found;
  };
  for (const int sync : {0, 1, 2, 7}) {
    EXPECT_THAT(names(0, sync), ElementsAre("Real"));
    EXPECT_THAT(names(1, sync), ElementsAre("Virtual"));
    EXPECT_THAT(names(2, sync), ElementsAre("Real", "Virtual"));
    EXPECT_THAT(names(3, sync), IsEmpty());
  }
}

TEST_F(Mlox_DirectMusic_ServiceTest, AddInputsToListAppendsAndWithoutInputsLeavesTheListAsItIs) {
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  const Mlox_InputRef other(new Test_FakeInput("Foreign"));
  Mlox_InputList list = {other};
  Service().AddInputsToList(&list, kMlox_VirtualAndNonVirtualInputs, kMlox_SyncAndNonSyncInputs);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].get(), other.get());
  EXPECT_EQ(list[1]->GetName(), "Keys");
  mStudio->Unplug("I");
  ASSERT_THAT(Inputs(), IsEmpty());
  for (int filters = 0; filters < 9; ++filters) {
    list = {other};
    Service().AddInputsToList(&list, static_cast<Mlox_EInputVirtualSelection>(filters / 3),
                              static_cast<Mlox_EInputSyncSelection>(filters % 3));
    ASSERT_EQ(list.size(), 1u) << filters;
    EXPECT_EQ(list[0].get(), other.get());
  }
}

TEST_F(Mlox_DirectMusic_ServiceTest, APortWithoutAReceiverGetsNothing) {
  Live();
  Test_RecordingReceiver receiver;
  const std::unique_ptr<Mlox_InputPort> deafP(Manager().CreateInputPort(nullptr));
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  EXPECT_EQ(deafP->GetServiceEntry(1), nullptr);
  EXPECT_NE(portP->GetServiceEntry(1), nullptr);
  mStudio->PlugIn(Input("I", "Keys"));
  deafP->ConnectToInputs({Service().GetInput(0)});
  deafP->CloseCurrentConnections();
}

TEST_F(Mlox_DirectMusic_ServiceTest, APortOfAnEarlierRoundIsServedAgain) {
  Test_RecordingReceiver receiver;
  Live();
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  const void* firstP = portP->GetServiceEntry(1);
  ASSERT_NE(firstP, nullptr);
  Manager().RemoveAllServices();
  portP->CloseCurrentConnections();
  Live();
  EXPECT_NE(portP->GetServiceEntry(1), nullptr);
  portP->ConnectToInputs({});
  portP->CloseCurrentConnections();
}

// ---- notifications ----

TEST_F(Mlox_DirectMusic_ServiceTest, APortThatComesIsListedAndOneThatGoesLeaves) {
  Live();
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  EXPECT_THAT(Inputs(), ElementsAre("Keys"));
  mStudio->Unplug("O");
  mStudio->Unplug("I");
  EXPECT_THAT(Devices(), IsEmpty());
  EXPECT_THAT(Inputs(), IsEmpty());
}

TEST_F(Mlox_DirectMusic_ServiceTest, ANotificationRaisesFlagsAndCallsNoListener) {
  Live();
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().CheckStudioSetup();
  mLog.clear();
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  EXPECT_THAT(mLog, IsEmpty());
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged true", "listener InputsChanged"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, NoNotificationIsAppliedWithoutAServiceIndex) {
  Mlox_DirectMusic_Service::Create(&mAppCallback, &mAllocator);
  mStudio->PlugIn(Output("O", "Synth"));
  EXPECT_EQ(Service().GetOutputDevice(0), nullptr);
  Manager().AddService(&Service(), 8);
  EXPECT_THAT(Devices(), ElementsAre("Synth")) << "the first count reads everything";
}

TEST_F(Mlox_DirectMusic_ServiceTest, APortThatComesBackGetsANewObjectAndTheOldOneStaysReleased) {
  mStudio->PlugIn(Output("O", "Synth"));
  Live();
  Mlox_DirectMusic_Device* oldP = Device(0);
  mStudio->Unplug("O");
  EXPECT_TRUE(oldP->IsServiceReleased());
  EXPECT_EQ(oldP->GetCommonOutput(), nullptr);
  EXPECT_EQ(oldP->GetName(), "Synth") << "references of the application may still ask it";
  mStudio->Plug("O");
  EXPECT_NE(Device(0), oldP);
}

TEST_F(Mlox_DirectMusic_ServiceTest, PersistentReferencesRebindOnTheBroadcast) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  const Mlox_PersistentInput input(Manager().GetInput(0)->GetDeviceDescriptor());
  const Mlox_PersistentOutput output(Manager().GetOutputDevice(0)->GetCommonOutput()->GetDescriptor().get());
  ASSERT_TRUE(input.IsOnline());
  ASSERT_TRUE(output.IsOnline());
  mStudio->Unplug("O");
  mStudio->Unplug("I");
  Manager().CheckStudioSetup();
  EXPECT_FALSE(input.IsOnline());
  EXPECT_FALSE(output.IsOnline());
  mStudio->Plug("O");
  mStudio->Plug("I");
  Manager().CheckStudioSetup();
  EXPECT_TRUE(input.IsOnline());
  EXPECT_TRUE(output.IsOnline());
  Count();
  EXPECT_EQ(output.GetOutput()->GetDevice(), Manager().GetOutputDevice(0));
}

TEST_F(Mlox_DirectMusic_ServiceTest, KindsOneAndFourUpdateTwoRemovesAndAllOthersAreIgnored) {
  Live();
  mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.PlugIn(Output("O", "Synth")); });
  const auto tell = [&](int iKind) { mStudio->Tell({{mStudio->IDs("O", 0), iKind}}); };
  for (const int kind : {0, 3, 5, 8, -1}) {
    tell(kind);
    EXPECT_THAT(Devices(), IsEmpty()) << kind;
  }
  tell(1);
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  tell(8);
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  tell(2);
  EXPECT_THAT(Devices(), IsEmpty());
  tell(4);
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, ARenameUpdatesTheDeviceInPlace) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Live();
  const auto* deviceP = Device(0);
  mStudio->Rename("O", "Better synth");
  mStudio->Rename("I", "Better keys");
  EXPECT_THAT(Devices(), ElementsAre("Better synth"));
  EXPECT_THAT(Inputs(), ElementsAre("Better keys"));
  EXPECT_EQ(Device(0), deviceP);
}

TEST_F(Mlox_DirectMusic_ServiceTest, AListThatCannotBeCountedAndANullListAreIgnored) {
  class BrokenList : public IDirectMusicNotificationList {
   public:
    HRESULT GetCount(int* oCount) override {
      *oCount = 3;
      return E_FAIL;
    }
    HRESULT GetItem(int, std::shared_ptr<IEndpointIDs>*, int*) override {
      ++mItems;
      return E_FAIL;
    }
    int mItems = 0;
  };
  mStudio->PlugIn(Output("O", "Synth"));
  Live();
  const auto list = std::make_shared<BrokenList>();
  Mlox_DirectMusic_NotificationCallback callback;
  callback.Notify(list);
  callback.Notify(nullptr);
  EXPECT_EQ(list->mItems, 0);
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, AnItemThatCannotBeHadIsPassedOver) {
  mStudio->PlugIn(Output("O", "Synth"));
  Live();
  mStudio->Tell({{nullptr, 1}, {nullptr, 2}, {nullptr, 4}, {mStudio->IDs("O", 0), 2}});
  EXPECT_THAT(Devices(), IsEmpty()) << "the last item counted";
}

TEST_F(Mlox_DirectMusic_ServiceTest, WithoutAServiceANotificationDoesNothing) {
  mStudio->PlugIn(Output("O", "Synth"));
  class OneItem : public IDirectMusicNotificationList {
   public:
    HRESULT GetCount(int* oCount) override {
      ++mCounts;
      *oCount = 0;
      return S_OK;
    }
    HRESULT GetItem(int, std::shared_ptr<IEndpointIDs>*, int*) override { return E_FAIL; }
    int mCounts = 0;
  };
  const auto list = std::make_shared<OneItem>();
  Mlox_DirectMusic_NotificationCallback callback;
  ASSERT_EQ(sService.load(), nullptr);
  callback.Notify(list);
  EXPECT_EQ(list->mCounts, 0);
  Live();
  callback.Notify(list);
  EXPECT_EQ(list->mCounts, 1);
}

TEST_F(Mlox_DirectMusic_ServiceTest, AChangeOfAWholeDeviceOrEntityAddsWhatIsInIt) {
  Live();
  Test_ModelDevice both = UserDefined("B", "Both");
  mStudio->Silently([&](Test_ModelStudio& ioStudio) { ioStudio.PlugIn(both); });
  mStudio->Tell({{mStudio->IDs("B", 1), 4}});
  EXPECT_THAT(Devices(), ElementsAre("Both"));
  EXPECT_THAT(Inputs(), ElementsAre("Both"));
  both.mUniqueID = "C";
  both.mName = "Too";
  mStudio->Silently([&](Test_ModelStudio& ioStudio) { ioStudio.PlugIn(both); });
  mStudio->Tell({{mStudio->IDs("C", 2), 1}});
  EXPECT_THAT(Devices(), ElementsAre("Both", "Too"));
  EXPECT_THAT(Inputs(), ElementsAre("Both", "Too"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, ANotificationWhoseThingOrPropertiesCannotBeReadIsDropped) {
  Live();
  mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.PlugIn(Output("O", "Synth")); });
  for (const char* what : {"FindRawProperties", "external", "GetNumConnections"}) {
    mStudio->Fail(what, E_FAIL);
    mStudio->Tell({{mStudio->IDs("O", 0), 1}});
    EXPECT_THAT(Devices(), IsEmpty()) << what;
    mStudio->Fail(what, S_OK);
  }
  mStudio->Tell({{mStudio->IDs("O", 0), 1}});
  ASSERT_THAT(Devices(), ElementsAre("Synth"));
  mStudio->Fail("level", E_FAIL);
  mStudio->Tell({{mStudio->IDs("O", 0), 2}});
  EXPECT_THAT(Devices(), ElementsAre("Synth")) << "what is to go can't be told";
}

TEST_F(Mlox_DirectMusic_ServiceTest, ANotificationWhoseThingIsFoundWithoutADeviceIsDropped) {
  class DevicelessStudio : public Test_ModelStudio {
   public:
    HRESULT FindRawProperties(std::shared_ptr<IEndpointIDs> iIDs, std::shared_ptr<IDeviceProperties>* oDevice,
                              std::shared_ptr<IEntityProperties>* oEntity,
                              std::shared_ptr<IEndpointProperties>* oEndpoint) override {
      if (mGivesTheRest) Test_ModelStudio::FindRawProperties(iIDs, oDevice, oEntity, oEndpoint);
      oDevice->reset();
      return S_OK;
    }
    bool mGivesTheRest = false;
  };
  const auto studio = std::make_shared<DevicelessStudio>();
  Test_ModelStudio::Install(studio);
  Live();
  studio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.PlugIn(Output("O", "Synth")); });
  for (const bool givesTheRest : {false, true}) {
    studio->mGivesTheRest = givesTheRest;
    studio->Tell({{studio->IDs("O", 0), 1}});
    EXPECT_EQ(Service().GetOutputDevice(0), nullptr) << givesTheRest;
  }
}

TEST_F(Mlox_DirectMusic_ServiceTest, AnEndpointWhoseDirectionCannotBeReadIsADestination) {
  Live();
  mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.PlugIn(Input("I", "Odd")); });
  mStudio->Fail("source", E_FAIL);
  mStudio->Tell({{mStudio->IDs("I", 0, true), 1}});
  EXPECT_THAT(Inputs(), IsEmpty());
  EXPECT_THAT(Devices(), ElementsAre("Odd"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, AChangeOfAnEntityAddsNothingOfItsNeighbour) {
  const std::shared_ptr<Test_FakeStudio> studio = Test_FakeStudio::Install();
  Live();
  Test_StudioNode& device = studio->AddDevice("D");
  Test_StudioNode& first = studio->AddEntity(device, "First");
  studio->AddEndpoint(first, false);
  studio->AddEndpoint(studio->AddEntity(device, "Second"), false);
  studio->Notify({{&first, kStudioEndpointAdded}});
  EXPECT_EQ(Service().GetNumberOfOutputDevices(), 1);
  studio->Notify({{&device, kStudioEndpointAdded}});
  EXPECT_EQ(Service().GetNumberOfOutputDevices(), 2);
}

// ---- user-defined devices ----

TEST_F(Mlox_DirectMusic_ServiceTest, AUserDefinedEndpointGainingItsFirstConnectionIsAddedAndThePortLeaves) {
  mStudio->PlugIn(Output("O", "Port out"));
  mStudio->PlugIn(Input("I", "Port in"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  Live();
  ASSERT_THAT(Devices(), ElementsAre("Port out"));
  mStudio->Wire("U", "O");
  EXPECT_THAT(Devices(), ElementsAre("Synth"));
  EXPECT_THAT(Inputs(), ElementsAre("Port in"));
  mStudio->Wire("U", "I");
  EXPECT_THAT(Inputs(), ElementsAre("Synth"));
}

TEST_F(Mlox_DirectMusic_ServiceTest,
       AUserDefinedEndpointLosingItsLastConnectionLeavesAndItsPortIsNotTouched) {
  mStudio->PlugIn(Output("O", "Port out"));
  mStudio->PlugIn(Input("I", "Port in"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  mStudio->Wire("U", "O");
  mStudio->Wire("U", "I");
  Live();
  ASSERT_THAT(Devices(), ElementsAre("Synth"));
  ASSERT_THAT(Inputs(), ElementsAre("Synth"));
  mStudio->Silently([](Test_ModelStudio& ioStudio) {
    ioStudio.Unwire("U", "O");
    ioStudio.Unwire("U", "I");
  });
  mStudio->Tell({{mStudio->IDs("U", 0, false), 4}, {mStudio->IDs("U", 0, true), 4}});
  EXPECT_THAT(Devices(), IsEmpty()) << "no cascade: the port isn't brought back";
  EXPECT_THAT(Inputs(), IsEmpty()) << "no cascade: the port isn't brought back";
  mStudio->Tell({{mStudio->IDs("O", 0, false), 4}, {mStudio->IDs("I", 0, true), 4}});
  EXPECT_THAT(Devices(), ElementsAre("Port out"));
  EXPECT_THAT(Inputs(), ElementsAre("Port in"));
}

TEST_F(Mlox_DirectMusic_ServiceTest, ANonUserDefinedEndpointThatGainsAConnectionLeavesTheLists) {
  mStudio->PlugIn(Output("O", "Port"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  Live();
  mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.Wire("U", "O"); });
  mStudio->Tell({{mStudio->IDs("O", 0), 4}});
  EXPECT_THAT(Devices(), IsEmpty());
}

TEST_F(Mlox_DirectMusic_ServiceTest, ANonUserDefinedEndpointThatLeavesForAUserDefinedOneLeavesThatOneListed) {
  ASSERT_NO_FATAL_FAILURE(WireWithTheRealSideUntold());
  mStudio->Tell({{mStudio->IDs("O", 0, false), 4}, {mStudio->IDs("I", 0, true), 4}});
  EXPECT_THAT(Devices(), ElementsAre("Synth")) << "no cascade";
  EXPECT_THAT(Inputs(), ElementsAre("Synth")) << "no cascade";
}

TEST_F(Mlox_DirectMusic_ServiceTest, AnUnpluggedRealPortTakesTheUserDefinedDeviceOnItAlong) {
  ASSERT_NO_FATAL_FAILURE(WireWithTheRealSideUntold());
  mStudio->Silently([](Test_ModelStudio& ioStudio) {
    ioStudio.Unplug("O");
    ioStudio.Unplug("I");
  });
  mStudio->Tell({{mStudio->IDs("O", 0, false), 2}, {mStudio->IDs("I", 0, true), 2}});
  EXPECT_THAT(Devices(), IsEmpty());
  EXPECT_THAT(Inputs(), IsEmpty());
}

TEST_F(Mlox_DirectMusic_ServiceTest, RemovingAUserDefinedDeviceBringsTheRealPortBelowItBack) {
  mStudio->PlugIn(Output("O", "Port out"));
  mStudio->PlugIn(Input("I", "Port in"));
  mStudio->AddUserDefined(UserDefined("U", "Synth"));
  mStudio->Wire("U", "O");
  mStudio->Wire("U", "I");
  Live();
  ASSERT_THAT(Devices(), ElementsAre("Synth"));
  mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.RemoveUserDefined("U"); });
  mStudio->Tell({{mStudio->IDs("U", 0, false), 2}, {mStudio->IDs("U", 0, true), 2}});
  EXPECT_THAT(Devices(), ElementsAre("Port out"));
  EXPECT_THAT(Inputs(), ElementsAre("Port in"));
}

// A user-defined device that its user changes while it is listed. When it goes later, the studio tells of it
// alone, and which port it was wired to can't be asked any more.
class Mlox_DirectMusic_ServiceChangedUserDeviceTest : public Mlox_DirectMusic_ServiceTest {
 protected:
  using Change = std::function<void(Test_ModelDevice&)>;

  static void Rename(Test_ModelDevice& ioDevice) { ioDevice.mName = "Strings"; }
  static void ChangeChannels(Test_ModelDevice& ioDevice) {
    ioDevice.mReceiveChannels = ioDevice.mTransmitChannels = 0x000F;
  }

  void ExpectPortBack(const Test_ModelDevice& iPort, const Change& iChange,
                      std::vector<std::string> (*iListed)()) {
    mStudio->PlugIn(iPort);
    mStudio->AddUserDefined(UserDefined("U", "Synth"));
    mStudio->Wire("U", iPort.mUniqueID);
    Live();
    ASSERT_THAT(iListed(), ElementsAre("Synth"));
    const auto ids = mStudio->IDs("U", 0, iPort.mHasSource);
    mStudio->SetRow("U", iChange);
    mStudio->Tell({{ids, 4}});
    mStudio->Silently([](Test_ModelStudio& ioStudio) { ioStudio.RemoveUserDefined("U"); });
    mStudio->Tell({{ids, 2}});
    EXPECT_THAT(iListed(), ElementsAre("Port"));
  }
};

TEST_F(Mlox_DirectMusic_ServiceChangedUserDeviceTest, ARenamedOneBringsTheRealOutputBelowItBack) {
  ExpectPortBack(Output("O", "Port"), &Rename, &Devices);
}

TEST_F(Mlox_DirectMusic_ServiceChangedUserDeviceTest, ARenamedOneBringsTheRealInputBelowItBack) {
  ExpectPortBack(Input("I", "Port"), &Rename, &Inputs);
}

TEST_F(Mlox_DirectMusic_ServiceChangedUserDeviceTest, OneOfOtherChannelsBringsTheRealOutputBelowItBack) {
  ExpectPortBack(Output("O", "Port"), &ChangeChannels, &Devices);
}

TEST_F(Mlox_DirectMusic_ServiceChangedUserDeviceTest, OneOfOtherChannelsBringsTheRealInputBelowItBack) {
  ExpectPortBack(Input("I", "Port"), &ChangeChannels, &Inputs);
}

class Mlox_DirectMusic_ServiceLevelTest : public Mlox_DirectMusic_ServiceTest {
 protected:
  // Three ports of one device, two of which are of one entity: told by the ids of these levels.
  void RemoveByLevel(Test_ModelDevice (*iPort)(const std::string&, const std::string&),
                     std::vector<std::string> (*iListed)()) {
    for (const auto& [id, entity] : {std::pair{"A", 11}, std::pair{"B", 11}, std::pair{"C", 12}}) {
      Test_ModelDevice port = iPort(id, id);
      const int number = entity;
      port.mMloxIDs[{2, 0}] = 21;
      port.mMloxIDs[{1, 0}] = number;
      mStudio->PlugIn(port);
    }
    mStudio->PlugIn(iPort("D", "D"));
    Live();
    ASSERT_THAT(iListed(), ElementsAre("A", "B", "C", "D"));
    mStudio->Tell({{mStudio->IDs("A", 1), 2}});
    EXPECT_THAT(iListed(), ElementsAre("C", "D"));
    for (const char* id : {"A", "B"}) mStudio->Plug(id);
    ASSERT_THAT(iListed(), ElementsAre("C", "D", "A", "B"));
    mStudio->Tell({{mStudio->IDs("B", 2), 2}});
    EXPECT_THAT(iListed(), ElementsAre("D"));
  }
};

TEST_F(Mlox_DirectMusic_ServiceLevelTest, RemovingByLevelTakesEveryInputOfTheDeviceOrTheEntity) {
  RemoveByLevel(&Input, &Inputs);
}

TEST_F(Mlox_DirectMusic_ServiceLevelTest, RemovingByLevelTakesEveryOutputDeviceOfTheDeviceOrTheEntity) {
  RemoveByLevel(&Output, &Devices);
}

TEST_F(Mlox_DirectMusic_ServiceTest, TheListsEqualThoseOfAFreshRebuildAfterRandomChanges) {
  for (const char* id : {"O1", "O2", "O3"}) mStudio->PlugIn(Output(id, id));
  for (const char* id : {"I1", "I2", "I3"}) mStudio->PlugIn(Input(id, id));
  for (const char* id : {"U1", "U2"}) mStudio->AddUserDefined(UserDefined(id, id));
  Live();
  const std::vector<std::string> ports = {"O1", "O2", "O3", "I1", "I2", "I3"};
  std::set<std::pair<std::string, std::string>> wires;
  unsigned random = 12345;
  const auto next = [&](unsigned iLimit) {
    random = random * 1664525u + 1013904223u;
    return (random >> 16) % iLimit;
  };
  const auto sorted = [](std::vector<std::string> iNames) {
    std::sort(iNames.begin(), iNames.end());
    return iNames;
  };
  for (int step = 0; step < 400; ++step) {
    SCOPED_TRACE(step);
    const std::string port = ports[next(6)];
    const std::pair<std::string, std::string> wire(next(2) == 0 ? "U1" : "U2", port);
    switch (next(4)) {
      case 0:
        mStudio->Row(port).mIsPresent ? mStudio->Unplug(port) : mStudio->Plug(port);
        break;
      case 1:
        mStudio->Rename(port, port);
        break;
      default:
        if (wires.insert(wire).second) {
          mStudio->Wire(wire.first, wire.second);
        } else {
          wires.erase(wire);
          mStudio->Unwire(wire.first, wire.second);
        }
    }
    const auto devices = sorted(Devices());
    const auto inputs = sorted(Inputs());
    EXPECT_THAT(devices, testing::ElementsAreArray(mStudio->Visible(false)));
    EXPECT_THAT(inputs, testing::ElementsAreArray(mStudio->Visible(true)));
    Access::Rebuild(Service());
    ASSERT_EQ(sorted(Devices()), devices);
    ASSERT_EQ(sorted(Inputs()), inputs);
  }
}

// ---- finding again ----

class Mlox_DirectMusic_ServiceFindTest : public Mlox_DirectMusic_ServiceTest {
 protected:
  using Descriptor = Mlox_DirectMusic_DeviceDescriptor;

  static std::shared_ptr<const Descriptor> Wanted(const std::string& iName, int iHash,
                                                  bool iIsInput = false) {
    return std::make_shared<Descriptor>(
        iIsInput ? Mlox_DeviceDescriptor::kInput : Mlox_DeviceDescriptor::kOutput, iName, iHash);
  }
  void Plug(Test_ModelDevice iDevice, int iNumber) {
    iDevice.mMloxIDs[{0, iDevice.mHasSource ? 1 : 0}] = iNumber;
    mStudio->PlugIn(iDevice);
  }
};

TEST_F(Mlox_DirectMusic_ServiceFindTest, BeforeTheFirstCountTheFindOperationsGiveNull) {
  Plug(Output("O", "Synth"), 7);
  Plug(Input("I", "Keys"), 8);
  ASSERT_TRUE(Activate());
  mStudio->Tell({{mStudio->IDs("O", 0), 4}, {mStudio->IDs("I", 0, true), 4}});
  ASSERT_NE(Service().GetOutputDevice(0), nullptr) << "listed already";
  const auto find = [&](bool iExpected) {
    EXPECT_EQ(Service().FindOutputDevice(true, Wanted("Synth", 7).get()) != nullptr, iExpected);
    EXPECT_EQ(Service().FindOutputDevice(false, Wanted("Synth", 7).get()) != nullptr, iExpected);
    const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> output(
        new Mlox_OutputDescriptor(Wanted("Synth", 7), -1));
    EXPECT_EQ(Service().FindOutput(true, output.get()) != nullptr, iExpected);
    EXPECT_EQ(static_cast<bool>(Service().FindInput(true, Wanted("Keys", 8, true))), iExpected);
    EXPECT_EQ(Service().FindOutputDeviceMatchingName(Wanted("Synth", 7).get()) != nullptr, iExpected);
    EXPECT_EQ(static_cast<bool>(Service().FindInputMatchingName(Wanted("Keys", 8, true))), iExpected);
  };
  find(false);
  Count();
  find(true);
}

TEST_F(Mlox_DirectMusic_ServiceFindTest, AnEmptyArgumentGivesNull) {
  Live();
  EXPECT_EQ(Service().FindOutputDevice(true, nullptr), nullptr);
  EXPECT_EQ(Service().FindOutput(true, nullptr), nullptr);
  EXPECT_FALSE(Service().FindInput(true, nullptr));
  EXPECT_EQ(Service().FindOutputDeviceMatchingName(nullptr), nullptr);
  EXPECT_FALSE(Service().FindInputMatchingName(nullptr));
}

TEST_F(Mlox_DirectMusic_ServiceFindTest, ExactlyMeansNameAndHashValue) {
  Plug(Output("O", "Synth"), 7);
  Live();
  EXPECT_EQ(Service().FindOutputDeviceExactlyMatchingDescriptor(Wanted("Synth", 7).get()), Device(0));
  EXPECT_EQ(Service().FindOutputDeviceExactlyMatchingDescriptor(Wanted("Synth", 8).get()), nullptr);
  EXPECT_EQ(Service().FindOutputDeviceExactlyMatchingDescriptor(Wanted("Other", 7).get()), nullptr);
}

TEST_F(Mlox_DirectMusic_ServiceFindTest, ExceptForNameTheFirstDeviceOfEqualHashValueWins) {
  Plug(Output("A", "One"), 6);
  Plug(Output("B", "Two"), 7);
  Live();
  EXPECT_EQ(Service().FindOutputDeviceMatchingDescriptorExceptForName(Wanted("One", 7).get()), Device(1));
  EXPECT_EQ(Service().FindOutputDeviceMatchingDescriptorExceptForName(Wanted("One", 5).get()), nullptr);
}

TEST_F(Mlox_DirectMusic_ServiceFindTest, TwoDevicesOfTheSameNameAreToldApartByHashValue) {
  Plug(Output("A", "Twin"), 6);
  Plug(Output("B", "Twin"), 7);
  Plug(Input("C", "Twin"), 8);
  Plug(Input("D", "Twin"), 9);
  Live();
  EXPECT_EQ(Service().FindOutputDevice(true, Wanted("Twin", 7).get()), Device(1));
  EXPECT_EQ(Service().FindOutputDevice(true, Wanted("Twin", 6).get()), Device(0));
  EXPECT_EQ(Service().FindInput(true, Wanted("Twin", 9, true)).get(), InputAt(1));
}

TEST_F(Mlox_DirectMusic_ServiceFindTest, ADescriptorOfAnotherKindGoesOnToTheNextService) {
  Plug(Output("O", "Synth"), 7);
  Live();
  const auto otherP = Mlox_GenericDevDescriptor::New("Synth");
  mStudio->SetRow("O", [&](Test_ModelDevice& ioRow) { ioRow.mMloxIDs[{0, 0}] = otherP->GetHashValue(); });
  mStudio->Rename("O", "Synth");
  EXPECT_EQ(Service().FindOutputDevice(true, otherP.get()), nullptr);
  EXPECT_EQ(Service().FindOutputDevice(false, otherP.get()), nullptr);
  EXPECT_FALSE(Service().FindInput(false, otherP));
  EXPECT_EQ(Service().FindOutputDeviceMatchingName(otherP.get()), Device(0)) << "by name any kind counts";
}

TEST_F(Mlox_DirectMusic_ServiceFindTest, InputsAreFoundExactlyExceptForNameAndByName) {
  Plug(Input("I", "Keys"), 8);
  Live();
  EXPECT_EQ(Service().FindInputExactlyMatchingDescriptor(Wanted("Keys", 8, true)).get(), InputAt(0));
  EXPECT_FALSE(Service().FindInputExactlyMatchingDescriptor(Wanted("Other", 8, true)));
  EXPECT_EQ(Service().FindInputMatchingDescriptorExceptForName(Wanted("Other", 8, true)).get(), InputAt(0));
  EXPECT_EQ(Service().FindInputMatchingName(Wanted("Keys", 1, true)).get(), InputAt(0));
  EXPECT_FALSE(Service().FindInputMatchingName(Wanted("keys", 1, true))) << "case counts";
}

TEST_F(Mlox_DirectMusic_ServiceFindTest, AnOutputIsFoundByDeviceAndChannel) {
  Test_ModelDevice device = Output("O", "Synth");
  device.mReceiveChannels = 1 << 3;
  Plug(device, 7);
  Live();
  const auto find = [&](short iChannel) {
    const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> descriptor(
        new Mlox_OutputDescriptor(Wanted("Synth", 7), iChannel));
    return Service().FindOutputExactlyMatchingDescriptor(descriptor.get());
  };
  EXPECT_EQ(find(3), Device(0)->GetOutputForChannel(3));
  ASSERT_NE(find(3), nullptr);
  EXPECT_EQ(find(4), nullptr) << "not available";
  EXPECT_EQ(find(-1), Device(0)->GetCommonOutput());
  EXPECT_EQ(find(255), Device(0)->GetCommonOutput()) << "0xFF read as a signed byte";
  const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> renamed(
      new Mlox_OutputDescriptor(Wanted("Other", 7), 3));
  EXPECT_EQ(Service().FindOutputExactlyMatchingDescriptor(renamed.get()), nullptr);
  EXPECT_EQ(Service().FindOutputMatchingDescriptorExceptForName(renamed.get()), find(3));
}

}  // namespace
