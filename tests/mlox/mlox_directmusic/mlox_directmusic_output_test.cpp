// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_output.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cmn/cmn_assert.h"
#include "cmn/mem2_masterallocator.h"
#include "cmn/sys_utils.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "mlox/mlox_outputcontextref.h"
#include "tests/mlox/mlox_directmusic/hardware_fixture.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/fake_service.h"

namespace {

using Access = Test_DirectMusicOutputAccess;
using Bytes = std::vector<unsigned char>;
using Names = std::vector<std::string>;
using Events = std::vector<Test_FakeEvent>;
using OutputPtr = Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Output>;

const Mlox_OutputContextRef kContext;

Bytes Sysex(std::size_t iLength) {
  Bytes bytes(iLength, 0x11);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

Mdie_SysexEvent SysexEvent(std::size_t iLength) {
  const Bytes bytes = Sysex(iLength);
  return {static_cast<int>(bytes.size()), bytes.data()};
}

Bytes WordOf(Bytes iBytes) {
  iBytes.resize(4);
  return iBytes;
}

class Mlox_DirectMusic_OutputTest : public Test_HardwareFixture {
 protected:
  Mlox_DirectMusic_OutputTest() { mPort.LatencyClock().mTime = 5555; }
  ~Mlox_DirectMusic_OutputTest() override {
    DeleteReleasedOutputs();
    EXPECT_EQ(mPort.References(), 0) << "an output has kept a reference";
    EXPECT_EQ(mOther.References(), 0) << "an output has kept a reference";
  }

  OutputPtr NewOutput(short iChannel, IDirectMusicPort* iPortP, DWORD iGroup = 1) {
    OutputPtr output(
        new Mlox_DirectMusic_Output(&mAppCallback, &mDevice, iChannel, iPortP, iGroup, &mAllocator));
    Calls().Clear();
    return output;
  }
  OutputPtr NewOutput(short iChannel) { return NewOutput(iChannel, &mPort); }

  static void WriteAt(Mlox_DirectMusic_Output& ioOutput, std::int64_t iSample, const Mdie_Event& iEvent) {
    ioOutput.WriteEvent(Mdie_Timestamp(Time_Sample(iSample)), iEvent, kContext);
  }
  static void WriteNow(Mlox_DirectMusic_Output& ioOutput, const Mdie_Event& iEvent) {
    ioOutput.WriteEvent(Mdie_Timestamp(), iEvent, kContext);
  }
  static void WriteRaw(Mlox_DirectMusic_Output& ioOutput, const Bytes& iBytes) {
    ioOutput.WriteRawMIDI(iBytes.data(), static_cast<int>(iBytes.size()), kContext);
  }
  static void WriteBody(Mlox_DirectMusic_Output& ioOutput, const Bytes& iBytes) {
    ioOutput.WriteLimitedSysex(iBytes.data(), static_cast<int>(iBytes.size()), kContext);
  }
  Names TakeNames() { return Test_TakeNames(Calls()); }
  Events Played() const { return Test_EventsOn(mPort); }
  std::size_t Plays() const { return mPort.Played().size(); }
  static std::vector<std::int64_t> Sleeps() { return Test_FakeTime::Sleeps(); }
  /// Does this at each sleep, which then passes no time.
  static void OnSleep(std::function<void()> iAction) {
    sOnSleep = std::move(iAction);
    Sys_Utils::SetSleeperForTest([](std::int64_t) { sOnSleep(); });
  }
  static inline std::function<void()> sOnSleep;

  /// Writes one of each kind; none of them may reach the port.
  void ExpectNothingIsWritten(Mlox_DirectMusic_Output& ioOutput) {
    WriteNow(ioOutput, Mdie_NoteOnEvent(60, 1));
    WriteAt(ioOutput, 1, SysexEvent(300));
    WriteBody(ioOutput, {1, 2, 3});
    WriteRaw(ioOutput, {0x90, 60, 1});
    WriteRaw(ioOutput, {0xF0, 1, 0xF7});
    EXPECT_EQ(TakeNames(), Names{});
    EXPECT_TRUE(Sleeps().empty());
  }

  Test_FakeAppCallback mAppCallback;  // sample n is due at 1000 * n microseconds
  Mem2_MasterAllocator mAllocator;
  Mlox_DirectMusic_Device mDevice{&mAppCallback, nullptr, nullptr, nullptr, &mAllocator};
  Test_FakePort& mPort = mRoot.AddOutput(1, "Keys");
  Test_FakePort& mOther = mRoot.AddOutput(2, "Other");
};

// ---- what it says of itself ----

TEST_F(Mlox_DirectMusic_OutputTest, HasTheDescriptorOfItsDeviceAndItsChannel) {
  const OutputPtr output = NewOutput(3);
  ASSERT_TRUE(output->GetDescriptor());
  EXPECT_EQ(output->GetDescriptor()->GetChannel(), 3);
  EXPECT_TRUE(output->GetDescriptor()->GetDeviceDescriptor()->Equals(mDevice.GetDeviceDescriptor().get()));
}

TEST_F(Mlox_DirectMusic_OutputTest, TheCommonOutputsDescriptorHasChannelMinusOne) {
  EXPECT_EQ(NewOutput(-1)->GetDescriptor()->GetChannel(), -1);
}

TEST_F(Mlox_DirectMusic_OutputTest, TheDescriptorsChannelIsTheLowEightBits) {
  EXPECT_EQ(NewOutput(0x105)->GetDescriptor()->GetChannel(), 5);
}

TEST_F(Mlox_DirectMusic_OutputTest, AReleasedOutputKeepsItsDescriptor) {
  const OutputPtr output = NewOutput(0);
  const auto before = output->GetDescriptor();
  output->RefreshDescriptor();
  const auto refreshed = output->GetDescriptor();
  EXPECT_NE(refreshed.get(), before.get()) << "made anew while the device holds it";
  Access::SetReleased(*output);
  output->RefreshDescriptor();
  EXPECT_EQ(output->GetDescriptor().get(), refreshed.get());
}

TEST_F(Mlox_DirectMusic_OutputTest, WithoutADeviceThereIsNoDescriptorAndNothingIsWritten) {
  const OutputPtr output(new Mlox_DirectMusic_Output(&mAppCallback, nullptr, 0, &mPort, 1, &mAllocator));
  Calls().Clear();
  EXPECT_FALSE(output->GetDescriptor());
  EXPECT_EQ(output->GetDevice(), nullptr);
  EXPECT_EQ(output->GetTimestampedPreSendSamples(48000.0), 0);
  output->RefreshDescriptor();
  EXPECT_FALSE(output->GetDescriptor());
  ExpectNothingIsWritten(*output);
}

TEST_F(Mlox_DirectMusic_OutputTest, GivesItsDeviceUntilThatLetsItGo) {
  const OutputPtr output = NewOutput(0);
  EXPECT_EQ(output->GetDevice(), &mDevice);
  Access::SetReleased(*output);
  EXPECT_EQ(output->GetDevice(), nullptr);
}

TEST_F(Mlox_DirectMusic_OutputTest, IsTimestampedExactlyWhenAPortIsSet) {
  const OutputPtr output = NewOutput(0);
  EXPECT_TRUE(output->IsTimestamped());
  output->SetPort(nullptr, 0);
  EXPECT_FALSE(output->IsTimestamped());
  output->SetPort(&mPort, 0);
  EXPECT_TRUE(output->IsTimestamped());
  EXPECT_FALSE(NewOutput(0, nullptr)->IsTimestamped());
}

TEST_F(Mlox_DirectMusic_OutputTest, ZeroJitterDelayIsTheServices) {
  const OutputPtr output = NewOutput(0);
  Handle().SetZeroJitterDelay(480);
  EXPECT_EQ(output->GetZeroJitterDelay(48000.0), Time_SampleLength(480));
  EXPECT_EQ(output->GetZeroJitterDelay(1.0), Time_SampleLength(480)) << "the rate isn't used";
  Handle().Detach();
  EXPECT_EQ(output->GetZeroJitterDelay(48000.0), Time_SampleLength(0));
}

TEST_F(Mlox_DirectMusic_OutputTest, ThruCountsDoNothing) {
  const OutputPtr output = NewOutput(0);
  output->AddThruCount();
  output->RemoveThruCount();
  output->RemoveThruCount();
  EXPECT_EQ(TakeNames(), Names{});
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  EXPECT_EQ(Plays(), 1u);
}

// ---- how early ----

// A device whose studio tells no time measures its port, which here has none: 0.
TEST_F(Mlox_DirectMusic_OutputTest, WarningIs50MillisecondsAtLeastWhileAPortIsSet) {
  const OutputPtr output = NewOutput(0);
  EXPECT_EQ(output->GetTimestampedPreSendSamples(48000.0), 2400);
  EXPECT_EQ(output->GetTimestampedPreSendSamples(44100.0), 2205);
  output->SetPort(nullptr, 0);
  EXPECT_EQ(output->GetTimestampedPreSendSamples(48000.0), 0);
}

TEST_F(Mlox_DirectMusic_OutputTest, AReleasedOutputNeedsNoWarning) {
  const OutputPtr output = NewOutput(0);
  Access::SetReleased(*output);
  EXPECT_EQ(output->GetTimestampedPreSendSamples(48000.0), 0);
}

TEST_F(Mlox_DirectMusic_OutputTest, RatesOutOfReachStayWithin32Bits) {
  const OutputPtr output = NewOutput(0);
  EXPECT_EQ(output->GetTimestampedPreSendSamples(1e300), std::numeric_limits<int>::max());
  EXPECT_EQ(output->GetTimestampedPreSendSamples(-1e300), std::numeric_limits<int>::min());
  EXPECT_EQ(output->GetTimestampedPreSendSamples(std::numeric_limits<double>::infinity()),
            std::numeric_limits<int>::max());
  EXPECT_EQ(output->GetTimestampedPreSendSamples(std::numeric_limits<double>::quiet_NaN()), 0);
}

// ---- events ----

TEST_F(Mlox_DirectMusic_OutputTest, ANoteOnOnChannel3GoesOutAs0x93AtItsReferenceTime) {
  const OutputPtr output = NewOutput(3);
  WriteAt(*output, 500, Mdie_NoteOnEvent(60, 100));
  EXPECT_EQ(Played(), (Events{{ReferenceTimeOf(500000), 1, true, WordOf({0x93, 60, 100})}}));
  EXPECT_EQ(TakeNames(), (Names{"Flush", "ResetReadPtr", "SetStartTime", "PackStructured", "PlayBuffer",
                                "Flush", "ResetReadPtr"}));
}

TEST_F(Mlox_DirectMusic_OutputTest, ANoteOnOnTheCommonOutputGoesOutAs0xFF) {
  const OutputPtr output = NewOutput(-1);
  WriteAt(*output, 500, Mdie_NoteOnEvent(60, 100));
  EXPECT_EQ(Played(), (Events{{ReferenceTimeOf(500000), 1, true, WordOf({0xFF, 60, 100})}}));
}

TEST_F(Mlox_DirectMusic_OutputTest, AnImmediateEventGoesOutAtTheTimeOfTheLatencyClock) {
  const OutputPtr output = NewOutput(0);
  WriteNow(*output, Mdie_NoteOnEvent(60, 100));
  EXPECT_EQ(Played(), (Events{{5555, 1, true, WordOf({0x90, 60, 100})}}));
  EXPECT_EQ(TakeNames(), (Names{"Flush", "ResetReadPtr", "GetLatencyClock", "GetTime", "SetStartTime",
                                "PackStructured", "PlayBuffer", "Flush", "ResetReadPtr"}));
  EXPECT_EQ(mPort.LatencyClock().References(), 0);
}

TEST_F(Mlox_DirectMusic_OutputTest, WithoutALatencyClockAnImmediateEventGoesOutAtTimeZero) {
  const OutputPtr output = NewOutput(0);
  Calls().Fail("GetLatencyClock", E_FAIL, 1);
  WriteNow(*output, Mdie_NoteOnEvent(60, 100));
  Calls().Fail("Keys latency: GetTime", E_FAIL, 1);
  WriteNow(*output, Mdie_NoteOnEvent(61, 100));
  ASSERT_EQ(Played().size(), 2u);
  EXPECT_EQ(Played()[0].mTime, ReferenceTimeOf(0));
  EXPECT_EQ(Played()[1].mTime, ReferenceTimeOf(0));
}

TEST_F(Mlox_DirectMusic_OutputTest, WithoutAnApplicationEveryEventIsImmediate) {
  const OutputPtr output(new Mlox_DirectMusic_Output(nullptr, &mDevice, 0, &mPort, 1, &mAllocator));
  WriteAt(*output, 500, Mdie_NoteOnEvent(60, 100));
  ASSERT_EQ(Played().size(), 1u);
  EXPECT_EQ(Played()[0].mTime, 5555);
}

TEST_F(Mlox_DirectMusic_OutputTest, BeforeTheClocksSecondReadingATimedEventHasNoTime) {
  mClockP->Release();  // the last: the next one begins anew
  mClockP = DirectMusicClockSync::Acquire();
  const OutputPtr output = NewOutput(0);
  WriteAt(*output, 500, Mdie_NoteOnEvent(60, 100));
  ASSERT_EQ(Played().size(), 1u);
  EXPECT_EQ(Played()[0].mTime, std::numeric_limits<std::int64_t>::min());
}

TEST_F(Mlox_DirectMusic_OutputTest, AllMessagesOfAnEventShareOneBuffer) {
  const OutputPtr output = NewOutput(9);
  WriteAt(*output, 2, Mdie_ProgramEvent(5, 1 * 128 + 2));
  EXPECT_EQ(Played(), (Events{{ReferenceTimeOf(2000), 1, false, {0xB9, 0, 1, 0xB9, 32, 2, 0xC9, 5}}}));
}

TEST_F(Mlox_DirectMusic_OutputTest, TheContextAndItsBatchDeliveryAreNotLookedAt) {
  const OutputPtr output = NewOutput(0);
  output->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(1, 1), Mlox_OutputContextRef());
  EXPECT_EQ(Plays(), 1u) << "a context that is none will do";
}

TEST_F(Mlox_DirectMusic_OutputTest, AnEventWithoutMessagesDoesNothingNotEvenTakeBackAStop) {
  const OutputPtr output = NewOutput(0);
  Handle().SetStopPlaybackFlag(true);
  WriteNow(*output, Mdie_Event());
  EXPECT_EQ(TakeNames(), Names{});
  EXPECT_TRUE(Handle().IsStopPlaybackFlagSet());
}

TEST_F(Mlox_DirectMusic_OutputTest, EveryEventTakesBackAStop) {
  const OutputPtr output = NewOutput(0);
  Handle().SetStopPlaybackFlag(true);
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  EXPECT_FALSE(Handle().IsStopPlaybackFlagSet());
  EXPECT_EQ(Plays(), 1u);
}

TEST_F(Mlox_DirectMusic_OutputTest, WritesOfBytesAreSentInSpiteOfAStopAndDoNotTakeItBack) {
  const OutputPtr output = NewOutput(0);
  Handle().SetStopPlaybackFlag(true);
  WriteBody(*output, {1, 2, 3});
  WriteRaw(*output, {0x90, 60, 1});
  EXPECT_EQ(Plays(), 2u);
  EXPECT_TRUE(Handle().IsStopPlaybackFlagSet());
}

TEST_F(Mlox_DirectMusic_OutputTest, NothingIsSentWhileTheServiceIsSuspended) {
  const OutputPtr output = NewOutput(0);
  Handle().SuspendedFlag() = true;
  Handle().SetStopPlaybackFlag(true);
  ExpectNothingIsWritten(*output);
  EXPECT_TRUE(Handle().IsStopPlaybackFlagSet());
  Handle().SuspendedFlag() = false;
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  EXPECT_EQ(Plays(), 1u);
}

TEST_F(Mlox_DirectMusic_OutputTest, NothingIsSentWithoutAService) {
  const OutputPtr output = NewOutput(0);
  Handle().Detach();
  ExpectNothingIsWritten(*output);
}

TEST_F(Mlox_DirectMusic_OutputTest, NothingIsSentOnceTheDeviceHasLetGo) {
  const OutputPtr output = NewOutput(0);
  Access::SetReleased(*output);
  ExpectNothingIsWritten(*output);
}

// ---- long messages ----

TEST_F(Mlox_DirectMusic_OutputTest, ALongSysexIsPacedAndItsPiecesGoOutAsSoonAsThePortCan) {
  const OutputPtr output = NewOutput(0);
  WriteAt(*output, 1, SysexEvent(257));
  ASSERT_EQ(Played().size(), 2u);
  EXPECT_EQ(Played()[0].mBytes.size(), 256u);
  EXPECT_EQ(Played()[1], (Test_FakeEvent{5555, 1, true, WordOf({0xF7})}));
  EXPECT_EQ(Played()[0].mTime, 5555);
  EXPECT_EQ(Sleeps(), (std::vector<std::int64_t>{82, 1}));
}

TEST_F(Mlox_DirectMusic_OutputTest, WithoutALatencyClockThePiecesAre320MicrosecondsAByteApart) {
  const OutputPtr output = NewOutput(0);
  Calls().Fail("GetLatencyClock", E_FAIL);
  WriteAt(*output, 1, SysexEvent(257));
  ASSERT_EQ(Played().size(), 2u);
  EXPECT_EQ(Played()[0].mTime, ReferenceTimeOf(1000));
  EXPECT_EQ(Played()[1].mTime, ReferenceTimeOf(1000 + 81920));
}

TEST_F(Mlox_DirectMusic_OutputTest, ALongSysex10SecondsAheadKeepsItsWriterForAsLong) {
  const OutputPtr output = NewOutput(0);
  WriteAt(*output, Test_FakeTime::Now() / 1000 + 10000, SysexEvent(257));
  EXPECT_EQ(Sleeps(), (std::vector<std::int64_t>{10000, 82, 1}));
  EXPECT_EQ(Plays(), 2u);
}

TEST_F(Mlox_DirectMusic_OutputTest, ALongSysex40MillisecondsAheadIsSentAtOnce) {
  const OutputPtr output = NewOutput(0);
  WriteAt(*output, Test_FakeTime::Now() / 1000 + 40, SysexEvent(257));
  EXPECT_EQ(Sleeps(), (std::vector<std::int64_t>{82, 1}));
}

TEST_F(Mlox_DirectMusic_OutputTest, AStopLeavesTheRestOfALongSysexUnsentAndWithoutAnEnd) {
  const OutputPtr output = NewOutput(0);
  OnSleep([this] {
    if (Plays() == 2) Handle().SetStopPlaybackFlag(true);
  });
  WriteNow(*output, SysexEvent(2000));
  ASSERT_EQ(Played().size(), 2u);
  EXPECT_EQ(Played()[1].mBytes, Bytes(256, 0x11)) << "no 0xF7";
  WriteNow(*output, SysexEvent(257));
  EXPECT_EQ(Played().size(), 4u) << "the next event is sent again";
}

TEST_F(Mlox_DirectMusic_OutputTest, ASleepingLongSysexGivesUpOnceTheServiceIsGone) {
  const OutputPtr output = NewOutput(0);
  int sleeps = 0;
  OnSleep([&] {
    ++sleeps;
    Handle().Detach();
  });
  WriteNow(*output, SysexEvent(2000));
  EXPECT_EQ(Played().size(), 1u);
  EXPECT_EQ(sleeps, 1);
}

TEST_F(Mlox_DirectMusic_OutputTest, ThePortMayChangeWhileALongSysexSleeps) {
  const OutputPtr output = NewOutput(0);
  OnSleep([&] { output->SetPort(&mOther, 2); });  // would stop for ever if the mutex were held over a sleep
  WriteNow(*output, SysexEvent(600));
  EXPECT_EQ(Played().size(), 1u);
  const Events others = Test_EventsOn(mOther);
  ASSERT_EQ(others.size(), 2u);
  EXPECT_EQ(others[0].mChannelGroup, 2u);
}

// ---- one send ----

TEST_F(Mlox_DirectMusic_OutputTest, ASendWithoutAPortIsDenied) {
  const OutputPtr output = NewOutput(0, nullptr);
  EXPECT_EQ(Access::SendBytes(*output, true, 0, {0xF8}), static_cast<HRESULT>(0x80070005u));
  EXPECT_EQ(TakeNames(), Names{});
}

TEST_F(Mlox_DirectMusic_OutputTest, ASendWithoutABufferIsUnexpected) {
  Calls().Fail("CreateMusicBuffer", E_OUTOFMEMORY);
  const OutputPtr output = NewOutput(0);
  EXPECT_FALSE(Access::HasBuffer(*output));
  EXPECT_TRUE(output->IsTimestamped());
  EXPECT_EQ(Access::SendBytes(*output, true, 0, {0xF8}), static_cast<HRESULT>(0x8000FFFFu));
  EXPECT_EQ(TakeNames(), Names{});
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  EXPECT_EQ(Plays(), 0u) << "and nobody is told";
}

TEST_F(Mlox_DirectMusic_OutputTest, ASendWhosePortWentMeanwhileIsUnexpected) {
  const OutputPtr output = NewOutput(0);
  output->SetPort(nullptr, 0);
  Access::SetTimestamped(*output);
  Calls().Clear();
  EXPECT_EQ(Access::SendBytes(*output, true, 0, {0xF8}), static_cast<HRESULT>(0x8000FFFFu));
  EXPECT_EQ(TakeNames(), (Names{"Flush", "ResetReadPtr"}));
}

TEST_F(Mlox_DirectMusic_OutputTest, ASendGivesTheLastResult) {
  const OutputPtr output = NewOutput(0);
  EXPECT_EQ(Access::SendBytes(*output, true, 0, {0xF8}), S_OK);
  Calls().Fail("PlayBuffer", E_FAIL);
  EXPECT_EQ(Access::SendBytes(*output, false, 0, {0xF8}), E_FAIL);
  Calls().Fail("SetStartTime", E_NOTIMPL);
  EXPECT_EQ(Access::SendBytes(*output, true, 0, {0xF8}), E_NOTIMPL);
}

TEST_F(Mlox_DirectMusic_OutputTest, ThePortIsHeldForTheTimeOfASend) {
  const OutputPtr output = NewOutput(0);
  EXPECT_EQ(mPort.References(), 1);
  int referencesWhilePlaying = 0;
  mOnCall = [&](const std::string& iLine) {
    if (iLine.starts_with("Keys: PlayBuffer")) referencesWhilePlaying = mPort.References();
  };
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  EXPECT_EQ(referencesWhilePlaying, 2);
  EXPECT_EQ(mPort.References(), 1);
  Calls().Fail("PlayBuffer", E_FAIL);
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  EXPECT_EQ(mPort.References(), 1);
}

// ---- the port ----

TEST_F(Mlox_DirectMusic_OutputTest, TheFirstPortMakesTheBufferWithRoomFor512BytesAndEmptiesIt) {
  const OutputPtr output(new Mlox_DirectMusic_Output(&mAppCallback, &mDevice, 0, &mPort, 4, &mAllocator));
  ASSERT_EQ(mRoot.BufferCount(), 1);
  EXPECT_EQ(mRoot.Buffer(0).MaxBytes(), 536u);  // 512 and a header of 20, rounded up to eights
  EXPECT_EQ(TakeNames(), (Names{"CreateMusicBuffer", "Flush", "ResetReadPtr"}));
  EXPECT_EQ(mPort.References(), 1);
}

TEST_F(Mlox_DirectMusic_OutputTest, AnotherPortKeepsTheBufferAndLetsTheOldPortGo) {
  const OutputPtr output = NewOutput(0);
  output->SetPort(&mOther, 7);
  EXPECT_EQ(mRoot.BufferCount(), 1);
  EXPECT_EQ(TakeNames(), (Names{"Flush", "ResetReadPtr"}));
  EXPECT_EQ(mPort.References(), 0);
  EXPECT_EQ(mOther.References(), 1);
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  ASSERT_EQ(Test_EventsOn(mOther).size(), 1u);
  EXPECT_EQ(Test_EventsOn(mOther)[0].mChannelGroup, 7u);
  Calls().Clear();
  output->SetPort(nullptr, 0);
  EXPECT_EQ(mOther.References(), 0);
  EXPECT_EQ(TakeNames(), (Names{"Flush", "ResetReadPtr"})) << "without a port too";
}

TEST_F(Mlox_DirectMusic_OutputTest, TheSamePortAgainIsNotLost) {
  const OutputPtr output = NewOutput(0);
  output->SetPort(&mPort, 2);
  EXPECT_EQ(mPort.References(), 1);
  EXPECT_EQ(Access::Group(*output), 2u);
}

TEST_F(Mlox_DirectMusic_OutputTest, ABufferThatCouldNotBeMadeIsTriedAgainWithTheNextPort) {
  Calls().Fail("CreateMusicBuffer", E_OUTOFMEMORY);
  const OutputPtr output = NewOutput(0);
  Calls().Mend("CreateMusicBuffer");
  output->SetPort(&mPort, 1);
  EXPECT_TRUE(Access::HasBuffer(*output));
  WriteNow(*output, Mdie_NoteOnEvent(1, 1));
  EXPECT_EQ(Plays(), 1u);
}

TEST_F(Mlox_DirectMusic_OutputTest, GivesItsPortWithAReferenceAndItsGroup) {
  const OutputPtr output = NewOutput(0);
  DWORD group = 0;
  IDirectMusicPort* portP = output->GetPort(&group);
  EXPECT_EQ(portP, &mPort);
  EXPECT_EQ(group, 1u);
  EXPECT_EQ(mPort.References(), 2);
  EXPECT_EQ(output->GetPort(nullptr), &mPort) << "the group may be left out";
  mPort.Release();
  mPort.Release();
  const OutputPtr without = NewOutput(0, nullptr, 0xFFFFFFFF);
  EXPECT_EQ(without->GetPort(&group), nullptr);
  EXPECT_EQ(group, 0xFFFFFFFFu);
}

TEST_F(Mlox_DirectMusic_OutputTest, AnOutputWithoutAPortIsValidAndItsWritesVanish) {
  const OutputPtr output = NewOutput(0, nullptr);
  WriteNow(*output, Mdie_NoteOnEvent(60, 1));
  WriteBody(*output, {1, 2, 3});
  WriteRaw(*output, {0x90, 60, 1});
  EXPECT_EQ(TakeNames(), Names{});
  EXPECT_TRUE(output->GetDescriptor());
  EXPECT_EQ(output->GetDevice(), &mDevice);
}

// ---- limited system exclusive ----

TEST_F(Mlox_DirectMusic_OutputTest, ABodyOf253BytesGoesOutAs255) {
  const OutputPtr output = NewOutput(5);
  WriteBody(*output, Bytes(253, 0x11));
  EXPECT_EQ(Played(), (Events{{5555, 1, false, Sysex(255)}}));
}

TEST_F(Mlox_DirectMusic_OutputTest, ABodyOf254BytesIsReportedAndNotSent) {
  const OutputPtr output = NewOutput(0);
  const Test_AssertRecorder recorder;
  WriteBody(*output, Bytes(254, 0x11));
  ASSERT_EQ(recorder.Count(), 1);
  const Test_AssertRecorder::Report report = recorder.Reports()[0];
  EXPECT_EQ(report.mText, "iLength <= cMaxLimitedSysexLength");
  EXPECT_EQ(report.mSource, "mlox/mlox_directmusic/mlox_directmusic_output");
  EXPECT_FALSE(report.mFlag);
  EXPECT_TRUE(report.mThrowing);
  EXPECT_EQ(TakeNames(), Names{});
}

TEST_F(Mlox_DirectMusic_OutputTest, ATooLongBodyIsReportedWhateverElseIsWrong) {
  const OutputPtr output = NewOutput(0);
  Handle().Detach();
  const Test_AssertRecorder recorder;
  output->WriteLimitedSysex(nullptr, 254, kContext);
  EXPECT_EQ(recorder.Count("iLength <= cMaxLimitedSysexLength"), 1);
}

TEST_F(Mlox_DirectMusic_OutputTest, ATooLongBodyThrowsWhereReportsThrow) {
  const OutputPtr output = NewOutput(0);
  const Test_AssertRecorder recorder;
  const Cmn_Assert::EMode before = Cmn_Assert::GetMode();
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  EXPECT_THROW(WriteBody(*output, Bytes(254, 1)), Cmn_AssertException);
  Cmn_Assert::SetMode(before);
  WriteBody(*output, {1});
  EXPECT_EQ(Plays(), 1u) << "nothing is left locked";
}

TEST_F(Mlox_DirectMusic_OutputTest, ABodyOfOneByteWillDoAndNoneWillNot) {
  const OutputPtr output = NewOutput(0);
  const unsigned char byte = 0x11;
  output->WriteLimitedSysex(nullptr, 1, kContext);
  output->WriteLimitedSysex(&byte, 0, kContext);
  output->WriteLimitedSysex(&byte, -1, kContext);
  EXPECT_EQ(TakeNames(), Names{});
  output->WriteLimitedSysex(&byte, 1, kContext);
  EXPECT_EQ(Played(), (Events{{5555, 1, true, WordOf({0xF0, 0x11, 0xF7})}}));
}

// ---- raw bytes ----

TEST_F(Mlox_DirectMusic_OutputTest, RawMessagesGoOutTogetherWithTheChannelAtTheEarliestTime) {
  const OutputPtr output = NewOutput(4);
  WriteRaw(*output, {0x90, 60, 100, 0xC1, 5, 0xF8});
  EXPECT_EQ(Played(), (Events{{5555, 1, false, {0x94, 60, 100, 0xC4, 5, 0xF8}}}));
}

TEST_F(Mlox_DirectMusic_OutputTest, ARawNoteOnTheCommonOutputBecomes0xFF) {
  const OutputPtr output = NewOutput(-1);
  WriteRaw(*output, {0x90, 60, 100});
  EXPECT_EQ(Played(), (Events{{5555, 1, true, WordOf({0xFF, 60, 100})}}));
}

TEST_F(Mlox_DirectMusic_OutputTest, RunningStatusIsFollowed) {
  const OutputPtr output = NewOutput(4);
  WriteRaw(*output, {0x90, 60, 100, 61, 100});
  EXPECT_EQ(Played(), (Events{{5555, 1, false, {0x94, 60, 100, 61, 100}}}));
}

TEST_F(Mlox_DirectMusic_OutputTest, ATruncatedLastMessageLosesTheWholeCall) {
  const OutputPtr output = NewOutput(0);
  WriteRaw(*output, {0x90, 60, 100, 0x80, 60});
  EXPECT_EQ(TakeNames(), Names{});
}

TEST_F(Mlox_DirectMusic_OutputTest, AMessageOfUnknownLengthLosesTheWholeCall) {
  const OutputPtr output = NewOutput(0);
  WriteRaw(*output, {0x90, 60, 100, 0xF7});
  WriteRaw(*output, {60, 100});
  EXPECT_EQ(TakeNames(), Names{});
}

TEST_F(Mlox_DirectMusic_OutputTest, NoRawBytesAreNothing) {
  const OutputPtr output = NewOutput(0);
  const unsigned char byte = 0xF8;
  output->WriteRawMIDI(nullptr, 1, kContext);
  output->WriteRawMIDI(&byte, 0, kContext);
  output->WriteRawMIDI(&byte, -1, kContext);
  EXPECT_EQ(TakeNames(), Names{});
}

// Notes what a raw write hands on.
class LimitedOutput final : public Mlox_DirectMusic_Output {
 public:
  using Mlox_DirectMusic_Output::Mlox_DirectMusic_Output;
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef) override {
    mBodies.emplace_back(iDataP, iDataP + iLength);
  }

  std::vector<Bytes> mBodies;
};

TEST_F(Mlox_DirectMusic_OutputTest, AWholeRawSysexGoesThroughTheVirtualWriteOfItsBody) {
  const Cmn_AliasedRefCountPtr<LimitedOutput> output(
      new LimitedOutput(&mAppCallback, &mDevice, 0, &mPort, 1, &mAllocator));
  Calls().Clear();
  WriteRaw(*output, {0xF0, 1, 2, 0xF7});
  EXPECT_EQ(output->mBodies, (std::vector<Bytes>{{1, 2}}));
  EXPECT_EQ(TakeNames(), Names{});
}

TEST_F(Mlox_DirectMusic_OutputTest, AWholeRawSysexIsSent) {
  const OutputPtr output = NewOutput(0);
  WriteRaw(*output, {0xF0, 1, 2, 0xF7});
  EXPECT_EQ(Played(), (Events{{5555, 1, false, {0xF0, 1, 2, 0xF7}}}));
}

TEST_F(Mlox_DirectMusic_OutputTest, PiecesOfALongerSysexAreSilentlyNotSent) {
  const OutputPtr output = NewOutput(0);
  const Test_AssertRecorder recorder;
  WriteRaw(*output, {0xF0, 1, 2});
  WriteRaw(*output, {1, 2, 0xF7});
  WriteRaw(*output, {1, 2});
  EXPECT_EQ(TakeNames(), Names{});
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DirectMusic_OutputTest, AnEmptyRawSysexHasNoBodyToSend) {
  const OutputPtr output = NewOutput(0);
  WriteRaw(*output, {0xF0, 0xF7});
  EXPECT_EQ(TakeNames(), Names{});
}

TEST_F(Mlox_DirectMusic_OutputTest, AWholeRawSysexEndsWithinItsFirst253Bytes) {
  const OutputPtr output = NewOutput(0);
  const Test_AssertRecorder recorder;
  WriteRaw(*output, Sysex(253));
  ASSERT_EQ(Played().size(), 1u);
  EXPECT_EQ(Played()[0].mBytes, Sysex(253));
  WriteRaw(*output, Sysex(254));  // the end isn't seen: the first piece of a longer one
  EXPECT_EQ(Played().size(), 1u);
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_DirectMusic_OutputTest, BytesBehindAnEarlyEndOfARawSysexCountAsItsBody) {
  const OutputPtr output = NewOutput(0);
  WriteRaw(*output, {0xF0, 1, 0xF7, 0x90, 60, 100});
  EXPECT_EQ(Played(), (Events{{5555, 1, false, {0xF0, 1, 0xF7, 0x90, 60, 0xF7}}}));
  Bytes longer = Sysex(300);
  longer[5] = 0xF7;
  const Test_AssertRecorder recorder;
  WriteRaw(*output, longer);
  EXPECT_EQ(Played().size(), 1u);
  EXPECT_EQ(recorder.Count("iLength <= cMaxLimitedSysexLength"), 1);
}

TEST_F(Mlox_DirectMusic_OutputTest, ManyRawBytesGoOutInPiecesAndGiveTheirMemoryBack) {
  const OutputPtr output = NewOutput(2);
  Bytes bytes;
  for (int i = 0; i < 300; ++i) bytes.insert(bytes.end(), {0x90, 60, 1});
  const std::uint64_t before = mAllocator.GetCounters().mBlocksInUse;
  WriteRaw(*output, bytes);
  ASSERT_EQ(Played().size(), 4u);  // 900 bytes
  EXPECT_EQ(Played()[0].mBytes.size(), 256u);
  EXPECT_EQ(Played()[3].mBytes.size(), 132u);
  EXPECT_EQ(Played()[0].mBytes[0], 0x92);
  bytes.push_back(0x90);
  WriteRaw(*output, bytes);
  EXPECT_EQ(mAllocator.GetCounters().mBlocksInUse, before) << "also of a call that sends nothing";
}

// The length and 31, cut to eights, 32 at least, and 4.
TEST_F(Mlox_DirectMusic_OutputTest, ARawWriteTakesABlockThatHoldsAllItsBytes) {
  constexpr Mem2_MasterAllocator::Presize kPresizes[] = {{36, 1}, {428, 1}};
  Mem2_MasterAllocator allocator(kPresizes);
  const OutputPtr output(new Mlox_DirectMusic_Output(&mAppCallback, &mDevice, 0, &mPort, 1, &allocator));
  WriteRaw(*output, {0xF8});
  WriteRaw(*output, Bytes(400, 0xF8));
  EXPECT_EQ(allocator.GetCounters().mGrownInPlace, 0u) << "the blocks that are there will do";
  WriteRaw(*output, Bytes(600, 0xF8));
  EXPECT_EQ(allocator.GetCounters().mGrownInPlace, 1u);
}

TEST_F(Mlox_DirectMusic_OutputTest, RawBytesAreSentWithoutAnAllocatorToo) {
  const OutputPtr output(new Mlox_DirectMusic_Output(&mAppCallback, &mDevice, 0, &mPort, 1, nullptr));
  WriteRaw(*output, {0x90, 60, 1});
  EXPECT_EQ(Plays(), 1u);
}

// ---- threads ----

TEST_F(Mlox_DirectMusic_OutputTest, PortAndDescriptorMayChangeWhileAThreadWrites) {
  constexpr int kRounds = 500;
  {
    const OutputPtr output = NewOutput(0);
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
      while (!isDone) {
        WriteNow(*output, Mdie_NoteOnEvent(1, 1));
        WriteAt(*output, 5, SysexEvent(20));
        WriteRaw(*output, {0x90, 1, 1});
        output->IsTimestamped();
        output->GetTimestampedPreSendSamples(48000.0);
      }
    });
    for (int round = 0; round < kRounds; ++round) {
      output->SetPort(round % 3 == 0 ? &mPort : round % 3 == 1 ? &mOther : nullptr, 1);
      output->RefreshDescriptor();
      EXPECT_TRUE(output->GetDescriptor());
    }
    isDone = true;
    writer.join();
    output->SetPort(nullptr, 0);
  }
  EXPECT_EQ(mOther.References(), 0);
  EXPECT_EQ(mPort.References(), 0);
}

// Converting may wait for the subsystem's lock, and whoever has that may be about to change the port.
TEST_F(Mlox_DirectMusic_OutputTest, ThePortMayChangeWhileTheSharedClockConvertsATime) {
  const OutputPtr output = NewOutput(0);
  std::future<void> change;
  bool hasChanged = false;
  mOnCall = [&](const std::string& iLine) {
    if (iLine != "MasterClock: GetTime") return;
    change = std::async(std::launch::async, [&] { output->SetPort(&mOther, 2); });
    hasChanged = change.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  };
  Test_FakeTime::Advance(200000);  // the clock is due to be read again
  WriteAt(*output, 5, Mdie_NoteOnEvent(60, 100));
  mOnCall = nullptr;
  ASSERT_TRUE(change.valid()) << "nobody has read the clock";
  EXPECT_TRUE(hasChanged);
  EXPECT_EQ(Plays(), 1u) << "the port of before is held for the time of the send";
  change.wait();
  EXPECT_EQ(Access::Port(*output), &mOther);
}

TEST_F(Mlox_DirectMusic_OutputTest, AStopFromAnotherThreadEndsALongSysexAtTheNextPiece) {
  const OutputPtr output = NewOutput(0);
  std::atomic<bool> isSleeping{false};
  std::atomic<bool> mayGoOn{false};
  OnSleep([&] {
    isSleeping = true;
    while (!mayGoOn) std::this_thread::yield();
  });
  std::thread writer([&] { WriteNow(*output, SysexEvent(100000)); });
  while (!isSleeping) std::this_thread::yield();
  Handle().SetStopPlaybackFlag(true);
  mayGoOn = true;
  writer.join();
  EXPECT_EQ(Played().size(), 1u);
}

}  // namespace
