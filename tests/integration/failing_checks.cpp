// SPDX-License-Identifier: MIT
/// \file
/// Checks that fail in whatever process loads the library as its tracing library, before main: three times
/// one, once another on a real-time thread.
#include "cmn/cmn_assert.h"
#include "cmn/cmn_realtimescope.h"

namespace {

constexpr char kAssertSource[] = "tests/integration/failing_checks";

__attribute__((constructor)) void FailChecks() {
// Line numbers that no edit of this file changes.
#line 101
  for (int i = 0; i < 3; ++i) CMN_ASSERT_FROM(kAssertSource, i < 0, "i < 0");
  const Cmn_RealTimeScope realTime;
  CMN_ASSERT_FROM(kAssertSource, false, "on a real-time thread");
}

}  // namespace
