// SPDX-License-Identifier: MIT
/// \file
/// What the tests' listeners with one notification have in common.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "tests/support/fake_service.h"

/// What a listener with one notification does: it writes its name into a log, then does what the test tells
/// it. The listener derives from this and from the library's class, and calls Hear when it is told.
class Test_NamedListener {
 public:
  explicit Test_NamedListener(Test_CallLog* iLogP, std::string iName = "listener")
      : mLogP(iLogP), mName(std::move(iName)) {}

  void Hear() {
    mLogP->push_back(mName);
    if (mAct) mAct();
  }

  std::function<void()> mAct;

 private:
  Test_CallLog* mLogP;
  std::string mName;
};
