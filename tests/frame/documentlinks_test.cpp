// SPDX-License-Identifier: MIT
// What documents point to is there: pages, pictures, and the files that they name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "cmn/cmn_version.h"
#include "tests/frame/documentfiles.h"
#include "tests/support/test_paths.h"

namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

bool IsElsewhere(const std::string& iLink) {
  return iLink.starts_with("https://") || iLink.starts_with("http://");
}

// Links that lead nowhere. A link to a heading counts as one: the site names headings otherwise than those
// who show documents one by one.
std::vector<std::string> DeadLinks(const std::string& iPath, const Test_Lines& iDocument) {
  std::vector<std::string> dead;
  const fs::path folder = (fs::path(Test_SourceRoot()) / iPath).parent_path();
  for (const std::string& link : Test_ReadMarks(iDocument).mLinks) {
    if (!IsElsewhere(link) && !fs::exists(folder / link)) dead.push_back(link);
  }
  return dead;
}

// Whether a span is the path of a file or folder of the tree: nothing but a path, which begins with a room.
bool IsPathOfTheTree(const std::string& iSpan) {
  const bool isPath = iSpan.find_first_not_of(
                          "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                          "_-./") == std::string::npos;
  const std::string room = iSpan.substr(0, iSpan.find('/'));
  return isPath && !room.empty() && room != iSpan && room != "build" &&
         fs::is_directory(fs::path(Test_SourceRoot()) / room);
}

std::vector<std::string> MissingFiles(const Test_Lines& iDocument) {
  std::vector<std::string> missing;
  for (const std::string& span : Test_ReadMarks(iDocument).mSpans) {
    if (IsPathOfTheTree(span) && !fs::exists(fs::path(Test_SourceRoot()) / span)) missing.push_back(span);
  }
  return missing;
}

TEST(DocumentLinks, LinksAndSpansAreReadOutsideOfCode) {
  const auto marks = Test_ReadMarks({"[a](b.md) and `c/d.h`, ![e](f.svg)", "```sh", "[g](h) `i`", "```",
                                     "`[j](k)` ``l`m``", "a single ` tick [n](o)", "at the end `"});
  EXPECT_THAT(marks.mLinks, ElementsAre("b.md", "f.svg", "o"));
  EXPECT_THAT(marks.mSpans, ElementsAre("c/d.h", "[j](k)", "l`m"));
}

TEST(DocumentLinks, ALinkThatLeadsNowhereIsSeen) {
  EXPECT_THAT(
      DeadLinks("docs/planted.md", {"[a](threading.md) [b](../README.md) [c](https://example.org)",
                                    "[d](nowhere.md)", "[e](README.md)", "[f](threading.md#the-words)"}),
      ElementsAre("nowhere.md", "README.md", "threading.md#the-words"));
}

TEST(DocumentLinks, AFileThatIsNotThereIsSeen) {
  EXPECT_THAT(MissingFiles({"`cmn/cmn_version.h` `docs/` `tests/frame/nowhere_test.cpp` `cmn/nowhere`",
                            "`and/or` `build/dev` `cmn` `make test` `$HOME/cmn/x` `cmn/*.h`"}),
              ElementsAre("tests/frame/nowhere_test.cpp", "cmn/nowhere"));
}

TEST(DocumentLinks, EveryLinkLeadsSomewhere) {
  for (const std::string& path : Test_Documents()) {
    EXPECT_THAT(DeadLinks(path, Test_ReadLines(path)), IsEmpty()) << path;
  }
}

TEST(DocumentLinks, EveryFileThatADocumentNamesIsThere) {
  for (const std::string& path : Test_Documents()) {
    EXPECT_THAT(MissingFiles(Test_ReadLines(path)), IsEmpty()) << path;
  }
}

TEST(DocumentLinks, TheReadmeLeadsToEveryDocument) {
  const std::vector<std::string> links = Test_ReadMarks(Test_ReadLines("README.md")).mLinks;
  for (const std::string& path : Test_Documents()) {
    if (path != "README.md") {
      EXPECT_THAT(links, Contains(path));
    }
  }
}

TEST(DocumentLinks, TheSiteLeadsToEveryDocument) {
  std::string layout;
  for (const std::string& line : Test_ReadLines("docs/site/layout.xml")) layout += line;
  for (const std::string& path : Test_Documents()) {
    // The one is the site's own start page, the other stands for it where there is no site.
    if (path == "docs/start.md" || path == "README.md") continue;
    std::string page = "md_" + path.substr(0, path.rfind('.'));
    std::replace_if(
        page.begin(), page.end(), [](char iLetter) { return iLetter == '/' || iLetter == '-'; }, '_');
    EXPECT_THAT(layout, HasSubstr("url=\"@ref " + page + "\"")) << path;
  }
}

TEST(DocumentLinks, TheChangelogBeginsWithTheVersionOfTheLibrary) {
  const std::string version = std::to_string(CMN_VERSION_MAJOR) + "." + std::to_string(CMN_VERSION_MINOR) +
                              "." + std::to_string(CMN_VERSION_PATCH);
  const Test_Lines lines = Test_ReadLines("CHANGELOG.md");
  const auto first = std::find_if(lines.begin(), lines.end(),
                                  [](const std::string& iLine) { return iLine.starts_with("## ["); });
  ASSERT_NE(first, lines.end());
  EXPECT_EQ(first->substr(0, first->find(']') + 1), "## [" + version + "]");
}

}  // namespace
