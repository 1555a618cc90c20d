// SPDX-License-Identifier: MIT
#include "platform/directmusic/directmusic_root.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "cmn/sys_utils.h"
#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/loopback/loopback_driver.h"
#include "platform/directmusic/presence.h"
#include "platform/directmusic/windows_com.h"
#include "platform/directmusic/windows_events.h"

namespace {

using Bytes = std::vector<BYTE>;

// The root over the loopback driver alone, with a fresh pair for each test.
class DirectMusicRoot : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("MLOX_MIDI_DRIVERS", "loopback", 1);
    ASSERT_EQ(CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                               reinterpret_cast<void**>(&mRootP)),
              S_OK);
    mName = std::string("pair of ") + ::testing::UnitTest::GetInstance()->current_test_info()->name();
    Platform_LoopbackPorts::Plug(mName);
  }
  void TearDown() override {
    if (mOutputP != nullptr) {
      mOutputP->Activate(FALSE);
      mOutputP->Release();
    }
    if (mInputP != nullptr) {
      mInputP->SetReadNotificationHandle(nullptr);
      mInputP->Activate(FALSE);
      mInputP->Release();
    }
    Platform_LoopbackPorts::Unplug(mName);
  }

  static std::string Text(const WCHAR* iText) {
    std::string text;
    for (; *iText != 0; ++iText) {
      text.push_back(static_cast<char>(*iText));
    }
    return text;
  }

  std::vector<DMUS_PORTCAPS> List() {
    std::vector<DMUS_PORTCAPS> list;
    for (DWORD i = 0;; ++i) {
      DMUS_PORTCAPS caps{};
      caps.dwSize = sizeof(caps);
      if (mRootP->EnumPort(i, &caps) != S_OK) {
        return list;
      }
      list.push_back(caps);
    }
  }

  // The port of this test's pair; zero caps when it is not listed.
  DMUS_PORTCAPS Find(DWORD iClass) {
    for (const DMUS_PORTCAPS& caps : List()) {
      if (caps.dwClass == iClass && Text(caps.wszDescription) == mName) {
        return caps;
      }
    }
    return {};
  }

  IDirectMusicPort* Open(DWORD iClass) {
    IDirectMusicPort* port = nullptr;
    DMUS_PORTPARAMS8 params{};
    params.dwSize = sizeof(params);
    EXPECT_EQ(mRootP->CreatePort(Find(iClass).guidPort, &params, &port, nullptr), S_OK);
    return port;
  }

  void OpenBoth() {
    mOutputP = Open(DMUS_PC_OUTPUTCLASS);
    mInputP = Open(DMUS_PC_INPUTCLASS);
    ASSERT_EQ(mOutputP->Activate(TRUE), S_OK);
    ASSERT_EQ(mInputP->Activate(TRUE), S_OK);
  }

  IDirectMusicBuffer* NewBuffer(DWORD iPayload = 4096) {
    DMUS_BUFFERDESC desc{};
    desc.dwSize = sizeof(desc);
    desc.cbBuffer = (iPayload + 27) & ~DWORD{7};
    IDirectMusicBuffer* buffer = nullptr;
    EXPECT_EQ(mRootP->CreateMusicBuffer(&desc, &buffer, nullptr), S_OK);
    return buffer;
  }

  HRESULT Play(REFERENCE_TIME iTime, Bytes iBytes) {
    IDirectMusicBuffer* const buffer = NewBuffer();
    buffer->SetStartTime(iTime);
    EXPECT_EQ(buffer->PackUnstructured(iTime, 1, static_cast<DWORD>(iBytes.size()), iBytes.data()), S_OK);
    const HRESULT result = mOutputP->PlayBuffer(buffer);
    buffer->Release();
    return result;
  }

  // The next piece that arrives within the time; empty when none does.
  Bytes Receive(int iMilliseconds = 60000) {
    IDirectMusicBuffer* const buffer = NewBuffer();
    Bytes bytes;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(iMilliseconds);
    while (bytes.empty() && std::chrono::steady_clock::now() < end) {
      if (mInputP->Read(buffer) == S_OK) {
        REFERENCE_TIME time = 0;
        DWORD group = 0;
        DWORD length = 0;
        BYTE* data = nullptr;
        buffer->ResetReadPtr();
        EXPECT_EQ(buffer->GetNextEvent(&time, &group, &length, &data), S_OK);
        bytes.assign(data, data + length);
        EXPECT_EQ(buffer->GetNextEvent(&time, &group, &length, &data), S_FALSE);
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    buffer->Release();
    return bytes;
  }

  static REFERENCE_TIME Now() { return Sys_Clock::Microseconds() * 10; }

  // Time stands still while this lives: nothing falls due meanwhile, however slow the machine is.
  class StandingClock {
   public:
    StandingClock() {
      sTime.store(Sys_Clock::Microseconds());
      Sys_Clock::SetSourceForTest([] { return sTime.load(); });
    }
    ~StandingClock() { Sys_Clock::SetSourceForTest(nullptr); }
    StandingClock(const StandingClock&) = delete;
    StandingClock& operator=(const StandingClock&) = delete;

   private:
    static inline std::atomic<std::int64_t> sTime{0};
  };

  IDirectMusic8* mRootP = nullptr;
  std::string mName;
  IDirectMusicPort* mOutputP = nullptr;
  IDirectMusicPort* mInputP = nullptr;
};

TEST_F(DirectMusicRoot, ListsBothDirectionsWithTheirCaps) {
  const DMUS_PORTCAPS out = Find(DMUS_PC_OUTPUTCLASS);
  ASSERT_EQ(Text(out.wszDescription), mName);
  EXPECT_EQ(out.dwType, 2u);
  EXPECT_EQ(out.dwFlags, 0x102u);
  EXPECT_EQ(out.dwMemorySize, 0u);
  EXPECT_EQ(out.dwMaxChannelGroups, 1u);
  EXPECT_EQ(out.dwMaxVoices, 0xFFFFFFFFu);
  EXPECT_EQ(out.dwMaxAudioChannels, 0xFFFFFFFFu);
  EXPECT_EQ(out.dwEffectFlags, 0u);
  const DMUS_PORTCAPS in = Find(DMUS_PC_INPUTCLASS);
  ASSERT_EQ(Text(in.wszDescription), mName);
  EXPECT_FALSE(in.guidPort == out.guidPort) << "each direction has an identity of its own";
}

TEST_F(DirectMusicRoot, EnumPortPastTheEndGivesSFalse) {
  DMUS_PORTCAPS caps{};
  caps.dwSize = sizeof(caps);
  List();
  EXPECT_EQ(mRootP->EnumPort(100000, &caps), S_FALSE);
  caps.dwSize = 12;
  EXPECT_EQ(mRootP->EnumPort(0, &caps), E_INVALIDARG);
  EXPECT_EQ(mRootP->EnumPort(0, nullptr), E_POINTER);
}

TEST_F(DirectMusicRoot, EnumPortPastTheEndGivesSFalseAlsoWhenNoDriverRuns) {
  setenv("MLOX_MIDI_DRIVERS", "none of ours", 1);
  // An input of another test may have its second of grace first, which keeps the driver running.
  for (int i = 0; i < 6000 && !List().empty(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  for (const DWORD index : {0u, 1u, 100000u}) {
    DMUS_PORTCAPS caps{};
    caps.dwSize = sizeof(caps);
    EXPECT_EQ(mRootP->EnumPort(index, &caps), S_FALSE) << index;
  }
}

TEST_F(DirectMusicRoot, IndexZeroFreezesTheListForTheThread) {
  const std::size_t before = List().size();
  Platform_LoopbackPorts::Plug(mName + " second");
  DMUS_PORTCAPS caps{};
  caps.dwSize = sizeof(caps);
  EXPECT_EQ(mRootP->EnumPort(static_cast<DWORD>(before), &caps), S_FALSE);
  EXPECT_EQ(List().size(), before + 2);
  Platform_LoopbackPorts::Unplug(mName + " second");
}

TEST_F(DirectMusicRoot, ADescriptionIsCutAtACodePoint) {
  std::string name = mName;
  name.resize(126, 'x');
  name += "\xF0\x9F\x8E\xB9 keys";
  Platform_LoopbackPorts::Plug(name);
  bool isFound = false;
  for (const DMUS_PORTCAPS& caps : List()) {
    const std::size_t length = std::char_traits<WCHAR>::length(caps.wszDescription);
    if (length == 126 && caps.wszDescription[125] == u'x') {
      isFound = true;
    }
    EXPECT_LT(length, 128u);
  }
  EXPECT_TRUE(isFound) << "half of a surrogate pair is no character";
  Platform_LoopbackPorts::Unplug(name);
}

TEST_F(DirectMusicRoot, CreatePortGivesTheSameObjectWhileSomebodyHoldsIt) {
  IDirectMusicPort* const first = Open(DMUS_PC_OUTPUTCLASS);
  IDirectMusicPort* const second = Open(DMUS_PC_OUTPUTCLASS);
  EXPECT_EQ(first, second);
  second->Release();
  first->Release();
}

TEST_F(DirectMusicRoot, WhatIsPlayedAtOnceArrivesByteForByte) {
  OpenBoth();
  EXPECT_EQ(Play(INT64_MIN, {0x90, 60, 100, 0x80, 60, 0}), S_OK);
  EXPECT_EQ(Receive(), (Bytes{0x90, 60, 100}));
  EXPECT_EQ(Receive(), (Bytes{0x80, 60, 0}));
  EXPECT_EQ(Receive(20), Bytes{});
}

TEST_F(DirectMusicRoot, EventsArriveInTheOrderOfTheirTimesAndNeverEarly) {
  OpenBoth();
  const REFERENCE_TIME start = Now();
  {
    const StandingClock clock;
    EXPECT_EQ(Play(start + 3'000'000, {0xC0, 3}), S_OK);
    EXPECT_EQ(Play(start + 1'000'000, {0xC0, 1}), S_OK);
    EXPECT_EQ(Play(start + 2'000'000, {0xC0, 2}), S_OK);
  }
  for (BYTE i = 1; i <= 3; ++i) {
    EXPECT_EQ(Receive(), (Bytes{0xC0, i}));
    EXPECT_GE(Now(), start + i * 1'000'000);
  }
}

TEST_F(DirectMusicRoot, EqualTimesKeepTheOrderOfWriting) {
  OpenBoth();
  const REFERENCE_TIME time = Now() + 2'000'000;
  for (BYTE i = 0; i < 50; ++i) {
    EXPECT_EQ(Play(time, {0xC0, i}), S_OK);
  }
  for (BYTE i = 0; i < 50; ++i) {
    ASSERT_EQ(Receive(), (Bytes{0xC0, i}));
  }
}

TEST_F(DirectMusicRoot, TimesThatHavePassedArePlayedAtOnceInOrder) {
  OpenBoth();
  EXPECT_EQ(Play(Now() - 100'000'000, {0xC0, 1}), S_OK);
  EXPECT_EQ(Play(INT64_MIN, {0xC0, 2}), S_OK);
  EXPECT_EQ(Play(Now() - 500'000'000, {0xC0, 3}), S_OK);
  for (BYTE i = 1; i <= 3; ++i) {
    EXPECT_EQ(Receive(), (Bytes{0xC0, i}));
  }
}

TEST_F(DirectMusicRoot, AStructuredWordGoesOutByItsLength) {
  OpenBoth();
  IDirectMusicBuffer* const buffer = NewBuffer();
  buffer->SetStartTime(INT64_MIN);
  EXPECT_EQ(buffer->PackStructured(INT64_MIN, 1, 0x00643CFF), S_OK);
  EXPECT_EQ(buffer->PackStructured(INT64_MIN, 1, 0x00643C93), S_OK);
  EXPECT_EQ(mOutputP->PlayBuffer(buffer), S_OK);
  buffer->Release();
  EXPECT_EQ(Receive(), (Bytes{0xFF}));
  EXPECT_EQ(Receive(), (Bytes{0x93, 0x3C, 0x64}));
}

TEST_F(DirectMusicRoot, ANoteWaitsForTheEndOfTheSystemExclusiveItFallsInto) {
  OpenBoth();
  EXPECT_EQ(Play(INT64_MIN, {0xF0, 1, 2}), S_OK);
  EXPECT_EQ(Play(INT64_MIN, {0x90, 60, 100}), S_OK);
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), S_OK);
  EXPECT_EQ(Play(INT64_MIN, {3, 0xF7}), S_OK);
  EXPECT_EQ(Receive(), (Bytes{0xF0, 1, 2}));
  EXPECT_EQ(Receive(), (Bytes{0xF8}));
  EXPECT_EQ(Receive(), (Bytes{3, 0xF7}));
  EXPECT_EQ(Receive(), (Bytes{0x90, 60, 100}));
}

TEST_F(DirectMusicRoot, ASystemExclusiveThatNobodyGoesOnWithHoldsNotesBackForThreeTenthsOfASecondOnly) {
  OpenBoth();
  {
    const StandingClock clock;
    EXPECT_EQ(Play(INT64_MIN, {0xF0, 1, 2}), S_OK);
    EXPECT_EQ(Play(INT64_MIN, {0x90, 60, 100}), S_OK);
    EXPECT_EQ(Receive(), (Bytes{0xF0, 1, 2}));
    EXPECT_EQ(Receive(400), Bytes{});
  }
  EXPECT_EQ(Receive(), (Bytes{0x90, 60, 100}));
}

TEST_F(DirectMusicRoot, AnInactivePortPlaysAndReadsNothing) {
  mOutputP = Open(DMUS_PC_OUTPUTCLASS);
  mInputP = Open(DMUS_PC_INPUTCLASS);
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), E_FAIL);
  EXPECT_EQ(Receive(5), Bytes{});
}

TEST_F(DirectMusicRoot, ArrivalsSignalTheEventAndWhatIsLeftBehindKeepsItSignalled) {
  OpenBoth();
  const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, u"arrival");
  EXPECT_EQ(mInputP->SetReadNotificationHandle(event), S_OK);
  EXPECT_EQ(Play(INT64_MIN, {0xF8, 0xFA}), S_OK);
  ASSERT_EQ(Receive(), (Bytes{0xF8}));
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, 60000, 0), WAIT_OBJECT_0);
  ASSERT_EQ(Receive(), (Bytes{0xFA}));
  MsgWaitForMultipleObjects(1, &event, FALSE, 0, 0);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, 10, 0), WAIT_TIMEOUT);
  mInputP->SetReadNotificationHandle(nullptr);
  ResetEvent(event);
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), S_OK);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, 20, 0), WAIT_TIMEOUT) << "none after null was set";
  EXPECT_EQ(mInputP->SetReadNotificationHandle(event), S_OK);
  EXPECT_EQ(MsgWaitForMultipleObjects(1, &event, FALSE, 60000, 0), WAIT_OBJECT_0) << "data waits: at once";
  mInputP->SetReadNotificationHandle(nullptr);
  CloseHandle(event);
}

TEST_F(DirectMusicRoot, ReadReplacesWhatTheBufferHeld) {
  OpenBoth();
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), S_OK);
  IDirectMusicBuffer* const buffer = NewBuffer();
  BYTE old[] = {0x90, 60, 100};
  EXPECT_EQ(buffer->PackUnstructured(0, 1, sizeof(old), old), S_OK);
  for (int i = 0; i < 60000 && mInputP->Read(buffer) != S_OK; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  DWORD used = 0;
  EXPECT_EQ(buffer->GetUsedBytes(&used), S_OK);
  EXPECT_EQ(used, 24u) << "one event";
  EXPECT_EQ(mInputP->Read(buffer), S_FALSE) << "none";
  EXPECT_EQ(buffer->GetUsedBytes(&used), S_OK);
  EXPECT_EQ(used, 0u) << "nor what was read before";
  buffer->Release();
}

TEST_F(DirectMusicRoot, ReadOfAnInactivePortEmptiesTheBufferToo) {
  mInputP = Open(DMUS_PC_INPUTCLASS);
  IDirectMusicBuffer* const buffer = NewBuffer();
  BYTE old[] = {0x90, 60, 100};
  EXPECT_EQ(buffer->PackUnstructured(0, 1, sizeof(old), old), S_OK);
  EXPECT_EQ(mInputP->Read(buffer), S_FALSE);
  DWORD used = 1;
  EXPECT_EQ(buffer->GetUsedBytes(&used), S_OK);
  EXPECT_EQ(used, 0u);
  buffer->Release();
}

TEST_F(DirectMusicRoot, TheMasterClockIsTheSystemsIn100Nanoseconds) {
  const StandingClock standing;
  IReferenceClock* clock = nullptr;
  ASSERT_EQ(mRootP->GetMasterClock(nullptr, &clock), S_OK);
  REFERENCE_TIME time = 0;
  EXPECT_EQ(clock->GetTime(&time), S_OK);
  EXPECT_EQ(time, Now());
  clock->Release();
}

TEST_F(DirectMusicRoot, ARestartOfAnInputWithinASecondLosesNothing) {
  OpenBoth();
  const StandingClock clock;
  EXPECT_EQ(mInputP->Activate(FALSE), S_OK);
  EXPECT_EQ(Play(INT64_MIN, {0x90, 60, 100}), S_OK);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(mInputP->Activate(TRUE), S_OK);
  EXPECT_EQ(Receive(), (Bytes{0x90, 60, 100}));
}

TEST_F(DirectMusicRoot, AnInputLetGoForLongerHearsNothingOfWhatCameThen) {
  OpenBoth();
  // A machine that is busy with something else may get round to closing it, and to playing, later.
  Bytes heard{0};
  for (int wait = 1200; wait < 20000 && !heard.empty(); wait *= 2) {
    EXPECT_EQ(mInputP->Activate(FALSE), S_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(wait));
    EXPECT_EQ(Play(INT64_MIN, {0x90, 60, 100}), S_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(wait / 24));
    EXPECT_EQ(mInputP->Activate(TRUE), S_OK);
    heard = Receive(50);
  }
  EXPECT_EQ(heard, Bytes{});
}

TEST_F(DirectMusicRoot, APortOutlivesAReplugWithNoCallOfItsHolder) {
  OpenBoth();
  Platform_LoopbackPorts::Unplug(mName);
  for (int i = 0; i < 60000 && Play(INT64_MIN, {0xF8}) == S_OK; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), E_FAIL);
  EXPECT_NE(Text(Find(DMUS_PC_INPUTCLASS).wszDescription), "") << "an input held open stays in the list";
  EXPECT_EQ(Text(Find(DMUS_PC_OUTPUTCLASS).wszDescription), "");
  Platform_LoopbackPorts::Plug(mName);
  for (int i = 0; i < 60000 && Play(INT64_MIN, {0x90, 61, 100}) != S_OK; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  Bytes received = Receive();
  EXPECT_EQ(received, (Bytes{0x90, 61, 100}));
}

// Keeps the root's worker busy, from its making to its end, so that it doesn't look at the list of ports.
class BusyWorker final : public Platform_PresenceWatcher {
 public:
  BusyWorker(IDirectMusic8& iRoot, const std::string& iName) : mName("busy " + iName) {
    EXPECT_EQ(iRoot.QueryInterface(IID_IPlatformPresence, reinterpret_cast<void**>(&mPresenceP)), S_OK);
    mPresenceP->Watch(this);
    mMayBlock.store(true);
    Platform_LoopbackPorts::Plug(mName);
    while (!mIsBlocked.load()) {
      std::this_thread::yield();
    }
  }
  ~BusyWorker() override {
    mMayBlock.store(false);
    mPresenceP->Unwatch(this);
    Platform_LoopbackPorts::Unplug(mName);
  }
  BusyWorker(const BusyWorker&) = delete;
  BusyWorker& operator=(const BusyWorker&) = delete;

  void PresenceChanged(const std::vector<Platform_PresentPort>&) override {
    while (mMayBlock.load()) {
      mIsBlocked.store(true);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

 private:
  const std::string mName;
  IPlatformPresence* mPresenceP = nullptr;
  std::atomic<bool> mMayBlock{false};
  std::atomic<bool> mIsBlocked{false};
};

TEST_F(DirectMusicRoot, APortThatWentAndCameBetweenTwoLooksSoundsAgain) {
  OpenBoth();
  {
    const BusyWorker busy(*mRootP, mName);
    Platform_LoopbackPorts::Unplug(mName);
    Platform_LoopbackPorts::Plug(mName);
  }
  // Until the worker gets round to it, an output refuses, or an input is on the old pair yet.
  Bytes received;
  for (int i = 0; i < 600 && received.empty(); ++i) {
    Play(INT64_MIN, {0x90, 61, 100});
    received = Receive(100);
  }
  EXPECT_EQ(received, (Bytes{0x90, 61, 100}));
}

// Keeps the lines of the debug log that tell of lost messages, and whether the root answered meanwhile.
class LossLines {
 public:
  explicit LossLines(IDirectMusic8& iRoot) {
    sRootP = &iRoot;
    sAnswered = true;
    sLines.clear();
    Sys_Utils::SetLoggerForTest(Keep);
  }
  ~LossLines() { Sys_Utils::SetLoggerForTest(nullptr); }
  LossLines(const LossLines&) = delete;
  LossLines& operator=(const LossLines&) = delete;

  // Those there are once there is one.
  std::vector<std::string> Wait() const {
    for (int i = 0; i < 6000 && Lines().empty(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return Lines();
  }
  std::vector<std::string> Lines() const {
    const std::lock_guard lock(sMutex);
    return sLines;
  }
  bool RootAnswered() const { return sAnswered.load(); }

 private:
  static void Keep(const std::string& iLine) {
    if (iLine.find(" lost: ") == std::string::npos) {
      return;
    }
    const auto answer = std::make_shared<std::promise<void>>();
    std::thread([answer, rootP = sRootP] {
      DMUS_PORTCAPS caps{};
      caps.dwSize = sizeof(caps);
      rootP->EnumPort(0, &caps);
      answer->set_value();
    }).detach();
    if (answer->get_future().wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
      sAnswered = false;
    }
    const std::lock_guard lock(sMutex);
    sLines.push_back(iLine);
  }

  static inline IDirectMusic8* sRootP = nullptr;
  static inline std::atomic<bool> sAnswered{true};
  static inline std::mutex sMutex;
  static inline std::vector<std::string> sLines;
};

// 13 notes, one each 20 ms: 5 are handed over at once, and 8 wait.
TEST_F(DirectMusicRoot, TheDebugLogSaysHowManyMessagesAPortLostWithItsHardware) {
  const StandingClock clock;
  OpenBoth();
  const LossLines lines(*mRootP);
  for (int note = 1; note <= 13; ++note) {
    EXPECT_EQ(Play(Now() + note * 200000, {0xC0, 1}), S_OK);
  }
  Platform_LoopbackPorts::Unplug(mName);
  EXPECT_EQ(lines.Wait(),
            std::vector<std::string>{"mlox: the port " + mName +
                                     " has gone; messages that were accepted, waited in it and are lost: 8"});
  EXPECT_TRUE(lines.RootAnswered()) << "the line is told with no lock held";
}

TEST_F(DirectMusicRoot, TheDebugLogSaysItAlsoOfAPortThatIsLetGoBeforeTheWorkerLooks) {
  const StandingClock clock;
  OpenBoth();
  const LossLines lines(*mRootP);
  EXPECT_EQ(Play(Now() + 2000000, {0xC0, 1}), S_OK);
  {
    const BusyWorker busy(*mRootP, mName);
    Platform_LoopbackPorts::Unplug(mName);
    List();
    mOutputP->Activate(FALSE);
    mOutputP->Release();
    mOutputP = nullptr;
    EXPECT_EQ(lines.Lines(), std::vector<std::string>{}) << "the worker tells it";
  }
  EXPECT_EQ(lines.Wait().size(), 1u);
}

TEST_F(DirectMusicRoot, WhoActivatesAPortBeforeTheWorkerHasSeenItsReplugFindsItThere) {
  mOutputP = Open(DMUS_PC_OUTPUTCLASS);
  const BusyWorker busy(*mRootP, mName);
  Platform_LoopbackPorts::Unplug(mName);
  EXPECT_EQ(mOutputP->Activate(TRUE), E_FAIL);
  EXPECT_EQ(mOutputP->Activate(FALSE), S_OK);
  Platform_LoopbackPorts::Plug(mName);
  EXPECT_EQ(mOutputP->Activate(TRUE), S_OK);
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), S_OK);
}

TEST_F(DirectMusicRoot, DriversStopWhenTheLastPortIsLetGo) {
  const auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  mOutputP = Open(DMUS_PC_OUTPUTCLASS);
  // The loopback driver begins with a thread of its own. An input of another test may have its second of
  // grace first, which keeps the driver running.
  bool hasBegunAnew = false;
  for (int i = 0; i < 6000 && !hasBegunAnew; ++i) {
    EXPECT_EQ(mOutputP->Activate(FALSE), S_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const auto idle = threads();
    ASSERT_EQ(mOutputP->Activate(TRUE), S_OK);
    hasBegunAnew = threads() > idle;
  }
  EXPECT_TRUE(hasBegunAnew);
}

TEST_F(DirectMusicRoot, AWatcherHearsOfComingAndGoing) {
  class Watcher : public Platform_PresenceWatcher {
   public:
    explicit Watcher(const std::string& iName) : mName(iName) {}
    void PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) override {
      int count = 0;
      for (const Platform_PresentPort& port : iPorts) {
        count += port.mInfo.mName == mName ? 1 : 0;
      }
      mCount.store(count);
    }
    bool WaitFor(int iCount) const {
      for (int i = 0; i < 60000 && mCount.load() != iCount; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      return mCount.load() == iCount;
    }

   private:
    const std::string mName;
    std::atomic<int> mCount{-1};
  };
  IPlatformPresence* presence = nullptr;
  ASSERT_EQ(mRootP->QueryInterface(IID_IPlatformPresence, reinterpret_cast<void**>(&presence)), S_OK);
  Watcher watcher(mName);
  presence->Watch(&watcher);
  EXPECT_TRUE(watcher.WaitFor(2)) << "the list as it is comes at once";
  Platform_LoopbackPorts::Unplug(mName);
  EXPECT_TRUE(watcher.WaitFor(0));
  Platform_LoopbackPorts::Plug(mName);
  EXPECT_TRUE(watcher.WaitFor(2));
  presence->Unwatch(&watcher);
}

// Who is told that a port is there plays to it at once: it sounds, and the input that it is wired to records.
TEST_F(DirectMusicRoot, AnActivePortIsConnectedAgainBeforeAWatcherHearsOfIt) {
  class Player : public Platform_PresenceWatcher {
   public:
    void PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) override {
      const bool isThere =
          std::any_of(iPorts.begin(), iPorts.end(), [this](const Platform_PresentPort& iPort) {
            return iPort.mInfo.mName == mName && !iPort.mInfo.mIsInput;
          });
      if (isThere && mIsAway.load() && !mHasPlayed.load()) {
        mResult = mPlay();
        mHasPlayed.store(true);
      }
      mIsAway.store(!isThere);
    }
    static bool WaitFor(const std::atomic<bool>& iFlag) {
      for (int i = 0; i < 60000 && !iFlag.load(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      return iFlag.load();
    }
    std::string mName;
    std::function<HRESULT()> mPlay;
    std::atomic<bool> mIsAway{false};
    std::atomic<bool> mHasPlayed{false};
    HRESULT mResult = E_UNEXPECTED;  // before mHasPlayed
  };
  OpenBoth();
  IPlatformPresence* presence = nullptr;
  ASSERT_EQ(mRootP->QueryInterface(IID_IPlatformPresence, reinterpret_cast<void**>(&presence)), S_OK);
  Player player;
  player.mName = mName;
  player.mPlay = [this] { return Play(INT64_MIN, {0x90, 61, 100}); };
  presence->Watch(&player);
  Platform_LoopbackPorts::Unplug(mName);
  EXPECT_TRUE(Player::WaitFor(player.mIsAway));
  Platform_LoopbackPorts::Plug(mName);
  EXPECT_TRUE(Player::WaitFor(player.mHasPlayed));
  presence->Unwatch(&player);
  EXPECT_EQ(player.mResult, S_OK);
  EXPECT_EQ(Receive(), (Bytes{0x90, 61, 100}));
}

// Another one watches, so drivers run, and the worker has often not seen yet what has gone.
TEST_F(DirectMusicRoot, WhoBeginsToWatchIsNotToldOfAPortThatHasGone) {
  class First : public Platform_PresenceWatcher {
   public:
    void PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) override {
      if (!mNames) mNames.emplace();
      for (const Platform_PresentPort& port : iPorts) mNames->insert(port.mInfo.mName);
    }
    std::optional<std::set<std::string>> mNames;
  };
  IPlatformPresence* presence = nullptr;
  ASSERT_EQ(mRootP->QueryInterface(IID_IPlatformPresence, reinterpret_cast<void**>(&presence)), S_OK);
  First other;
  presence->Watch(&other);
  for (int round = 0; round < 300; ++round) {
    Platform_LoopbackPorts::Unplug(mName);
    First watcher;
    presence->Watch(&watcher);
    presence->Unwatch(&watcher);
    ASSERT_TRUE(watcher.mNames);
    ASSERT_EQ(watcher.mNames->count(mName), 0u) << round;
    Platform_LoopbackPorts::Plug(mName);
  }
  presence->Unwatch(&other);
}

// ---- cards of one serial ----

class SilentHost : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override {}
};

// Two cards of one serial, A and B, B seen first, and a table of what is known of them that a test changes.
// The output held open is the one that has the first card's GUID, which goes by the serial alone: B's.
class DirectMusicRootCards : public DirectMusicRoot,
                             private Platform_IdentityTable,
                             private Platform_PresenceWatcher {
 protected:
  void SetUp() override {
    DirectMusicRoot::SetUp();
    mA = mName + " A";
    mB = mName + " B";
    ASSERT_EQ(mRootP->QueryInterface(IID_IPlatformPresence, reinterpret_cast<void**>(&mPresenceP)), S_OK);
    mPresenceP->SetIdentityTable(this);
    mPresenceP->Watch(this);
    std::string reason;
    ASSERT_TRUE(mDriver.Start(&mHost, reason));
    PlugCard(mB);
    mFirst = GuidOf(mB);
    mOutputP = OpenGuid(mFirst);
    ASSERT_EQ(mOutputP->Activate(TRUE), S_OK);
  }
  void TearDown() override {
    mPresenceP->Unwatch(this);
    mPresenceP->SetIdentityTable(nullptr);
    mDriver.Stop();
    Platform_LoopbackPorts::Unplug(mA);
    Platform_LoopbackPorts::Unplug(mB);
    DirectMusicRoot::TearDown();
  }

  void PlugCard(const std::string& iName) {
    Platform_PlugLoopbackCard(iName, mName);
    ASSERT_TRUE(WaitUntil([&] { return IsThere(iName); }));
  }
  IDirectMusicPort* OpenGuid(const GUID& iGuid) {
    IDirectMusicPort* port = nullptr;
    DMUS_PORTPARAMS8 params{};
    params.dwSize = sizeof(params);
    EXPECT_EQ(mRootP->CreatePort(iGuid, &params, &port, nullptr), S_OK);
    return port;
  }

  // From now on the table says that the first card's GUID is A's.
  void SayThatTheFirstIsA() {
    {
      const std::lock_guard lock(mMutex);
      mRows.clear();
      for (const Platform_PresentPort& port : mPorts) {
        AddRow(port, mB, Platform_GuidToText(Platform_GuidOfText(mName + (port.mInfo.mIsInput ? "i" : "o"))));
        AddRow(port, mA, Platform_GuidToText(port.mGuid));
      }
    }
    mPresenceP->IdentitiesChanged();
  }

  // What arrives at the input of a pair, whatever the root calls it; empty when nothing does.
  Bytes HeardAt(const std::string& iName, const std::function<void()>& iPlay, int iMilliseconds = 60000) {
    for (const Platform_PortInfo& info : mDriver.Ports()) {
      if (info.mName != iName || !info.mIsInput) continue;
      const std::unique_ptr<Platform_DriverInput> input = mDriver.OpenInput(info);
      iPlay();
      const auto piece = std::make_unique<Platform_Piece>();
      for (int i = 0; i < iMilliseconds; ++i) {
        if (input->Read(*piece)) return {piece->mBytes, piece->mBytes + piece->mLength};
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    return {};
  }

  static bool WaitUntil(const std::function<bool()>& iHolds) {
    for (int i = 0; i < 60000 && !iHolds(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return iHolds();
  }
  // Of the output, as a watcher is told.
  GUID GuidOf(const std::string& iName) const {
    const std::lock_guard lock(mMutex);
    for (const Platform_PresentPort& port : mPorts) {
      if (port.mInfo.mName == iName && !port.mInfo.mIsInput) return port.mGuid;
    }
    return {};
  }
  bool IsThere(const std::string& iName) const { return !(GuidOf(iName) == GUID{}); }

  std::string mA;
  std::string mB;
  GUID mFirst{};
  IPlatformPresence* mPresenceP = nullptr;

 private:
  void AddRow(const Platform_PresentPort& iPort, const std::string& iName, const std::string& iGuid) {
    if (iPort.mInfo.mName == mB) {
      mRows.push_back({iGuid, "", mName, iName + (iPort.mInfo.mIsInput ? "||in" : "||out")});
    }
  }
  std::vector<Platform_IdentityRow> Rows() override {
    const std::lock_guard lock(mMutex);
    return mRows;
  }
  void Put(const Platform_IdentityRow&) override {}
  void PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) override {
    const std::lock_guard lock(mMutex);
    mPorts = iPorts;
  }

  SilentHost mHost;
  Platform_LoopbackDriver mDriver;
  mutable std::mutex mMutex;
  std::vector<Platform_IdentityRow> mRows;
  std::vector<Platform_PresentPort> mPorts;
};

TEST_F(DirectMusicRootCards, APortHeldOpenGoesToTheCardThatHasItsGuidOnceTheTableIsKnown) {
  PlugCard(mA);
  const auto play = [this] { EXPECT_EQ(Play(INT64_MIN, {0x90, 61, 100}), S_OK); };
  ASSERT_EQ(HeardAt(mB, play), (Bytes{0x90, 61, 100}));
  SayThatTheFirstIsA();
  ASSERT_TRUE(WaitUntil([&] { return GuidOf(mA) == mFirst; }));
  EXPECT_TRUE(IsThere(mB));
  EXPECT_FALSE(GuidOf(mB) == mFirst);
  EXPECT_EQ(HeardAt(mA, play), (Bytes{0x90, 61, 100}));
  EXPECT_EQ(HeardAt(mB, play, 50), Bytes{});
}

TEST_F(DirectMusicRootCards, APortHeldOpenGoesAwayWhenItsGuidIsThatOfACardThatIsNotThere) {
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), S_OK);
  SayThatTheFirstIsA();
  ASSERT_TRUE(WaitUntil([&] { return IsThere(mB) && !(GuidOf(mB) == mFirst); }));
  EXPECT_EQ(Play(INT64_MIN, {0xF8}), E_FAIL);
  PlugCard(mA);
  ASSERT_TRUE(GuidOf(mA) == mFirst);
  EXPECT_EQ(HeardAt(mA,
                    [this] {
                      EXPECT_EQ(Play(INT64_MIN, {0x90, 61, 100}), S_OK);
                    }),
            (Bytes{0x90, 61, 100}));
}

TEST_F(DirectMusicRoot, ThousandsWrittenInOneGoArriveInOrder) {
  OpenBoth();
  const REFERENCE_TIME start = Now() + 1'000'000;
  constexpr int kEvents = 5000;
  for (int i = 0; i < kEvents; ++i) {
    ASSERT_EQ(Play(start + i * 1000, {static_cast<BYTE>(0x90 | (i & 15)), static_cast<BYTE>(i >> 7),
                                      static_cast<BYTE>(i & 127)}),
              S_OK);
  }
  for (int i = 0; i < kEvents; ++i) {
    ASSERT_EQ(Receive(), (Bytes{static_cast<BYTE>(0x90 | (i & 15)), static_cast<BYTE>(i >> 7),
                                static_cast<BYTE>(i & 127)}));
  }
}

TEST_F(DirectMusicRoot, UnknownInterfacesAndClassesAreRefused) {
  void* object = &object;
  EXPECT_EQ(mRootP->QueryInterface(IID_IReferenceClock, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(CoCreateInstance(IID_IUnknown, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object),
            REGDB_E_CLASSNOTREG);
}

}  // namespace
