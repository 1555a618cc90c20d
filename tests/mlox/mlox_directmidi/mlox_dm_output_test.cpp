// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_output.h"

#include <atomic>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <thread>

#include "cmn/sys_clock.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_outputcontextref.h"
#include "tests/mlox/mlox_directmidi/call_on_report.h"
#include "tests/mlox/mlox_directmidi/sleeper.h"
#include "tests/support/assert_mode.h"
#include "tests/support/delayed_deletions.h"
#include "tests/support/dm_fixture.h"
#include "tests/support/fake_service.h"

namespace {

using OutputRef = Cmn_AliasedRefCountPtr<Mlox_Output>;

/// A client that does something of the test's with each message, after it has read and released it.
class CallingClient : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    iMessageP->Release();
    mCall();
  }
  std::function<void()> mCall = [] {};
};

class Mlox_DM_OutputTest : public Test_DM_Fixture {
 protected:
  Mlox_DM_OutputTest() : mDeviceP(NewDevice("Synth")), mOutput(mDeviceP->GetOutputForChannel(5)) {}

  Mlox_DM_Device* mDeviceP;
  OutputRef mOutput;
  Test_DM_Client mClient;
};

// ---- making ----

TEST_F(Mlox_DM_OutputTest, NewChannelAndNewCommonKeepTheAppCallbackGiven) {
  Test_FakeAppCallback appCallback;
  const OutputRef channel(Mlox_DM_Output::NewChannel(mDeviceP, 5, &appCallback));
  const OutputRef common(Mlox_DM_Output::NewCommon(mDeviceP, &appCallback));
  EXPECT_EQ(Test_AppCallbackOf<Mlox_BasicOutput>(*channel), &appCallback);
  EXPECT_EQ(Test_AppCallbackOf<Mlox_BasicOutput>(*common), &appCallback);
  EXPECT_EQ(channel->GetDescriptor()->GetChannel(), 5);
  EXPECT_EQ(common->GetDescriptor()->GetChannel(), -1);
}

TEST_F(Mlox_DM_OutputTest, ADescriptorKeepsTheLowEightBitsOfTheChannelAsASignedNumber) {
  const auto channelOf = [this](int16_t iChannel) {
    return OutputRef(Mlox_DM_Output::NewChannel(mDeviceP, iChannel, nullptr))->GetDescriptor()->GetChannel();
  };
  EXPECT_EQ(channelOf(200), -56);
  EXPECT_EQ(channelOf(255), -1);
  EXPECT_EQ(channelOf(0x105), 5);
  EXPECT_EQ(channelOf(127), 127);
  EXPECT_EQ(channelOf(128), -128);
}

// ---- inquiries ----

TEST_F(Mlox_DM_OutputTest, GetTimestampedPreSendSamplesIsTheAdvanceScheduleRequirementAtAnyRate) {
  mDeviceP->SetAdvanceScheduleRequirement(480);
  EXPECT_EQ(mOutput->GetTimestampedPreSendSamples(44100.0), 480);
  EXPECT_EQ(mOutput->GetTimestampedPreSendSamples(96000.0), 480);
}

TEST_F(Mlox_DM_OutputTest, GetZeroJitterDelayIsThatOfTheDeviceAtAnyRate) {
  mDeviceP->SetZeroJitterDelay(-7);
  EXPECT_EQ(mOutput->GetZeroJitterDelay(44100.0).AsInt64(), -7);
  EXPECT_EQ(mOutput->GetZeroJitterDelay(0.0).AsInt64(), -7);
}

TEST_F(Mlox_DM_OutputTest, IsTimestampedGoesFromFalseToTrueWithARequirementOfOneAndIsFalseAfterKill) {
  EXPECT_FALSE(mOutput->IsTimestamped());
  mDeviceP->SetAdvanceScheduleRequirement(1);
  EXPECT_TRUE(mOutput->IsTimestamped());
  mDeviceP->KillOutputs();
  EXPECT_FALSE(mOutput->IsTimestamped());
}

TEST_F(Mlox_DM_OutputTest, IsTimestampedNeedsARequirementAboveZero) {
  mDeviceP->SetAdvanceScheduleRequirement(-1);
  EXPECT_FALSE(mOutput->IsTimestamped());
  mDeviceP->SetAdvanceScheduleRequirement(0);
  EXPECT_FALSE(mOutput->IsTimestamped());
}

TEST_F(Mlox_DM_OutputTest, GetDescriptorHoldsTheDevicesDescriptorAndTheChannel) {
  EXPECT_EQ(mOutput->GetDescriptor()->GetDeviceDescriptor(), mDeviceP->GetDeviceDescriptor());
  EXPECT_EQ(mOutput->GetDescriptor()->GetChannel(), 5);
  EXPECT_EQ(mOutput->GetDescriptor().get(), mOutput->GetDescriptor().get());
  EXPECT_EQ(mDeviceP->GetCommonOutput()->GetDescriptor()->GetChannel(), -1);
}

TEST_F(Mlox_DM_OutputTest, GetDeviceIsTheDevice) { EXPECT_EQ(mOutput->GetDevice(), mDeviceP); }

TEST_F(Mlox_DM_OutputTest, HasNoPatches) {
  Test_AssertRecorder recorder;
  std::string name = "kept";
  EXPECT_EQ(mOutput->GetNumberOfPatches(), 0);
  EXPECT_FALSE(mOutput->GetPatchName(&name, Mdie_ProgramEvent(0)));
  EXPECT_EQ(name, "kept");
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_OutputTest, GetPatchInfoReportsZeroAndReturnsNull) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(mOutput->GetPatchInfo(0).get(), nullptr);
  ASSERT_EQ(recorder.Texts(), std::vector<std::string>{"0"});
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_output");
}

TEST_F(Mlox_DM_OutputTest, ThruCountsDoNothing) {
  Test_AssertRecorder recorder;
  mOutput->AddThruCount();
  mOutput->RemoveThruCount();
  mOutput->RemoveThruCount();
  EXPECT_EQ(mOutput->GetDevice(), mDeviceP);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_OutputTest, HasNoModes) {
  EXPECT_EQ(mOutput->GetNumberOfAvailableModes(), 0);
  EXPECT_EQ(mOutput->GetAvailableModeName(0), "");
}

// ---- inquiries of a killed output ----

TEST_F(Mlox_DM_OutputTest, AKilledOutputAnswersAsNothingThere) {
  Test_AssertRecorder recorder;
  mDeviceP->SetAdvanceScheduleRequirement(480);
  mDeviceP->SetZeroJitterDelay(12);
  const auto descriptor = mOutput->GetDescriptor();
  mDeviceP->KillOutputs();
  EXPECT_EQ(mOutput->GetTimestampedPreSendSamples(48000.0), 0);
  EXPECT_EQ(mOutput->GetZeroJitterDelay(48000.0).AsInt64(), 0);
  EXPECT_FALSE(mOutput->IsTimestamped());
  EXPECT_EQ(mOutput->GetDevice(), nullptr);
  EXPECT_EQ(mOutput->GetDescriptor().get(), descriptor.get());
  EXPECT_EQ(mOutput->GetNumberOfPatches(), 0);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_OutputTest, KillTwiceDoesNothingMore) {
  mDeviceP->KillOutputs();
  mDeviceP->KillOutputs();
  EXPECT_EQ(mOutput->GetDevice(), nullptr);
}

// ---- writes ----

TEST_F(Mlox_DM_OutputTest, WriteEventGoesToTheCurrentDeliveryWithTheOutputsChannel) {
  mDeviceP->SetDirectDelivery(&mClient);
  WriteNote(*mOutput, 1000, 60);
  EXPECT_EQ(mClient.mMessages, (std::vector<Test_DM_Message>{{1000, {0x95, 60, 100}}}));
}

TEST_F(Mlox_DM_OutputTest, TheCommonOutputKeepsTheChannelOfWhatIsWritten) {
  mDeviceP->SetDirectDelivery(&mClient);
  const unsigned char bytes[] = {0xB3, 120, 0};
  const Mdie_SysexPacketEvent packet(3, bytes);
  mDeviceP->GetCommonOutput()->WriteEvent(Mdie_Timestamp(), packet, Manager().GetDefaultOutputContext());
  EXPECT_EQ(mClient.mMessages, (std::vector<Test_DM_Message>{{-1, {0xB3, 120, 0}}}));
}

TEST_F(Mlox_DM_OutputTest, WriteEventWithoutADeliveryIsDroppedWithoutAReport) {
  Test_AssertRecorder recorder;
  WriteNote(*mOutput, 1000, 60);
  WriteImmediateNote(*mOutput, 60);
  EXPECT_EQ(recorder.Count(), 0);
  mDeviceP->SetDirectDelivery(&mClient);
  EXPECT_TRUE(mClient.mMessages.empty());
}

TEST_F(Mlox_DM_OutputTest, WriteEventToAKilledOutputIsDroppedWithoutAReport) {
  Test_AssertRecorder recorder;
  mDeviceP->SetDirectDelivery(&mClient);
  mDeviceP->KillOutputs();
  WriteNote(*mOutput, 1000, 60);
  EXPECT_TRUE(mClient.mMessages.empty());
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_OutputTest, AWriteIsNeverAccumulatedForABatch) {
  // The batch operations of output contexts don't concern plug-ins.
  mDeviceP->SetDirectDelivery(&mClient);
  Mlox_OutputContextRef context = Manager().GetImmediateOutputContext();
  context.StartAccumulatingBatchDelivery();
  mOutput->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 1), context);
  EXPECT_EQ(mClient.mMessages.size(), 1u);
  context.FlushBatchDelivery();
  EXPECT_EQ(mClient.mMessages.size(), 1u);
}

TEST_F(Mlox_DM_OutputTest, WriteLimitedSysexReportsZeroAndWritesNothing) {
  Test_AssertRecorder recorder;
  mDeviceP->SetDirectDelivery(&mClient);
  const unsigned char sysex[] = {0xF0, 1, 0xF7};
  mOutput->WriteLimitedSysex(sysex, 3, Manager().GetDefaultOutputContext());
  ASSERT_EQ(recorder.Texts(), std::vector<std::string>{"0"});
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_output");
  EXPECT_TRUE(mClient.mMessages.empty());
}

TEST_F(Mlox_DM_OutputTest, WriteRawMIDIReportsZeroAndWritesNothing) {
  Test_AssertRecorder recorder;
  mDeviceP->SetDirectDelivery(&mClient);
  const unsigned char bytes[] = {0x90, 60, 1};
  mOutput->WriteRawMIDI(bytes, 3, Manager().GetDefaultOutputContext());
  EXPECT_EQ(recorder.Texts(), std::vector<std::string>{"0"});
  EXPECT_TRUE(mClient.mMessages.empty());
}

TEST_F(Mlox_DM_OutputTest, WriteLimitedSysexAndWriteRawMIDIOfAKilledOutputReportNothing) {
  Test_AssertRecorder recorder;
  mDeviceP->KillOutputs();
  const unsigned char bytes[] = {0x90, 60, 1};
  mOutput->WriteLimitedSysex(bytes, 3, Manager().GetDefaultOutputContext());
  mOutput->WriteRawMIDI(bytes, 3, Manager().GetDefaultOutputContext());
  EXPECT_EQ(recorder.Count(), 0);
}

// ---- the gate ----

TEST_F(Mlox_DM_OutputTest, AWriteDuringKillCompletesEntirelyBeforeKillReturns) {
  Test_Sleeper sleeper;
  CallingClient client;
  std::atomic<bool> isInside{false}, mayLeave{false}, hasLeft{false};
  client.mCall = [&] {
    isInside = true;
    while (!mayLeave) std::this_thread::yield();
    hasLeft = true;
  };
  mDeviceP->SetDirectDelivery(&client);
  std::thread writer([this] { WriteImmediateNote(*mOutput, 60); });
  while (!isInside) std::this_thread::yield();

  Test_Sleeper::sCall = [&] {
    if (Test_Sleeper::sSleeps == 3) mayLeave = true;
  };
  mDeviceP->KillOutputs();
  EXPECT_TRUE(hasLeft);
  EXPECT_GE(Test_Sleeper::sSleeps, 3);
  EXPECT_EQ(Test_Sleeper::sLastMilliseconds, 1);
  EXPECT_EQ(mOutput->GetDevice(), nullptr);
  writer.join();
}

TEST_F(Mlox_DM_OutputTest, WhileKillWaitsTheGateIsShutForOthers) {
  Test_Sleeper sleeper;
  CallingClient client;
  const std::thread::id mainThread = std::this_thread::get_id();
  std::atomic<bool> isInside{false}, mayLeave{false}, mainGotIn{false};
  client.mCall = [&] {
    if (std::this_thread::get_id() == mainThread) mainGotIn = true;
    isInside = true;
    while (!mayLeave) std::this_thread::yield();
  };
  mDeviceP->SetAdvanceScheduleRequirement(480);
  mDeviceP->SetDirectDelivery(&client);
  std::thread writer([this] { WriteImmediateNote(*mOutput, 60); });
  while (!isInside) std::this_thread::yield();
  int sleeps = 0;
  Test_Sleeper::sCall = [&] {
    ++sleeps;
    WriteImmediateNote(*mOutput, 61);
    EXPECT_EQ(mOutput->GetTimestampedPreSendSamples(48000.0), 0);
    EXPECT_FALSE(mOutput->IsTimestamped());
    EXPECT_EQ(mOutput->GetDevice(), nullptr);
    mayLeave = true;
  };
  mDeviceP->KillOutputs();
  EXPECT_GE(sleeps, 1);
  EXPECT_FALSE(mainGotIn);
  writer.join();
}

TEST_F(Mlox_DM_OutputTest, AWriteThatThrowsItsReportLeavesTheGateAsItWas) {
  Test_Sleeper sleeper;
  const Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  IDirectMIDIBufferedDelivery* const deliveryP = mDeviceP->SetBufferedDelivery();
  EXPECT_THROW(
      mOutput->WriteEvent(Mdie_Timestamp(Time_Sample(1)), Mdie_NoteOnEvent(60, 1), Mlox_OutputContextRef()),
      Cmn_AssertException);
  EXPECT_EQ(recorder.Count("it != mOutputContexts.end()"), 1);
  // A thread that isn't the writer's waits for whoever is inside. With one left inside it would wait for
  // ever.
  Test_Sleeper::sCall = [] {
    if (Test_Sleeper::sSleeps > 100) std::abort();
  };
  std::thread([this] { static_cast<Mlox_DM_Output&>(*mOutput).Kill(); }).join();
  EXPECT_EQ(Test_Sleeper::sSleeps, 0);
  EXPECT_EQ(deliveryP->Release(), 0u);
}

TEST_F(Mlox_DM_OutputTest, AnOutputWhoseLastReferenceGoesInsideTheReportOfAWriteOutlivesTheWrite) {
  Test_RunDelayedDeletions();
  const Test_FakeTime time(Sys_Clock::Microseconds());
  IDirectMIDIClientOutput* nodeP = mServiceP->CreateClientOutput("Short-lived");
  auto* deviceP = static_cast<Mlox_DM_Device*>(static_cast<IDirectMIDIClientOutput4*>(nodeP));
  OutputRef output(deviceP->GetCommonOutput());
  std::size_t pendingInside = 0;
  const Test_CallOnReport callOnReport([&] {
    nodeP->Release();
    output = nullptr;
    pendingInside = Test_PendingAfterManyPasses();
  });
  const unsigned char bytes[] = {0x90, 60, 1};
  output->WriteRawMIDI(bytes, 3, Manager().GetDefaultOutputContext());
  EXPECT_GT(pendingInside, 0u);
  EXPECT_EQ(Test_PendingAfterManyPasses(), 0u);
}

/// Counts the messages that are being received, and lets a Kill check that none is.
class CountingClient : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    mInside.fetch_add(1);
    iMessageP->Release();
    for (int i = 0; i < 200; ++i) mSpin.fetch_add(1, std::memory_order_relaxed);
    mReceived.fetch_add(1);
    mInside.fetch_sub(1);
  }
  std::atomic<int> mInside{0};
  std::atomic<int> mSpin{0};
  std::atomic<int64_t> mReceived{0};
};

TEST_F(Mlox_DM_OutputTest, KillAmongWritersThatNeverPauseLeavesNoneInsideAndLetsNoneIn) {
  CountingClient client;
  mDeviceP->SetDirectDelivery(&client);
  std::vector<OutputRef> kept{mOutput};
  std::atomic<Mlox_Output*> currentP{mOutput.get()};
  std::atomic<bool> stop{false};
  std::atomic<int64_t> written{0};
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      while (!stop) {
        WriteImmediateNote(*currentP.load(), 60);
        written.fetch_add(1, std::memory_order_relaxed);
      }
    });
  }

  constexpr int kRounds = 60;
  int met = 0;
  for (int round = 0; round < kRounds; ++round) {
    const int64_t writtenBefore = written;
    while (written < writtenBefore + 20) std::this_thread::yield();
    if (client.mInside > 0) ++met;
    mDeviceP->SetName(round % 2 == 0 ? "B" : "A");
    // All outputs of the node are dead now, and writers still pound on the last of them.
    ASSERT_EQ(client.mInside, 0);
    const int64_t received = client.mReceived;
    for (int i = 0; i < 4; ++i) std::this_thread::yield();
    ASSERT_EQ(client.mReceived, received);
    kept.emplace_back(mDeviceP->GetOutputForChannel(5));
    currentP = kept.back().get();
  }
  stop = true;
  for (std::thread& writer : writers) writer.join();
  std::cout << "renames that met a write in progress: " << met << " of " << kRounds << "\n";
  EXPECT_GT(met, 0);
}

TEST_F(Mlox_DM_OutputTest, InquiriesPassTheGateToo) {
  // Threads that ask without pause, while the device is destroyed: none may reach it afterwards.
  std::atomic<Mlox_Output*> currentP{nullptr};
  std::atomic<bool> stop{false};
  std::atomic<int64_t> asked{0};
  std::atomic<int64_t> answered{0};
  std::vector<std::thread> askers;
  for (int i = 0; i < 3; ++i) {
    askers.emplace_back([&] {
      while (!stop) {
        Mlox_Output* outputP = currentP.load();
        if (outputP == nullptr) continue;
        if (outputP->IsTimestamped()) answered.fetch_add(1);
        if (outputP->GetTimestampedPreSendSamples(48000.0) == 480) answered.fetch_add(1);
        if (outputP->GetZeroJitterDelay(48000.0).AsInt64() == 12) answered.fetch_add(1);
        asked.fetch_add(1);
      }
    });
  }
  std::vector<OutputRef> kept;
  for (int round = 0; round < 100; ++round) {
    IDirectMIDIClientOutput* nodeP = mServiceP->CreateClientOutput("Short-lived");
    auto* deviceP = static_cast<Mlox_DM_Device*>(static_cast<IDirectMIDIClientOutput4*>(nodeP));
    deviceP->SetAdvanceScheduleRequirement(480);
    deviceP->SetZeroJitterDelay(12);
    kept.emplace_back(deviceP->GetCommonOutput());
    currentP = kept.back().get();
    const int64_t askedBefore = asked;
    while (asked < askedBefore + 3) std::this_thread::yield();
    nodeP->Release();
  }
  stop = true;
  for (std::thread& asker : askers) asker.join();
  EXPECT_GT(answered, 0);
}

// ---- clients that change their node inside a message ----

TEST_F(Mlox_DM_OutputTest, AClientMayRenameItsNodeInsideReceiveDirectMessage) {
  CallingClient client;
  int received = 0;
  client.mCall = [&] {
    ++received;
    mDeviceP->SetName("Renamed");
  };
  mDeviceP->SetDirectDelivery(&client);
  WriteImmediateNote(*mOutput, 60);
  EXPECT_EQ(received, 1);
  EXPECT_EQ(mOutput->GetDevice(), nullptr);
  WriteImmediateNote(*mDeviceP->GetOutputForChannel(5), 60);
  EXPECT_EQ(received, 2);
}

TEST_F(Mlox_DM_OutputTest, AClientMayReleaseItsNodeInsideReceiveDirectMessage) {
  Test_AssertRecorder recorder;
  IDirectMIDIClientOutput* nodeP = mServiceP->CreateClientOutput("Short-lived");
  auto* deviceP = static_cast<Mlox_DM_Device*>(static_cast<IDirectMIDIClientOutput4*>(nodeP));
  const OutputRef output(deviceP->GetCommonOutput());
  CallingClient client;
  uint32_t count = 99;
  client.mCall = [&] { count = nodeP->Release(); };
  deviceP->SetDirectDelivery(&client);
  WriteImmediateNote(*output, 60);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(output->GetDevice(), nullptr);
  WriteImmediateNote(*output, 60);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DM_OutputTest, ARenameInsideNestedWritesDoesNotWaitForItsOwnThread) {
  CallingClient client;
  int depth = 0;
  const OutputRef common(mDeviceP->GetCommonOutput());
  client.mCall = [&] {
    if (++depth == 1) return WriteImmediateNote(*common, 61);  // another output of the node
    if (depth == 2) return WriteImmediateNote(*mOutput, 62);   // the first output again
    if (depth == 3) return mDeviceP->SetName("Renamed");
  };
  mDeviceP->SetDirectDelivery(&client);
  WriteImmediateNote(*mOutput, 60);
  EXPECT_EQ(depth, 3);
  EXPECT_EQ(mOutput->GetDevice(), nullptr);
  EXPECT_EQ(common->GetDevice(), nullptr);
}

TEST_F(Mlox_DM_OutputTest, ARenameInsideAMessageStillWaitsForOtherThreads) {
  Test_Sleeper sleeper;
  CallingClient client;
  std::atomic<bool> otherInside{false}, mayLeave{false}, otherLeft{false};
  const std::thread::id mainThread = std::this_thread::get_id();
  bool otherLeftBeforeRenameEnded = false;
  client.mCall = [&] {
    if (std::this_thread::get_id() == mainThread) {
      mDeviceP->SetName("Renamed");
      otherLeftBeforeRenameEnded = otherLeft;
      return;
    }
    otherInside = true;
    while (!mayLeave) std::this_thread::yield();
    otherLeft = true;
  };
  mDeviceP->SetDirectDelivery(&client);
  std::thread writer([this] { WriteImmediateNote(*mOutput, 60); });
  while (!otherInside) std::this_thread::yield();
  Test_Sleeper::sCall = [&] { mayLeave = true; };
  WriteImmediateNote(*mOutput, 61);
  EXPECT_TRUE(otherLeftBeforeRenameEnded);
  EXPECT_GE(Test_Sleeper::sSleeps, 1);
  writer.join();
}

}  // namespace
