// SPDX-License-Identifier: MIT
#include "tools/mlox/terminaltext.h"

#include <gtest/gtest.h>

#include "tests/support/test_environment.h"

namespace {

TEST(TerminalText, ControlCharactersBecomeBlanks) {
  EXPECT_EQ(tool::ForTerminal("a\x1B[31m\tb\x7F"), "a [31m b ");
  EXPECT_EQ(tool::ForTerminal("x\xC2\x9By"), "x y");
  EXPECT_EQ(tool::ForTerminal("Fl\xC3\xBCgel\xC2"), "Fl\xC3\xBCgel\xC2");
}

TEST(TerminalText, CharactersCountAsOneColumn) {
  EXPECT_EQ(tool::ColumnsOf("Fl\xC3\xBCgel"), 6u);
  EXPECT_EQ(tool::ColumnsOf(""), 0u);
}

TEST(TerminalText, TextIsFilledOrCutToItsColumns) {
  EXPECT_EQ(tool::FitColumns("abc", 5), "abc  ");
  EXPECT_EQ(tool::FitColumns("abcdef", 4), "abc\xE2\x80\xA6");
  EXPECT_EQ(tool::FitColumns("\xC3\xA4\xC3\xB6\xC3\xBC", 2), "\xC3\xA4\xE2\x80\xA6");
  EXPECT_EQ(tool::ColumnsOf(tool::FitColumns("abcdef", 1)), 1u);
}

TEST(TerminalText, TextIsBrokenAtBlanks) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(tool::WrapColumns("one two three", 7), (Lines{"one two", "three"}));
  EXPECT_EQ(tool::WrapColumns("one two three", 6), (Lines{"one", "two", "three"}));
  EXPECT_EQ(tool::WrapColumns("  a   b ", 10), (Lines{"a b"}));
  EXPECT_EQ(tool::WrapColumns("\xC3\xA4\xC3\xB6 \xC3\xBC", 4), (Lines{"\xC3\xA4\xC3\xB6 \xC3\xBC"}));
  EXPECT_EQ(tool::WrapColumns("a considerable word", 3), (Lines{"a", "considerable", "word"}));
  EXPECT_EQ(tool::WrapColumns("", 10), Lines{""});
}

TEST(TerminalText, ChannelsAreDrawnTogether) {
  EXPECT_EQ(tool::ChannelsText({1, 2, 3, 5, 7, 8}), "1-3, 5, 7-8");
  EXPECT_EQ(tool::ChannelsText({10}), "10");
  EXPECT_EQ(tool::ChannelsText({}), "");
}

TEST(TerminalText, TheWidthIsThatOfTheEnvironment) {
  const Test_Environment columns("COLUMNS", "123");
  EXPECT_EQ(tool::TerminalColumns(), 123u);
}

}  // namespace
