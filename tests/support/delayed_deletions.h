// SPDX-License-Identifier: MIT
/// \file
/// The end of what waits for its deletion.
#pragma once

#include <gtest/gtest.h>

#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "tests/support/fake_time.h"

/// Deletes everything that waits for its deletion, without waiting. Not while a test has its own clock.
inline void Test_RunDelayedDeletions() {
  const Test_FakeTime time(Sys_Clock::Microseconds() + 2 * Sys_DelayedDeletion::kMinimumAge);
  // The second pass takes what the first one's objects have let go of.
  Sys_DelayedDeletion::RunPass();
  Test_FakeTime::Advance(2 * Sys_DelayedDeletion::kMinimumAge);
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
}
