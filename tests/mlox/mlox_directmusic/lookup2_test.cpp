// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/lookup2.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

// The expected values come from a second computation, written on its own after the published algorithm.
struct Vector {
  const char* mTextP;
  std::uint32_t mHash;
};

class Lookup2Vectors : public ::testing::TestWithParam<Vector> {};

TEST_P(Lookup2Vectors, AgreeWithTheSecondComputation) {
  EXPECT_EQ(Lookup2(GetParam().mTextP, 0x87654321), GetParam().mHash);
}

INSTANTIATE_TEST_SUITE_P(AroundARoundOfTwelve, Lookup2Vectors,
                         ::testing::Values(Vector{"", 0x6076C1B3U}, Vector{"a", 0x6F4DF5D5U},
                                           Vector{"abc", 0x547DE413U}, Vector{"12345678", 0x56E235FEU},
                                           Vector{"123456789", 0xC89AC17BU},
                                           Vector{"12345678901", 0xCD95890AU},
                                           Vector{"123456789012", 0xB63B09D2U},
                                           Vector{"1234567890123", 0x0952ED2DU}));

INSTANTIATE_TEST_SUITE_P(Texts, Lookup2Vectors,
                         ::testing::Values(Vector{"{C41B1F46-94EA-4000-B3AC-FBA38EFA054D}+++1+++0",
                                                  0x7C12EB8BU},
                                           Vector{"{00000000-0000-0000-0000-000000000000}", 0x414181ADU}));

TEST(Lookup2, BytesAbove127CountAsUnsigned) {
  EXPECT_EQ(Lookup2("\xC3\xA4\xC3\xBF", 0x87654321), 0x2500F2A7U);
}

TEST(Lookup2, InitialValueTakesPart) {
  EXPECT_EQ(Lookup2("abc", 0), 0x251E4793U);
  EXPECT_EQ(Lookup2("abc", 0x87654321), 0x547DE413U);
}

}  // namespace
