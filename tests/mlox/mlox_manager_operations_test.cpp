// SPDX-License-Identifier: MIT
// The operations of the manager that reach through the service table into devices, inputs and events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "mlox/mlox_genericdevdescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/delayed_deletions.h"
#include "tests/support/fake_service.h"
#include "tests/support/manager_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Mlox_Manager::EAvailableServices Mask(int iBits) {
  return static_cast<Mlox_Manager::EAvailableServices>(iBits);
}

class Mlox_ManagerOperationsTest : public Test_ManagerFixture {
 protected:
  Test_FakeService* AddNewService(const std::string& iName, int iMask = 16) {
    auto* serviceP = new Test_FakeService(iName, &mLog);
    Manager().AddService(serviceP, iMask);
    mLog.clear();
    return serviceP;
  }
};

// ---- without services ----

TEST_F(Mlox_ManagerOperationsTest, WithNoServiceAllFindsReturnNullAndNoInputIsASource) {
  const Test_AssertRecorder recorder;
  const auto device = Test_MakeDescriptor("Piano", 1);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(device.get()), nullptr);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 1, -1).get()),
            nullptr);
  EXPECT_FALSE(Manager().FindInputBestMatchingDescriptor(device));
  EXPECT_FALSE(Manager().IsPlugInSource(Mlox_InputID(1, 1)));
  EXPECT_FALSE(Manager().IsIACSource(Mlox_InputID(1, 1)));
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_ManagerOperationsTest, WithNoServiceNothingElseHappens) {
  const Test_AssertRecorder recorder;
  const Mlox_InputRef input(new Test_FakeInput("Keys"));
  Manager().Suspend(Mask(-1));
  Manager().Resume(Mask(-1));
  Manager().StopServicesPlayback();
  Manager().QuickAllNotesOff();
  Manager().DoneUpdatingOldDeviceReferences();
  Manager().BlockInput(*input, true);
  EXPECT_EQ(recorder.Count(), 0);
}

// ---- devices ----

TEST_F(Mlox_ManagerOperationsTest, AnExactDeviceBeatsOneOfTheSameNameInAnEarlierService) {
  AddNewService("a")->AddDevice("Piano", 1);
  Test_FakeDevice& exact = AddNewService("b")->AddDevice("Piano", 2);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(Test_MakeDescriptor("Piano", 2).get()), &exact);
  EXPECT_THAT(mLog, ElementsAre("a FindOutputDeviceExactlyMatchingDescriptor",
                                "b FindOutputDeviceExactlyMatchingDescriptor"));
}

TEST_F(Mlox_ManagerOperationsTest, ANameMatchBeatsAMatchOnEverythingButTheName) {
  AddNewService("a")->AddDevice("Organ", 2);
  Test_FakeDevice& named = AddNewService("b")->AddDevice("Piano", 1);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(Test_MakeDescriptor("Piano", 2).get()), &named);
}

TEST_F(Mlox_ManagerOperationsTest, ADeviceWithANewNameIsFoundByEverythingElse) {
  Test_FakeDevice& renamed = AddNewService("a")->AddDevice("Grand Piano", 2);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(Test_MakeDescriptor("Piano", 2).get()),
            &renamed);
  EXPECT_THAT(mLog,
              ElementsAre("a FindOutputDeviceExactlyMatchingDescriptor", "a FindOutputDeviceMatchingName",
                          "a FindOutputDeviceMatchingDescriptorExceptForName"));
}

TEST_F(Mlox_ManagerOperationsTest, OfTwoDevicesByNameTheLowerServiceWinsThenTheLowerIndex) {
  Test_FakeService* firstP = AddNewService("a");
  firstP->AddDevice("Organ", 1);
  Test_FakeDevice& lower = firstP->AddDevice("Piano", 2);
  firstP->AddDevice("Piano", 3);
  AddNewService("b")->AddDevice("Piano", 4);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(Test_MakeDescriptor("Piano", 99).get()), &lower);
}

TEST_F(Mlox_ManagerOperationsTest, ADescriptorOfNoServicesKindFindsByName) {
  Test_FakeDevice& named = AddNewService("a")->AddDevice("Piano", 1);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(Mlox_GenericDevDescriptor::New("Piano").get()),
            &named);
}

TEST_F(Mlox_ManagerOperationsTest, ADeviceDescriptorThatWantsAnExactMatchNeverFallsBack) {
  Test_FakeService* serviceP = AddNewService("a");
  serviceP->AddDevice("Piano", 1);
  serviceP->AddDevice("Organ", 2);
  const auto exactOnly = Test_MakeDescriptor("Piano", 2, 1);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(exactOnly.get()), nullptr);
  EXPECT_THAT(mLog, ElementsAre("a FindOutputDeviceExactlyMatchingDescriptor"));
  Test_FakeDevice& exact = serviceP->AddDevice("Piano", 2);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(exactOnly.get()), &exact);
}

TEST_F(Mlox_ManagerOperationsTest, AnUnknownMatchTypeOfADeviceIsReportedAndFallsBack) {
  Test_FakeDevice& named = AddNewService("a")->AddDevice("Piano", 1);
  for (const int matchType : {2, -1, 100}) {
    const Test_AssertRecorder recorder;
    const auto descriptor = Test_MakeDescriptor("Piano", 7, matchType);
    EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(descriptor.get()), &named) << matchType;
    EXPECT_THAT(recorder.Texts(), ElementsAre("0"));
    EXPECT_FALSE(recorder.Reports()[0].mThrowing);
    EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_manager");
  }
}

TEST_F(Mlox_ManagerOperationsTest, TheMatchTypeIsAskedOnlyWhenNothingMatchesExactly) {
  Test_FakeDevice& exact = AddNewService("a")->AddDevice("Piano", 7);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(Test_MakeDescriptor("Piano", 7, 2).get()),
            &exact);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, -1, 2).get()),
            exact.mCommonOutput.get());
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_ManagerOperationsTest, ANullDeviceDescriptorFindsNothing) {
  AddNewService("a")->AddDevice("", 0);
  EXPECT_EQ(Manager().FindOutputDeviceBestMatchingDescriptor(nullptr), nullptr);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(nullptr), nullptr);
  const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> deviceless(new Mlox_OutputDescriptor(nullptr, 0));
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(deviceless.get()), nullptr);
}

// ---- outputs ----

TEST_F(Mlox_ManagerOperationsTest, AnExactOutputIsTheChannelOfTheExactDevice) {
  AddNewService("a")->AddDevice("Piano", 1);
  Test_FakeDevice& exact = AddNewService("b")->AddDevice("Piano", 2);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 2, 9).get()),
            exact.mChannelOutputs[9].get());
  EXPECT_THAT(mLog,
              ElementsAre("a FindOutputExactlyMatchingDescriptor", "b FindOutputExactlyMatchingDescriptor"));
}

TEST_F(Mlox_ManagerOperationsTest, ByNameChannelMinus1GivesTheCommonOutput) {
  Test_FakeDevice& named = AddNewService("a")->AddDevice("Piano", 1);
  named.mChannelMask = 0;
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, -1).get()),
            named.mCommonOutput.get());
}

TEST_F(Mlox_ManagerOperationsTest,
       ByNameADeviceWithoutTheOutputGivesNothingAndTheSearchGoesOnWithoutTheName) {
  Test_FakeDevice& named = AddNewService("a")->AddDevice("Piano", 1);
  named.mCommonOutput = nullptr;
  named.mChannelOutputs[3] = nullptr;
  Test_FakeDevice& sameId = AddNewService("b")->AddDevice("Organ", 7);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, -1).get()),
            sameId.mCommonOutput.get());
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, 3).get()),
            sameId.mChannelOutputs[3].get());
}

TEST_F(Mlox_ManagerOperationsTest, ByNameAnAvailableChannelGivesItsOutput) {
  Test_FakeDevice& named = AddNewService("a")->AddDevice("Piano", 1);
  named.mChannelMask = 0x0008;
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, 3).get()),
            named.mChannelOutputs[3].get());
}

TEST_F(Mlox_ManagerOperationsTest, ByNameAnUnavailableChannelGivesNothingAndTheSearchGoesOnWithoutTheName) {
  Test_FakeService* firstP = AddNewService("a");
  firstP->AddDevice("Piano", 1).mChannelMask = 0x0001;
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, 3).get()),
            nullptr);
  Test_FakeDevice& sameId = AddNewService("b")->AddDevice("Organ", 7);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, 3).get()),
            sameId.mChannelOutputs[3].get());
}

// Only the first device of the name counts, even if a later one has the channel.
TEST_F(Mlox_ManagerOperationsTest, ByNameOnlyTheFirstDeviceOfTheNameIsAsked) {
  AddNewService("a")->AddDevice("Piano", 1).mChannelMask = 0x0001;
  AddNewService("b")->AddDevice("Piano", 2);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, 3).get()),
            nullptr);
}

TEST_F(Mlox_ManagerOperationsTest, AnOutputNameMatchBeatsAMatchOnEverythingButTheName) {
  AddNewService("a")->AddDevice("Organ", 2);
  Test_FakeDevice& named = AddNewService("b")->AddDevice("Piano", 1);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 2, 0).get()),
            named.mChannelOutputs[0].get());
}

TEST_F(Mlox_ManagerOperationsTest, AnOutputDescriptorThatWantsAnExactMatchNeverFallsBackToTheName) {
  Test_FakeService* serviceP = AddNewService("a");
  serviceP->AddDevice("Piano", 1);
  serviceP->AddDevice("Organ", 2);
  const auto exactOnly = Test_MakeOutputDescriptor("Piano", 2, -1, 1);
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(exactOnly.get()), nullptr);
  EXPECT_THAT(mLog, ElementsAre("a FindOutputExactlyMatchingDescriptor"));
}

TEST_F(Mlox_ManagerOperationsTest, AnUnknownMatchTypeOfAnOutputIsReportedAndFallsBack) {
  Test_FakeDevice& named = AddNewService("a")->AddDevice("Piano", 1);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(Test_MakeOutputDescriptor("Piano", 7, -1, 2).get()),
            named.mCommonOutput.get());
  EXPECT_THAT(recorder.Texts(), ElementsAre("0"));
}

// The match type is asked behind the exact search, in which the only holder may let go.
TEST_F(Mlox_ManagerOperationsTest, TheIdentityOfADeviceThatIsLetGoInTheExactSearchLivesUntilTheSearchEnds) {
  class EndingDescriptor : public Test_FakeDescriptor {
   public:
    explicit EndingDescriptor(bool* oHasEndedP)
        : Test_FakeDescriptor("Piano", 7, 1), mHasEndedP(oHasEndedP) {}
    ~EndingDescriptor() override { *mHasEndedP = true; }

   private:
    bool* mHasEndedP;
  };
  class InterruptedService : public Test_FakeService {
   public:
    using Test_FakeService::Test_FakeService;
    Mlox_Output* FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor*) override {
      return mInterrupt();
    }
    std::function<Mlox_Output*()> mInterrupt;
  };
  bool hasEnded = false, hadEndedInTheSearch = false;
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> holder(
      new Mlox_OutputDescriptor(std::make_shared<EndingDescriptor>(&hasEnded), -1));
  auto* serviceP = new InterruptedService("a", &mLog);
  Manager().AddService(serviceP, 16);
  Test_FakeDevice& device = serviceP->AddDevice("Piano", 1);
  mLog.clear();
  serviceP->mInterrupt = [&]() -> Mlox_Output* {
    holder = nullptr;
    hadEndedInTheSearch = hasEnded;
    // A search that has lost its identity ends here, with what the test doesn't expect.
    return hasEnded ? device.mCommonOutput.get() : nullptr;
  };
  EXPECT_EQ(Manager().FindOutputBestMatchingDescriptor(holder.get()), nullptr);
  EXPECT_FALSE(hadEndedInTheSearch);
  EXPECT_TRUE(hasEnded) << "the search has kept no count";
  EXPECT_THAT(mLog, IsEmpty()) << "it wanted an exact match";
}

// ---- inputs ----

TEST_F(Mlox_ManagerOperationsTest, InputsMatchExactlyThenByNameThenByEverythingButTheName) {
  Test_FakeService* firstP = AddNewService("a");
  Test_FakeService* secondP = AddNewService("b");
  firstP->AddInput("Pads", 2);
  EXPECT_EQ(Manager().FindInputBestMatchingDescriptor(Test_MakeDescriptor("Keys", 2))->GetName(), "Pads");
  EXPECT_THAT(mLog, ElementsAre("a FindInputExactlyMatchingDescriptor",
                                "b FindInputExactlyMatchingDescriptor", "a FindInputMatchingName",
                                "b FindInputMatchingName", "a FindInputMatchingDescriptorExceptForName"));
  const auto named = secondP->AddInput("Keys", 1);
  EXPECT_EQ(Manager().FindInputBestMatchingDescriptor(Test_MakeDescriptor("Keys", 2)).get(), named.get());
  const auto exact = secondP->AddInput("Keys", 2);
  EXPECT_EQ(Manager().FindInputBestMatchingDescriptor(Test_MakeDescriptor("Keys", 2)).get(), exact.get());
}

// Kept: the output side asks GetMatchType, the input side doesn't.
TEST_F(Mlox_ManagerOperationsTest, InputsAlwaysFallBackWhateverTheMatchTypeSays) {
  const auto named = AddNewService("a")->AddInput("Keys", 1);
  const Test_AssertRecorder recorder;
  for (const int matchType : {0, 1, 2}) {
    EXPECT_EQ(Manager().FindInputBestMatchingDescriptor(Test_MakeDescriptor("Keys", 7, matchType)).get(),
              named.get())
        << matchType;
  }
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_ManagerOperationsTest, ANullInputDescriptorIsReportedAndFindsNothing) {
  AddNewService("a")->AddInput("", 0);
  const Test_AssertRecorder recorder;
  EXPECT_FALSE(Manager().FindInputBestMatchingDescriptor(nullptr));
  EXPECT_THAT(recorder.Texts(), ElementsAre("iDescriptorP.get() != nullptr"));
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

// ---- classification ----

TEST_F(Mlox_ManagerOperationsTest, IsPlugInSourceStopsAtTheFirstServiceThatSaysTrue) {
  Test_FakeService* firstP = AddNewService("a");
  Test_FakeService* secondP = AddNewService("b");
  Test_FakeService* thirdP = AddNewService("c");
  secondP->mPlugInSource = Mlox_InputID(2, 5);
  EXPECT_TRUE(Manager().IsPlugInSource(Mlox_InputID(2, 5)));
  EXPECT_EQ(firstP->mPlugInQuestions, 1);
  EXPECT_EQ(secondP->mPlugInQuestions, 1);
  EXPECT_EQ(thirdP->mPlugInQuestions, 0);
  EXPECT_FALSE(Manager().IsPlugInSource(Mlox_InputID(2, 6)));
  EXPECT_EQ(thirdP->mPlugInQuestions, 1);
}

TEST_F(Mlox_ManagerOperationsTest, IsIACSourceComparesBothNumbersWithTheSetAndIsFalseWithoutOne) {
  EXPECT_FALSE(Manager().IsIACSource(Mlox_InputID(1, 2)));
  Test_ManagerAccess::SetIACSources({});
  EXPECT_FALSE(Manager().IsIACSource(Mlox_InputID(1, 2)));
  Test_ManagerAccess::SetIACSources({Mlox_InputID(1, 2), Mlox_InputID(3, 4)});
  EXPECT_TRUE(Manager().IsIACSource(Mlox_InputID(1, 2)));
  EXPECT_TRUE(Manager().IsIACSource(Mlox_InputID(3, 4)));
  EXPECT_FALSE(Manager().IsIACSource(Mlox_InputID(1, 4)));
  EXPECT_FALSE(Manager().IsIACSource(Mlox_InputID(3, 2)));
}

// Settled: on this platform no input is ever such a source.
TEST_F(Mlox_ManagerOperationsTest, UpdateIACSourcesNeverMakesASource) {
  AddNewService("a")->AddInput("IAC Bus 1", 2);
  Test_ManagerAccess::UpdateIACSources();
  EXPECT_FALSE(Manager().IsIACSource(Mlox_InputID(1, 2)));
}

// ---- services ----

TEST_F(Mlox_ManagerOperationsTest, Suspend0TouchesNothing) {
  AddNewService("a", 8);
  AddNewService("b", -1);
  Manager().Suspend(Mask(0));
  Manager().Resume(Mask(0));
  EXPECT_THAT(mLog, IsEmpty());
}

TEST_F(Mlox_ManagerOperationsTest, SuspendAndResumeSelectEveryServiceThatSharesABit) {
  Test_FakeService* firstP = AddNewService("a", 8 | 32);
  Test_FakeService* secondP = AddNewService("b", 64);
  Test_FakeService* thirdP = AddNewService("c", 8);
  Manager().Suspend(Mlox_Manager::kDirectMusicService);
  EXPECT_THAT(mLog, ElementsAre("a Suspend", "c Suspend"));
  EXPECT_TRUE(firstP->IsSuspended());
  EXPECT_FALSE(secondP->IsSuspended());
  EXPECT_TRUE(thirdP->IsSuspended());
  mLog.clear();
  Manager().Resume(Mask(32 | 64));
  EXPECT_THAT(mLog, ElementsAre("a Resume", "b Resume"));
  EXPECT_FALSE(firstP->IsSuspended());
  EXPECT_TRUE(thirdP->IsSuspended());
}

TEST_F(Mlox_ManagerOperationsTest, SuspendAndResumeReachAServiceWhateverItsStateIs) {
  AddNewService("a", 8);
  Manager().Resume(Mlox_Manager::kDirectMusicService);
  Manager().Suspend(Mlox_Manager::kDirectMusicService);
  Manager().Suspend(Mlox_Manager::kDirectMusicService);
  EXPECT_THAT(mLog, ElementsAre("a Resume", "a Suspend", "a Suspend"));
}

TEST_F(Mlox_ManagerOperationsTest, TheHardwareServicesBitIs8) {
  EXPECT_EQ(static_cast<int>(Mlox_Manager::kDirectMusicService), 8);
}

TEST_F(Mlox_ManagerOperationsTest, StopServicesPlaybackStopsServicesInTableOrderAndNeedsNoCallback) {
  AddNewService("a");
  AddNewService("b");
  const Test_AssertRecorder recorder;
  Manager().StopServicesPlayback();
  EXPECT_THAT(mLog, ElementsAre("a StopPlayback", "b StopPlayback"));
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_ManagerOperationsTest, StopPlaybackStopsServicesAndThenTheApplication) {
  class LoggingCallback : public Test_FakeAppCallback {
   public:
    explicit LoggingCallback(Test_CallLog* iLogP) : mLogP(iLogP) {}
    void StopPlayback() override { mLogP->push_back("application StopPlayback"); }

   private:
    Test_CallLog* mLogP;
  };
  LoggingCallback appCallback(&mLog);
  AddNewService("a");
  AddNewService("b");
  Test_ManagerAccess::SetAppCallback(&appCallback);
  Manager().StopPlayback();
  EXPECT_THAT(mLog, ElementsAre("a StopPlayback", "b StopPlayback", "application StopPlayback"));
}

TEST_F(Mlox_ManagerOperationsTest, StopPlaybackWithoutACallbackReportsAndReturnsAfterTheServices) {
  AddNewService("a");
  const Test_AssertRecorder recorder;
  Manager().StopPlayback();
  EXPECT_THAT(mLog, ElementsAre("a StopPlayback"));
  EXPECT_EQ(recorder.Count("mAppCallbackP != nullptr"), 1);
}

TEST_F(Mlox_ManagerOperationsTest, DoneUpdatingOldDeviceReferencesTellsEveryServiceInTableOrder) {
  AddNewService("a");
  AddNewService("b");
  Manager().DoneUpdatingOldDeviceReferences();
  EXPECT_THAT(mLog, ElementsAre("a DoneUpdatingOldDeviceReferences", "b DoneUpdatingOldDeviceReferences"));
}

TEST_F(Mlox_ManagerOperationsTest, BlockInputVisitsEveryServiceOfEveryPort) {
  Test_FakeService* firstP = AddNewService("a");
  AddNewService("b");
  const Mlox_InputRef input(new Test_FakeInput("Keys"));
  Manager().BlockInput(*input, true);
  EXPECT_THAT(mLog, IsEmpty());
  const std::unique_ptr<Mlox_InputPort> first(Manager().CreateInputPort(nullptr));
  const std::unique_ptr<Mlox_InputPort> second(Manager().CreateInputPort(nullptr));
  mLog.clear();
  Manager().BlockInput(*input, true);
  EXPECT_THAT(mLog, ElementsAre("a InputPortBlockInput Keys true", "b InputPortBlockInput Keys true",
                                "a InputPortBlockInput Keys true", "b InputPortBlockInput Keys true"));
  EXPECT_EQ(firstP->mLastPortP, second.get());
  mLog.clear();
  Manager().BlockInput(*input, false);
  EXPECT_EQ(mLog.front(), "a InputPortBlockInput Keys false");
}

TEST_F(Mlox_ManagerOperationsTest, RecordCorrectionIsKeptForTheApplication) {
  EXPECT_EQ(Manager().GetGlobalTimeStampedRecordCorrection().AsInt64(), 0);
  Manager().SetGlobalTimeStampedRecordCorrection(Time_SampleLength(-5000000000));
  EXPECT_EQ(Manager().GetGlobalTimeStampedRecordCorrection().AsInt64(), -5000000000);
  Manager().SetGlobalTimeStampedRecordCorrection(Time_SampleLength(0));
}

// ---- QuickAllNotesOff ----

TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffWritesToTheCommonOutputAndThenToEachAvailableChannel) {
  Test_FakeService* firstP = AddNewService("a");
  firstP->AddDevice("Piano").mChannelMask = 0x8005;
  firstP->AddDevice("Organ").mChannelMask = 0;
  AddNewService("b")->AddDevice("Bass").mChannelMask = 0x0002;
  Manager().ServiceOutputListChanged(firstP, true);
  Manager().QuickAllNotesOff();
  EXPECT_THAT(mLog, ElementsAre("Piano:-1 WriteEvent", "Piano:0 WriteEvent", "Piano:2 WriteEvent",
                                "Piano:15 WriteEvent", "Organ:-1 WriteEvent", "Bass:-1 WriteEvent",
                                "Bass:1 WriteEvent"));
}

// Kept: the default context and not the immediate one.
TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffWritesImmediateAllNotesOffEventsOnTheDefaultContext) {
  Test_FakeService* serviceP = AddNewService("a");
  Test_FakeDevice& device = serviceP->AddDevice("Piano");
  Manager().ServiceOutputListChanged(serviceP, true);
  Manager().QuickAllNotesOff();
  ASSERT_EQ(device.mCommonOutput->mWrites.size(), 1u);
  ASSERT_EQ(device.mChannelOutputs[7]->mWrites.size(), 1u);
  for (const auto& write : {device.mCommonOutput->mWrites[0], device.mChannelOutputs[7]->mWrites[0]}) {
    EXPECT_TRUE(write.mTimestamp.IsImmediate());
    EXPECT_EQ(write.mEvent.GetType(), Mdie_Event::kAllNotesOff);
    EXPECT_TRUE(write.mContext == Manager().GetDefaultOutputContext());
    EXPECT_FALSE(write.mContext == Manager().GetImmediateOutputContext());
  }
}

TEST_F(Mlox_ManagerOperationsTest,
       QuickAllNotesOffWritesNothingToADeviceWithoutACommonOutputNotEvenToItsChannels) {
  Test_FakeService* serviceP = AddNewService("a");
  serviceP->AddDevice("Piano").mCommonOutput = nullptr;
  serviceP->AddDevice("Organ").mChannelMask = 0;
  Manager().ServiceOutputListChanged(serviceP, true);
  Manager().QuickAllNotesOff();
  EXPECT_THAT(mLog, ElementsAre("Organ:-1 WriteEvent"));
}

TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffSkipsAnAvailableChannelWithoutAnOutput) {
  Test_FakeService* serviceP = AddNewService("a");
  Test_FakeDevice& device = serviceP->AddDevice("Piano");
  device.mChannelMask = 0x0003;
  device.mChannelOutputs[0] = nullptr;
  Manager().ServiceOutputListChanged(serviceP, true);
  Manager().QuickAllNotesOff();
  EXPECT_THAT(mLog, ElementsAre("Piano:-1 WriteEvent", "Piano:1 WriteEvent"));
}

TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffCountsFirstIfTheIndicesAreDirty) {
  Test_FakeService* serviceP = AddNewService("a");
  serviceP->AddDevice("Piano").mChannelMask = 0;
  const Test_AssertRecorder recorder;
  Manager().QuickAllNotesOff();
  EXPECT_THAT(mLog, ElementsAre("Piano:-1 WriteEvent"));
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffCountsNothingIfTheIndicesAreClean) {
  Test_FakeService* serviceP = AddNewService("a");
  serviceP->AddDevice("Piano").mChannelMask = 0;
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 1);
  serviceP->AddDevice("Organ").mChannelMask = 0;
  const int countsBefore = serviceP->mCounts;
  Manager().QuickAllNotesOff();
  EXPECT_EQ(serviceP->mCounts, countsBefore);
  EXPECT_THAT(mLog, ElementsAre("Piano:-1 WriteEvent"));
}

// A channel may share the common output; it is written to for each of its places.
TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffWritesToAnOutputOnceForEachOfItsPlaces) {
  Test_FakeService* serviceP = AddNewService("a");
  Test_FakeDevice& device = serviceP->AddDevice("Piano");
  device.mChannelMask = 0x0003;
  device.mChannelOutputs[0] = device.mCommonOutput;
  device.mChannelOutputs[1] = device.mCommonOutput;
  Manager().QuickAllNotesOff();
  EXPECT_EQ(device.mCommonOutput->mWrites.size(), 3u);
}

TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffReachesSuspendedServicesToo) {
  AddNewService("a", 8)->AddDevice("Piano").mChannelMask = 0;
  Manager().Suspend(Mlox_Manager::kDirectMusicService);
  mLog.clear();
  Manager().QuickAllNotesOff();
  EXPECT_THAT(mLog, ElementsAre("Piano:-1 WriteEvent"));
}

TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffSkipsAnIndexWithoutADevice) {
  class HollowService : public Test_FakeService {
   public:
    explicit HollowService(Test_CallLog* iLogP) : Test_FakeService("a", iLogP) {}
    int GetNumberOfOutputDevices() override { return 3; }
  };
  auto* serviceP = new HollowService(&mLog);
  serviceP->AddDevice("Piano").mChannelMask = 0;
  Manager().AddService(serviceP, 16);
  mLog.clear();
  Manager().QuickAllNotesOff();
  EXPECT_THAT(mLog, ElementsAre("Piano:-1 WriteEvent"));
}

// A write can end in a plug-in that takes its node away.
class CallingOutput : public Test_FakeOutput {
 public:
  using Test_FakeOutput::Test_FakeOutput;
  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                  Mlox_OutputContextRef iContext) override {
    Test_FakeOutput::WriteEvent(iTimestamp, iEvent, iContext);
    mOnWrite();
  }
  std::function<void()> mOnWrite;
};

// The next device must not be skipped for it.
TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffReachesEveryDeviceAlsoWhenAWriteTakesItsOwnAway) {
  Test_FakeService* serviceP = AddNewService("a");
  Test_FakeDevice& leaving = serviceP->AddDevice("Piano");
  leaving.mChannelMask = 0x0001;
  serviceP->AddDevice("Organ").mChannelMask = 0;
  auto* outputP = new CallingOutput(&leaving, leaving.mDescriptorP, -1);
  outputP->mOnWrite = [&] {
    serviceP->mDevices.erase(serviceP->mDevices.begin());
    Manager().ServiceOutputListChanged(serviceP, true);
  };
  leaving.mCommonOutput = outputP;
  Manager().ServiceOutputListChanged(serviceP, true);
  Manager().QuickAllNotesOff();
  EXPECT_THAT(mLog, ElementsAre("Piano:0 WriteEvent", "Organ:-1 WriteEvent"));
}

TEST_F(Mlox_ManagerOperationsTest, QuickAllNotesOffKeepsTheOutputsOfADeviceThatGoesMeanwhile) {
  Test_FakeService* serviceP = AddNewService("a");
  Test_FakeDevice& piano = serviceP->AddDevice("Piano");
  piano.mChannelMask = 0;
  Test_FakeDevice& organ = serviceP->AddDevice("Organ");
  organ.mChannelMask = 0;
  organ.mCommonOutput->mDeletionLogP = &mLog;
  auto* outputP = new CallingOutput(&piano, piano.mDescriptorP, -1);
  outputP->mOnWrite = [&] {
    serviceP->mDevices.pop_back();
    const Test_FakeTime time(Sys_Clock::Microseconds() + 2 * Sys_DelayedDeletion::kMinimumAge);
    for (int pass = 0; pass < 2; ++pass) Sys_DelayedDeletion::RunPass();
  };
  piano.mCommonOutput = outputP;
  Manager().QuickAllNotesOff();
  Test_RunDelayedDeletions();
  EXPECT_THAT(mLog, ElementsAre("Organ:-1 WriteEvent", "Organ:-1 deleted"));
}

}  // namespace
