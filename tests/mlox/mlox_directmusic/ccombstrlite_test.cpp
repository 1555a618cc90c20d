// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/ccombstrlite.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// "ä" and a clef, which needs two units of UTF-16.
constexpr char kNarrow[] = "a\xC3\xA4\xF0\x9D\x84\x9E";
constexpr OLECHAR kWide[] = OLESTR("a\u00E4\U0001D11E");

std::basic_string<OLECHAR> Wide(const OLECHAR* iTextP) { return iTextP; }

TEST(CComBSTRLite, DefaultIsNull) {
  const CComBSTRLite text;
  EXPECT_EQ(static_cast<OLECHAR*>(text), nullptr);
  EXPECT_EQ(text.AsString(), "");
}

TEST(CComBSTRLite, GuidBecomesItsTextWithBracesInUpperCase) {
  const _GUID guid = {0x501C02FB, 0x589B, 0x4118, {0x98, 0x67, 0xB9, 0x68, 0xEB, 0x6D, 0xC4, 0xD2}};
  EXPECT_EQ(CComBSTRLite(guid).AsString(), "{501C02FB-589B-4118-9867-B968EB6DC4D2}");
}

TEST(CComBSTRLite, NarrowTextBecomesWide) {
  EXPECT_EQ(Wide(CComBSTRLite(std::string(kNarrow))), kWide);
  EXPECT_EQ(Wide(CComBSTRLite(kNarrow)), kWide);
  EXPECT_EQ(SysStringLen(CComBSTRLite(kNarrow)), 4u);
}

TEST(CComBSTRLite, EmptyNarrowTextIsAnAllocatedEmptyText) {
  const CComBSTRLite fromString{std::string()};
  const CComBSTRLite fromChars("");
  ASSERT_NE(static_cast<OLECHAR*>(fromString), nullptr);
  ASSERT_NE(static_cast<OLECHAR*>(fromChars), nullptr);
  EXPECT_EQ(SysStringLen(fromString), 0u);
}

TEST(CComBSTRLite, WideTextIsCopied) {
  const CComBSTRLite text(kWide);
  EXPECT_NE(static_cast<const OLECHAR*>(text), kWide);
  EXPECT_EQ(text.AsString(), kNarrow);
}

TEST(CComBSTRLite, NullPointersLeaveItNull) {
  EXPECT_EQ(static_cast<OLECHAR*>(CComBSTRLite(static_cast<const char*>(nullptr))), nullptr);
  EXPECT_EQ(static_cast<OLECHAR*>(CComBSTRLite(static_cast<const OLECHAR*>(nullptr))), nullptr);
}

TEST(CComBSTRLite, ResetFreesAndTakesWhatACallFillsIn) {
  CComBSTRLite text("old");
  *text.Reset() = SysAllocString(OLESTR("new"));
  EXPECT_EQ(text.AsString(), "new");
}

TEST(CComBSTRLite, BSTRToStringRefusesNullAndClearsForAnEmptyText) {
  std::string text = "before";
  EXPECT_EQ(CComBSTRLite::BSTRToString(nullptr, &text), E_INVALIDARG);
  EXPECT_EQ(text, "before");
  EXPECT_EQ(CComBSTRLite::BSTRToString(kWide, nullptr), E_INVALIDARG);
  EXPECT_EQ(CComBSTRLite::BSTRToString(kWide, &text), 0);
  EXPECT_EQ(text, kNarrow);
  EXPECT_EQ(CComBSTRLite::BSTRToString(OLESTR(""), &text), 0);
  EXPECT_EQ(text, "");
}

TEST(CComBSTRLite, StringToBSTRRefusesNullAndLengthsThatAreNegativeIn32Bits) {
  EXPECT_EQ(CComBSTRLite::StringToBSTR("a", nullptr), E_INVALIDARG);
  OLECHAR* textP = nullptr;
  EXPECT_EQ(CComBSTRLite::StringToBSTR(kNarrow, &textP), 0);
  EXPECT_EQ(Wide(textP), kWide);
  SysFreeString(textP);
  EXPECT_FALSE(CComBSTRLite::IsLengthNegative(0x7FFFFFFF));
  EXPECT_TRUE(CComBSTRLite::IsLengthNegative(0x80000000));
  EXPECT_FALSE(CComBSTRLite::IsLengthNegative(std::size_t{1} << 32U));
}

TEST(CComBSTRLite, FlagsAreMinusOneAndZero) {
  EXPECT_EQ(CComBSTRLite::VBTF(true), -1);
  EXPECT_EQ(CComBSTRLite::VBTF(false), 0);
}

TEST(CComBSTRLite, ComparisonIgnoresCaseAndCountsNullAsEmpty) {
  EXPECT_EQ(CComBSTRLite::Compare(OLESTR("Port A"), "pORT a"), 0);
  EXPECT_EQ(CComBSTRLite::Compare(OLESTR("Port A"), "Port B"), 1);
  EXPECT_EQ(CComBSTRLite::Compare(OLESTR("Port A"), ""), 1);
  EXPECT_EQ(CComBSTRLite::Compare(OLESTR(""), "x"), 1);
  EXPECT_EQ(CComBSTRLite::Compare(nullptr, "x"), 1);
  EXPECT_EQ(CComBSTRLite::Compare(nullptr, ""), 0);
  EXPECT_EQ(CComBSTRLite::Compare(OLESTR(""), ""), 0);
}

}  // namespace
