// SPDX-License-Identifier: MIT
#include "cmn/cmn_nonblocking.h"

#include "tests/support/sanitizers.h"

// The mark means something only to a build that checks it: others see nothing, so they have no test here.
#if TEST_HAS_FEATURE(realtime_sanitizer)

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

void* volatile sBlockP = nullptr;

void TakeMemory() MLOX_NONBLOCKING {
  sBlockP = std::malloc(16);
  std::free(sBlockP);
}

TEST(Cmn_NonblockingDeathTest, AMarkedFunctionThatAllocatesEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(TakeMemory(), "unsafe-library-call");
}

}  // namespace

#endif
