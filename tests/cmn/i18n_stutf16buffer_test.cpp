// SPDX-License-Identifier: MIT
#include "cmn/i18n_stutf16buffer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Text = std::basic_string<I18N_UTF16Char>;

Text Converted(const char* iTextP) { return Text(I18N_StUTF16Buffer(iTextP).get()); }

Text Units(std::initializer_list<int> iUnits) {
  Text text;
  for (const int unit : iUnits) text += static_cast<I18N_UTF16Char>(unit);
  return text;
}

TEST(I18N_StUTF16Buffer, ConvertsCharactersOfOneUnit) {
  EXPECT_EQ(Converted("ab"), Units({'a', 'b'}));
  EXPECT_EQ(Converted("\xC3\xBC"), Units({0x00FC}));
  EXPECT_EQ(Converted("\xE2\x82\xAC"), Units({0x20AC}));
  EXPECT_EQ(Converted("\xEF\xBF\xBF"), Units({0xFFFF}));
}

TEST(I18N_StUTF16Buffer, CharactersAboveFFFFBecomePairsOfSurrogates) {
  EXPECT_EQ(Converted("\xF0\x90\x80\x80"), Units({0xD800, 0xDC00})) << "U+10000";
  EXPECT_EQ(Converted("\xF0\x9D\x84\x9E"), Units({0xD834, 0xDD1E})) << "U+1D11E";
  EXPECT_EQ(Converted("\xF4\x8F\xBF\xBF"), Units({0xDBFF, 0xDFFF})) << "U+10FFFF";
}

TEST(I18N_StUTF16Buffer, IllFormedInputIsReplaced) {
  EXPECT_EQ(Converted("a\xFFz"), Units({'a', 0xFFFD, 'z'}));
  EXPECT_EQ(Converted("\xED\xA0\x80z"), Units({0xFFFD, 'z'})) << "a surrogate in UTF-8";
  EXPECT_EQ(Converted("\xC3"), Units({0xFFFD}));
}

TEST(I18N_StUTF16Buffer, NullAndEmptyTextsAreEmpty) {
  EXPECT_EQ(Converted(nullptr), Text());
  EXPECT_EQ(Converted(""), Text());
  EXPECT_EQ(I18N_StUTF16Buffer("").Length(), 0U);
}

TEST(I18N_StUTF16Buffer, LengthCountsUnitsAndAZeroFollows) {
  const I18N_StUTF16Buffer buffer("\xF0\x9D\x84\x9E!");
  EXPECT_EQ(buffer.Length(), 3U);
  const I18N_UTF16Char* textP = buffer;
  EXPECT_EQ(textP[2], static_cast<I18N_UTF16Char>('!'));
  EXPECT_EQ(textP[3], 0);
}

}  // namespace
