// SPDX-License-Identifier: MIT
/// \file
/// Who uses the library before main and after it.
#pragma once

#include <cstdlib>

/// Asks a question when it is made and when it goes. Give its object static storage and
/// `[[gnu::init_priority(200)]]`: it is then made before the library's static objects that wait for their
/// turn, and goes after them.
template <bool (*iAsk)()>
class Test_StaticUser {
 public:
  Test_StaticUser() : mFirstAnswer(iAsk()) {}
  ~Test_StaticUser() {
    if (mLeavesWithStatus) std::_Exit(iAsk() ? kYes : kNo);
  }
  Test_StaticUser(const Test_StaticUser&) = delete;
  Test_StaticUser& operator=(const Test_StaticUser&) = delete;

  /// What the answer was when the object was made.
  bool FirstAnswer() const { return mFirstAnswer; }

  /// Ends the process; its status tells what the answer is when the object goes.
  [[noreturn]] void ExitWithLastAnswer() {
    mLeavesWithStatus = true;
    std::exit(kNo);
  }

  static constexpr int kYes = 33;
  static constexpr int kNo = 34;

 private:
  bool mFirstAnswer;
  bool mLeavesWithStatus = false;
};
