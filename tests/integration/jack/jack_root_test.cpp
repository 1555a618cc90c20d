// SPDX-License-Identifier: MIT
// DirectMusic's ports over the JACK driver: what an application holds goes on through replugs and servers.
#include <gtest/gtest.h>
#include <jack/jack.h>
#include <stdlib.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "cmn/sys_clock.h"
#include "cmn/sys_utils.h"
#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/windows_com.h"
#include "platform/directmusic/windows_events.h"
#include "tests/integration/jack/server_return.h"
#include "tests/platform/directmusic/conformance/driver_test_support.h"
#include "tests/platform/directmusic/jack/jack_test_client.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"

namespace {

std::atomic<int> sReturns{0};

void CountReturns(const std::string& iLine) {
  sReturns.fetch_add(iLine.find("a JACK server is there again") != std::string::npos ? 1 : 0);
}

class JackRoot : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("MLOX_MIDI_DRIVERS", "jack", 1);
    sReturns.store(0);
    Sys_Utils::SetLoggerForTest(CountReturns);
    ASSERT_EQ(mServer.Start(), "");
    OpenPeer();
    ASSERT_EQ(CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                               reinterpret_cast<void**>(&mRootP)),
              S_OK);
    mEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  }
  void TearDown() override {
    for (IDirectMusicPort* const port : {mOutputP, mInputP}) {
      if (port != nullptr) {
        port->SetReadNotificationHandle(nullptr);
        port->Activate(FALSE);
        port->Release();
      }
    }
    CloseHandle(mEvent);
    mPeerP.reset();
    mServer.Stop();
    Sys_Utils::SetLoggerForTest(nullptr);
  }

  // What records comes before what plays: a port that plays to us again means that its other one is
  // connected.
  void OpenPeer() {
    mPeerP = std::make_unique<Test_JackClient>();
    ASSERT_EQ(mPeerP->Open("peer"), "");
    ASSERT_TRUE(mPeerP->AddSource("source"));
    ASSERT_TRUE(mPeerP->AddSink("sink"));
  }

  // The listed port of this name; zero caps when there is none.
  DMUS_PORTCAPS Find(const std::u16string& iName, DWORD iClass) {
    for (DWORD i = 0;; ++i) {
      DMUS_PORTCAPS caps{};
      caps.dwSize = sizeof(caps);
      if (mRootP->EnumPort(i, &caps) != S_OK) {
        return {};
      }
      if (caps.dwClass == iClass && iName == caps.wszDescription) {
        return caps;
      }
    }
  }
  IDirectMusicPort* Open(const std::u16string& iName, DWORD iClass) {
    IDirectMusicPort* port = nullptr;
    DMUS_PORTPARAMS8 params{};
    params.dwSize = sizeof(params);
    EXPECT_EQ(mRootP->CreatePort(Find(iName, iClass).guidPort, &params, &port, nullptr), S_OK);
    return port;
  }
  void OpenBoth() {
    mOutputP = Open(u"peer:sink", DMUS_PC_OUTPUTCLASS);
    mInputP = Open(u"peer:source", DMUS_PC_INPUTCLASS);
    ASSERT_NE(mOutputP, nullptr);
    ASSERT_NE(mInputP, nullptr);
    ASSERT_EQ(mInputP->SetReadNotificationHandle(mEvent), S_OK);
    ASSERT_TRUE(Test_WaitFor([&] { return mOutputP->Activate(TRUE) == S_OK; }));
    ASSERT_TRUE(Test_WaitFor([&] { return mInputP->Activate(TRUE) == S_OK; }));
  }

  IDirectMusicBuffer* NewBuffer(std::size_t iPayload) {
    DMUS_BUFFERDESC desc{};
    desc.dwSize = sizeof(desc);
    desc.cbBuffer = static_cast<DWORD>((iPayload + 27) & ~std::size_t{7});
    IDirectMusicBuffer* buffer = nullptr;
    EXPECT_EQ(mRootP->CreateMusicBuffer(&desc, &buffer, nullptr), S_OK);
    return buffer;
  }
  HRESULT Play(REFERENCE_TIME iTime, Test_MidiBytes iBytes) {
    IDirectMusicBuffer* const buffer = NewBuffer(iBytes.size());
    EXPECT_EQ(buffer->PackUnstructured(iTime, 1, static_cast<DWORD>(iBytes.size()), iBytes.data()), S_OK);
    const HRESULT result = mOutputP->PlayBuffer(buffer);
    buffer->Release();
    return result;
  }
  // The next piece, waited for on the port's event as the receive thread does.
  Test_MidiBytes Receive() {
    IDirectMusicBuffer* const buffer = NewBuffer(kPlatform_MaxPiece);
    Test_MidiBytes bytes;
    Test_WaitFor([&] {
      if (mInputP->Read(buffer) != S_OK) {
        MsgWaitForMultipleObjects(1, &mEvent, FALSE, 10, 0);
        return false;
      }
      REFERENCE_TIME time = 0;
      DWORD group = 0;
      DWORD length = 0;
      BYTE* data = nullptr;
      buffer->ResetReadPtr();
      EXPECT_EQ(buffer->GetNextEvent(&time, &group, &length, &data), S_OK);
      bytes.assign(data, data + length);
      return true;
    });
    buffer->Release();
    return bytes;
  }
  bool HeardAtLeast(std::size_t iCount) {
    return Test_WaitFor([&] { return mPeerP->HeardCount("sink") >= iCount; });
  }

  Test_JackServer mServer;
  std::unique_ptr<Test_JackClient> mPeerP;
  IDirectMusic8* mRootP = nullptr;
  HANDLE mEvent = nullptr;
  IDirectMusicPort* mOutputP = nullptr;
  IDirectMusicPort* mInputP = nullptr;
};

TEST_F(JackRoot, ASystemExclusiveMessageOf64KilobytesGoesBothWaysWhileNotesWait) {
  OpenBoth();
  const Test_MidiBytes sysex = Test_LongSysex(65'536);
  ASSERT_EQ(Play(INT64_MIN, sysex), S_OK);
  ASSERT_EQ(Play(INT64_MIN, {0x90, 1, 2}), S_OK);
  Test_MidiBytes heard;
  ASSERT_TRUE(Test_WaitFor([&] {
    heard.clear();
    for (const Test_Heard& event : mPeerP->Heard("sink")) {
      heard.insert(heard.end(), event.mBytes.begin(), event.mBytes.end());
    }
    return heard.size() >= sysex.size() + 3;
  }));
  Test_MidiBytes wanted = sysex;
  wanted.insert(wanted.end(), {0x90, 1, 2});
  EXPECT_EQ(heard, wanted);

  for (std::size_t at = 0; at < sysex.size(); at += 1'024) {
    const auto begin = sysex.begin() + static_cast<std::ptrdiff_t>(at);
    ASSERT_TRUE(mPeerP->Send("source", {begin, begin + 1'024}));
  }
  Test_MidiBytes joined;
  while (joined.size() < sysex.size()) {
    const Test_MidiBytes piece = Receive();
    ASSERT_FALSE(piece.empty());
    ASSERT_EQ(piece.front() == 0xF0, joined.empty());
    joined.insert(joined.end(), piece.begin(), piece.end());
    ASSERT_EQ(piece.back() == 0xF7, joined.size() == sysex.size());
  }
  EXPECT_EQ(joined, sysex);
}

TEST_F(JackRoot, FiveThousandEventsWrittenInOneGoArriveInOrder) {
  OpenBoth();
  IDirectMusicBuffer* const buffer = NewBuffer(5'000 * 24);
  const REFERENCE_TIME start = (Sys_Clock::Microseconds() + 20'000) * 10;
  for (int i = 0; i < 5'000; ++i) {
    BYTE bytes[] = {0xE0, static_cast<BYTE>(i % 128), static_cast<BYTE>(i / 128)};
    ASSERT_EQ(buffer->PackUnstructured(start + i * 2'000, 1, 3, bytes), S_OK);
  }
  ASSERT_EQ(mOutputP->PlayBuffer(buffer), S_OK);
  buffer->Release();
  ASSERT_TRUE(HeardAtLeast(5'000));
  const std::vector<Test_Heard> heard = mPeerP->Heard("sink");
  ASSERT_EQ(heard.size(), 5'000u);
  for (int i = 0; i < 5'000; ++i) {
    const Test_Heard& event = heard[static_cast<std::size_t>(i)];
    ASSERT_EQ(event.mBytes,
              (Test_MidiBytes{0xE0, static_cast<std::uint8_t>(i % 128), static_cast<std::uint8_t>(i / 128)}));
    ASSERT_GE(event.mTime, start / 10 + i * 200 - 100) << "early";
  }
}

TEST_F(JackRoot, PortsGoOnAfterAReplugWithNoCallByTheirHolder) {
  OpenBoth();
  mPeerP->Remove("sink");
  mPeerP->Remove("source");
  ASSERT_TRUE(Test_WaitFor([&] { return Play(INT64_MIN, {0x90, 1, 1}) == E_FAIL; }));
  mPeerP->AddSource("source");
  mPeerP->AddSink("sink");
  const std::size_t before = mPeerP->Heard("sink").size();
  ASSERT_TRUE(Test_WaitFor([&] { return Play(INT64_MIN, {0xC0, 5}) == S_OK; }));
  ASSERT_TRUE(HeardAtLeast(before + 1));
  EXPECT_EQ(mPeerP->Heard("sink").back().mBytes, (Test_MidiBytes{0xC0, 5}));
  // Inputs are connected before outputs: what plays again also records.
  ASSERT_TRUE(mPeerP->Send("source", {0xC0, 6}));
  EXPECT_EQ(Receive(), (Test_MidiBytes{0xC0, 6}));
}

TEST_F(JackRoot, PortsGoOnAfterAServerDiedAndCameBackWithNoCallByTheirHolder) {
  OpenBoth();
  for (int round = 0; round < 2; ++round) {
    const REFERENCE_TIME now = Sys_Clock::Microseconds() * 10;
    for (int i = 0; i < 200; ++i) {
      BYTE number = static_cast<BYTE>(i % 100);
      ASSERT_EQ(Play(now + i * 20'000, {0xB0, 7, number}), S_OK);
    }
    ASSERT_TRUE(HeardAtLeast(10));
    // The other client of this process goes first: libjack would free it when the next one is opened.
    mPeerP.reset();
    mServer.Kill();
    ASSERT_TRUE(Test_WaitFor([&] { return Play(INT64_MIN, {0x90, 1, 1}) == E_FAIL; }));
    ASSERT_EQ(mServer.Start(), "");
    const std::int64_t back = Sys_Clock::Microseconds();
    // A client of ours that is there while the driver joins may be taken for one of the dead server's.
    ASSERT_TRUE(Test_WaitFor([&] { return sReturns.load() > round; }));
    OpenPeer();
    ASSERT_TRUE(Test_WaitFor([&] { return Play(INT64_MIN, {0xC0, 7}) == S_OK; }));
    ASSERT_TRUE(HeardAtLeast(1));
    Test_ExpectSoonAfterReturn(back);
    EXPECT_EQ(mPeerP->Heard("sink").front().mBytes, (Test_MidiBytes{0xC0, 7}))
        << "what was accepted before must not come out of time";
    ASSERT_TRUE(mPeerP->Send("source", {0xC0, 8}));
    Test_MidiBytes received = Receive();
    EXPECT_EQ(received, (Test_MidiBytes{0xC0, 8}));
    EXPECT_EQ(mPeerP->Heard("sink").size(), 1u) << "doubled";
  }
}

TEST_F(JackRoot, AfterAServerDiedAnEnumerationEndsBehindTheInputsThatAreHeld) {
  OpenBoth();
  mPeerP.reset();
  mServer.Kill();
  ASSERT_TRUE(Test_WaitFor([&] { return Find(u"peer:sink", DMUS_PC_OUTPUTCLASS).dwSize == 0; }));
  DMUS_PORTCAPS caps{};
  caps.dwSize = sizeof(caps);
  EXPECT_EQ(mRootP->EnumPort(0, &caps), S_OK);
  EXPECT_EQ(caps.wszDescription, std::u16string(u"peer:source"));
  EXPECT_EQ(mRootP->EnumPort(1, &caps), S_FALSE);
  EXPECT_EQ(mRootP->EnumPort(100'000, &caps), S_FALSE);
  // The driver goes on for the second of grace of the input: the next test's server must find it alive.
  ASSERT_EQ(mServer.Start(), "");
  ASSERT_TRUE(Test_WaitFor([] { return sReturns.load() > 0; }));
}

TEST_F(JackRoot, TheLatencyClockIsNowAndOnePeriod) {
  OpenBoth();
  IReferenceClock* clock = nullptr;
  ASSERT_EQ(mOutputP->GetLatencyClock(&clock), S_OK);
  const std::int64_t frames = jack_get_buffer_size(mPeerP->Get());
  const std::int64_t rate = jack_get_sample_rate(mPeerP->Get());
  const REFERENCE_TIME period = (frames * 1'000'000 + rate - 1) / rate * 10;
  const auto ahead = [&](REFERENCE_TIME& oAtMost) {
    const REFERENCE_TIME before = Sys_Clock::Microseconds() * 10;
    REFERENCE_TIME told = 0;
    EXPECT_EQ(clock->GetTime(&told), S_OK);
    const REFERENCE_TIME after = Sys_Clock::Microseconds() * 10;
    oAtMost = told - before;
    return told - after;
  };
  REFERENCE_TIME atMost = 0;
  EXPECT_TRUE(Test_WaitFor([&] { return ahead(atMost) <= period && atMost >= period; }));
  clock->Release();
}

}  // namespace
