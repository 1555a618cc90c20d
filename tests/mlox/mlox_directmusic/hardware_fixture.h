// SPDX-License-Identifier: MIT
/// \file
/// A hardware side without hardware: a recording root behind the port client, a service's handle, clocks and
/// sleeps of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "cmn/sys_utils.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicclocksync.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/mlox_directmusic_output.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "tests/mlox/mlox_directmusic/recording_port.h"

/// Reaches what only the device and the class itself use.
class Test_DirectMusicOutputAccess {
 public:
  static HRESULT SendBytes(Mlox_DirectMusic_Output& ioOutput, bool iImmediate, std::int64_t iTime,
                           const std::vector<unsigned char>& iBytes) {
    return ioOutput.SendBytes(iImmediate, iTime, iBytes.data(), static_cast<int>(iBytes.size()));
  }
  static void SetReleased(Mlox_DirectMusic_Output& ioOutput) { ioOutput.mReleased = true; }
  static bool IsReleased(const Mlox_DirectMusic_Output& iOutput) { return iOutput.mReleased; }
  static void SetTimestamped(Mlox_DirectMusic_Output& ioOutput) { ioOutput.mIsTimestamped = true; }
  static bool HasBuffer(const Mlox_DirectMusic_Output& iOutput) { return iOutput.mBuffer != nullptr; }
  static IDirectMusicPort* Port(const Mlox_DirectMusic_Output& iOutput) { return iOutput.mPort; }
  static DWORD Group(const Mlox_DirectMusic_Output& iOutput) { return iOutput.mChannelGroup; }
};

/// A manual clock that starts at 1,000,000 microseconds; the master clock stands at ten times that, plus 7.
/// Sleeps are noted and pass at once. A service's handle is attached and not suspended.
class Test_HardwareFixture : public ::testing::Test {
 public:
  static constexpr std::int64_t kStart = 1000000;

 protected:
  Test_HardwareFixture() {
    sNow = kStart;
    sSleeps.clear();
    sOnSleep = nullptr;
    sRootP = &mRoot;
    Sys_Clock::SetSourceForTest([] { return sNow.load(); });
    Sys_Utils::SetSleeperForTest(&NoteSleep);
    Platform_SetDirectMusicFactory(&GiveRoot);
    mRoot.mMasterClock.mSource = [] { return ReferenceTimeOf(sNow); };
    DirectMusicClient::GetDirectMusicPtr(true)->Release();
    mClockP = DirectMusicClockSync::Acquire();
    // The second reading makes the line: from here on conversions are exact.
    sNow += 200000;
    mClockP->Update();
    Handle().Attach(reinterpret_cast<Mlox_DirectMusic_Service*>(&mRoot));
  }

  ~Test_HardwareFixture() override {
    Handle().Detach();
    // Outputs of the test that are let go hold on to the fakes until they are deleted.
    sNow += 2 * Sys_DelayedDeletion::kMinimumAge;
    Sys_DelayedDeletion::RunPass();
    Sys_DelayedDeletion::RunPass();
    EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
    mClockP->Release();
    DirectMusicClient::ReleaseDirectMusicPtr();
    ClearRegisteredIDs();
    Platform_SetDirectMusicFactory(nullptr);
    Sys_Utils::SetSleeperForTest(nullptr);
    Sys_Clock::SetSourceForTest(nullptr);
    sRootP = nullptr;
  }

  static Mlox_DirectMusic_ServiceHandle& Handle() { return Mlox_DirectMusic_ServiceHandle::Singleton(); }
  static REFERENCE_TIME ReferenceTimeOf(std::int64_t iMicroseconds) { return 10 * iMicroseconds + 7; }

  /// What was slept, in milliseconds.
  static std::vector<std::int64_t> Sleeps() {
    const std::lock_guard lock(sSleepMutex);
    return sSleeps;
  }

  Test_RecordingRoot mRoot;
  Test_CallNotes& mNotes = mRoot.mNotes;
  DirectMusicClockSync* mClockP = nullptr;

  static inline std::atomic<std::int64_t> sNow{0};
  static inline std::function<void()> sOnSleep;

 private:
  static HRESULT GiveRoot(REFIID, void** oObjectP) {
    sRootP->AddRef();
    *oObjectP = static_cast<IDirectMusic8*>(sRootP);
    return S_OK;
  }
  static void NoteSleep(std::int64_t iMilliseconds) {
    {
      const std::lock_guard lock(sSleepMutex);
      sSleeps.push_back(iMilliseconds);
    }
    if (sOnSleep) sOnSleep();
  }

  static inline Test_RecordingRoot* sRootP = nullptr;
  static inline std::mutex sSleepMutex;
  static inline std::vector<std::int64_t> sSleeps;
};
