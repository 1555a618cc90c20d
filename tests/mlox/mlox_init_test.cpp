// SPDX-License-Identifier: MIT
#include "mlox/mlox_init.h"

#include <gtest/gtest.h>

struct Test_MloxInitAccess {
  static bool IsInitialized() { return Mlox_Init::sIsInitialized; }
};

namespace {

TEST(Mlox_Init, FlagIsDownInitRaisesItAndFreeTakesItDown) {
  EXPECT_FALSE(Test_MloxInitAccess::IsInitialized());
  Mlox_Init::Init();
  EXPECT_TRUE(Test_MloxInitAccess::IsInitialized());
  Mlox_Init::Free();
  EXPECT_FALSE(Test_MloxInitAccess::IsInitialized());
}

TEST(Mlox_Init, CallingInitTwiceIsHarmless) {
  Mlox_Init::Init();
  Mlox_Init::Init();
  EXPECT_TRUE(Test_MloxInitAccess::IsInitialized());
  Mlox_Init::Free();
  EXPECT_FALSE(Test_MloxInitAccess::IsInitialized());
}

}  // namespace
