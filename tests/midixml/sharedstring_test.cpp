// SPDX-License-Identifier: MIT
#include "midixml/sharedstring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

using midixml::SharedString;

namespace {

TEST(SharedString, NullHandleReadsAsTheEmptyText) {
  const SharedString text;
  EXPECT_EQ(text.GetImpl(), nullptr);
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(text.View(), "");
}

TEST(SharedString, TextFromCharactersCountsTwo) {
  SharedString text;
  text = "Piano";
  EXPECT_STREQ(text.c_str(), "Piano");
  EXPECT_EQ(text.GetImpl()->GetReferenceCount(), 2);
}

TEST(SharedString, CopySharesAndAddsOne) {
  SharedString text;
  text = "Piano";
  const SharedString copy(text);
  EXPECT_EQ(copy.GetImpl(), text.GetImpl());
  EXPECT_EQ(text.GetImpl()->GetReferenceCount(), 3);
}

TEST(SharedString, TextStaysAfterItsLastHandle) {
  const char* textP = nullptr;
  const midixml::SharedStringImpl* implP = nullptr;
  {
    SharedString text;
    text = "kept for the life of the process";
    textP = text.c_str();
    implP = text.GetImpl();
  }
  EXPECT_STREQ(textP, "kept for the life of the process");
  EXPECT_EQ(implP->GetReferenceCount(), 1);
}

TEST(SharedString, AssigningReleasesTheOldText) {
  SharedString first;
  first = "one";
  SharedString second;
  second = "two";
  const auto* oldP = first.GetImpl();
  first = second;
  EXPECT_EQ(oldP->GetReferenceCount(), 1);
  EXPECT_EQ(first.GetImpl()->GetReferenceCount(), 3);
}

TEST(SharedString, AssigningItselfKeepsTheText) {
  SharedString text;
  text = "same";
  const SharedString& alias = text;
  text = alias;
  EXPECT_STREQ(text.c_str(), "same");
  EXPECT_EQ(text.GetImpl()->GetReferenceCount(), 2);
}

TEST(SharedString, EmptyTextIsTheNullHandle) {
  SharedString text;
  text = "";
  EXPECT_EQ(text.GetImpl(), nullptr);
  EXPECT_TRUE(text.IsEmpty());
}

TEST(SharedString, EqualTextsMadeTwiceAreTwoObjects) {
  SharedString first;
  SharedString second;
  first = "same";
  second = "same";
  EXPECT_NE(first.GetImpl(), second.GetImpl());
}

TEST(SharedString, BytesAndTerminatorLieBehindTheHeader) {
  SharedString text;
  text = "abc";
  const char* headerP = reinterpret_cast<const char*>(text.GetImpl());
  EXPECT_EQ(text.c_str(), headerP + sizeof(midixml::SharedStringImpl));
  EXPECT_EQ(std::memcmp(text.c_str(), "abc\0", 4), 0);
}

TEST(SharedString, HoldsTextsOfAllSizes) {
  std::vector<SharedString> texts;
  for (size_t size = 0; size < 3000; size += 7) texts.emplace_back(std::string(size, 'x'));
  texts.emplace_back(std::string(1000000, 'y'));
  for (size_t index = 0; index + 1 < texts.size(); ++index) {
    ASSERT_EQ(texts[index].View(), std::string(index * 7, 'x'));
  }
  EXPECT_EQ(texts.back().View().size(), 1000000u);
}

TEST(SharedString, ThreadsMakeTextsOfTheirOwn) {
  const auto make = [](char iCharacter, std::vector<SharedString>& oTexts) {
    for (int index = 0; index < 5000; ++index)
      oTexts.emplace_back(std::string(static_cast<size_t>(index % 50), iCharacter));
  };
  std::vector<SharedString> first;
  std::vector<SharedString> second;
  std::thread other(make, 'a', std::ref(first));
  make('b', second);
  other.join();
  for (size_t index = 0; index < 5000; ++index) {
    ASSERT_EQ(first[index].View(), std::string(index % 50, 'a'));
    ASSERT_EQ(second[index].View(), std::string(index % 50, 'b'));
  }
}

}  // namespace
