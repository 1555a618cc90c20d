// SPDX-License-Identifier: MIT
/// \file
/// The library's DirectMusic root over the ALSA driver, watched, for tests in the guest.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/durableguid.h"
#include "platform/directmusic/presence.h"
#include "platform/directmusic/windows_com.h"
#include "platform/directmusic/windows_events.h"
#include "tests/platform/directmusic/conformance/driver_peer.h"

/// Waits for a condition; false when it did not come true in time. In virtual time waiting costs nothing; but
/// while the guest waits for a file of a busy host, virtual time flies, so the patience is long.
inline bool Test_WaitInGuest(const std::function<bool()>& iCondition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(10);
  // Ever more seldom: looking is what costs the host's time.
  std::chrono::microseconds pause(1'000);
  while (!iCondition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 5 / 4, std::chrono::microseconds(500'000));
  }
  return true;
}

/// What the root reports, kept.
class Test_PresenceRecorder final : public Platform_PresenceWatcher {
 public:
  void PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) override {
    const std::lock_guard lock(mMutex);
    mPorts = iPorts;
  }
  std::vector<Platform_PresentPort> Ports() {
    const std::lock_guard lock(mMutex);
    return mPorts;
  }

 private:
  std::mutex mMutex;
  std::vector<Platform_PresentPort> mPorts;
};

/// The root, watched for the time of a test.
class Test_AlsaRoot : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("MLOX_MIDI_DRIVERS", "alsa", 1);
    ASSERT_EQ(CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                               reinterpret_cast<void**>(&mRootP)),
              S_OK);
    ASSERT_EQ(mRootP->QueryInterface(IID_IPlatformPresence, reinterpret_cast<void**>(&mPresenceP)), S_OK);
    mPresenceP->Watch(&mRecorder);
  }
  void TearDown() override {
    for (IDirectMusicPort* const port : mOpen) {
      port->Activate(FALSE);
      port->Release();
    }
    mPresenceP->Unwatch(&mRecorder);
    mPresenceP->SetIdentityTable(nullptr);
  }

  // Watches anew with what is known of cards with serial numbers.
  void WatchWithTable(Platform_IdentityTable* iTableP) {
    mPresenceP->Unwatch(&mRecorder);
    mPresenceP->SetIdentityTable(iTableP);
    mPresenceP->Watch(&mRecorder);
  }

  // The port whose path or name holds the text; false while there is none.
  bool Find(const std::string& iText, bool iIsInput, Platform_PresentPort& oPort) {
    for (const Platform_PresentPort& port : mRecorder.Ports()) {
      if (port.mInfo.mIsInput == iIsInput && (port.mInfo.mPath.find(iText) != std::string::npos ||
                                              port.mInfo.mName.find(iText) != std::string::npos)) {
        oPort = port;
        return true;
      }
    }
    return false;
  }
  // Its GUID's text, waited for; empty when it does not come.
  std::string GuidOf(const std::string& iText, bool iIsInput) {
    Platform_PresentPort port;
    return Test_WaitInGuest([&] { return Find(iText, iIsInput, port); }) ? Platform_GuidToText(port.mGuid)
                                                                         : "";
  }
  bool IsGone(const std::string& iText) {
    Platform_PresentPort port;
    return Test_WaitInGuest([&] { return !Find(iText, true, port) && !Find(iText, false, port); });
  }

  // Opened and active until the end of the test.
  IDirectMusicPort* Open(const std::string& iText, bool iIsInput) {
    Platform_PresentPort found;
    if (!Test_WaitInGuest([&] { return Find(iText, iIsInput, found); })) {
      ADD_FAILURE() << iText << " is not there";
      return nullptr;
    }
    IDirectMusicPort* port = nullptr;
    DMUS_PORTPARAMS8 params{};
    params.dwSize = sizeof(params);
    EXPECT_EQ(mRootP->CreatePort(found.mGuid, &params, &port, nullptr), S_OK);
    if (port != nullptr) {
      EXPECT_EQ(port->Activate(TRUE), S_OK);
      mOpen.push_back(port);
    }
    return port;
  }

  HRESULT Play(IDirectMusicPort* iPortP, Test_MidiBytes iBytes, REFERENCE_TIME iTime = INT64_MIN) {
    IDirectMusicBuffer* const buffer = NewBuffer(static_cast<DWORD>(iBytes.size()) + 64);
    buffer->SetStartTime(iTime);
    EXPECT_EQ(buffer->PackUnstructured(iTime, 1, static_cast<DWORD>(iBytes.size()), iBytes.data()), S_OK);
    const HRESULT result = iPortP->PlayBuffer(buffer);
    buffer->Release();
    return result;
  }

  // The next piece; empty when none waits.
  Test_MidiBytes ReadNow(IDirectMusicPort* iPortP) {
    IDirectMusicBuffer* const buffer = NewBuffer(4200);
    Test_MidiBytes bytes;
    if (iPortP->Read(buffer) == S_OK) {
      REFERENCE_TIME time = 0;
      DWORD group = 0;
      DWORD length = 0;
      BYTE* data = nullptr;
      buffer->ResetReadPtr();
      EXPECT_EQ(buffer->GetNextEvent(&time, &group, &length, &data), S_OK);
      bytes.assign(data, data + length);
    }
    buffer->Release();
    return bytes;
  }
  Test_MidiBytes Receive(IDirectMusicPort* iPortP) {
    Test_MidiBytes bytes;
    Test_WaitInGuest([&] {
      bytes = ReadNow(iPortP);
      return !bytes.empty();
    });
    return bytes;
  }

  IDirectMusicBuffer* NewBuffer(DWORD iPayload) {
    DMUS_BUFFERDESC desc{};
    desc.dwSize = sizeof(desc);
    desc.cbBuffer = (iPayload + 27) & ~DWORD{7};
    IDirectMusicBuffer* buffer = nullptr;
    EXPECT_EQ(mRootP->CreateMusicBuffer(&desc, &buffer, nullptr), S_OK);
    return buffer;
  }

  IDirectMusic8* mRootP = nullptr;
  IPlatformPresence* mPresenceP = nullptr;
  Test_PresenceRecorder mRecorder;
  std::vector<IDirectMusicPort*> mOpen;
};
