// SPDX-License-Identifier: MIT
/// \file
/// A clock, and sleep, that stand still until a test moves them.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "cmn/sys_clock.h"
#include "cmn/sys_utils.h"

/// Stands in for Sys_Clock and Sys_Utils::Sleep from its making to its end. One at a time. Reading the clock
/// doesn't move it, unless SetStep says so; sleeping moves it by what was asked for and returns at once.
class Test_FakeTime {
 public:
  explicit Test_FakeTime(std::int64_t iMicroseconds = 1000000) {
    sNow = iMicroseconds;
    sStep = 0;
    {
      const std::lock_guard lock(Mutex());
      SleepList().clear();
    }
    Sys_Clock::SetSourceForTest([] { return sNow.fetch_add(sStep.load()); });
    Sys_Utils::SetSleeperForTest([](std::int64_t iMilliseconds) {
      {
        const std::lock_guard lock(Mutex());
        SleepList().push_back(iMilliseconds);
      }
      sNow += iMilliseconds * 1000;
    });
  }
  ~Test_FakeTime() {
    Sys_Clock::SetSourceForTest(nullptr);
    Sys_Utils::SetSleeperForTest(nullptr);
  }
  Test_FakeTime(const Test_FakeTime&) = delete;
  Test_FakeTime& operator=(const Test_FakeTime&) = delete;

  static std::int64_t Now() { return sNow.load(); }
  static void Set(std::int64_t iMicroseconds) { sNow = iMicroseconds; }
  static void Advance(std::int64_t iMicroseconds) { sNow += iMicroseconds; }
  /// Each reading moves the clock on by so much, after it was taken.
  static void SetStep(std::int64_t iMicroseconds) { sStep = iMicroseconds; }
  /// Every sleep that was asked for, in milliseconds.
  static std::vector<std::int64_t> Sleeps() {
    const std::lock_guard lock(Mutex());
    return SleepList();
  }

 private:
  static std::mutex& Mutex() {
    static std::mutex sMutex;
    return sMutex;
  }
  static std::vector<std::int64_t>& SleepList() {
    static std::vector<std::int64_t> sSleeps;
    return sSleeps;
  }

  static inline std::atomic<std::int64_t> sNow{0};
  static inline std::atomic<std::int64_t> sStep{0};
};
