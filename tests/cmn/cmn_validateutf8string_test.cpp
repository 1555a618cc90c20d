// SPDX-License-Identifier: MIT
#include "cmn/cmn_validateutf8string.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// U+FFFD.
#define REPLACED "\xEF\xBF\xBD"

TEST(Cmn_ValidateUTF8String, ValidTextComesBackUnchanged) {
  EXPECT_EQ(Cmn_ValidateUTF8String(""), "");
  EXPECT_EQ(Cmn_ValidateUTF8String("Piano 1"), "Piano 1");
  EXPECT_EQ(Cmn_ValidateUTF8String("Gr\xC3\xBC\xC3\x9F"), "Gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(Cmn_ValidateUTF8String("\xE9\xB3\xB4"), "\xE9\xB3\xB4");
  EXPECT_EQ(Cmn_ValidateUTF8String("\xF0\x9D\x84\x9E"), "\xF0\x9D\x84\x9E");
  EXPECT_EQ(Cmn_ValidateUTF8String("\xF4\x8F\xBF\xBF"), "\xF4\x8F\xBF\xBF")
      << "U+10FFFF is the last character";
}

TEST(Cmn_ValidateUTF8String, ZeroByteIsACharacter) {
  EXPECT_EQ(Cmn_ValidateUTF8String(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(Cmn_ValidateUTF8String, StrayBytesAreReplaced) {
  EXPECT_EQ(Cmn_ValidateUTF8String("a\x80z"), "a" REPLACED "z") << "a continuation of nothing";
  EXPECT_EQ(Cmn_ValidateUTF8String("a\xFFz"), "a" REPLACED "z") << "a byte that UTF-8 never holds";
  EXPECT_EQ(Cmn_ValidateUTF8String("Gr\xFC\xDF e"), "Gr" REPLACED REPLACED " e") << "Latin-1";
}

TEST(Cmn_ValidateUTF8String, CutSequencesAreReplaced) {
  EXPECT_EQ(Cmn_ValidateUTF8String("\xC3"), REPLACED);
  EXPECT_EQ(Cmn_ValidateUTF8String("\xE2\x82"), REPLACED);
  EXPECT_EQ(Cmn_ValidateUTF8String("\xE2\x82z"), REPLACED "z");
  EXPECT_EQ(Cmn_ValidateUTF8String("\xF0\x9D\x84"), REPLACED);
}

TEST(Cmn_ValidateUTF8String, OverlongSequencesAreReplaced) {
  EXPECT_EQ(Cmn_ValidateUTF8String("\xC0\xAFz"), REPLACED "z");
  EXPECT_EQ(Cmn_ValidateUTF8String("\xE0\x80\xAFz"), REPLACED "z");
}

TEST(Cmn_ValidateUTF8String, SurrogatesAreReplaced) {
  EXPECT_EQ(Cmn_ValidateUTF8String("\xED\xA0\x80z"), REPLACED "z");
  EXPECT_EQ(Cmn_ValidateUTF8String("\xED\xBF\xBFz"), REPLACED "z");
}

TEST(Cmn_ValidateUTF8String, WhatLiesAboveTheLastCharacterIsReplaced) {
  EXPECT_EQ(Cmn_ValidateUTF8String("\xF4\x90\x80\x80z"), REPLACED "z");
}

}  // namespace
