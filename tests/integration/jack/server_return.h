// SPDX-License-Identifier: MIT
/// \file
/// How soon music goes on after a server has come back.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>

#include "cmn/sys_clock.h"
#include "tests/support/sanitizers.h"

/// Says how long ago a server came back, and expects that to be at most 2 seconds.
/// \param iBack    when it took clients, in microseconds of Sys_Clock
/// \param iOthers  how long programs of others took to start meanwhile, which no driver can hasten
inline void Test_ExpectSoonAfterReturn(std::int64_t iBack, std::int64_t iOthers = 0) {
  // A checker's own slowness is no matter of the driver's.
  constexpr std::int64_t kMost = TEST_HAS_MEMORY_OR_THREAD_CHECKER != 0 ? 10'000'000 : 2'000'000;
  const std::int64_t took = Sys_Clock::Microseconds() - iBack - iOthers;
  std::printf("first note %.3f s after the server's return, besides %.3f s for other programs\n",
              static_cast<double>(took) / 1e6, static_cast<double>(iOthers) / 1e6);
  EXPECT_LE(took, kMost);
}
