// SPDX-License-Identifier: MIT
#include "cmn/time_types.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <type_traits>

namespace {

static_assert(sizeof(Time_EType) == 4, "event records hold it in 32 bits");
static_assert(std::is_trivially_copyable_v<Time_SampleLength> && std::is_trivially_copyable_v<Time_Sample>);
static_assert(std::is_trivially_copyable_v<Time_Typed> && std::is_standard_layout_v<Time_Typed>);
static_assert(sizeof(Time_Typed) == 16);
static_assert(std::is_base_of_v<Time_TypedBase<Time_Typed>, Time_Typed>);

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();

TEST(Time_SampleLength, WrapsASigned64BitCount) {
  EXPECT_EQ(Time_SampleLength().AsInt64(), 0);
  EXPECT_EQ(Time_SampleLength(kLargest).AsInt64(), kLargest);
  EXPECT_EQ(Time_SampleLength(kSmallest).AsInt64(), kSmallest);
}

TEST(Time_SampleLength, ComparesAndAdds) {
  EXPECT_EQ(Time_SampleLength(30) + Time_SampleLength(-40), Time_SampleLength(-10));
  EXPECT_LT(Time_SampleLength(-1), Time_SampleLength(0));
}

TEST(Time_Sample, WrapsASigned64BitCount) {
  EXPECT_EQ(Time_Sample().AsInt64(), 0);
  EXPECT_EQ(Time_Sample(kLargest).AsInt64(), kLargest);
  EXPECT_LT(Time_Sample(kSmallest), Time_Sample(0));
}

TEST(Time_TypedLength, GivesBackItsValueAndType) {
  const Time_TypedLength length(-5, Time_cTicks);
  EXPECT_EQ(length.AsInt64(), -5);
  EXPECT_EQ(length.GetType(), Time_cTicks);
  EXPECT_EQ(Time_TypedLength(1, Time_cSamples).GetType(), Time_cSamples);
}

TEST(Time_TypedLength, CarriesATypeItDoesNotKnow) {
  EXPECT_EQ(Time_TypedLength(1, static_cast<Time_EType>(77)).GetType(), 77);
}

TEST(Time_TypedLength, IsComparedByGreaterOrEqual) {
  const Time_TypedLength one(1, Time_cTicks);
  EXPECT_TRUE(Time_TypedLength(2, Time_cTicks) >= one);
  EXPECT_TRUE(Time_TypedLength(1, Time_cTicks) >= one);
  EXPECT_FALSE(Time_TypedLength(0, Time_cTicks) >= one);
  EXPECT_FALSE(Time_TypedLength(-1, Time_cTicks) >= one);
  EXPECT_TRUE(Time_TypedLength(1, Time_cSamples) >= one) << "the numbers alone count";
}

TEST(Time_Typed, TurnsASampleBack) {
  EXPECT_EQ(Time_Typed(Time_Sample(-48000)).AsSample(), Time_Sample(-48000));
  EXPECT_EQ(Time_Typed(Time_Sample(kLargest)).AsSample().AsInt64(), kLargest);
  EXPECT_EQ(Time_Typed(Time_Sample(3)).GetType(), Time_cSamples);
}

TEST(Time_Typed, IsSampleZeroByDefault) { EXPECT_EQ(Time_Typed().AsSample().AsInt64(), 0); }

}  // namespace
