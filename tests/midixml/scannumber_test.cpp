// SPDX-License-Identifier: MIT
#include "midixml/scannumber.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <random>
#include <string>

#include "tests/midixml/german_locale.h"

namespace {

std::optional<int> Int(const std::string& iText) {
  int value = 0;
  if (!midixml::ScanInt(iText.data(), iText.data() + iText.size(), value)) return std::nullopt;
  return value;
}

std::optional<uint32_t> Hex(const std::string& iText) {
  uint32_t value = 0;
  if (!midixml::ScanHex(iText.data(), iText.data() + iText.size(), value)) return std::nullopt;
  return value;
}

std::optional<float> Float(const std::string& iText) {
  float value = 0;
  if (!midixml::ScanFloat(iText.c_str(), value)) return std::nullopt;
  return value;
}

TEST(ScanInt, ReadsSignsSpaceAndIgnoresWhatFollows) {
  EXPECT_EQ(Int("12abc"), 12);
  EXPECT_EQ(Int(" \t\n\v\f\r-7 8"), -7);
  EXPECT_EQ(Int("+3"), 3);
  EXPECT_EQ(Int("007"), 7);
  EXPECT_EQ(Int("0x10"), 0);
  EXPECT_EQ(Int("1.9"), 1);
}

TEST(ScanInt, ConvertsNothingFromNoDigits) {
  for (const char* textP : {"", " ", "-", "+", "x1", "--1", "- 1", "+-1", ".5", "\xC2\xA0"}) {
    EXPECT_EQ(Int(textP), std::nullopt) << textP;
  }
}

TEST(ScanInt, TakesTheLowHalfOfASaturatedNumber) {
  EXPECT_EQ(Int("2147483647"), 2147483647);
  EXPECT_EQ(Int("2147483648"), std::numeric_limits<int>::min());
  EXPECT_EQ(Int("-2147483649"), 2147483647);
  EXPECT_EQ(Int("4294967297"), 1);
  EXPECT_EQ(Int("9223372036854775807"), -1);
  EXPECT_EQ(Int("99999999999999999999"), -1);
  EXPECT_EQ(Int("-9223372036854775808"), 0);
  EXPECT_EQ(Int("-99999999999999999999"), 0);
}

TEST(ScanHex, ReadsDigitsPrefixAndSign) {
  EXPECT_EQ(Hex("F0"), 0xF0u);
  EXPECT_EQ(Hex(" 7f"), 0x7Fu);
  EXPECT_EQ(Hex("0x7F"), 0x7Fu);
  EXPECT_EQ(Hex("0X1"), 1u);
  EXPECT_EQ(Hex("0x"), 0u);
  EXPECT_EQ(Hex("0xzz"), 0u);
  EXPECT_EQ(Hex("F0zz"), 0xF0u);
  EXPECT_EQ(Hex("-1"), 0xFFFFFFFFu);
  EXPECT_EQ(Hex("-FFFFFFFF"), 1u);
  EXPECT_EQ(Hex("10000000000000000"), 0xFFFFFFFFu);
  EXPECT_EQ(Hex("100000000"), 0u);
}

TEST(ScanHex, ConvertsNothingFromNoDigits) {
  for (const char* textP : {"", " ", "-", "zz", "x7", "g0"}) EXPECT_EQ(Hex(textP), std::nullopt) << textP;
}

TEST(ScanHex, NeverReadsPastItsEnd) {
  const char text[] = {'F', '0', '7'};
  uint32_t value = 0;
  EXPECT_EQ(midixml::ScanHex(text, text + 2, value), text + 2);
  EXPECT_EQ(value, 0xF0u);
  EXPECT_EQ(midixml::ScanHex(text, text, value), nullptr);
  const char prefix[] = {'0', 'x', '1'};
  EXPECT_EQ(midixml::ScanHex(prefix, prefix + 1, value), prefix + 1);
  EXPECT_EQ(value, 0u);
}

TEST(ScanFloat, ReadsWhatTheCLocaleReads) {
  EXPECT_EQ(Float("1.5"), 1.5f);
  EXPECT_EQ(Float("1,5"), 1.0f);
  EXPECT_EQ(Float(" -.25x"), -0.25f);
  EXPECT_EQ(Float("1e2"), 100.0f);
  EXPECT_EQ(Float("0x10"), 16.0f);
  EXPECT_EQ(Float("inf"), std::numeric_limits<float>::infinity());
  EXPECT_EQ(Float("1e99"), std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(Float("nan").value()));
  for (const char* textP : {"", "x", ".", "-", "in"}) EXPECT_EQ(Float(textP), std::nullopt) << textP;
}

TEST(ScanNumber, ReadsAsInTheCLocaleUnderAGermanOne) {
  const Test_GermanLocale german;
  float byTheLocale = 0;
  ASSERT_EQ(std::sscanf("1,5", "%f", &byTheLocale), 1);
  ASSERT_EQ(byTheLocale, 1.5f) << "the test's own locale isn't German";
  EXPECT_EQ(Float("1.5"), 1.5f);
  EXPECT_EQ(Float("1,5"), 1.0f);
  EXPECT_EQ(Int("1.234"), 1);
  ASSERT_EQ(std::sscanf("2,5", "%f", &byTheLocale), 1);
  EXPECT_EQ(byTheLocale, 2.5f) << "the application's locale must stay as it was";
}

#if defined(__GLIBC__)
// The C library's own conversions are the second opinion.
TEST(ScanNumber, AgreesWithTheCLibraryOverRandomTexts) {
  std::mt19937 random(12345);
  const std::string alphabet = "0123456789abcdefABCDEFxX+- \t.zg";
  for (int round = 0; round < 200000; ++round) {
    std::string text;
    const size_t length = random() % 24;
    for (size_t index = 0; index < length; ++index) text += alphabet[random() % alphabet.size()];
    int expectedInt = 0;
    unsigned expectedHex = 0;
    const bool hasInt = std::sscanf(text.c_str(), "%d", &expectedInt) == 1;
    const bool hasHex = std::sscanf(text.c_str(), "%x", &expectedHex) == 1;
    ASSERT_EQ(Int(text), hasInt ? std::optional(expectedInt) : std::nullopt) << text;
    ASSERT_EQ(Hex(text), hasHex ? std::optional(expectedHex) : std::nullopt) << text;
  }
}
#endif

}  // namespace
