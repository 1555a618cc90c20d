// SPDX-License-Identifier: MIT
// How short the examples are: what the documents say of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/frame/documentfiles.h"
#include "tests/support/test_paths.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kFewerLines = 80;

// The lines between two marks "//! [name]".
Test_Lines Between(const Test_Lines& iSource, const std::string& iName) {
  const auto isMark = [&](const std::string& iLine) { return iLine.ends_with("//! [" + iName + "]"); };
  const auto first = std::find_if(iSource.begin(), iSource.end(), isMark);
  if (first == iSource.end()) return {};
  return {first + 1, std::find_if(first + 1, iSource.end(), isMark)};
}

// How many lines there are besides comments.
std::ptrdiff_t CodeLines(const Test_Lines& iLines) {
  return std::count_if(iLines.begin(), iLines.end(), [](const std::string& iLine) {
    const std::size_t begin = iLine.find_first_not_of(' ');
    return begin != std::string::npos && iLine.compare(begin, 2, "//") != 0;
  });
}

// The files that aren't as short as all are said to be.
std::vector<std::string> TooLong(const std::vector<std::pair<std::string, Test_Lines>>& iFiles) {
  std::vector<std::string> names;
  for (const auto& [name, lines] : iFiles) {
    if (lines.size() >= kFewerLines) names.push_back(name);
  }
  return names;
}

std::string Text(const std::string& iDocument) {
  std::string text;
  for (const std::string& line : Test_ReadLines(iDocument)) text += line + "\n";
  return text;
}

TEST(Examples, EachHasFewerThan80Lines) {
  std::vector<std::pair<std::string, Test_Lines>> files;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(Test_SourceRoot()) / "examples")) {
    const std::string name = entry.path().filename().string();
    if (name.ends_with(".cpp")) files.emplace_back(name, Test_ReadLines("examples/" + name));
  }
  EXPECT_GT(files.size(), 8U) << "the examples weren't found";
  EXPECT_THAT(TooLong(files), IsEmpty());
  EXPECT_THAT(Text("docs/first-note.md"), testing::HasSubstr("under 80 lines"));
}

TEST(Examples, OneOf80LinesIsSeenAndCommentsDoNotCountAsCode) {
  EXPECT_THAT(TooLong({{"a", Test_Lines(79)}, {"b", Test_Lines(80)}}), ElementsAre("b"));
  const Test_Lines source{"//! [x]", "  // why", "", "  f();  // how", "  //! [x]", "g();"};
  EXPECT_THAT(Between(source, "x"), ElementsAre("  // why", "", "  f();  // how"));
  EXPECT_THAT(Between(source, "y"), IsEmpty());
  EXPECT_EQ(CodeLines(Between(source, "x")), 1);
}

TEST(Examples, TheFirstNoteIsAsShortAsTheDocumentsSay) {
  const Test_Lines source = Test_ReadLines("examples/first_note.cpp");
  EXPECT_EQ(CodeLines(Between(source, "all")), 15);
  EXPECT_EQ(CodeLines(Between(source, "application")), 5);
  EXPECT_THAT(Text("docs/comparison.md"), testing::HasSubstr(": 15 lines, and 5 for the callback's class"));
}

TEST(Examples, TheFirstPullIsAsShortAsTheReadmeSays) {
  EXPECT_EQ(Between(Test_ReadLines("examples/first_pull.cpp"), "all").size(), 15U);
  EXPECT_THAT(Text("README.md"), testing::HasSubstr("## Fifteen lines"));
}

}  // namespace
