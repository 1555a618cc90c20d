// SPDX-License-Identifier: MIT
/// \file
/// A stand-in for sleeping, for tests in which Kill waits for a writer.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include "cmn/sys_utils.h"

/// A stand-in for Sys_Utils::Sleep that lets a test see and steer a waiting Kill. One at a time.
class Test_Sleeper {
 public:
  Test_Sleeper() {
    sSleeps = 0;
    sLastMilliseconds = -1;
    sCall = nullptr;
    Sys_Utils::SetSleeperForTest([](int64_t iMilliseconds) {
      ++sSleeps;
      sLastMilliseconds = iMilliseconds;
      if (sCall) sCall();
      std::this_thread::yield();
    });
  }
  ~Test_Sleeper() { Sys_Utils::SetSleeperForTest(nullptr); }
  Test_Sleeper(const Test_Sleeper&) = delete;
  Test_Sleeper& operator=(const Test_Sleeper&) = delete;

  static inline std::atomic<int> sSleeps{0};
  static inline std::atomic<int64_t> sLastMilliseconds{-1};
  static inline std::function<void()> sCall;
};
