// SPDX-License-Identifier: MIT
// Enumerations of the library hold values that none of their names has: a record comes from outside with a 5
// in it. That is defined only for an enumeration whose underlying type is fixed. A scoped one has int where
// nothing is said; an unscoped one must say it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/frame/sourcefiles.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;

bool IsWordPart(char iChar) { return std::isalnum(static_cast<unsigned char>(iChar)) != 0 || iChar == '_'; }

std::string WithoutComments(const std::string& iText) {
  std::string code;
  for (std::size_t at = 0; at < iText.size();) {
    const std::size_t begin = std::min(iText.find("//", at), iText.size());
    code += iText.substr(at, begin - at);
    at = std::min(iText.find('\n', begin), iText.size());
  }
  return code;
}

void SkipSpace(const std::string& iText, std::size_t& ioAt) {
  while (ioAt < iText.size() && std::isspace(static_cast<unsigned char>(iText[ioAt])) != 0) ++ioAt;
}

std::string NextWord(const std::string& iText, std::size_t& ioAt) {
  SkipSpace(iText, ioAt);
  const std::size_t begin = ioAt;
  while (ioAt < iText.size() && IsWordPart(iText[ioAt])) ++ioAt;
  return iText.substr(begin, ioAt - begin);
}

struct Enumerations {
  std::vector<std::string> mFixed;
  std::vector<std::string> mNotFixed;
};

// The enumerations of a text, by their names.
void Find(const std::string& iText, Enumerations& ioFound) {
  const std::string code = WithoutComments(iText);
  const std::string word = "enum";
  for (std::size_t at = code.find(word); at != std::string::npos; at = code.find(word, at)) {
    const bool isPartOfName = at > 0 && IsWordPart(code[at - 1]);
    at += word.size();
    if (isPartOfName || at >= code.size() || IsWordPart(code[at])) continue;
    std::string name = NextWord(code, at);
    const bool isScoped = name == "class" || name == "struct";
    if (isScoped) name = NextWord(code, at);
    SkipSpace(code, at);
    const bool saysType = code[at] == ':' && code[at + 1] != ':';
    (isScoped || saysType ? ioFound.mFixed : ioFound.mNotFixed).push_back(name);
  }
}

// The enumerations of the library, and of the headers of platform/, some of which are installed too.
Enumerations OfTheTree() {
  Enumerations found;
  for (const auto& [file, text] : Test_LibraryFiles()) Find(text, found);
  const std::filesystem::path platform = std::filesystem::path(Test_SourceRoot()) / "platform";
  for (const auto& entry : std::filesystem::recursive_directory_iterator(platform)) {
    if (entry.path().extension() != ".h") continue;
    std::ifstream stream(entry.path(), std::ios::binary);
    Find({std::istreambuf_iterator<char>(stream), {}}, found);
  }
  return found;
}

TEST(Enumerations, EachOfTheLibraryHasAFixedUnderlyingType) {
  const Enumerations found = OfTheTree();
  EXPECT_THAT(found.mNotFixed, IsEmpty());
  EXPECT_THAT(found.mFixed, IsSupersetOf({"ESysexState", "EType", "Time_EType", "PSFifoPoint",
                                          "Mlox_EInputSyncSelection", "Platform_StudioResult"}));
}

TEST(Enumerations, ThoseThatLeaveTheirTypeToTheCompilerAreFound) {
  Enumerations found;
  Find("enum A : int { k }; enum class B { k };\nenum struct C;  enum D\n: char {};", found);
  EXPECT_THAT(found.mFixed, ElementsAre("A", "B", "C", "D"));
  EXPECT_THAT(found.mNotFixed, IsEmpty());
  Find(
      "// enum no\nenum E { k };  // : int\nenum { k }; /*"
      "*/ enum\nF\n{ x = N::y }; int renumber, enumerate; enum G::F x;",
      found);
  EXPECT_THAT(found.mFixed, ElementsAre("A", "B", "C", "D"));
  EXPECT_THAT(found.mNotFixed, ElementsAre("E", "", "F", "G"));
}

}  // namespace
