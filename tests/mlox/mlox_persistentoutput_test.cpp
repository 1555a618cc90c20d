// SPDX-License-Identifier: MIT
#include "mlox/mlox_persistentoutput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_persistentoutputregistry.h"
#include "tests/support/fake_service.h"
#include "tests/support/manager_fixture.h"

namespace {

class Mlox_PersistentOutputTest : public Test_ManagerFixture {
 protected:
  Mlox_PersistentOutputTest() : mServiceP(new Test_FakeService("a", nullptr)) {
    Manager().AddService(mServiceP, 16);
    // The change that adding the service has reported is none of the test's business.
    Mlox_PersistentOutput().IsOnline();
  }

  // Tells the manager and lets it tell the listeners.
  void ReportChange() {
    Manager().ServiceOutputListChanged(mServiceP, true);
    Manager().CheckStudioSetup();
  }

  Test_FakeService* mServiceP;
};

TEST_F(Mlox_PersistentOutputTest, DefaultIsNullAndJoinsTheRegistry) {
  const Mlox_PersistentOutput reference;
  EXPECT_TRUE(reference.IsNull());
  EXPECT_FALSE(reference.IsNotNull());
  EXPECT_FALSE(reference.IsOnline());
  EXPECT_EQ(reference.GetOutput(), nullptr);
  EXPECT_FALSE(reference.GetDescriptor());
  EXPECT_EQ(reference.GetUserBeatClockOffset().AsInt64(), 0);
  EXPECT_NE(reference.GetListPtr(), nullptr);
}

TEST_F(Mlox_PersistentOutputTest, FromADescriptorSearchesAtOnceAndAdoptsTheIdentityOfWhatItFinds) {
  Test_FakeDevice& device = mServiceP->AddDevice("New Piano", 1);
  const auto descriptor = Test_MakeOutputDescriptor("Piano", 1, 4);
  const Mlox_PersistentOutput reference(descriptor.get());
  EXPECT_EQ(reference.GetOutput(), device.mChannelOutputs[4].get());
  EXPECT_EQ(reference.GetDescriptor().get(), device.mChannelOutputs[4]->mDescriptorP.get());
  EXPECT_NE(reference.GetListPtr(), nullptr);
}

TEST_F(Mlox_PersistentOutputTest, FromADescriptorThatNothingFitsIsOfflineAndKeepsTheDescriptor) {
  const auto descriptor = Test_MakeOutputDescriptor("Piano", 1, 4);
  const Mlox_PersistentOutput reference(descriptor.get());
  EXPECT_EQ(reference.GetOutput(), nullptr);
  EXPECT_EQ(reference.GetDescriptor().get(), descriptor.get());
  EXPECT_TRUE(reference.IsNotNull());
}

TEST_F(Mlox_PersistentOutputTest, FromANullDescriptorIsNullAndJoinsTheRegistry) {
  const Mlox_PersistentOutput reference(static_cast<const Mlox_OutputDescriptor*>(nullptr));
  EXPECT_TRUE(reference.IsNull());
  EXPECT_EQ(reference.GetOutput(), nullptr);
  EXPECT_NE(reference.GetListPtr(), nullptr);
}

TEST_F(Mlox_PersistentOutputTest, FromAnOutputHoldsItAndItsDescriptor) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Test_FakeOutput* outputP = device.mChannelOutputs[2].get();
  const int countBefore = outputP->GetRefCount();
  const Mlox_PersistentOutput reference(outputP);
  EXPECT_EQ(reference.GetOutput(), outputP);
  EXPECT_EQ(reference.GetDescriptor().get(), outputP->mDescriptorP.get());
  EXPECT_EQ(outputP->GetRefCount(), countBefore + 1);
}

TEST_F(Mlox_PersistentOutputTest, FromANullOutputHasNoDescriptorAndJoinsTheRegistry) {
  const Mlox_PersistentOutput reference(static_cast<Mlox_Output*>(nullptr));
  EXPECT_TRUE(reference.IsNull());
  EXPECT_FALSE(reference.IsOnline());
  EXPECT_NE(reference.GetListPtr(), nullptr);
}

TEST_F(Mlox_PersistentOutputTest, ACopyHasAllThreeFieldsAndJoins) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Mlox_PersistentOutput original(device.mChannelOutputs[2].get());
  original.SetUserBeatClockOffset(Time_SampleLength(11));
  const Mlox_PersistentOutput copy(original);
  EXPECT_EQ(copy.GetOutput(), original.GetOutput());
  EXPECT_EQ(copy.GetDescriptor().get(), original.GetDescriptor().get());
  EXPECT_EQ(copy.GetUserBeatClockOffset().AsInt64(), 11);
  EXPECT_NE(copy.GetListPtr(), nullptr);
}

TEST_F(Mlox_PersistentOutputTest, AssigningCopiesAllThreeFieldsAndReleasesWhatWasHeld) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Test_FakeOutput* oldP = device.mChannelOutputs[2].get();
  const int countBefore = oldP->GetRefCount();
  Mlox_PersistentOutput target(oldP);
  Mlox_PersistentOutput source(device.mChannelOutputs[3].get());
  source.SetUserBeatClockOffset(Time_SampleLength(11));
  target = source;
  EXPECT_EQ(target.GetOutput(), device.mChannelOutputs[3].get());
  EXPECT_EQ(target.GetDescriptor().get(), source.GetDescriptor().get());
  EXPECT_EQ(target.GetUserBeatClockOffset().AsInt64(), 11);
  EXPECT_EQ(oldP->GetRefCount(), countBefore);
}

TEST_F(Mlox_PersistentOutputTest, CopyingAndAssigningSearchNothing) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput original(device.mChannelOutputs[2].get());
  const Mlox_Output* outputP = original.GetOutput();
  // A search would find this one.
  device.mChannelOutputs[2] = new Test_FakeOutput(&device, device.mDescriptorP, 2);
  const Mlox_PersistentOutput copy(original);
  Mlox_PersistentOutput assigned;
  assigned = original;
  EXPECT_EQ(copy.GetOutput(), outputP);
  EXPECT_EQ(assigned.GetOutput(), outputP);
}

TEST_F(Mlox_PersistentOutputTest, CopyingAndAssigningHandNoOffsetToTheDevice) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Mlox_PersistentOutput original(device.mChannelOutputs[2].get());
  original.SetUserBeatClockOffset(Time_SampleLength(11));
  device.SetBeatClockOffsetSamples(5);
  const Mlox_PersistentOutput copy(original);
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 5);
  Mlox_PersistentOutput assigned;
  assigned = original;
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 5);
}

TEST_F(Mlox_PersistentOutputTest, DestructionReleasesTheOutputAndLeavesTheRegistry) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Test_FakeOutput* outputP = device.mChannelOutputs[2].get();
  const int countBefore = outputP->GetRefCount();
  auto first = std::make_unique<Mlox_PersistentOutput>(outputP);
  const Mlox_PersistentOutput second(outputP);
  const Mlox_PersistentOutput* const addressP = first.get();
  EXPECT_EQ(second.GetPreviousInList(), addressP);
  first.reset();
  EXPECT_NE(second.GetPreviousInList(), addressP);
  EXPECT_EQ(outputP->GetRefCount(), countBefore + 1);
}

TEST_F(Mlox_PersistentOutputTest, DestructionReleasesTheDescriptor) {
  const auto device = Test_MakeDescriptor("Piano", 1);
  auto reference = std::make_unique<Mlox_PersistentOutput>(new Mlox_OutputDescriptor(device, 1));
  EXPECT_FALSE(reference->IsOnline());
  EXPECT_EQ(device.use_count(), 2);
  reference.reset();
  EXPECT_EQ(device.use_count(), 1);
}

TEST_F(Mlox_PersistentOutputTest, EqualDescriptorsWithDifferentOutputsAreDescriptorEqualAndNotEqual) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput online(Test_MakeOutputDescriptor("Piano", 1, 4).get());
  mServiceP->mDevices.clear();
  const Mlox_PersistentOutput offline(Test_MakeOutputDescriptor("Piano", 1, 4).get());
  EXPECT_TRUE(online.DescriptorEquals(offline));
  EXPECT_FALSE(online == offline);
  EXPECT_TRUE(online != offline);
}

TEST_F(Mlox_PersistentOutputTest, OneOutputOfOneDescriptorIsEqual) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput first(device.mChannelOutputs[2].get()), second(device.mChannelOutputs[2].get());
  EXPECT_TRUE(first == second);
  EXPECT_FALSE(first != second);
}

// Both hold no output, which is the same one.
TEST_F(Mlox_PersistentOutputTest, OfflineReferencesWithDifferentDescriptorsAreNotEqual) {
  const Mlox_PersistentOutput piano(Test_MakeOutputDescriptor("Piano", 1, 4).get());
  const Mlox_PersistentOutput samePiano(Test_MakeOutputDescriptor("Piano", 1, 4).get());
  const Mlox_PersistentOutput organ(Test_MakeOutputDescriptor("Organ", 2, 4).get());
  const Mlox_PersistentOutput null;
  EXPECT_TRUE(piano == samePiano);
  EXPECT_FALSE(piano == organ);
  EXPECT_FALSE(piano == null);
}

TEST_F(Mlox_PersistentOutputTest, DescriptorsAreEqualByDeviceAndChannel) {
  const Mlox_PersistentOutput piano4(Test_MakeOutputDescriptor("Piano", 1, 4).get());
  const Mlox_PersistentOutput samePiano4(Test_MakeOutputDescriptor("Piano", 1, 4).get());
  const Mlox_PersistentOutput piano5(Test_MakeOutputDescriptor("Piano", 1, 5).get());
  const Mlox_PersistentOutput organ4(Test_MakeOutputDescriptor("Organ", 1, 4).get());
  EXPECT_TRUE(piano4.DescriptorEquals(samePiano4));
  EXPECT_FALSE(piano4.DescriptorEquals(piano5));
  EXPECT_FALSE(piano4.DescriptorEquals(organ4));
}

TEST_F(Mlox_PersistentOutputTest, DescriptorEqualsWithNull) {
  const Mlox_PersistentOutput null1, null2;
  const Mlox_PersistentOutput piano(Test_MakeOutputDescriptor("Piano", 1, 4).get());
  const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> deviceless(new Mlox_OutputDescriptor(nullptr, 4));
  const Mlox_PersistentOutput noDevice(deviceless.get());
  EXPECT_TRUE(null1.DescriptorEquals(null2));
  EXPECT_FALSE(null1.DescriptorEquals(piano));
  EXPECT_FALSE(piano.DescriptorEquals(null1));
  EXPECT_FALSE(noDevice.DescriptorEquals(piano));
  EXPECT_FALSE(piano.DescriptorEquals(noDevice));
}

TEST_F(Mlox_PersistentOutputTest, WritesWithoutAnOutputAreASilentNoOp) {
  Mlox_PersistentOutput reference;
  const unsigned char bytes[] = {0x90, 60, 100};
  reference.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), Manager().GetDefaultOutputContext());
  reference.WriteLimitedSysex(bytes, 3, Manager().GetDefaultOutputContext());
  reference.WriteRawMIDI(bytes, 3, Manager().GetDefaultOutputContext());
  EXPECT_FALSE(reference.IsOnline());
}

TEST_F(Mlox_PersistentOutputTest, WritesGoToTheOutputWithTheSameArguments) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Test_FakeOutput& output = *device.mChannelOutputs[2];
  Mlox_PersistentOutput reference(&output);
  Mlox_AWrite& writer = reference;
  writer.WriteEvent(Mdie_Timestamp(Time_Sample(77)), Mdie_NoteOnEvent(60, 100),
                    Manager().GetPatchThruContext());
  ASSERT_EQ(output.mWrites.size(), 1u);
  EXPECT_EQ(output.mWrites[0].mTimestamp.AsSample().AsInt64(), 77);
  EXPECT_EQ(output.mWrites[0].mEvent.AsNoteOn().GetPitch(), 60);
  EXPECT_TRUE(output.mWrites[0].mContext == Manager().GetPatchThruContext());

  const unsigned char sysex[] = {0xF0, 1, 0xF7};
  writer.WriteLimitedSysex(sysex, 3, Manager().GetImmediateOutputContext());
  ASSERT_EQ(output.mLimitedSysexes.size(), 1u);
  EXPECT_THAT(output.mLimitedSysexes[0], ::testing::ElementsAre(0xF0, 1, 0xF7));
  EXPECT_TRUE(output.mLastContext == Manager().GetImmediateOutputContext());

  const unsigned char raw[] = {0xFE};
  writer.WriteRawMIDI(raw, 1, Manager().GetDefaultOutputContext());
  ASSERT_EQ(output.mRawWrites.size(), 1u);
  EXPECT_THAT(output.mRawWrites[0], ::testing::ElementsAre(0xFE));
  EXPECT_TRUE(output.mLastContext == Manager().GetDefaultOutputContext());
}

TEST_F(Mlox_PersistentOutputTest, AWriteAfterTheDeviceHasGoneGoesToTheOldOutputAndSearchesNothing) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  const Cmn_AliasedRefCountPtr<Test_FakeOutput> output = device.mChannelOutputs[2];
  Mlox_PersistentOutput reference(output.get());
  mServiceP->mDevices.clear();
  ReportChange();
  reference.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), Manager().GetDefaultOutputContext());
  EXPECT_EQ(output->mWrites.size(), 1u);
}

TEST_F(Mlox_PersistentOutputTest, AfterAChangeGetOutputAloneGivesTheOldPointerAndOnlyIsOnlineRenewsIt) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  const Cmn_AliasedRefCountPtr<Mlox_Output> oldOutput(reference.GetOutput());
  mServiceP->mDevices.clear();
  Test_FakeDevice& back = mServiceP->AddDevice("Piano", 1);
  ReportChange();
  EXPECT_EQ(reference.GetOutput(), oldOutput.get());
  EXPECT_TRUE(reference.IsOnline());
  EXPECT_EQ(reference.GetOutput(), back.mChannelOutputs[2].get());
}

TEST_F(Mlox_PersistentOutputTest, IsOnlineOfAnyReferenceRenewsAllOfThem) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput first(Test_MakeOutputDescriptor("Piano", 1, 1).get());
  const Mlox_PersistentOutput second(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  mServiceP->mDevices.clear();
  Test_FakeDevice& back = mServiceP->AddDevice("Piano", 1);
  ReportChange();
  EXPECT_TRUE(second.IsOnline());
  EXPECT_EQ(first.GetOutput(), back.mChannelOutputs[1].get());
  EXPECT_EQ(second.GetOutput(), back.mChannelOutputs[2].get());
}

// What else is done with references leaves the others where they are, although all are marked.
TEST_F(Mlox_PersistentOutputTest, AfterAChangeNothingButIsOnlineRenewsAnotherReference) {
  mServiceP->AddDevice("Piano", 1);
  Mlox_PersistentOutput first(Test_MakeOutputDescriptor("Piano", 1, 1).get());
  Mlox_PersistentOutput second(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  const Cmn_AliasedRefCountPtr<Mlox_Output> oldOutput(second.GetOutput());
  mServiceP->mDevices.clear();
  Test_FakeDevice& back = mServiceP->AddDevice("Piano", 1);
  ReportChange();
  const Mlox_PersistentOutput copy(second);
  Mlox_PersistentOutput assigned;
  assigned = second;
  EXPECT_TRUE(copy == second);
  EXPECT_TRUE(copy.DescriptorEquals(second));
  EXPECT_TRUE(second.IsNotNull());
  first.SetUserBeatClockOffset(Time_SampleLength(11));
  first.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), Manager().GetDefaultOutputContext());
  first.ResetOutputUsingDescriptor();
  EXPECT_EQ(first.GetOutput(), back.mChannelOutputs[1].get());
  EXPECT_EQ(second.GetOutput(), oldOutput.get());
  EXPECT_TRUE(second.IsOnline());
  EXPECT_EQ(second.GetOutput(), back.mChannelOutputs[2].get());
}

TEST_F(Mlox_PersistentOutputTest, AChangeReportedWithFalseMarksJustTheSame) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 1).get());
  mServiceP->mDevices.clear();
  Manager().ServiceOutputListChanged(mServiceP, false);
  Manager().CheckStudioSetup();
  EXPECT_FALSE(reference.IsOnline());
}

TEST_F(Mlox_PersistentOutputTest, AChangeOfAnythingButTheOutputsMarksNothing) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 1).get());
  mServiceP->mDevices.clear();
  Manager().ServiceInputListChanged(mServiceP);
  Manager().Service_OutputPreSendChanged();
  Manager().CheckStudioSetup();
  Manager().BroadcastPlugInNodeRegistered(nullptr);
  EXPECT_TRUE(reference.IsOnline());
}

TEST_F(Mlox_PersistentOutputTest, AfterAChangeGetDescriptorSearchesNothing) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 1).get());
  const auto before = reference.GetDescriptor();
  mServiceP->mDevices.clear();
  Test_FakeDevice& back = mServiceP->AddDevice("Piano", 1);
  ReportChange();
  EXPECT_EQ(reference.GetDescriptor().get(), before.get());
  EXPECT_TRUE(reference.IsOnline());
  EXPECT_EQ(reference.GetDescriptor().get(), back.mChannelOutputs[1]->mDescriptorP.get());
}

TEST_F(Mlox_PersistentOutputTest, AReferenceMadeFromAnOutputFollowsItsDescriptorAfterAChange) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput reference(device.mChannelOutputs[2].get());
  mServiceP->mDevices.clear();
  Test_FakeDevice& back = mServiceP->AddDevice("Piano", 1);
  ReportChange();
  EXPECT_TRUE(reference.IsOnline());
  EXPECT_EQ(reference.GetOutput(), back.mChannelOutputs[2].get());
}

// Each search hands the offset to the device, so the calls to devices show the order. The mark is down before
// the first search: a query from inside one doesn't begin again.
TEST_F(Mlox_PersistentOutputTest, OneQueryRenewsAllOnceFromHeadToTail) {
  class AskingDevice : public Test_FakeDevice {
   public:
    AskingDevice(const std::string& iName, int iID, Test_CallLog* iLogP)
        : Test_FakeDevice(iName, iID), mCallsP(iLogP) {}
    void SetBeatClockOffsetSamples(int iSamples) override {
      Test_FakeDevice::SetBeatClockOffsetSamples(iSamples);
      mCallsP->push_back(mName);
      if (mAskedP != nullptr) mAskedP->IsOnline();
    }
    Mlox_PersistentOutput* mAskedP = nullptr;

   private:
    Test_CallLog* mCallsP;
  };
  auto first = std::make_unique<AskingDevice>("first", 1, &mLog);
  auto second = std::make_unique<AskingDevice>("second", 2, &mLog);
  AskingDevice& asking = *first;
  mServiceP->mDevices.push_back(std::move(second));
  mServiceP->mDevices.push_back(std::move(first));
  Mlox_PersistentOutput head(Test_MakeOutputDescriptor("first", 1, 0).get());
  Mlox_PersistentOutput tail(Test_MakeOutputDescriptor("second", 2, 0).get());
  asking.mAskedP = &tail;
  mLog.clear();
  ReportChange();
  EXPECT_TRUE(tail.IsOnline());
  EXPECT_THAT(mLog, ::testing::ElementsAre("first", "second"));
}

TEST_F(Mlox_PersistentOutputTest, AssigningLeavesTheLinkAsItIs) {
  Mlox_PersistentOutput target;
  const Mlox_PersistentOutput source;
  const auto* listP = target.GetListPtr();
  target = source;
  EXPECT_EQ(target.GetListPtr(), listP);
  EXPECT_EQ(source.GetPreviousInList(), &target);
}

// A search hands over the offset also when it is 0; holding an output that was given hands over nothing.
TEST_F(Mlox_PersistentOutputTest, ASearchSetsTheDevicesOffsetAlsoTo0AndTakingAnOutputLeavesItAlone) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  device.SetBeatClockOffsetSamples(25);
  const Mlox_PersistentOutput given(device.mChannelOutputs[2].get());
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 25);
  EXPECT_EQ(given.GetUserBeatClockOffset().AsInt64(), 0);
  const Mlox_PersistentOutput searched(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 0);
}

TEST_F(Mlox_PersistentOutputTest, WithoutAChangeIsOnlineSearchesNothing) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  Mlox_Output* outputP = reference.GetOutput();
  mServiceP->mDevices.clear();
  EXPECT_TRUE(reference.IsOnline());
  EXPECT_EQ(reference.GetOutput(), outputP);
}

TEST_F(Mlox_PersistentOutputTest, AGoneDeviceTurnsItOfflineAndTheDescriptorFindsItAgain) {
  mServiceP->AddDevice("Piano", 1);
  const Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, -1).get());
  mServiceP->mDevices.clear();
  ReportChange();
  EXPECT_FALSE(reference.IsOnline());
  EXPECT_TRUE(reference.IsNotNull());
  Test_FakeDevice& back = mServiceP->AddDevice("Piano", 1);
  ReportChange();
  EXPECT_TRUE(reference.IsOnline());
  EXPECT_EQ(reference.GetOutput(), back.mCommonOutput.get());
}

TEST_F(Mlox_PersistentOutputTest, ResetWithNoDescriptorLeavesTheOutputNull) {
  Mlox_PersistentOutput reference;
  reference.ResetOutputUsingDescriptor();
  EXPECT_EQ(reference.GetOutput(), nullptr);
  EXPECT_TRUE(reference.IsNull());
}

TEST_F(Mlox_PersistentOutputTest, TheUsersOffsetGoesToTheDeviceAndFollowsToANewOne) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  reference.SetUserBeatClockOffset(Time_SampleLength(-40));
  EXPECT_EQ(reference.GetUserBeatClockOffset().AsInt64(), -40);
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), -40);
  EXPECT_EQ(device.mCommonOutput->GetUserBeatClockOffset().AsInt64(), -40);
  mServiceP->mDevices.clear();
  Test_FakeDevice& back = mServiceP->AddDevice("Piano", 1);
  ReportChange();
  EXPECT_EQ(back.GetBeatClockOffsetSamples(), 0);
  EXPECT_TRUE(reference.IsOnline());
  EXPECT_EQ(back.GetBeatClockOffsetSamples(), -40);
}

// Another reference to the device may have set its own meanwhile.
TEST_F(Mlox_PersistentOutputTest, SettingAnUnchangedOffsetHandsItToTheDeviceAgain) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Mlox_PersistentOutput first(device.mChannelOutputs[2].get()), second(device.mChannelOutputs[3].get());
  first.SetUserBeatClockOffset(Time_SampleLength(11));
  second.SetUserBeatClockOffset(Time_SampleLength(22));
  first.SetUserBeatClockOffset(Time_SampleLength(11));
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 11);
  second.SetUserBeatClockOffset(Time_SampleLength(0));
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 0);
}

TEST_F(Mlox_PersistentOutputTest, ADeviceTakesTheLow32BitsOfTheOffset) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  reference.SetUserBeatClockOffset(Time_SampleLength(0x100000005));
  EXPECT_EQ(reference.GetUserBeatClockOffset().AsInt64(), 0x100000005);
  EXPECT_EQ(device.GetBeatClockOffsetSamples(), 5);
}

TEST_F(Mlox_PersistentOutputTest, AnOffsetWithoutOutputOrDeviceIsOnlyStored) {
  Mlox_PersistentOutput offline;
  offline.SetUserBeatClockOffset(Time_SampleLength(9));
  EXPECT_EQ(offline.GetUserBeatClockOffset().AsInt64(), 9);
  const Cmn_AliasedRefCountPtr<Test_FakeOutput> orphan(
      new Test_FakeOutput(nullptr, Test_MakeDescriptor("Piano", 1), 0));
  Mlox_PersistentOutput reference(orphan.get());
  reference.SetUserBeatClockOffset(Time_SampleLength(9));
  EXPECT_EQ(reference.GetUserBeatClockOffset().AsInt64(), 9);
}

TEST_F(Mlox_PersistentOutputTest, ASearchThatFindsAnOutputWithoutADeviceIsFine) {
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  device.mChannelOutputs[2]->mDeviceP = nullptr;
  const Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  EXPECT_EQ(reference.GetOutput(), device.mChannelOutputs[2].get());
}

TEST_F(Mlox_PersistentOutputTest, OutlivesTheServices) {
  mServiceP->AddDevice("Piano", 1);
  Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 2).get());
  Manager().RemoveAllServices();
  reference.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), Manager().GetDefaultOutputContext());
  EXPECT_FALSE(reference.IsOnline());
}

TEST_F(Mlox_PersistentOutputTest, AReferenceMayGoWhileAllAreRenewed) {
  class ReachingDevice : public Test_FakeDevice {
   public:
    using Test_FakeDevice::Test_FakeDevice;
    void SetBeatClockOffsetSamples(int iSamples) override {
      Test_FakeDevice::SetBeatClockOffsetSamples(iSamples);
      mVictim.reset();
    }
    std::unique_ptr<Mlox_PersistentOutput> mVictim;
  };
  auto device = std::make_unique<ReachingDevice>("Piano", 1);
  ReachingDevice& reaching = *device;
  mServiceP->mDevices.push_back(std::move(device));
  const auto descriptor = Test_MakeOutputDescriptor("Piano", 1, 2);
  const Mlox_PersistentOutput first(descriptor.get());
  reaching.mVictim = std::make_unique<Mlox_PersistentOutput>(Test_MakeOutputDescriptor("Organ", 9, 2).get());
  const Mlox_PersistentOutput last(Test_MakeOutputDescriptor("Bass", 5, 1).get());
  EXPECT_EQ(last.GetOutput(), nullptr);
  Test_FakeDevice& bass = mServiceP->AddDevice("Bass", 5);
  ReportChange();
  EXPECT_TRUE(first.IsOnline());
  EXPECT_EQ(reaching.mVictim, nullptr);
  EXPECT_EQ(last.GetOutput(), bass.mChannelOutputs[1].get());
}

// No write falls into a gap while the outputs are searched for again, although every round finds the same
// one.
TEST_F(Mlox_PersistentOutputTest, AWriteDuringASearchReachesTheOldOutputOrTheNewOneAndIsNeverDropped) {
  class CountingOutput : public Test_FakeOutput {
   public:
    using Test_FakeOutput::Test_FakeOutput;
    void WriteEvent(const Mdie_Timestamp&, const Mdie_Event&, Mlox_OutputContextRef) override {
      mCount.fetch_add(1, std::memory_order_relaxed);
    }
    std::atomic<int> mCount{0};
  };
  Test_FakeDevice& device = mServiceP->AddDevice("Piano", 1);
  auto* firstP = new CountingOutput(&device, device.mDescriptorP, 2);
  auto* secondP = new CountingOutput(&device, device.mDescriptorP, 2);
  const Cmn_AliasedRefCountPtr<Test_FakeOutput> first(firstP), second(secondP);
  device.mChannelOutputs[2] = first;
  Mlox_PersistentOutput reference(Test_MakeOutputDescriptor("Piano", 1, 2).get());

  constexpr int kSearches = 2000;
  std::atomic<int> writes{0};
  std::atomic<bool> isSearching{true};
  std::thread writer([&] {
    while (isSearching) {
      reference.WriteEvent(Mdie_Timestamp(), Mdie_Event(), Mlox_OutputContextRef());
      writes.fetch_add(1);
    }
  });
  while (writes == 0) std::this_thread::yield();
  const int writesBefore = writes;
  // On one core the writer gets its turn now and then.
  for (int search = 0; search < kSearches || writes == writesBefore; ++search) {
    device.mChannelOutputs[2] = (search % 2) != 0 ? first : second;
    reference.ResetOutputUsingDescriptor();
  }
  isSearching = false;
  writer.join();
  EXPECT_GT(firstP->mCount, 0);
  EXPECT_EQ(firstP->mCount + secondP->mCount, writes);
}

// Holds whoever writes to it until it is let go.
class HoldingOutput : public Test_FakeOutput {
 public:
  HoldingOutput(std::atomic<int>* iStateP, std::atomic<bool>* iIsGoneP)
      : Test_FakeOutput(nullptr, Test_MakeDescriptor("Piano", 1), 2), mStateP(iStateP), mIsGoneP(iIsGoneP) {}
  ~HoldingOutput() override { *mIsGoneP = true; }
  void WriteEvent(const Mdie_Timestamp&, const Mdie_Event&, Mlox_OutputContextRef) override { Hold(); }
  void WriteLimitedSysex(const unsigned char*, int, Mlox_OutputContextRef) override { Hold(); }
  void WriteRawMIDI(const unsigned char*, int, Mlox_OutputContextRef) override { Hold(); }

 private:
  void Hold() {
    *mStateP = 1;
    while (*mStateP != 2) std::this_thread::yield();
  }

  std::atomic<int>* mStateP;
  std::atomic<bool>* mIsGoneP;
};

using WriteThrough = void (*)(Mlox_PersistentOutput& ioReference);

// A writer that is held inside an output keeps it, although nobody refers to the output any more.
void ExpectThatAHeldWriterKeepsTheOutput(WriteThrough iWrite) {
  static std::atomic<std::int64_t> sNow;
  sNow = Sys_Clock::Microseconds();
  Sys_Clock::SetSourceForTest([] { return sNow.fetch_add(2000000) + 2000000; });

  std::atomic<int> state{0};
  std::atomic<bool> isGone{false};
  Mlox_PersistentOutput reference(new HoldingOutput(&state, &isGone));
  std::thread writer([&] { iWrite(reference); });
  while (state != 1) std::this_thread::yield();
  // Nothing fits the descriptor, so the search lets the output go.
  reference.ResetOutputUsingDescriptor();
  EXPECT_EQ(reference.GetOutput(), nullptr);
  for (int pass = 0; pass < 10; ++pass) Sys_DelayedDeletion::RunPass();
  EXPECT_FALSE(isGone);
  state = 2;
  writer.join();
  for (int pass = 0; pass < 2; ++pass) Sys_DelayedDeletion::RunPass();
  EXPECT_TRUE(isGone);
  Sys_Clock::SetSourceForTest(nullptr);
}

TEST_F(Mlox_PersistentOutputTest, AnOutputOutlivesTenPassesWhileAWriterIsInsideAndGoesWithinTwoOnceItLeaves) {
  ExpectThatAHeldWriterKeepsTheOutput([](Mlox_PersistentOutput& ioReference) {
    ioReference.WriteEvent(Mdie_Timestamp(), Mdie_Event(), Mlox_OutputContextRef());
  });
}

TEST_F(Mlox_PersistentOutputTest, AWriterOfLimitedSysexKeepsTheOutputToo) {
  ExpectThatAHeldWriterKeepsTheOutput([](Mlox_PersistentOutput& ioReference) {
    const unsigned char bytes[] = {0xF0, 0xF7};
    ioReference.WriteLimitedSysex(bytes, 2, Mlox_OutputContextRef());
  });
}

TEST_F(Mlox_PersistentOutputTest, AWriterOfRawMIDIKeepsTheOutputToo) {
  ExpectThatAHeldWriterKeepsTheOutput([](Mlox_PersistentOutput& ioReference) {
    const unsigned char bytes[] = {0xFE};
    ioReference.WriteRawMIDI(bytes, 1, Mlox_OutputContextRef());
  });
}

// 0 if a reference keeps an output that no search would find.
int QueryBeforeAnyChange() {
  const Mlox_PersistentOutput reference(new Test_FakeOutput(nullptr, Test_MakeDescriptor("Piano", 1), 0));
  return reference.IsOnline() ? 0 : 1;
}

// The registry is made once in a process, and every fixture here has marked it.
TEST(Mlox_PersistentOutputDeathTest, TheFirstQueryOfAProcessSearchesNothingWithoutAChange) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(QueryBeforeAnyChange()), ::testing::ExitedWithCode(0), "");
}

TEST_F(Mlox_PersistentOutputTest, TheRegistryIsOneAndListens) {
  Mlox_PersistentOutputRegistry& registry = Mlox_PersistentOutputRegistry::Singleton();
  EXPECT_EQ(&Mlox_PersistentOutputRegistry::Singleton(), &registry);
  EXPECT_NE(registry.GetListPtr(), nullptr);
}

}  // namespace
