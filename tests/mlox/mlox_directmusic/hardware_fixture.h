// SPDX-License-Identifier: MIT
/// \file
/// What tests of outputs and devices stand on: a fake DirectMusic behind the port client, clocks that a test
/// moves, and the handle of a service.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicclocksync.h"
#include "mlox/mlox_directmusic/endpointidentity.h"
#include "mlox/mlox_directmusic/mlox_directmusic_output.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "tests/support/fake_directmusic.h"
#include "tests/support/fake_time.h"

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

/// The events that were played on a port, of all buffers in order.
inline std::vector<Test_FakeEvent> Test_EventsOn(const Test_FakePort& iPort) {
  std::vector<Test_FakeEvent> events;
  for (const Test_FakePlayed& played : iPort.Played()) {
    events.insert(events.end(), played.mEvents.begin(), played.mEvents.end());
  }
  return events;
}

/// The calls so far, by their names alone, and forgets them.
inline std::vector<std::string> Test_TakeNames(Test_FakeCalls& ioCalls) {
  std::vector<std::string> names;
  for (const std::string& line : ioCalls.Lines()) {
    const std::size_t colon = line.find(": ");
    const std::string call = colon == std::string::npos ? line : line.substr(colon + 2);
    names.push_back(call.substr(0, call.find(' ')));
  }
  ioCalls.Clear();
  return names;
}

/// The calls so far, whole, and forgets them.
inline std::vector<std::string> Test_TakeLines(Test_FakeCalls& ioCalls) {
  std::vector<std::string> lines = ioCalls.Lines();
  ioCalls.Clear();
  return lines;
}

/// The master clock stands at ten times the microseconds, plus 7, and the shared clock knows that line. A
/// service's handle is attached and not suspended.
class Test_HardwareFixture : public ::testing::Test {
 protected:
  Test_HardwareFixture() {
    Calls().mOnCall = [this](const std::string& iLine) {
      if (iLine == "MasterClock: GetTime") mRoot.MasterClock().mTime = ReferenceTimeOf(Test_FakeTime::Now());
      if (mOnCall) mOnCall(iLine);
    };
    DirectMusicClient::GetDirectMusicPtr(true)->Release();
    mClockP = DirectMusicClockSync::Acquire();
    // The second reading makes the line: from here on conversions are exact.
    Test_FakeTime::Advance(200000);
    mClockP->Update();
    Handle().Attach(reinterpret_cast<Mlox_DirectMusic_Service*>(this));
    Calls().Clear();
  }

  ~Test_HardwareFixture() override {
    mOnCall = nullptr;
    Handle().Detach();
    DeleteReleasedOutputs();
    EXPECT_LE(Sys_DelayedDeletion::PendingCount(), mPendingBefore);
    EXPECT_EQ(mRoot.BufferReferences(), 0);
    mClockP->Release();
    DirectMusicClient::ReleaseDirectMusicPtr();
    ClearRegisteredIDs();
  }

  /// Outputs that are let go hold on to ports until they are deleted.
  static void DeleteReleasedOutputs() {
    Test_FakeTime::Advance(2 * Sys_DelayedDeletion::kMinimumAge);
    Sys_DelayedDeletion::RunPass();
    Sys_DelayedDeletion::RunPass();
  }

  static Mlox_DirectMusic_ServiceHandle& Handle() { return Mlox_DirectMusic_ServiceHandle::Singleton(); }
  static REFERENCE_TIME ReferenceTimeOf(std::int64_t iMicroseconds) { return 10 * iMicroseconds + 7; }
  Test_FakeCalls& Calls() { return mRoot.Calls(); }

  // What tests under the real clock have left isn't old by the fake one.
  const std::size_t mPendingBefore = Sys_DelayedDeletion::PendingCount();
  Test_FakeTime mTime;
  Test_FakeDirectMusic mRoot;
  DirectMusicClockSync* mClockP = nullptr;
  /// Called at each call on the fakes; set it before other threads run.
  std::function<void(const std::string& iLine)> mOnCall;
};
