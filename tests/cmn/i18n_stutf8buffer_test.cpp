// SPDX-License-Identifier: MIT
#include "cmn/i18n_stutf8buffer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string FromWide(const wchar_t* iTextP) { return I18N_StUTF8Buffer(iTextP).get(); }
std::string FromUTF16(const std::u16string& iText) { return I18N_StUTF8Buffer(iText.c_str()).get(); }

TEST(I18N_StUTF8Buffer, ConvertsEachLengthOfSequence) {
  EXPECT_EQ(FromWide(L"a"), "a");
  EXPECT_EQ(FromWide(L"\u00FC"), "\xC3\xBC");
  EXPECT_EQ(FromWide(L"\u20AC"), "\xE2\x82\xAC");
  EXPECT_EQ(FromWide(L"\U0001D11E"), "\xF0\x9D\x84\x9E");
  EXPECT_EQ(FromUTF16(u"\u20AC"), "\xE2\x82\xAC");
}

TEST(I18N_StUTF8Buffer, PairsOfSurrogatesAreJoined) {
  EXPECT_EQ(FromUTF16({0xD834, 0xDD1E}), "\xF0\x9D\x84\x9E");
  EXPECT_EQ(FromUTF16({0xDBFF, 0xDFFF}), "\xF4\x8F\xBF\xBF");
  const wchar_t pair[] = {static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0xDC00), 0};
  EXPECT_EQ(FromWide(pair), "\xF0\x90\x80\x80") << "also where wide characters have 32 bits";
}

TEST(I18N_StUTF8Buffer, SingleSurrogatesAreReplaced) {
  EXPECT_EQ(FromUTF16({0xD834}), "\xEF\xBF\xBD") << "at the end";
  EXPECT_EQ(FromUTF16({0xD834, 'a'}),
            "\xEF\xBF\xBD"
            "a")
      << "a first half alone";
  EXPECT_EQ(FromUTF16({0xDD1E, 'a'}),
            "\xEF\xBF\xBD"
            "a")
      << "a second half alone";
  EXPECT_EQ(FromUTF16({0xD834, 0xD834, 0xDD1E}), "\xEF\xBF\xBD\xF0\x9D\x84\x9E");
}

TEST(I18N_StUTF8Buffer, WhatIsNoCharacterIsReplaced) {
  const wchar_t tooLarge[] = {static_cast<wchar_t>(0x110000), L'a', 0};
  EXPECT_EQ(FromWide(tooLarge),
            "\xEF\xBF\xBD"
            "a");
}

TEST(I18N_StUTF8Buffer, NullAndEmptyTextsAreEmpty) {
  EXPECT_EQ(FromWide(nullptr), "");
  EXPECT_EQ(FromWide(L""), "");
  EXPECT_EQ(I18N_StUTF8Buffer(static_cast<const char16_t*>(nullptr)).Length(), 0U);
}

TEST(I18N_StUTF8Buffer, LengthCountsBytesAndAZeroFollows) {
  const I18N_StUTF8Buffer buffer(u"\u20AC!");
  EXPECT_EQ(buffer.Length(), 4U);
  const char* textP = buffer;
  EXPECT_EQ(textP[4], '\0');
}

}  // namespace
