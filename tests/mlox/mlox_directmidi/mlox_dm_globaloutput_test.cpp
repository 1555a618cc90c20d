// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_globaloutput.h"

#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmidi/mlox_datasource.h"
#include "tests/mlox/mlox_directmidi/call_on_report.h"
#include "tests/mlox/mlox_directmidi/trace_site.h"
#include "tests/support/assert_mode.h"
#include "tests/support/delayed_deletions.h"
#include "tests/support/dm_fixture.h"

namespace {

/// A source of the application's that keeps references to the outputs it writes to.
class Source : public Mlox_DataSource {
 public:
  void Connect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutput) override {
    mOutputs.push_back(iOutput);
    ++mConnects;
  }
  void Disconnect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutput) override {
    std::erase(mOutputs, iOutput);
    ++mDisconnects;
    if (mOrderP != nullptr) mOrderP->push_back(this);
  }
  virtual ~Source() = default;

  std::vector<Cmn_AliasedRefCountPtr<Mlox_BasicOutput>> mOutputs;
  int mConnects = 0;
  int mDisconnects = 0;
  std::vector<Source*>* mOrderP = nullptr;  // where disconnections are noted, if anywhere
};

/// A source that asks an output for what it is being asked for, once on each way.
class AskingSource : public Source {
 public:
  using Ask = void (IDirectMIDIGlobalOutput::*)(bool);
  AskingSource(IDirectMIDIGlobalOutput* iOutputP, Ask iAsk) : mOutputP(iOutputP), mAsk(iAsk) {}
  void Connect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutput) override {
    Source::Connect(iOutput);
    if (mConnects == 1) (mOutputP->*mAsk)(true);
  }
  void Disconnect(const Cmn_AliasedRefCountPtr<Mlox_BasicOutput>& iOutput) override {
    Source::Disconnect(iOutput);
    if (mDisconnects == 1) (mOutputP->*mAsk)(false);
  }

 private:
  IDirectMIDIGlobalOutput* mOutputP;
  Ask mAsk;
};

/// Moves the clock beyond the age at which retired objects may go, and runs the pass.
void RunPassLater() {
  static int64_t sNow;
  sNow = Sys_Clock::Microseconds() + 2 * Sys_DelayedDeletion::kMinimumAge;
  Sys_Clock::SetSourceForTest([] { return sNow; });
  Sys_DelayedDeletion::RunPass();
  Sys_Clock::SetSourceForTest(nullptr);
}

class Mlox_DM_GlobalOutputTest : public Test_DM_Fixture {
 protected:
  Mlox_DM_GlobalOutputTest() : mInterfaceP(NewGlobalOutput()), mOutputP(AsOutput(mInterfaceP)) {
    RunPassLater();  // what tests before this one have left
    mServiceP->SetClickSource(&mClick);
    mServiceP->SetMidiBeatClockSource(&mBeatClock);
    mServiceP->SetMTCSource(&mMTC);
  }

  static Mlox_DM_GlobalOutput* AsOutput(IDirectMIDIGlobalOutput* iInterfaceP) {
    return static_cast<Mlox_DM_GlobalOutput*>(iInterfaceP);
  }

  Source mClick;
  Source mBeatClock;
  Source mMTC;
  IDirectMIDIGlobalOutput* mInterfaceP;
  Mlox_DM_GlobalOutput* mOutputP;
};

// ---- connections ----

TEST_F(Mlox_DM_GlobalOutputTest, SetReceivesClickTrueTwiceConnectsOnce) {
  mInterfaceP->SetReceivesClick(true);
  mInterfaceP->SetReceivesClick(true);
  EXPECT_EQ(mClick.mConnects, 1);
  ASSERT_EQ(mClick.mOutputs.size(), 1u);
  EXPECT_EQ(mClick.mOutputs[0].get(), static_cast<Mlox_BasicOutput*>(mOutputP));
  EXPECT_EQ(mBeatClock.mConnects + mMTC.mConnects, 0);
}

TEST_F(Mlox_DM_GlobalOutputTest, SetReceivesClickFalseOnAFreshObjectDoesNothing) {
  mInterfaceP->SetReceivesClick(false);
  EXPECT_EQ(mClick.mConnects + mClick.mDisconnects, 0);
}

TEST_F(Mlox_DM_GlobalOutputTest, SetReceivesClickFalseDisconnectsOnce) {
  mInterfaceP->SetReceivesClick(true);
  mInterfaceP->SetReceivesClick(false);
  mInterfaceP->SetReceivesClick(false);
  EXPECT_EQ(mClick.mDisconnects, 1);
  EXPECT_TRUE(mClick.mOutputs.empty());
}

TEST_F(Mlox_DM_GlobalOutputTest, SetReceivesMidiBeatClockConnectsToItsOwnSource) {
  mInterfaceP->SetReceivesMidiBeatClock(true);
  mInterfaceP->SetReceivesMidiBeatClock(true);
  EXPECT_EQ(mBeatClock.mConnects, 1);
  EXPECT_EQ(mClick.mConnects + mMTC.mConnects, 0);
  mInterfaceP->SetReceivesMidiBeatClock(false);
  EXPECT_EQ(mBeatClock.mDisconnects, 1);
  EXPECT_EQ(mClick.mDisconnects + mMTC.mDisconnects, 0);
}

TEST_F(Mlox_DM_GlobalOutputTest, SetReceivesMTCConnectsToItsOwnSource) {
  mInterfaceP->SetReceivesMTC(true);
  mInterfaceP->SetReceivesMTC(true);
  EXPECT_EQ(mMTC.mConnects, 1);
  EXPECT_EQ(mClick.mConnects + mBeatClock.mConnects, 0);
  mInterfaceP->SetReceivesMTC(false);
  EXPECT_EQ(mMTC.mDisconnects, 1);
  EXPECT_EQ(mClick.mDisconnects + mBeatClock.mDisconnects, 0);
}

TEST_F(Mlox_DM_GlobalOutputTest, SetReceivesMTCWithoutASourceStoresTheFlagAndConnectsNothing) {
  mServiceP->SetMTCSource(nullptr);
  mInterfaceP->SetReceivesMTC(true);
  EXPECT_EQ(mMTC.mConnects, 0);
  mServiceP->SetMTCSource(&mMTC);
  mInterfaceP->SetReceivesMTC(true);
  EXPECT_EQ(mMTC.mConnects, 0) << "the flag was stored, so nothing has changed";
  mInterfaceP->SetReceivesMTC(false);
  EXPECT_EQ(mMTC.mDisconnects, 1);
}

TEST_F(Mlox_DM_GlobalOutputTest, EachFlagIsStoredBeforeTheSourceIsAsked) {
  using Output = IDirectMIDIGlobalOutput;
  AskingSource click(mInterfaceP, &Output::SetReceivesClick);
  AskingSource beatClock(mInterfaceP, &Output::SetReceivesMidiBeatClock);
  AskingSource mtc(mInterfaceP, &Output::SetReceivesMTC);
  mServiceP->SetClickSource(&click);
  mServiceP->SetMidiBeatClockSource(&beatClock);
  mServiceP->SetMTCSource(&mtc);
  for (const bool receives : {true, false}) {
    mInterfaceP->SetReceivesClick(receives);
    mInterfaceP->SetReceivesMidiBeatClock(receives);
    mInterfaceP->SetReceivesMTC(receives);
  }
  // A source that asks again from inside finds the flag as it is to be: nothing changes.
  EXPECT_EQ(click.mConnects, 1);
  EXPECT_EQ(click.mDisconnects, 1);
  EXPECT_EQ(beatClock.mConnects, 1);
  EXPECT_EQ(beatClock.mDisconnects, 1);
  EXPECT_EQ(mtc.mConnects, 1);
  EXPECT_EQ(mtc.mDisconnects, 1);
}

// ---- inquiries ----

TEST_F(Mlox_DM_GlobalOutputTest, GetTimestampedPreSendSamplesIsTheAdvanceScheduleRequirement) {
  EXPECT_EQ(mOutputP->GetTimestampedPreSendSamples(48000.0), 0);
  mOutputP->SetAdvanceScheduleRequirement(128);
  EXPECT_EQ(mOutputP->GetTimestampedPreSendSamples(48000.0), 128);
  EXPECT_EQ(mOutputP->GetTimestampedPreSendSamples(96000.0), 128);
}

TEST_F(Mlox_DM_GlobalOutputTest, GetZeroJitterDelayIsAlwaysZeroWhateverSetZeroJitterDelayWasTold) {
  mOutputP->SetZeroJitterDelay(99);
  Mlox_BasicOutput* outputP = mOutputP;
  EXPECT_EQ(outputP->GetZeroJitterDelay(48000.0).AsInt64(), 0);
}

TEST_F(Mlox_DM_GlobalOutputTest, IsTimestampedWithARequirementAboveZero) {
  EXPECT_FALSE(mOutputP->IsTimestamped());
  mOutputP->SetAdvanceScheduleRequirement(1);
  EXPECT_TRUE(mOutputP->IsTimestamped());
  mOutputP->SetAdvanceScheduleRequirement(-1);
  EXPECT_FALSE(mOutputP->IsTimestamped());
}

// ---- writes ----

TEST_F(Mlox_DM_GlobalOutputTest, ASourcesWriteWithoutADeliveryDoesNothing) {
  Test_AssertRecorder recorder;
  mInterfaceP->SetReceivesClick(true);
  WriteImmediateNote(*mClick.mOutputs[0], 60);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_GlobalOutputTest, WriteEventComesOutOnChannelZeroWhateverChannelWasWritten) {
  Test_DM_Client client;
  mOutputP->SetDirectDelivery(&client);
  const unsigned char bytes[] = {0x9A, 60, 100};
  mOutputP->WriteEvent(Mdie_Timestamp(), Mdie_SysexPacketEvent(3, bytes),
                       Manager().GetDefaultOutputContext());
  EXPECT_EQ(client.mMessages, (std::vector<Test_DM_Message>{{-1, {0x90, 60, 100}}}));
}

TEST_F(Mlox_DM_GlobalOutputTest, WriteEventLeavesSystemMessagesAsTheyAre) {
  Test_DM_Client client;
  mOutputP->SetDirectDelivery(&client);
  mOutputP->WriteEvent(Mdie_Timestamp(), Mdie_TimingClockEvent(), Manager().GetDefaultOutputContext());
  EXPECT_EQ(client.mMessages, (std::vector<Test_DM_Message>{{-1, {0xF8}}}));
}

TEST_F(Mlox_DM_GlobalOutputTest, WriteEventPassesTheTimestampOnToABufferedDelivery) {
  IDirectMIDIBufferedDelivery* deliveryP = mOutputP->SetBufferedDelivery();
  WriteNote(*mOutputP, 100, 60);
  EXPECT_TRUE(Test_DM_Pull(deliveryP, 0, 63).empty());
  EXPECT_EQ(Test_DM_Pull(deliveryP, 64, 127), (std::vector<Test_DM_Message>{{100, {0x90, 60, 100}}}));
  deliveryP->Release();
}

TEST_F(Mlox_DM_GlobalOutputTest, WriteEventPassesTheTimestampOnToADirectClient) {
  Test_DM_Client client;
  mOutputP->SetDirectDelivery(&client);
  WriteNote(*mOutputP, 100, 60);
  EXPECT_EQ(client.mMessages, (std::vector<Test_DM_Message>{{100, {0x90, 60, 100}}}));
}

TEST_F(Mlox_DM_GlobalOutputTest, WriteEventPassesTheContextOnAsTheReportOfABufferedDeliveryShows) {
  Test_AssertRecorder recorder;
  IDirectMIDIBufferedDelivery* deliveryP = mOutputP->SetBufferedDelivery();
  Test_IgnoringThrow([&] {
    mOutputP->WriteEvent(Mdie_Timestamp(Time_Sample(100)), Mdie_NoteOnEvent(60, 100),
                         Mlox_OutputContextRef());
  });
  EXPECT_EQ(recorder.Count("it != mOutputContexts.end()"), 1);
  deliveryP->Release();
}

TEST_F(Mlox_DM_GlobalOutputTest, WriteLimitedSysexReportsZeroAndWritesNothing) {
  Test_AssertRecorder recorder;
  Test_DM_Client client;
  mOutputP->SetDirectDelivery(&client);
  const unsigned char sysex[] = {0xF0, 1, 0xF7};
  mOutputP->WriteLimitedSysex(sysex, 3, Manager().GetDefaultOutputContext());
  ASSERT_EQ(recorder.Texts(), std::vector<std::string>{"0"});
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_globaloutput");
  EXPECT_TRUE(client.mMessages.empty());
}

TEST_F(Mlox_DM_GlobalOutputTest, WriteRawMIDIReportsZeroAndWritesNothing) {
  Test_AssertRecorder recorder;
  Test_DM_Client client;
  mOutputP->SetDirectDelivery(&client);
  const unsigned char bytes[] = {0xF8};
  mOutputP->WriteRawMIDI(bytes, 1, Manager().GetDefaultOutputContext());
  EXPECT_EQ(recorder.Texts(), std::vector<std::string>{"0"});
  EXPECT_TRUE(client.mMessages.empty());
}

TEST_F(Mlox_DM_GlobalOutputTest, AnOutputWhoseLastReferenceGoesInsideTheReportOfAWriteOutlivesTheWrite) {
  const auto writeRaw = [](Mlox_DM_GlobalOutput& ioOutput) {
    const unsigned char bytes[] = {0xF8};
    ioOutput.WriteRawMIDI(bytes, 1, Manager().GetDefaultOutputContext());
  };
  const auto writeSysex = [](Mlox_DM_GlobalOutput& ioOutput) {
    const unsigned char sysex[] = {0xF0, 1, 0xF7};
    ioOutput.WriteLimitedSysex(sysex, 3, Manager().GetDefaultOutputContext());
  };
  using Write = void (*)(Mlox_DM_GlobalOutput&);
  for (const Write write : {Write(writeRaw), Write(writeSysex)}) {
    Test_RunDelayedDeletions();
    const Test_FakeTime time(Sys_Clock::Microseconds());
    IDirectMIDIGlobalOutput* interfaceP = mServiceP->CreateGlobalOutput();
    const int32_t componentsBefore = CQCFUnknown::LiveCount();
    int32_t componentsInside = 0;
    const Test_CallOnReport callOnReport([&] {
      interfaceP->Release();
      Test_PendingAfterManyPasses();
      componentsInside = CQCFUnknown::LiveCount();
    });
    write(*AsOutput(interfaceP));
    EXPECT_EQ(componentsInside, componentsBefore);
    EXPECT_EQ(Test_PendingAfterManyPasses(), 0u);
    EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1);
  }
}

// The trace line of an allocation is written in the middle of a write: it stands for another thread there.
TEST_F(Mlox_DM_GlobalOutputTest, ADeliveryThatIsLetGoInTheMiddleOfAWriteOutlivesTheWrite) {
  Test_RunDelayedDeletions();
  const Test_FakeTime time(Sys_Clock::Microseconds());
  const uint64_t blocksBefore = Allocator().GetCounters().mBlocksInUse;
  const int32_t componentsBefore = CQCFUnknown::LiveCount();
  IDirectMIDIBufferedDelivery* deliveryP = mOutputP->SetBufferedDelivery();
  bool wasLetGo = false;
  {
    const Test_TraceSite trace(0x2000F27);
    Test_TraceSite::sOnLine = [&] {
      deliveryP->Release();
      Test_PendingAfterManyPasses();
      wasLetGo = true;
      EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore + 2) << "the delivery and its message";
    };
    WriteImmediateNote(*mOutputP, 60);
  }
  EXPECT_TRUE(wasLetGo);
  EXPECT_EQ(mOutputP->GetCurrentDelivery(), nullptr);
  EXPECT_EQ(Test_PendingAfterManyPasses(), 0u);
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore);
  EXPECT_EQ(Allocator().GetCounters().mBlocksInUse, blocksBefore) << "what the late writer left was freed";
}

// ---- interfaces ----

TEST_F(Mlox_DM_GlobalOutputTest, QueryInterfaceGivesTheDeliverySetup) {
  auto* setupP = Test_DM_Query<IDirectMIDIOutputDeliverySetup>(mInterfaceP);
  EXPECT_EQ(setupP, static_cast<IDirectMIDIOutputDeliverySetup*>(mOutputP));
  EXPECT_EQ(setupP->Release(), 1u);
}

TEST_F(Mlox_DM_GlobalOutputTest, QueryInterfaceGivesThePrimaryInterfaceForItsIdAndTheUnknown) {
  for (const _qcfUID& uid : {IDirectMIDIGlobalOutput::kUID, IQCFUnknown::kUID}) {
    void* resultP = nullptr;
    ASSERT_EQ(mInterfaceP->QueryInterface(uid, &resultP), 0);
    EXPECT_EQ(resultP, static_cast<void*>(mInterfaceP));
    EXPECT_EQ(mInterfaceP->Release(), 1u);
  }
}

TEST_F(Mlox_DM_GlobalOutputTest, QueryInterfaceWithAnyOtherIdGivesNullAndNoInterface) {
  for (const _qcfUID& uid : {IDirectMIDIClientOutput::kUID, IDirectMIDIClientInput::kUID}) {
    void* resultP = mInterfaceP;
    EXPECT_EQ(static_cast<uint32_t>(mInterfaceP->QueryInterface(uid, &resultP)), 0x80000004u);
    EXPECT_EQ(resultP, nullptr);
  }
}

// ---- life and death ----

TEST_F(Mlox_DM_GlobalOutputTest, TheLastReleaseEndsAllConnectionsAndThenTheOutputGoes) {
  Forget(mInterfaceP);
  mInterfaceP->SetReceivesClick(true);
  mInterfaceP->SetReceivesMidiBeatClock(true);
  mInterfaceP->SetReceivesMTC(true);
  std::vector<Source*> order;
  for (Source* sourceP : {&mMTC, &mClick, &mBeatClock}) sourceP->mOrderP = &order;
  const int32_t componentsBefore = CQCFUnknown::LiveCount();
  EXPECT_EQ(mInterfaceP->Release(), 0u);
  EXPECT_EQ(order, (std::vector<Source*>{&mClick, &mBeatClock, &mMTC}));
  EXPECT_EQ(mClick.mDisconnects, 1);
  EXPECT_EQ(mBeatClock.mDisconnects, 1);
  EXPECT_EQ(mMTC.mDisconnects, 1);
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore) << "an output goes by delayed deletion";
  RunPassLater();
  RunPassLater();
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1);
  mServiceP->StopPlayback();  // nothing of it is left on the service's list
}

/// An output that notes what it is told of the streams.
class NotingOutput : public Mlox_DM_GlobalOutput {
 public:
  NotingOutput(Mlox_DM_Service* iServiceP, std::vector<std::string>* oTold)
      : Mlox_DM_GlobalOutput(iServiceP, nullptr), mTold(oTold) {}
  void SetReceivesClick(bool iReceives) override {
    Note("click", iReceives);
    Mlox_DM_GlobalOutput::SetReceivesClick(iReceives);
  }
  void SetReceivesMidiBeatClock(bool iReceives) override {
    Note("clock", iReceives);
    Mlox_DM_GlobalOutput::SetReceivesMidiBeatClock(iReceives);
  }
  void SetReceivesMTC(bool iReceives) override {
    Note("MTC", iReceives);
    Mlox_DM_GlobalOutput::SetReceivesMTC(iReceives);
  }

 private:
  void Note(const char* iStream, bool iReceives) {
    mTold->push_back(std::string(iStream) + (iReceives ? " on" : " off"));
  }

  std::vector<std::string>* mTold;
};

TEST_F(Mlox_DM_GlobalOutputTest, TheLastReleaseTakesTheThreeStreamsAwayThroughTheVirtualOperations) {
  std::vector<std::string> told;
  IDirectMIDIGlobalOutput* const outputP = new NotingOutput(mServiceP, &told);
  outputP->AddRef();
  outputP->SetReceivesMTC(true);
  told.clear();
  EXPECT_EQ(outputP->Release(), 0u);
  EXPECT_EQ(told, (std::vector<std::string>{"click off", "clock off", "MTC off"}));
  EXPECT_EQ(mMTC.mDisconnects, 1);
  // The service, which hasn't made it, goes without a word to it.
  RunPassLater();
  RunPassLater();
}

TEST_F(Mlox_DM_GlobalOutputTest, AReferenceAsAnOutputKeepsTheObjectBeyondTheLastRelease) {
  Forget(mInterfaceP);
  Cmn_AliasedRefCountPtr<Mlox_BasicOutput> output(mOutputP);
  const int32_t componentsBefore = CQCFUnknown::LiveCount();
  mInterfaceP->Release();
  RunPassLater();
  RunPassLater();
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore);
  WriteImmediateNote(*output, 60);
  output = nullptr;
  RunPassLater();
  RunPassLater();
  EXPECT_EQ(CQCFUnknown::LiveCount(), componentsBefore - 1);
}

TEST_F(Mlox_DM_GlobalOutputTest, OutlivesItsServiceForgetsItAndReportsSetBufferedDelivery) {
  Test_AssertRecorder recorder;
  mInterfaceP->SetReceivesClick(true);
  mClick.mOutputs.clear();
  Manager().RemoveAllServices();
  mInterfaceP->SetReceivesClick(false);
  mInterfaceP->SetReceivesMTC(true);
  EXPECT_EQ(mClick.mDisconnects, 0);
  EXPECT_EQ(mMTC.mConnects, 0);
  EXPECT_EQ(recorder.Count(), 0);
  EXPECT_EQ(mOutputP->SetBufferedDelivery(), nullptr);
  EXPECT_EQ(recorder.Count(), 1);
}

TEST_F(Mlox_DM_GlobalOutputTest, ABufferedDeliveryOutlivesTheOutput) {
  Forget(mInterfaceP);
  IDirectMIDIBufferedDelivery* deliveryP = mOutputP->SetBufferedDelivery();
  WriteImmediateNote(*mOutputP, 60);
  mInterfaceP->Release();
  RunPassLater();
  RunPassLater();
  EXPECT_EQ(Test_DM_Pull(deliveryP, 0, 63).size(), 1u);
  EXPECT_EQ(deliveryP->Release(), 0u);
}

#ifndef NDEBUG
TEST_F(Mlox_DM_GlobalOutputTest, MakingAndTheLastReleaseOffTheMainThreadAreReported) {
  Test_AssertRecorder recorder;
  std::thread([this] { mServiceP->CreateGlobalOutput()->Release(); }).join();
  EXPECT_EQ(recorder.Count("IsMainThread()"), 2);
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_globaloutput");
  mServiceP->CreateGlobalOutput()->Release();
  EXPECT_EQ(recorder.Count(), 2);
  RunPassLater();
  RunPassLater();
}
#endif

}  // namespace
