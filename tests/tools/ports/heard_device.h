// SPDX-License-Identifier: MIT
/// \file
/// The other end of an output: a loopback port, and what arrived at it.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

/// A loopback port "device", a studio of the test's own, and a driver that listens on the port.
class Test_HeardDevice : public testing::Test, public Platform_DriverHost {
 protected:
  using Bytes = std::vector<std::uint8_t>;
  static constexpr char kPort[] = "device";

  Test_HeardDevice() {
    Platform_LoopbackPorts::Plug(kPort);
    std::string reason;
    EXPECT_TRUE(mDriver.Start(this, reason)) << reason;
    Listen();
  }
  ~Test_HeardDevice() override {
    mInputP.reset();
    mDriver.Stop();
    Platform_LoopbackPorts::Unplug(kPort);
  }
  /// On the thread that plugs, and ahead of hosts that started later: what goes out as soon as the port is
  /// back is heard.
  void PortsMayHaveChanged() override { Listen(); }

  std::unique_ptr<Platform_DriverOutput> OpenOutput(const std::string& iName) {
    for (const Platform_PortInfo& port : mDriver.Ports()) {
      if (!port.mIsInput && port.mName == iName) return mDriver.OpenOutput(port);
    }
    return nullptr;
  }

  /// All that has arrived so far. What arrived before the input was opened anew stays.
  const std::vector<Bytes>& Heard() {
    while (mInputP != nullptr && mInputP->Read(mPiece)) {
      mHeard.emplace_back(mPiece.mBytes, mPiece.mBytes + mPiece.mLength);
    }
    return mHeard;
  }
  bool WaitUntilHeard(std::size_t iCount) {
    return WaitUntil([&] { return Heard().size() >= iCount; });
  }
  static bool WaitUntil(const std::function<bool()>& iIsDone) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!iIsDone()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

  /// Runs on a thread of its own; the future has the text of what was thrown, empty if nothing was.
  static std::future<std::string> FaultOf(std::function<void()> iRun) {
    return std::async(std::launch::async, [run = std::move(iRun)]() -> std::string {
      try {
        run();
      } catch (const std::exception& error) {
        return error.what();
      }
      return {};
    });
  }

  /// Ctrl-C. Only while a command runs that waits for it.
  static void Interrupt() { ::kill(::getpid(), SIGINT); }

  Test_TempFolder mFolder;

 private:
  // Opens the port's input, anew only when the port has been plugged in anew.
  void Listen() {
    for (const Platform_PortInfo& port : mDriver.Ports()) {
      if (!port.mIsInput || port.mName != kPort || port.mHandle == mHandle) continue;
      Heard();
      mHandle = port.mHandle;
      mInputP = mDriver.OpenInput(port);
    }
  }

  Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  Test_Environment mDatabase{"MLOX_STUDIO_DB", mFolder / "studio.db"};
  Platform_LoopbackDriver mDriver;
  std::string mHandle;
  std::unique_ptr<Platform_DriverInput> mInputP;
  Platform_Piece mPiece;
  std::vector<Bytes> mHeard;
};
