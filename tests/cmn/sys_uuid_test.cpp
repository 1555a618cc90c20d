// SPDX-License-Identifier: MIT
#include "cmn/sys_uuid.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

static_assert(sizeof(Sys_UUID) == 16, "four 32-bit words");
static_assert(std::is_trivially_copyable_v<Sys_UUID> && std::is_standard_layout_v<Sys_UUID>);

TEST(Sys_UUID, DefaultAndNoIDAreNil) {
  EXPECT_EQ(Sys_UUID(), Sys_UUID::NoID());
  EXPECT_EQ(Sys_UUID(), Sys_UUID(0, 0, 0, 0));
}

TEST(Sys_UUID, KeepsItsFourWordsInOrder) {
  const Sys_UUID id(0x11111111, 0x22222222, 0x33333333, 0xFFFFFFFF);
  EXPECT_EQ(id.GetWord(0), 0x11111111U);
  EXPECT_EQ(id.GetWord(1), 0x22222222U);
  EXPECT_EQ(id.GetWord(2), 0x33333333U);
  EXPECT_EQ(id.GetWord(3), 0xFFFFFFFFU);
}

TEST(Sys_UUID, EveryWordCountsInComparison) {
  const Sys_UUID id(1, 2, 3, 4);
  EXPECT_EQ(id, Sys_UUID(1, 2, 3, 4));
  EXPECT_NE(id, Sys_UUID(9, 2, 3, 4));
  EXPECT_NE(id, Sys_UUID(1, 9, 3, 4));
  EXPECT_NE(id, Sys_UUID(1, 2, 9, 4));
  EXPECT_NE(id, Sys_UUID(1, 2, 3, 9));
  EXPECT_LT(Sys_UUID(1, 9, 9, 9), Sys_UUID(2, 0, 0, 0)) << "the first word weighs most";
}

}  // namespace
