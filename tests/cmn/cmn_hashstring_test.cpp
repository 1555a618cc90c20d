// SPDX-License-Identifier: MIT
#include "cmn/cmn_hashstring.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Published test vectors of the 32-bit FNV-1a hash.
TEST(Cmn_HashString, AgreesWithThePublishedVectors) {
  EXPECT_EQ(Cmn_HashString(""), 0x811C9DC5U);
  EXPECT_EQ(Cmn_HashString("a"), 0xE40C292CU);
  EXPECT_EQ(Cmn_HashString("foobar"), 0xBF9CF968U);
}

TEST(Cmn_HashString, BytesOf128AndMoreCountAsUnsigned) { EXPECT_EQ(Cmn_HashString("\xFF"), 0x7A0B824EU); }

TEST(Cmn_HashString, ZeroBytesCount) {
  EXPECT_NE(Cmn_HashString(std::string("a\0", 2)), Cmn_HashString("a"));
  EXPECT_NE(Cmn_HashString(std::string("a\0b", 3)), Cmn_HashString(std::string("a\0c", 3)));
}

}  // namespace
