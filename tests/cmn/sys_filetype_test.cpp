// SPDX-License-Identifier: MIT
#include "cmn/sys_filetype.h"

#include <gtest/gtest.h>

namespace {

TEST(Sys_FileType, IsCopiedAndCompared) {
  Sys_FileType type = Sys_FileType::cFolder;
  EXPECT_TRUE(type == Sys_FileType::cFolder);
  EXPECT_TRUE(type != Sys_FileType::cUnknown);
  type = Sys_FileType::cUnknown;
  EXPECT_TRUE(type == Sys_FileType::cUnknown);
  EXPECT_FALSE(type != Sys_FileType::cUnknown);
}

// The constants are used by other files' static initialisation.
constexpr Sys_FileType kDuringStaticInitialisation = Sys_FileType::cFolder;

TEST(Sys_FileType, ConstantsExistBeforeAnyInitialisation) {
  EXPECT_EQ(kDuringStaticInitialisation, Sys_FileType::cFolder);
}

}  // namespace
