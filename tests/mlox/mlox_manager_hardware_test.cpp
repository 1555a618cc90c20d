// SPDX-License-Identifier: MIT
// The manager's activation of the hardware service.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mlox/mlox_inputport.h"
#include "tests/mlox/mlox_directmusic/service_fixture.h"
#include "tests/support/assert_recorder.h"

namespace {

using testing::ElementsAre;
using Mlox_ManagerHardwareTest = Test_DirectMusic_ServiceFixture;

TEST_F(Mlox_ManagerHardwareTest, ActivatingBitEightInstallsTheServiceAndMakesItTheOSService) {
  EXPECT_EQ(Manager().GetOSService(), nullptr);
  EXPECT_TRUE(Activate(8));
  ASSERT_NE(Manager().GetOSService(), nullptr);
  EXPECT_EQ(Manager().GetOSService(), &Service());
  mStudio->PlugIn(Output("O", "Synth"));
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 1);
}

TEST_F(Mlox_ManagerHardwareTest, AnotherServiceNeverIsTheOSService) {
  Manager().AddService(new Test_FakeService, 4);
  EXPECT_EQ(Manager().GetOSService(), nullptr);
  EXPECT_TRUE(Activate(8));
  EXPECT_EQ(Manager().GetOSService(), &Service());
  EXPECT_EQ(GetDirectMusicServiceIndex(), 2);
}

TEST_F(Mlox_ManagerHardwareTest, BitsOneAndSixteenNameServicesThatAreNotThere) {
  EXPECT_FALSE(Activate(1));
  EXPECT_FALSE(Activate(16));
  EXPECT_FALSE(Activate(17));
  EXPECT_EQ(sService.load(), nullptr) << "nothing was made";
}

TEST_F(Mlox_ManagerHardwareTest, BitsTwoAndFourAndNoneAreAcceptedAndDoNothing) {
  EXPECT_TRUE(Activate(2));
  EXPECT_TRUE(Activate(4));
  EXPECT_TRUE(Activate(6));
  EXPECT_TRUE(Activate(0));
  EXPECT_EQ(sService.load(), nullptr);
}

TEST_F(Mlox_ManagerHardwareTest, AMissingServiceBesideBitEightAnswersFalseButBitEightIsDone) {
  EXPECT_FALSE(Activate(8 | 1));
  EXPECT_EQ(Manager().GetOSService(), &Service());
}

TEST_F(Mlox_ManagerHardwareTest, TheCallbackIsStoredInEveryCaseEvenIfTheMaskAsksForNothing) {
  EXPECT_TRUE(Activate(0));
  Manager().StopPlayback();
  EXPECT_EQ(mAppCallback.mStops, 1);
  Test_FakeAppCallback other;
  EXPECT_FALSE(Manager().ActivateService(1, &mAllocator, &other));
  Manager().StopPlayback();
  EXPECT_EQ(mAppCallback.mStops, 1);
  EXPECT_EQ(other.mStops, 1);
  Test_ModelStudio::Install(nullptr);
  EXPECT_FALSE(Activate(8));
  Manager().StopPlayback();
  EXPECT_EQ(mAppCallback.mStops, 2);
  EXPECT_EQ(other.mStops, 1);
}

TEST_F(Mlox_ManagerHardwareTest, StopPlaybackSetsTheServicesFlagAndThenTellsTheApplication) {
  class WatchingCallback : public Test_FakeAppCallback {
   public:
    void StopPlayback() override { mWasSet = Service().IsStopPlaybackFlagSet(); }
    bool mWasSet = false;
  };
  WatchingCallback callback;
  ASSERT_TRUE(Manager().ActivateService(8, &mAllocator, &callback));
  Service().SetStopPlaybackFlag(false);
  Manager().StopPlayback();
  EXPECT_TRUE(callback.mWasSet);
}

TEST_F(Mlox_ManagerHardwareTest, WithoutAStudioActivationFailsAndTheTableIsUnchanged) {
  Test_ModelStudio::Install(nullptr);
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  EXPECT_FALSE(Activate(8));
  EXPECT_EQ(Manager().GetOSService(), nullptr);
  EXPECT_TRUE(mLog.empty()) << "nothing was added";
  EXPECT_EQ(GetDirectMusicServiceIndex(), -1);
}

TEST_F(Mlox_ManagerHardwareTest, AServiceThatWasMadeWithoutAStudioStaysSoAndEveryActivationFails) {
  Test_ModelStudio::Install(nullptr);
  EXPECT_FALSE(Activate(8));
  const auto* serviceP = &Service();
  Test_ModelStudio::Install(mStudio);
  EXPECT_FALSE(Activate(8));
  EXPECT_EQ(&Service(), serviceP);
}

TEST_F(Mlox_ManagerHardwareTest, TheEntryKeepsTheWholeMask) {
  EXPECT_TRUE(Activate(8 | 4 | 64));
  Manager().Suspend(static_cast<Mlox_Manager::EAvailableServices>(64));
  EXPECT_TRUE(Service().IsSuspended());
  Manager().Resume(static_cast<Mlox_Manager::EAvailableServices>(4));
  EXPECT_FALSE(Service().IsSuspended());
}

TEST_F(Mlox_ManagerHardwareTest, TheMaskIsReadAgainAfterTheServiceWasAdded) {
  // A listener changes the very number that was passed.
  class ChangingListener : public Mlox_Manager_Listener {
   public:
    explicit ChangingListener(int& ioMask) : mMask(ioMask) {}
    void Mlox_Manager_OutputsChanged(bool) override { mMask = 1; }

   private:
    int& mMask;
  };
  int mask = 8;
  ChangingListener listener(mask);
  Manager().AddListener(&listener);
  EXPECT_FALSE(Manager().ActivateService(mask, &mAllocator, &mAppCallback));
  EXPECT_EQ(Manager().GetOSService(), &Service());
}

TEST_F(Mlox_ManagerHardwareTest, ASecondActivationInstallsTheSameServiceASecondTimeAndItIsDeletedOnce) {
  mStudio->PlugIn(Output("O", "Synth"));
  mStudio->PlugIn(Input("I", "Keys"));
  Test_RecordingReceiver receiver;
  ASSERT_TRUE(Activate(8));
  Count();
  auto* serviceP = &Service();
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({Manager().GetInput(0)});
  ASSERT_TRUE(Activate(8));
  EXPECT_EQ(&Service(), serviceP);
  EXPECT_EQ(GetDirectMusicServiceIndex(), 2);
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 2) << "it shows up twice";
  EXPECT_EQ(Manager().GetOutputDevice(0), Manager().GetOutputDevice(1));
  ASSERT_EQ(Manager().GetNumberOfInputs(), 2);
  EXPECT_EQ(Manager().GetInput(0)->GetInputID().mServiceIndex, 2) << "numbered anew";
  portP->ConnectToInputs({Manager().GetInput(0)});
  mStudio->Rename("I", "Better keys");
  mStudio->Unplug("O");
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  portP->CloseCurrentConnections();
  Manager().RemoveAllServices();
  EXPECT_EQ(mStudio->Unregistrations(), 1);
  EXPECT_EQ(sService.load(), nullptr);
  EXPECT_TRUE(Activate(8)) << "and a new one works";
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 1);
}

TEST_F(Mlox_ManagerHardwareTest, AsTheFourthServiceItReportsItsMissingPlaceInPortsAndPlaysOn) {
  for (int i = 0; i < 3; ++i) Manager().AddService(new Test_FakeService, 4);
  mStudio->PlugIn(Output("O", "Synth"));
  ASSERT_TRUE(Activate(8));
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 1);
  Test_RecordingReceiver receiver;
  const Test_AssertRecorder recorder;
  const std::unique_ptr<Mlox_InputPort> portP(Manager().CreateInputPort(&receiver));
  portP->ConnectToInputs({});
  portP->CloseCurrentConnections();
  EXPECT_EQ(recorder.Count("IsPortSlot(mInputPortServiceIndex)"), 3);
}

TEST_F(Mlox_ManagerHardwareTest, AServiceAddedByHandLivesOnWithoutDevices) {
  Test_ModelStudio::Install(nullptr);
  EXPECT_FALSE(Activate(8));
  Manager().AddService(&Service(), 8);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 0);
  EXPECT_EQ(Manager().GetOSService(), nullptr);
  Manager().RemoveAllServices();
  EXPECT_EQ(sService.load(), nullptr);
}

}  // namespace
