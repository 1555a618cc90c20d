// SPDX-License-Identifier: MIT
/// \file
/// Something that happens in the middle of an operation that reports.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>

#include "cmn/cmn_assert.h"
#include "cmn/sys_delayeddeletion.h"
#include "tests/support/fake_time.h"

/// Calls a function inside each failed check, instead of its being printed, from its making to its end.
class Test_CallOnReport {
 public:
  explicit Test_CallOnReport(std::function<void()> iCall) : mCall(std::move(iCall)) {
    mOuterHandler = Cmn_Assert::GetHandler(&mOuterContextP);
    Cmn_Assert::SetHandler(&Test_CallOnReport::Handle, this);
  }
  ~Test_CallOnReport() { Cmn_Assert::SetHandler(mOuterHandler, mOuterContextP); }
  Test_CallOnReport(const Test_CallOnReport&) = delete;
  Test_CallOnReport& operator=(const Test_CallOnReport&) = delete;

 private:
  static void Handle(void* iContextP, const Cmn_AssertReport&) {
    static_cast<Test_CallOnReport*>(iContextP)->mCall();
  }

  std::function<void()> mCall;
  Cmn_Assert::Handler mOuterHandler = nullptr;
  void* mOuterContextP = nullptr;
};

/// Runs more passes than anything that nobody holds could survive; returns how many objects still wait. Needs
/// a Test_FakeTime.
inline std::size_t Test_PendingAfterManyPasses() {
  for (int i = 0; i < 10; ++i) {
    Test_FakeTime::Advance(2 * Sys_DelayedDeletion::kMinimumAge);
    Sys_DelayedDeletion::RunPass();
  }
  return Sys_DelayedDeletion::PendingCount();
}
