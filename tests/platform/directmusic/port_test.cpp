// SPDX-License-Identifier: MIT
#include "platform/directmusic/port.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "platform/directmusic/musicbuffer.h"
#include "platform/directmusic/windows_events.h"
#include "tests/support/fake_time.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int64_t kNow = 1000000;
constexpr std::int64_t kAhead = 100000;

struct Sent {
  std::int64_t mTime;  // at which it sounds: a driver plays what is late at once
  Bytes mBytes;
  bool operator==(const Sent&) const = default;
};

// What a driver was given, and what it answers.
struct DriverState {
  std::vector<Sent> mSent;
  Platform_SendResult mAnswer = Platform_SendResult::kTaken;
  std::deque<Platform_SendResult> mAnswers;  // these come first
  int mDrops = 0;
  std::int64_t mLatency = 5000;
  bool mIsLatencyFixed = false;
  std::vector<std::int64_t> mNows;  // what it was told that the time is
};

class FakeOutput : public Platform_DriverOutput {
 public:
  explicit FakeOutput(DriverState& ioState) : mState(ioState) {}
  Platform_SendResult Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength) override {
    return SendNow(Sys_Clock::Microseconds(), iTime, iBytes, iLength);
  }
  Platform_SendResult SendNow(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes,
                              std::size_t iLength) override {
    mState.mNows.push_back(iNow);
    Platform_SendResult answer = mState.mAnswer;
    if (!mState.mAnswers.empty()) {
      answer = mState.mAnswers.front();
      mState.mAnswers.pop_front();
    }
    if (answer == Platform_SendResult::kTaken) {
      mState.mSent.push_back({std::max(iTime, iNow), Bytes(iBytes, iBytes + iLength)});
    }
    return answer;
  }
  std::size_t PieceSize() const override { return kPlatform_MaxPiece; }
  std::int64_t LatencyMicroseconds() const override { return mState.mLatency; }
  bool IsLatencyFixed() const override { return mState.mIsLatencyFixed; }
  void Drop() override { ++mState.mDrops; }

 private:
  DriverState& mState;
};

// Hears what arrives while it is there. Like a driver whose events hold several messages each, it reads one
// event at a time from its descriptor, and keeps the messages behind the first one.
class FakeInput : public Platform_DriverInput {
 public:
  explicit FakeInput(FakeInput*& ioCurrentP) : mCurrentP(ioCurrentP) { mCurrentP = this; }
  ~FakeInput() override {
    mCurrentP = nullptr;
    ::close(mDescriptor);
  }
  FakeInput(const FakeInput&) = delete;
  FakeInput& operator=(const FakeInput&) = delete;

  void Arrive(const std::vector<Bytes>& iEvent) {
    mEvents.push_back(iEvent);
    EXPECT_EQ(::eventfd_write(mDescriptor, 1), 0);
  }

  bool Read(Platform_Piece& oPiece) override {
    eventfd_t count = 0;
    if (mCut.empty() && ::eventfd_read(mDescriptor, &count) == 0) {
      mCut.assign(mEvents.front().begin(), mEvents.front().end());
      mEvents.pop_front();
    }
    if (mCut.empty()) {
      return false;
    }
    oPiece.mLength = mCut.front().size();
    std::copy(mCut.front().begin(), mCut.front().end(), oPiece.mBytes);
    mCut.pop_front();
    return true;
  }
  int Descriptor() const override { return mDescriptor; }
  bool HasBuffered() const override { return !mCut.empty(); }
  std::uint64_t LostPieces() const override { return 0; }

 private:
  FakeInput*& mCurrentP;
  const int mDescriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC | EFD_SEMAPHORE);
  std::deque<std::vector<Bytes>> mEvents;
  std::deque<Bytes> mCut;
};

class FakeDriver : public Platform_Driver {
 public:
  const char* Name() const override { return "fake"; }
  bool Start(Platform_DriverHost*, std::string&) override { return true; }
  void Stop() override {}
  std::vector<Platform_PortInfo> Ports() override { return {}; }
  std::unique_ptr<Platform_DriverInput> OpenInput(const Platform_PortInfo&) override {
    return std::make_unique<FakeInput>(mInputP);
  }
  std::unique_ptr<Platform_DriverOutput> OpenOutput(const Platform_PortInfo&) override {
    return std::make_unique<FakeOutput>(mState);
  }
  // A message that comes from the device: lost where nobody listens.
  void Arrive(const Bytes& iMessage) {
    if (mInputP != nullptr) {
      mInputP->Arrive({iMessage});
    }
  }
  DriverState mState;
  FakeInput* mInputP = nullptr;  // the open one
};

class FakeHost : public Platform_PortHost {
 public:
  HRESULT ActivatePort(Platform_Port*, bool) override { return S_OK; }
  ULONG ReleaseLast(Platform_Port*) override { return 0; }
  void WakeWorker() override { ++mWakes; }
  void LookForPorts() override { ++mLooks; }
  HRESULT MasterClock(IReferenceClock**) override { return E_NOTIMPL; }
  int mWakes = 0;
  int mLooks = 0;
};

class OutputPort : public ::testing::Test {
 protected:
  OutputPort() { mPort.SetActive(true, &mDriver, &mInfo); }

  // iTime in microseconds.
  HRESULT Play(std::int64_t iTime, Bytes iBytes) {
    auto* const bufferP = new Platform_MusicBuffer(64);
    bufferP->PackUnstructured(iTime * 10, 1, static_cast<DWORD>(iBytes.size()), iBytes.data());
    const HRESULT result = mPort.PlayBuffer(bufferP);
    bufferP->Release();
    return result;
  }
  // What the driver has been given since the last call.
  std::vector<Sent> TakeSent() { return std::exchange(mDriver.mState.mSent, {}); }
  // The same in the order in which it sounds.
  std::vector<Bytes> TakeHeard() {
    std::vector<Sent> sent = TakeSent();
    std::stable_sort(sent.begin(), sent.end(),
                     [](const Sent& iLeft, const Sent& iRight) { return iLeft.mTime < iRight.mTime; });
    std::vector<Bytes> heard;
    for (const Sent& one : sent) {
      heard.push_back(one.mBytes);
    }
    return heard;
  }

  Test_FakeTime mTime{kNow};
  FakeHost mHost;
  FakeDriver mDriver;
  Platform_PortInfo mInfo;
  Platform_OutputPort mPort{mHost, DMUS_PORTCAPS{}};
};

TEST_F(OutputPort, ADriverGetsWhatIsDueWithinATenthOfASecondAndTheRestWhenItIs) {
  EXPECT_EQ(Play(kNow + kAhead, {0xC0, 1}), S_OK);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow + kAhead, {0xC0, 1}}}));
  EXPECT_EQ(Play(kNow + kAhead + 1, {0xC0, 2}), S_OK);
  EXPECT_EQ(mHost.mWakes, 1) << "the worker learns of the new deadline";
  EXPECT_EQ(mPort.Work(kNow), kNow + 1);
  EXPECT_EQ(TakeSent(), std::vector<Sent>{});
  EXPECT_EQ(mPort.Work(kNow + 1), INT64_MAX);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow + kAhead + 1, {0xC0, 2}}}));
}

TEST_F(OutputPort, ATimeThatHasPassedCountsAsNowSoThatTimesNeverStepBack) {
  EXPECT_EQ(Play(kNow - 5000000, {0xC0, 1}), S_OK);
  EXPECT_EQ(Play(INT64_MIN / 10, {0xC0, 2}), S_OK);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow, {0xC0, 1}}, {kNow, {0xC0, 2}}}));
}

TEST_F(OutputPort, AFullDriverKeepsNothingBackForGoodAndTheOrderStands) {
  mDriver.mState.mAnswer = Platform_SendResult::kFull;
  EXPECT_EQ(Play(kNow, {0xC0, 1}), S_OK);
  EXPECT_EQ(Play(kNow, {0xC0, 2}), S_OK);
  EXPECT_EQ(mPort.Work(kNow), kNow + 2000) << "tried again two milliseconds later";
  mDriver.mState.mAnswer = Platform_SendResult::kTaken;
  EXPECT_EQ(Play(kNow, {0xC0, 3}), S_OK);
  EXPECT_EQ(mPort.Work(kNow + 2000), INT64_MAX);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow, {0xC0, 1}}, {kNow, {0xC0, 2}}, {kNow, {0xC0, 3}}}));
  EXPECT_EQ(mPort.LostMessages(), 0u);
}

TEST_F(OutputPort, WhileItsHardwareIsAwayItRefusesAndWhatWaitedIsLostAndCounted) {
  EXPECT_EQ(Play(kNow + 2 * kAhead, {0xC0, 1}), S_OK);
  mDriver.mState.mAnswer = Platform_SendResult::kGone;
  EXPECT_EQ(Play(kNow, {0xC0, 2}), E_FAIL);
  EXPECT_FALSE(mPort.IsConnected());
  EXPECT_EQ(mPort.LostMessages(), 1u);
  EXPECT_EQ(mPort.Work(kNow + 2 * kAhead), INT64_MAX);
  EXPECT_EQ(Play(kNow, {0xC0, 3}), E_FAIL);
  mDriver.mState.mAnswer = Platform_SendResult::kTaken;
  mPort.HardwareCame(mDriver, mInfo);
  EXPECT_EQ(Play(kNow, {0xC0, 4}), S_OK);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow, {0xC0, 4}}}));
}

// A song of 40 notes, one each 10 ms: the first 10 are within the tenth of a second, and one more falls due.
TEST_F(OutputPort, OfASongWrittenFarAheadItTellsHowManyMessagesTheHardwareTookWithThem) {
  for (std::int64_t note = 1; note <= 40; ++note) {
    EXPECT_EQ(Play(kNow + note * 10000, {0xC0, 1}), S_OK);
  }
  mPort.Work(kNow + 10000);
  EXPECT_EQ(TakeSent().size(), 11u);
  EXPECT_EQ(mPort.TakeLostWaiting(), 0u);
  mPort.HardwareWent();
  EXPECT_EQ(mPort.TakeLostWaiting(), 29u);
  EXPECT_EQ(mPort.TakeLostWaiting(), 0u) << "once";
  EXPECT_EQ(mPort.LostMessages(), 29u);
}

TEST_F(OutputPort, WhatIsHeldBehindASystemExclusiveIsLostWithTheHardwareToo) {
  EXPECT_EQ(Play(kNow, {0xF0, 1}), S_OK);
  EXPECT_EQ(Play(kNow, {0xC0, 1}), S_OK);
  EXPECT_EQ(Play(kNow, {0xC0, 2}), S_OK);
  EXPECT_EQ(TakeSent().size(), 1u);
  mPort.HardwareWent();
  EXPECT_EQ(mPort.TakeLostWaiting(), 2u);
}

TEST_F(OutputPort, AMessageThatTheDriverRefusesSinceThePortIsGoneCountsIfItHadWaited) {
  EXPECT_EQ(Play(kNow + kAhead + 1, {0xC0, 1}), S_OK);
  mDriver.mState.mAnswer = Platform_SendResult::kGone;
  mPort.Work(kNow + 1);
  EXPECT_EQ(mPort.TakeLostWaiting(), 1u);
  mPort.HardwareCame(mDriver, mInfo);
  EXPECT_EQ(Play(kNow, {0xC0, 2}), E_FAIL);
  EXPECT_EQ(mPort.TakeLostWaiting(), 0u) << "who played it was told";
}

TEST_F(OutputPort, WhatItTakesBackWhenItIsLetGoIsNotLost) {
  EXPECT_EQ(Play(kNow, {0xF0, 1}), S_OK);
  EXPECT_EQ(Play(kNow, {0xC0, 1}), S_OK);
  EXPECT_EQ(Play(kNow + 2 * kAhead, {0xC0, 2}), S_OK);
  mPort.SetActive(false, nullptr, nullptr);
  EXPECT_EQ(mPort.TakeLostWaiting(), 0u);
  EXPECT_EQ(mPort.LostMessages(), 0u);
}

// Hardware that is there again before anybody looked stands under the same handle, perhaps: nobody else
// tells.
TEST_F(OutputPort, ADriverThatSaysThePortIsGoneMakesTheRootLookForItAgain) {
  mDriver.mState.mAnswer = Platform_SendResult::kGone;
  EXPECT_EQ(Play(kNow, {0xC0, 1}), E_FAIL);
  EXPECT_EQ(mHost.mLooks, 1);
  EXPECT_EQ(Play(kNow, {0xC0, 1}), E_FAIL);
  EXPECT_EQ(mHost.mLooks, 1) << "once is enough";
  mPort.HardwareCame(mDriver, mInfo);
  EXPECT_EQ(Play(kNow + kAhead + 1, {0xC0, 1}), S_OK);
  mPort.Work(kNow + 1);
  EXPECT_EQ(mHost.mLooks, 2) << "from the worker too";
  mPort.HardwareCame(mDriver, mInfo);
  mPort.HardwareWent();
  EXPECT_EQ(mHost.mLooks, 2) << "the root knows";
}

TEST_F(OutputPort, HardwareThatComesBackIsConnectedOnlyWhileThePortIsActive) {
  mPort.SetActive(false, &mDriver, &mInfo);
  EXPECT_EQ(mDriver.mState.mDrops, 1);
  mPort.HardwareCame(mDriver, mInfo);
  EXPECT_FALSE(mPort.IsConnected());
  mPort.SetActive(true, nullptr, nullptr);
  EXPECT_FALSE(mPort.IsConnected()) << "away";
  mPort.HardwareCame(mDriver, mInfo);
  EXPECT_TRUE(mPort.IsConnected());
}

TEST_F(OutputPort, ADriverIsToldTheTimeSoThatAWriteReadsTheClockOnce) {
  Test_FakeTime::SetStep(1);
  EXPECT_EQ(Play(0, {0xC0, 1}), S_OK);
  Test_FakeTime::SetStep(0);
  EXPECT_EQ(mDriver.mState.mNows, std::vector<std::int64_t>{kNow});
  EXPECT_EQ(Test_FakeTime::Now(), kNow + 1) << "one reading";
}

TEST_F(OutputPort, WhatWaitedIsHandedOverWithAFreshReadingOfTheClock) {
  EXPECT_EQ(Play(kNow + kAhead + 10, {0xC0, 1}), S_OK);
  Test_FakeTime::Set(kNow + 500);
  EXPECT_EQ(mPort.Work(kNow + 20), INT64_MAX);
  EXPECT_EQ(mDriver.mState.mNows, std::vector<std::int64_t>{kNow + 500});
}

TEST_F(OutputPort, ALatencyThatCanChangeIsAskedForEachTimeAndAFixedOneOncePerConnection) {
  EXPECT_EQ(mPort.LatencyMicroseconds(), 5000);
  mDriver.mState.mLatency = 7000;
  EXPECT_EQ(mPort.LatencyMicroseconds(), 7000);
  mPort.HardwareWent();
  EXPECT_EQ(mPort.LatencyMicroseconds(), 0);
  mDriver.mState.mIsLatencyFixed = true;
  mPort.HardwareCame(mDriver, mInfo);
  mDriver.mState.mLatency = 9000;
  EXPECT_EQ(mPort.LatencyMicroseconds(), 7000);
  mPort.HardwareWent();
  EXPECT_EQ(mPort.LatencyMicroseconds(), 0);
  mPort.HardwareCame(mDriver, mInfo);
  EXPECT_EQ(mPort.LatencyMicroseconds(), 9000);
}

TEST_F(OutputPort, ItsLatencyClockIsAheadByTheDriversLatency) {
  IReferenceClock* clockP = nullptr;
  ASSERT_EQ(mPort.GetLatencyClock(&clockP), S_OK);
  REFERENCE_TIME time = 0;
  EXPECT_EQ(clockP->GetTime(&time), S_OK);
  EXPECT_EQ(time, (kNow + 5000) * 10);
  clockP->Release();
}

// ---- what is held behind a system exclusive message, by a clock that moves at each reading ----

const Bytes kBegin = {0xF0, 1, 2};
const Bytes kEnd = {3, 0xF7};
const Bytes kOther = {0xF0, 5, 0xF7};
const Bytes kNoteOn = {0x90, 60, 100};
const Bytes kNoteOff = {0x80, 60, 0};

class HoldingOutputPort : public OutputPort {
 protected:
  HoldingOutputPort() { Test_FakeTime::SetStep(1); }
  ~HoldingOutputPort() override { Test_FakeTime::SetStep(0); }
  HRESULT PlayNow(const Bytes& iBytes) { return Play(0, iBytes); }
  // From now on the driver takes the next one, has no room for the one after it, and then has room again.
  void LeaveRoomForOne() {
    mDriver.mState.mAnswers = {Platform_SendResult::kTaken, Platform_SendResult::kFull};
  }
};

TEST_F(HoldingOutputPort, ALaterMessageOfTheBufferThatEndsItDoesNotOvertakeWhatWasHeld) {
  EXPECT_EQ(PlayNow(kBegin), S_OK);
  EXPECT_EQ(PlayNow(kNoteOn), S_OK);
  EXPECT_EQ(PlayNow({3, 0xF7, 0x80, 60, 0}), S_OK);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kBegin, kEnd, kNoteOn, kNoteOff}));
}

TEST_F(HoldingOutputPort, TheNextSystemExclusiveDoesNotOvertakeWhatWasHeldBehindTheOneBefore) {
  EXPECT_EQ(PlayNow(kBegin), S_OK);
  EXPECT_EQ(PlayNow(kNoteOn), S_OK);
  LeaveRoomForOne();
  EXPECT_EQ(PlayNow(kEnd), S_OK);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kBegin, kEnd}));
  EXPECT_EQ(PlayNow(kOther), S_OK);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kNoteOn, kOther}));
}

TEST_F(HoldingOutputPort, NorDoesItWhenTheWorkerHandsBothOver) {
  EXPECT_EQ(PlayNow(kBegin), S_OK);
  EXPECT_EQ(PlayNow(kNoteOn), S_OK);
  constexpr std::int64_t kLater = kNow + 2 * kAhead;
  EXPECT_EQ(Play(kLater, kEnd), S_OK);
  EXPECT_EQ(Play(kLater, kOther), S_OK);
  EXPECT_EQ(TakeHeard(), std::vector<Bytes>{kBegin});
  LeaveRoomForOne();
  Test_FakeTime::Set(kLater + 50);
  EXPECT_EQ(mPort.Work(kLater), INT64_MAX);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kEnd, kNoteOn, kOther}));
}

TEST_F(HoldingOutputPort, WhatWasHeldDoesNotOvertakeWhatWentOutSinceTheWorkerReadTheClock) {
  EXPECT_EQ(PlayNow(kBegin), S_OK);
  EXPECT_EQ(PlayNow(kNoteOn), S_OK);
  LeaveRoomForOne();
  EXPECT_EQ(PlayNow(kEnd), S_OK);
  Test_FakeTime::Set(kNow + 500);
  EXPECT_EQ(PlayNow({0xF8}), S_OK);
  EXPECT_EQ(mPort.Work(kNow + 20), INT64_MAX);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kBegin, kEnd, {0xF8}, kNoteOn}));
}

// A driver plays by time, so what falls into a message whose end is still to come waits for that end, also
// when the end was handed over long ago.
TEST_F(HoldingOutputPort, WhatFallsIntoASystemExclusiveThatWasHandedOverAheadSoundsBehindItsEnd) {
  EXPECT_EQ(Play(kNow + 5000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 6000, kNoteOn), S_OK);
  EXPECT_EQ(Play(kNow + 9000, kEnd), S_OK);
  EXPECT_EQ(Play(kNow + 7000, kNoteOff), S_OK);
  EXPECT_EQ(Play(kNow + 8000, kOther), S_OK);
  EXPECT_EQ(Play(kNow + 12000, {0xC0, 1}), S_OK);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow + 5000, kBegin},
                                           {kNow + 9000, kEnd},
                                           {kNow + 9000, kNoteOn},
                                           {kNow + 9000, kNoteOff},
                                           {kNow + 9000, kOther},
                                           {kNow + 12000, {0xC0, 1}}}));
}

TEST_F(HoldingOutputPort, WhatSoundsBeforeASystemExclusiveBeginsDoesNotWaitForItsEnd) {
  EXPECT_EQ(Play(kNow + 5000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 3000, kNoteOn), S_OK);
  EXPECT_EQ(Play(kNow + 9000, kEnd), S_OK);
  EXPECT_EQ(Play(kNow + 4000, kNoteOff), S_OK);
  EXPECT_EQ(Play(kNow + 4500, kOther), S_OK);
  EXPECT_EQ(Play(kNow + 7000, {0xC0, 1}), S_OK);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow + 5000, kBegin},
                                           {kNow + 3000, kNoteOn},
                                           {kNow + 9000, kEnd},
                                           {kNow + 4000, kNoteOff},
                                           {kNow + 4500, kOther},
                                           {kNow + 9000, {0xC0, 1}}}));
}

TEST_F(HoldingOutputPort, NothingFallsIntoTheFirstOfTwoSystemExclusivesThatWereHandedOverAhead) {
  EXPECT_EQ(Play(kNow + 5000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 9000, kEnd), S_OK);
  EXPECT_EQ(Play(kNow + 20000, kOther), S_OK);
  EXPECT_EQ(Play(kNow + 7000, kNoteOn), S_OK);
  EXPECT_EQ(Play(kNow + 15000, kNoteOff), S_OK);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow + 5000, kBegin},
                                           {kNow + 9000, kEnd},
                                           {kNow + 20000, kOther},
                                           {kNow + 9000, kNoteOn},
                                           {kNow + 15000, kNoteOff}}));
}

TEST_F(HoldingOutputPort, NorWhileTheSecondIsOpen) {
  EXPECT_EQ(Play(kNow + 5000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 9000, kEnd), S_OK);
  EXPECT_EQ(Play(kNow + 20000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 7000, kNoteOn), S_OK);
  EXPECT_EQ(Play(kNow + 30000, kEnd), S_OK);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kBegin, kEnd, kBegin, kEnd, kNoteOn}));
}

TEST_F(HoldingOutputPort, WhatIsHeldKeepsTheOrderOfItsTimes) {
  EXPECT_EQ(Play(kNow + 5000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 8000, kNoteOff), S_OK);
  EXPECT_EQ(Play(kNow + 7000, kNoteOn), S_OK);
  EXPECT_EQ(Play(kNow + 7000, {0xC0, 1}), S_OK);
  EXPECT_EQ(Play(kNow + 9000, kEnd), S_OK);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kBegin, kEnd, kNoteOn, {0xC0, 1}, kNoteOff}));
}

TEST_F(HoldingOutputPort, APieceDoesNotGoOutBeforeTheOneItFollows) {
  EXPECT_EQ(Play(kNow + 5000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 4000, kEnd), S_OK);
  EXPECT_EQ(TakeHeard(), (std::vector<Bytes>{kBegin, kEnd}));
}

// A connection that ends takes what was under way with it.
TEST_F(HoldingOutputPort, AfterAReplugNothingWaitsForWhatWasUnderWayBefore) {
  EXPECT_EQ(Play(kNow + 50000, kBegin), S_OK);
  EXPECT_EQ(Play(kNow + 60000, kEnd), S_OK);
  mPort.HardwareWent();
  mPort.HardwareCame(mDriver, mInfo);
  TakeSent();
  EXPECT_EQ(Play(kNow + 55000, kNoteOn), S_OK);
  EXPECT_EQ(TakeSent(), (std::vector<Sent>{{kNow + 55000, kNoteOn}}));
}

// ---- inputs ----

class InputPort : public ::testing::Test {
 protected:
  InputPort() { SetActive(true); }

  void SetActive(bool iActive) { mPort.SetActive(iActive, &mDriver, &mInfo); }
  // The next message, empty when none waits.
  Bytes Read() {
    auto* const bufferP = new Platform_MusicBuffer(64);
    Bytes bytes;
    REFERENCE_TIME time = 0;
    DWORD group = 0;
    DWORD length = 0;
    BYTE* dataP = nullptr;
    if (mPort.Read(bufferP) == S_OK && bufferP->GetNextEvent(&time, &group, &length, &dataP) == S_OK) {
      bytes.assign(dataP, dataP + length);
    }
    bufferP->Release();
    return bytes;
  }

  Test_FakeTime mTime{kNow};
  FakeHost mHost;
  FakeDriver mDriver;
  Platform_PortInfo mInfo;
  Platform_InputPort mPort{mHost, DMUS_PORTCAPS{}};
};

class SignalledInputPort : public InputPort {
 protected:
  SignalledInputPort() {
    mPort.SetReadNotificationHandle(mEvent);
    IsSignalled();  // at first it always is
  }
  ~SignalledInputPort() override {
    mPort.SetReadNotificationHandle(nullptr);
    CloseHandle(mEvent);
  }
  bool IsSignalled() const { return MsgWaitForMultipleObjects(1, &mEvent, FALSE, 0, 0) == WAIT_OBJECT_0; }

  const HANDLE mEvent = CreateEventW(nullptr, FALSE, FALSE, u"");
};

TEST_F(SignalledInputPort, AReadThatLeavesSomethingBehindSignalsTheEventThoughTheDescriptorShowsNothing) {
  ASSERT_FALSE(IsSignalled());
  const std::vector<Bytes> messages = {{0x90, 60, 100}, {0x90, 64, 100}, {0xF8}};
  mDriver.mInputP->Arrive(messages);
  for (const Bytes& message : messages) {
    EXPECT_TRUE(IsSignalled());
    EXPECT_EQ(Read(), message);
  }
  EXPECT_FALSE(IsSignalled()) << "nothing is left";
  EXPECT_EQ(Read(), Bytes{});
}

TEST_F(SignalledInputPort, WhatWasReadAheadIsSignalledOnceForEachReadAndNotForWhatTheDescriptorShows) {
  mDriver.mInputP->Arrive({{0xFA}, {0xF8}});
  EXPECT_TRUE(IsSignalled());
  EXPECT_EQ(Read(), Bytes{0xFA});
  EXPECT_TRUE(IsSignalled());
  EXPECT_FALSE(IsSignalled()) << "a wait takes the signal";
  mDriver.Arrive({0xFC});
  EXPECT_TRUE(IsSignalled());
  EXPECT_TRUE(IsSignalled()) << "by the descriptor, until it is read";
  EXPECT_EQ(Read(), Bytes{0xF8});
  EXPECT_EQ(Read(), Bytes{0xFC});
  EXPECT_FALSE(IsSignalled());
}

// The worker's rounds are calls of the test's here.
TEST_F(InputPort, ARestartNineTenthsOfASecondLaterKeepsTheConnectionAndWhatArrived) {
  SetActive(false);
  EXPECT_EQ(mPort.Work(kNow), kNow + 1000000) << "the worker comes back when the second is over";
  Test_FakeTime::Set(kNow + 900000);
  EXPECT_EQ(mPort.Work(Test_FakeTime::Now()), kNow + 1000000);
  mDriver.Arrive({0x90, 60, 100});
  SetActive(true);
  EXPECT_EQ(Read(), (Bytes{0x90, 60, 100}));
  Test_FakeTime::Set(kNow + 1100000);
  EXPECT_EQ(mPort.Work(Test_FakeTime::Now()), INT64_MAX);
  EXPECT_TRUE(mPort.IsConnected()) << "the end of the second means nothing any more";
}

TEST_F(InputPort, ARestartElevenTenthsOfASecondLaterHearsNothingOfWhatArrivedMeanwhile) {
  SetActive(false);
  mDriver.Arrive({0x90, 60, 100});
  Test_FakeTime::Set(kNow + 1100000);
  EXPECT_EQ(mPort.Work(Test_FakeTime::Now()), INT64_MAX);
  EXPECT_FALSE(mPort.IsConnected());
  mDriver.Arrive({0x90, 61, 100});
  SetActive(true);
  EXPECT_EQ(Read(), Bytes{});
  mDriver.Arrive({0x90, 62, 100});
  EXPECT_EQ(Read(), (Bytes{0x90, 62, 100}));
}

}  // namespace
