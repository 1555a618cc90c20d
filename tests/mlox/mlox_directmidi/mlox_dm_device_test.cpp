// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_device.h"

#include <atomic>
#include <thread>

#include "cmn/sys_fileloc.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "tests/mlox/mlox_directmidi/sleeper.h"
#include "tests/support/dm_fixture.h"
#include "tests/support/fake_service.h"

namespace {

class Mlox_DM_DeviceTest : public Test_DM_Fixture {
 protected:
  /// A thread that stays inside a write to an output of a device until it is let out: Kill waits for it.
  class StayingWriter : public IDirectMIDIOutput_DirectDeliveryClient {
   public:
    explicit StayingWriter(Mlox_DM_Device* iDeviceP) {
      iDeviceP->SetDirectDelivery(this);
      Mlox_Output* outputP = iDeviceP->GetOutputForChannel(0);
      mThread = std::thread([outputP] { WriteImmediateNote(*outputP, 60); });
      while (!mIsInside) std::this_thread::yield();
    }
    virtual ~StayingWriter() {
      LetOut();
      mThread.join();
    }
    StayingWriter(const StayingWriter&) = delete;
    StayingWriter& operator=(const StayingWriter&) = delete;

    void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
      iMessageP->Release();
      mIsInside = true;
      while (!mMayLeave) std::this_thread::yield();
    }
    void LetOut() { mMayLeave = true; }

   private:
    std::atomic<bool> mIsInside{false};
    std::atomic<bool> mMayLeave{false};
    std::thread mThread;
  };

  /// Whether the manager would tell of changed outputs now; takes the change off it.
  bool TakeOutputsChanged() {
    const int before = mListener.mOutputsChanged;
    Manager().CheckStudioSetup();
    return mListener.mOutputsChanged != before && mListener.mLastFlag;
  }
};

// ---- making ----

TEST_F(Mlox_DM_DeviceTest, TheNameIsMadeValidUtf8) {
  EXPECT_EQ(NewDevice("a\xFFz")->GetName(), "a\xEF\xBF\xBDz");
  EXPECT_EQ(NewDevice("Fl\xC3\xBCgel")->GetName(), "Fl\xC3\xBCgel");
}

TEST_F(Mlox_DM_DeviceTest, ANullNameIsEmpty) { EXPECT_EQ(NewDevice(nullptr)->GetName(), ""); }

TEST_F(Mlox_DM_DeviceTest, TheIdIsTheTrackPointer) {
  EXPECT_EQ(NewDevice("A", 0xFEDCBA9876543210u)->GetTrackPtr(), 0xFEDCBA9876543210u);
}

TEST_F(Mlox_DM_DeviceTest, StartsWithMbcAndWithoutLiveSources) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  EXPECT_TRUE(deviceP->GetReceivesMBC());
  EXPECT_FALSE(deviceP->IsMidiSourceLive());
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 0u);
  EXPECT_EQ(deviceP->GetServiceP(), mServiceP);
  EXPECT_EQ(deviceP->GetCurrentDelivery(), nullptr);
}

TEST_F(Mlox_DM_DeviceTest, InheritsWhatADeviceWithoutPatchFilesAnswers) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  Sys_FileLoc file;
  bool isDefault = false;
  EXPECT_FALSE(deviceP->GetFactoryPatchFileName(&file, &isDefault));
  EXPECT_TRUE(isDefault);
  EXPECT_TRUE(deviceP->IsUserDefined());
  deviceP->SetBeatClockOffsetSamples(-100);
  EXPECT_EQ(deviceP->GetBeatClockOffsetSamples(), -100);
  EXPECT_EQ(deviceP->GetCommonOutput()->GetUserBeatClockOffset().AsInt64(), -100);
}

// ---- interfaces ----

TEST_F(Mlox_DM_DeviceTest, QueryInterfaceAnswersAllOutputIdsAndTheUnknownWithOnePointer) {
  IDirectMIDIClientOutput4* nodeP = NewOutput("A");
  for (const _qcfUID& uid :
       {IDirectMIDIClientOutput::kUID, IDirectMIDIClientOutput2::kUID, IDirectMIDIClientOutput3::kUID,
        IDirectMIDIClientOutput4::kUID, IQCFUnknown::kUID}) {
    void* resultP = nullptr;
    ASSERT_EQ(nodeP->QueryInterface(uid, &resultP), 0);
    EXPECT_EQ(resultP, static_cast<void*>(nodeP));
    EXPECT_EQ(nodeP->Release(), 1u) << "the query took one reference";
  }
}

TEST_F(Mlox_DM_DeviceTest, QueryInterfaceGivesTheDeliverySetup) {
  IDirectMIDIClientOutput4* nodeP = NewOutput("A");
  auto* setupP = Test_DM_Query<IDirectMIDIOutputDeliverySetup>(nodeP);
  ASSERT_NE(setupP, nullptr);
  EXPECT_EQ(setupP, static_cast<IDirectMIDIOutputDeliverySetup*>(static_cast<Mlox_DM_Device*>(nodeP)));
  EXPECT_EQ(setupP->AddRef(), 3u) << "one count for the whole component";
  EXPECT_EQ(setupP->Release(), 2u);
  EXPECT_EQ(setupP->Release(), 1u);
}

TEST_F(Mlox_DM_DeviceTest, QueryInterfaceWithAnyOtherIdGivesNullAndNoInterface) {
  IDirectMIDIClientOutput4* nodeP = NewOutput("A");
  for (const _qcfUID& uid : {IDirectMIDIClientInput::kUID, IDirectMIDIGlobalOutput::kUID,
                             IDirectMIDIMessage::kUID, IDirectMIDIInputReceiveMIDI::kUID, _qcfUID{}}) {
    void* resultP = nodeP;
    EXPECT_EQ(static_cast<uint32_t>(nodeP->QueryInterface(uid, &resultP)), 0x80000004u);
    EXPECT_EQ(resultP, nullptr);
  }
}

TEST_F(Mlox_DM_DeviceTest, QueryInterfaceComparesAllSixteenBytes) {
  IDirectMIDIClientOutput4* nodeP = NewOutput("A");
  _qcfUID uid = IDirectMIDIClientOutput::kUID;
  uid.mData4[7] ^= 1;
  void* resultP = nodeP;
  EXPECT_EQ(static_cast<uint32_t>(nodeP->QueryInterface(uid, &resultP)), 0x80000004u);
  EXPECT_EQ(resultP, nullptr);
}

TEST_F(Mlox_DM_DeviceTest, QueryInterfaceWithANullResultIsReported) {
  Test_AssertRecorder recorder;
  IDirectMIDIClientOutput4* nodeP = NewOutput("A");
  EXPECT_EQ(static_cast<uint32_t>(nodeP->QueryInterface(IDirectMIDIClientOutput::kUID, nullptr)),
            0x80000004u);
  EXPECT_EQ(recorder.Count(), 1);
}

// ---- outputs ----

TEST_F(Mlox_DM_DeviceTest, OutputsAreMadeOnDemandAndKept) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  Mlox_Output* commonP = deviceP->GetCommonOutput();
  Mlox_Output* thirdP = deviceP->GetOutputForChannel(3);
  EXPECT_EQ(deviceP->GetCommonOutput(), commonP);
  EXPECT_EQ(deviceP->GetOutputForChannel(3), thirdP);
  EXPECT_NE(deviceP->GetOutputForChannel(4), thirdP);
  EXPECT_EQ(commonP->GetDescriptor()->GetChannel(), -1);
  EXPECT_EQ(thirdP->GetDescriptor()->GetChannel(), 3);
}

TEST_F(Mlox_DM_DeviceTest, OutputsGetTheAppCallbackOfTheDevice) {
  Test_FakeAppCallback appCallback;
  Mlox_DM_Device device("A", nullptr, &appCallback, 0);
  EXPECT_EQ(Test_AppCallbackOf<Mlox_Device>(device), &appCallback);
  EXPECT_EQ(Test_AppCallbackOf<Mlox_BasicOutput>(*device.GetCommonOutput()), &appCallback);
  EXPECT_EQ(Test_AppCallbackOf<Mlox_BasicOutput>(*device.GetOutputForChannel(15)), &appCallback);
  device.KillOutputs();
}

TEST_F(Mlox_DM_DeviceTest, TheMaskDoesNotRestrictGetOutputForChannel) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->SetChannelMask(0x0005);
  EXPECT_FALSE(deviceP->IsMidiChannelAvailable(1));
  EXPECT_NE(deviceP->GetOutputForChannel(1), nullptr);
}

TEST_F(Mlox_DM_DeviceTest, ANegativeChannelIsReportedAndAnsweredWithNull) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(NewDevice("A")->GetOutputForChannel(-1), nullptr);
  EXPECT_EQ(recorder.Texts(), std::vector<std::string>{"iMidiChannel >= 0"});
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST_F(Mlox_DM_DeviceTest, AChannelAboveFifteenIsReportedAndAnsweredWithNull) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(NewDevice("A")->GetOutputForChannel(16), nullptr);
  EXPECT_EQ(recorder.Texts(), std::vector<std::string>{"iMidiChannel <= 15"});
}

// ---- set-up and notifications ----

TEST_F(Mlox_DM_DeviceTest, SetChannelMaskTellsThatOutputsHaveChanged) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  TakeOutputsChanged();
  deviceP->SetChannelMask(1);
  EXPECT_TRUE(TakeOutputsChanged());
  deviceP->SetChannelMask(1);
  EXPECT_TRUE(TakeOutputsChanged()) << "an equal mask is told too";
}

TEST_F(Mlox_DM_DeviceTest, SetReceivesMBCStoresAndTellsThatOutputsHaveChanged) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  TakeOutputsChanged();
  deviceP->SetReceivesMBC(false);
  EXPECT_FALSE(deviceP->GetReceivesMBC());
  EXPECT_TRUE(TakeOutputsChanged());
  deviceP->SetReceivesMBC(false);
  EXPECT_TRUE(TakeOutputsChanged()) << "an equal value is told too";
  deviceP->SetBeatClockOffsetSamples(7);
  EXPECT_EQ(deviceP->GetBeatClockOffsetSamples(), 0);
}

TEST_F(Mlox_DM_DeviceTest, SetNameWithTheCurrentNameChangesNothingAndKillsNoOutput) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  Mlox_Output* outputP = deviceP->GetOutputForChannel(0);
  deviceP->SetMidiSourceIsLive(true);
  TakeOutputsChanged();
  deviceP->SetName("A");
  EXPECT_EQ(deviceP->GetOutputForChannel(0), outputP);
  EXPECT_EQ(outputP->GetDevice(), deviceP);
  EXPECT_TRUE(deviceP->IsMidiSourceLive());
  EXPECT_FALSE(TakeOutputsChanged());
}

TEST_F(Mlox_DM_DeviceTest, SetNameKillsOldOutputsAndMakesNewOnesWithTheNewName) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  Test_DM_Client client;
  deviceP->SetDirectDelivery(&client);
  const Cmn_AliasedRefCountPtr<Mlox_Output> oldCommon(deviceP->GetCommonOutput());
  const Cmn_AliasedRefCountPtr<Mlox_Output> oldChannel(deviceP->GetOutputForChannel(2));
  TakeOutputsChanged();

  deviceP->SetName("B");

  EXPECT_EQ(deviceP->GetName(), "B");
  EXPECT_TRUE(TakeOutputsChanged());
  for (const auto& output : {oldCommon, oldChannel}) {
    EXPECT_EQ(output->GetDevice(), nullptr);
    EXPECT_EQ(output->GetDescriptor()->GetDeviceDescriptor()->GetName(), "A");
    WriteImmediateNote(*output, 60);
  }
  EXPECT_TRUE(client.mMessages.empty());
  EXPECT_NE(deviceP->GetCommonOutput(), oldCommon.get());
  EXPECT_NE(deviceP->GetOutputForChannel(2), oldChannel.get());
  EXPECT_EQ(deviceP->GetOutputForChannel(2)->GetDescriptor()->GetDeviceDescriptor()->GetName(), "B");
  WriteImmediateNote(*deviceP->GetOutputForChannel(2), 60);
  EXPECT_EQ(client.mMessages.size(), 1u);
}

TEST_F(Mlox_DM_DeviceTest, SetNameDropsTheCachedDescriptor) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  const auto beforeP = deviceP->GetDeviceDescriptor();
  deviceP->SetName("B");
  EXPECT_NE(deviceP->GetDeviceDescriptor(), beforeP);
  EXPECT_EQ(deviceP->GetDeviceDescriptor()->GetName(), "B");
}

TEST_F(Mlox_DM_DeviceTest, SetNameHasStoredTheNameAndDroppedTheDescriptorBeforeItKillsOutputs) {
  Test_Sleeper sleeper;
  Mlox_DM_Device* deviceP = NewDevice("A");
  StayingWriter writer(deviceP);
  std::string name, descriptorName;
  Test_Sleeper::sCall = [&] {
    name = deviceP->GetName();
    descriptorName = deviceP->GetDeviceDescriptor()->GetName();
    writer.LetOut();
  };
  deviceP->SetName("B");
  EXPECT_EQ(name, "B");
  EXPECT_EQ(descriptorName, "B");
}

TEST_F(Mlox_DM_DeviceTest, SetNameEndsTheLiveSource) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->SetMidiSourceIsLive(true);
  deviceP->SetName("B");
  EXPECT_FALSE(deviceP->IsMidiSourceLive());
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 0u);
}

TEST_F(Mlox_DM_DeviceTest, SetNameEndsOneOfTwoLiveSources) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->SetMidiSourceIsLive(true);
  deviceP->SetMidiSourceIsLive(true);
  deviceP->SetName("B");
  EXPECT_TRUE(deviceP->IsMidiSourceLive());
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 1u);
}

TEST_F(Mlox_DM_DeviceTest, SetNameComparesLengthAndBytes) {
  Mlox_DM_Device* deviceP = NewDevice("Synth");
  deviceP->SetName("synth");
  EXPECT_EQ(deviceP->GetName(), "synth");
  deviceP->SetName("synth ");
  EXPECT_EQ(deviceP->GetName(), "synth ");
}

TEST_F(Mlox_DM_DeviceTest, SetNameWithNullGivesTheEmptyNameAndAlwaysKillsOutputs) {
  Mlox_DM_Device* deviceP = NewDevice("");
  const Cmn_AliasedRefCountPtr<Mlox_Output> old(deviceP->GetCommonOutput());
  deviceP->SetName("");
  EXPECT_EQ(old->GetDevice(), deviceP) << "the empty name is the current one";
  deviceP->SetName(nullptr);
  EXPECT_EQ(deviceP->GetName(), "");
  EXPECT_EQ(old->GetDevice(), nullptr);
}

TEST_F(Mlox_DM_DeviceTest, SetNameStoresTheNameAsItComes) {
  // Only the name given at the making is made valid.
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->SetName("a\xFF");
  EXPECT_EQ(deviceP->GetName(), "a\xFF");
}

// ---- live sources ----

TEST_F(Mlox_DM_DeviceTest, RemoveLiveSourceAtACountOfZeroLeavesZero) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->RemoveLiveSource();
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 0u);
}

TEST_F(Mlox_DM_DeviceTest, AddAndRemoveLiveSourceDoNotTouchTheMark) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->AddLiveSource();
  deviceP->AddLiveSource();
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 2u);
  EXPECT_FALSE(deviceP->IsMidiSourceLive());
  deviceP->RemoveLiveSource();
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 1u);
  deviceP->SetMidiSourceIsLive(true);
  deviceP->RemoveLiveSource();
  deviceP->RemoveLiveSource();
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 0u);
  EXPECT_TRUE(deviceP->IsMidiSourceLive());
}

TEST_F(Mlox_DM_DeviceTest, SetMidiSourceIsLiveTrueMarksAndCounts) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->SetMidiSourceIsLive(true);
  deviceP->SetMidiSourceIsLive(true);
  EXPECT_TRUE(deviceP->IsMidiSourceLive());
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 2u);
}

TEST_F(Mlox_DM_DeviceTest, SetMidiSourceIsLiveFalseKeepsTheMarkWhileSourcesRemain) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->SetMidiSourceIsLive(true);
  deviceP->SetMidiSourceIsLive(true);
  deviceP->SetMidiSourceIsLive(false);
  EXPECT_TRUE(deviceP->IsMidiSourceLive());
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 1u);
  deviceP->SetMidiSourceIsLive(false);
  EXPECT_FALSE(deviceP->IsMidiSourceLive());
  deviceP->SetMidiSourceIsLive(false);
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 0u);
}

TEST_F(Mlox_DM_DeviceTest, SetMidiSourceIsLiveFalseMarksWhenPlainSourcesRemain) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  deviceP->AddLiveSource();
  deviceP->AddLiveSource();
  deviceP->SetMidiSourceIsLive(false);
  EXPECT_TRUE(deviceP->IsMidiSourceLive());
  EXPECT_EQ(deviceP->GetLiveSourcesCount(), 1u);
}

// ---- end ----

TEST_F(Mlox_DM_DeviceTest, TheLastReleaseKillsOutputsAndLeavesTheList) {
  IDirectMIDIClientOutput4* nodeP = NewOutput("A");
  auto* deviceP = static_cast<Mlox_DM_Device*>(nodeP);
  Test_DM_Client client;
  deviceP->SetDirectDelivery(&client);
  const Cmn_AliasedRefCountPtr<Mlox_Output> common(deviceP->GetCommonOutput());
  const Cmn_AliasedRefCountPtr<Mlox_Output> channel(deviceP->GetOutputForChannel(5));
  TakeOutputsChanged();
  const int32_t componentsBefore = CQCFUnknown::LiveCount();

  Forget(nodeP);
  EXPECT_EQ(nodeP->Release(), 0u);

  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1) << "the device is destroyed";
  EXPECT_EQ(mServiceP->GetNumberOfOutputDevices(), 0);
  EXPECT_TRUE(TakeOutputsChanged());
  for (const auto& output : {common, channel}) {
    EXPECT_EQ(output->GetDevice(), nullptr);
    EXPECT_FALSE(output->IsTimestamped());
    WriteImmediateNote(*output, 60);
  }
  EXPECT_TRUE(client.mMessages.empty());
}

TEST_F(Mlox_DM_DeviceTest, TheDeviceIsStillOnTheListWhileTheLastReleaseKillsOutputs) {
  Test_Sleeper sleeper;
  IDirectMIDIClientOutput4* nodeP = NewOutput("A");
  StayingWriter writer(static_cast<Mlox_DM_Device*>(nodeP));
  int devicesMeanwhile = -1;
  Test_Sleeper::sCall = [&] {
    devicesMeanwhile = mServiceP->GetNumberOfOutputDevices();
    writer.LetOut();
  };
  Forget(nodeP);
  EXPECT_EQ(nodeP->Release(), 0u);
  EXPECT_EQ(devicesMeanwhile, 1);
  EXPECT_EQ(mServiceP->GetNumberOfOutputDevices(), 0);
}

TEST_F(Mlox_DM_DeviceTest, SetServiceToNoneLeavesBothPartsWithoutAServiceAsAReportShows) {
  Mlox_DM_Device* deviceP = NewDevice("A");
  Test_AssertRecorder recorder;
  deviceP->SetServiceP(nullptr);
  EXPECT_EQ(deviceP->GetServiceP(), nullptr);
  EXPECT_EQ(deviceP->SetBufferedDelivery(), nullptr);
  EXPECT_EQ(recorder.Count(), 1);
  deviceP->SetServiceP(mServiceP);
  IDirectMIDIBufferedDelivery* const deliveryP = deviceP->SetBufferedDelivery();
  ASSERT_NE(deliveryP, nullptr) << "both parts have one again";
  deliveryP->Release();
}

#ifndef NDEBUG
TEST_F(Mlox_DM_DeviceTest, MakingNamingAndTheLastReleaseOffTheMainThreadAreReported) {
  Test_AssertRecorder recorder;
  std::thread([this] {
    IDirectMIDIClientOutput* nodeP = mServiceP->CreateClientOutput("A");
    nodeP->SetName("B");
    nodeP->Release();
  }).join();
  EXPECT_EQ(recorder.Count("IsMainThread()"), 3);
  NewDevice("C")->SetName("D");
  EXPECT_EQ(recorder.Count("IsMainThread()"), 3);
}
#endif

}  // namespace
