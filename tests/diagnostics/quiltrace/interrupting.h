// SPDX-License-Identifier: MIT
/// \file
/// A record that stops its caller in the middle of a push.
#pragma once

#include <functional>
#include <utility>

/// Runs something in the middle of a push, as other threads would while its caller is stopped there.
struct Test_Interrupting {
  Test_Interrupting() = default;
  explicit Test_Interrupting(int iNumber) : mNumber(iNumber) {}
  Test_Interrupting(const Test_Interrupting&) = default;
  Test_Interrupting& operator=(const Test_Interrupting& iOther) {
    if (sInterrupt) std::exchange(sInterrupt, nullptr)();
    mNumber = iOther.mNumber;
    return *this;
  }

  int mNumber = 0;
  /// What the next push does first; once.
  static inline std::function<void()> sInterrupt;
};
