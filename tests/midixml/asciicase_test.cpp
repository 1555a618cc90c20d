// SPDX-License-Identifier: MIT
#include "midixml/asciicase.h"

#include <gtest/gtest.h>

using midixml::EqualsIgnoringCase;

namespace {

TEST(AsciiCase, FoldsTheLettersOfAscii) {
  EXPECT_TRUE(EqualsIgnoringCase(".MidNam", ".midnam"));
  EXPECT_TRUE(EqualsIgnoringCase("AZaz09", "azAZ09"));
  EXPECT_TRUE(EqualsIgnoringCase("", ""));
}

TEST(AsciiCase, FoldsNothingElse) {
  EXPECT_FALSE(EqualsIgnoringCase("\xC3\x84", "\xC3\xA4"));
  EXPECT_FALSE(EqualsIgnoringCase("@[", "`{"));
  EXPECT_FALSE(EqualsIgnoringCase("abc", "abcd"));
  EXPECT_FALSE(EqualsIgnoringCase("abcd", "abc"));
}

}  // namespace
