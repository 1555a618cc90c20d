// SPDX-License-Identifier: MIT
#include "mlox/mlox_inputid.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

TEST(Mlox_InputID, DefaultEquals00) {
  EXPECT_TRUE(Mlox_InputID() == Mlox_InputID(0, 0));
  EXPECT_FALSE(Mlox_InputID() != Mlox_InputID(0, 0));
  EXPECT_FALSE(Mlox_InputID() == Mlox_InputID(-1, -1));
}

TEST(Mlox_InputID, EqualityComparesBothNumbers) {
  EXPECT_TRUE(Mlox_InputID(1, 2) != Mlox_InputID(2, 2));
  EXPECT_TRUE(Mlox_InputID(1, 2) != Mlox_InputID(1, 3));
  EXPECT_TRUE(Mlox_InputID(1, 2) == Mlox_InputID(1, 2));
}

TEST(Mlox_InputID, OrdersByTheSecondNumberAndThenByTheFirst) {
  EXPECT_TRUE(Mlox_InputID(1, 2) < Mlox_InputID(0, 3));
  EXPECT_FALSE(Mlox_InputID(0, 3) < Mlox_InputID(1, 2));
  EXPECT_TRUE(Mlox_InputID(0, 3) < Mlox_InputID(1, 3));
  EXPECT_FALSE(Mlox_InputID(1, 3) < Mlox_InputID(0, 3));
  EXPECT_FALSE(Mlox_InputID(1, 3) < Mlox_InputID(1, 3));
}

TEST(Mlox_InputID, OrdersAsSigned) {
  EXPECT_TRUE(Mlox_InputID(0, -1) < Mlox_InputID(0, 0));
  EXPECT_TRUE(Mlox_InputID(-1, 0) < Mlox_InputID(0, 0));
  EXPECT_TRUE(Mlox_InputID(5, -2147483647 - 1) < Mlox_InputID(0, 2147483647));
}

TEST(Mlox_InputID, TakesItsNumbersInFieldOrderAsTwoSigned32BitNumbers) {
  const Mlox_InputID id(7, -9);
  std::int32_t numbers[2] = {};
  static_assert(sizeof(id) == sizeof(numbers));
  std::memcpy(numbers, &id, sizeof(numbers));
  EXPECT_EQ(numbers[0], 7);
  EXPECT_EQ(numbers[1], -9);
}

}  // namespace
