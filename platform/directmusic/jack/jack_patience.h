// SPDX-License-Identifier: MIT
/// \file
/// Waiting for what a server does, in small steps and not for ever.
#pragma once

#include <chrono>
#include <thread>

/// Waits for a condition, looking every step; false when it did not come true in time.
template <class Condition>
bool Platform_JackWaitFor(std::chrono::milliseconds iPatience, std::chrono::microseconds iStep,
                          Condition iCondition) {
  const auto end = std::chrono::steady_clock::now() + iPatience;
  while (!iCondition()) {
    if (std::chrono::steady_clock::now() >= end) {
      return false;
    }
    std::this_thread::sleep_for(iStep);
  }
  return true;
}
