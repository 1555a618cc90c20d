// SPDX-License-Identifier: MIT
/// \file
/// What tests need to hold under each value of MLOX_ASSERT.
#pragma once

#include <utility>

#include "cmn/cmn_assert.h"

/// Sets the mode of failed checks for its lifetime.
class Test_AssertMode {
 public:
  explicit Test_AssertMode(Cmn_Assert::EMode iMode) : mBefore(Cmn_Assert::GetMode()) {
    Cmn_Assert::SetMode(iMode);
  }
  ~Test_AssertMode() { Cmn_Assert::SetMode(mBefore); }
  Test_AssertMode(const Test_AssertMode&) = delete;
  Test_AssertMode& operator=(const Test_AssertMode&) = delete;

 private:
  Cmn_Assert::EMode mBefore;
};

/// Calls iFunction, which reports in the throwing form, and takes up the exception if the mode makes it one.
template <class Function>
void Test_IgnoringThrow(Function iFunction) {
  try {
    iFunction();
  } catch (const Cmn_AssertException&) {
    // The mode is kThrow: what the caller checks afterwards holds all the same.
  }
}

/// The same for a function with a result; iOtherwise stands for it when it throws.
template <class Result, class Function>
Result Test_IgnoringThrow(Result iOtherwise, Function iFunction) {
  try {
    return iFunction();
  } catch (const Cmn_AssertException&) {
    return iOtherwise;
  }
}
