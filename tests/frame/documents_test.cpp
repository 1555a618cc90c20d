// SPDX-License-Identifier: MIT
// Code in documents is cut from examples that are compiled and run. A document names the place in front of
// each block:
//   <!-- examples/plugin_node.cpp [pull] -->
// and the example marks it by two lines "//! [pull]". To bring the blocks of all documents up to date, run
// the test program with MLOX_UPDATE_DOCUMENTS=1.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/frame/documentfiles.h"
#include "tests/support/test_paths.h"

namespace {

using Lines = Test_Lines;

size_t Indentation(const std::string& iLine) {
  const size_t at = iLine.find_first_not_of(' ');
  return at == std::string::npos ? iLine.size() : at;
}

/// The lines between the two marks of a name, without the indentation they share. Empty if there aren't two
/// marks.
Lines Cut(const Lines& iSource, const std::string& iName) {
  const std::string mark = "//! [" + iName + "]";
  const auto isMark = [&mark](const std::string& iLine) { return iLine.substr(Indentation(iLine)) == mark; };
  const auto first = std::find_if(iSource.begin(), iSource.end(), isMark);
  if (first == iSource.end()) return {};
  const auto last = std::find_if(first + 1, iSource.end(), isMark);
  if (last == iSource.end()) return {};
  Lines cut(first + 1, last);
  size_t shared = std::string::npos;
  for (const std::string& line : cut) {
    if (!line.empty()) shared = std::min(shared, Indentation(line));
  }
  for (std::string& line : cut) line = line.empty() ? line : line.substr(shared);
  return cut;
}

/// The file and the place that a mark names; false if a line is no mark. By hand, since g++ warns inside the
/// standard regular expressions under AddressSanitizer.
bool ParseMark(const std::string& iLine, std::string* oFileP, std::string* oPlaceP) {
  const std::string front = "<!-- ";
  const std::string back = "] -->";
  const size_t middle = iLine.find(".cpp [");
  if (!iLine.starts_with(front + "examples/") || !iLine.ends_with(back) || middle == std::string::npos)
    return false;
  const size_t fileEnd = middle + 4;
  const size_t place = fileEnd + 2;
  *oFileP = iLine.substr(front.size(), fileEnd - front.size());
  *oPlaceP = iLine.substr(place, iLine.size() - back.size() - place);
  return true;
}

/// The document with each marked block as its example has it. *oFaultsP gets what is wrong: a block without a
/// mark, a mark without its place.
Lines Renewed(const Lines& iDocument, Lines* oFaultsP) {
  Lines renewed;
  for (size_t i = 0; i < iDocument.size(); ++i) {
    renewed.push_back(iDocument[i]);
    if (iDocument[i] != "```cpp") continue;
    std::string file;
    std::string place;
    if (i == 0 || !ParseMark(iDocument[i - 1], &file, &place)) {
      oFaultsP->push_back("line " + std::to_string(i + 1) + ": code that isn't cut from an example");
      continue;
    }
    const Lines cut = Cut(Test_ReadLines(file), place);
    if (cut.empty()) oFaultsP->push_back("line " + std::to_string(i) + ": no such place");
    renewed.insert(renewed.end(), cut.begin(), cut.end());
    while (i + 1 < iDocument.size() && iDocument[i + 1] != "```") ++i;
  }
  return renewed;
}

void Write(const std::filesystem::path& iPath, const Lines& iLines) {
  std::ofstream file(iPath);
  for (const std::string& line : iLines) file << line << "\n";
}

/// Checks a document; with MLOX_UPDATE_DOCUMENTS set it is brought up to date first.
void ExpectIsUpToDate(const std::string& iName) {
  Lines faults;
  if (std::getenv("MLOX_UPDATE_DOCUMENTS") != nullptr) {
    Write(std::filesystem::path(Test_SourceRoot()) / iName, Renewed(Test_ReadLines(iName), &faults));
  }
  faults.clear();
  const Lines document = Test_ReadLines(iName);
  EXPECT_EQ(document, Renewed(document, &faults)) << iName;
  EXPECT_EQ(faults, Lines()) << iName;
}

TEST(Documents, CutFindsTheLinesBetweenTwoMarksWithoutTheirIndentation) {
  const Lines source{"int main() {", "  //! [a]", "  f();", "", "    g();", "  //! [a]", "}"};
  EXPECT_EQ(Cut(source, "a"), (Lines{"f();", "", "  g();"}));
  EXPECT_EQ(Cut(source, "b"), Lines());
  EXPECT_EQ(Cut({"//! [a]", "f();"}, "a"), Lines()) << "the second mark is missing";
}

TEST(Documents, CodeWithoutAMarkOrWithAMarkThatLeadsNowhereIsAFault) {
  Lines faults;
  Renewed({"```cpp", "f();", "```"}, &faults);
  EXPECT_EQ(faults, Lines{"line 1: code that isn't cut from an example"});
  faults.clear();
  Renewed({"<!-- examples/plugin_node.cpp [nowhere] -->", "```cpp", "f();", "```"}, &faults);
  EXPECT_EQ(faults, Lines{"line 1: no such place"});
}

TEST(Documents, CodeThatDiffersFromItsExampleIsSeen) {
  const Lines document{"<!-- examples/plugin_node.cpp [end] -->", "```cpp", "f();", "```", "after"};
  Lines faults;
  const Lines renewed = Renewed(document, &faults);
  EXPECT_NE(renewed, document);
  EXPECT_EQ(renewed[3], "deliveryP->Release();");
  EXPECT_EQ(renewed.back(), "after");
  EXPECT_EQ(faults, Lines());
}

TEST(Documents, AllShowTheirExamplesAsTheyAre) {
  const std::vector<std::string> documents = Test_Documents();
  EXPECT_GT(documents.size(), 10u) << "the tree wasn't found";
  for (const std::string& document : documents) ExpectIsUpToDate(document);
}

TEST(Documents, EveryExampleIsShownInOne) {
  Test_Lines all;
  for (const std::string& document : Test_Documents()) {
    const Test_Lines lines = Test_ReadLines(document);
    all.insert(all.end(), lines.begin(), lines.end());
  }
  const std::filesystem::path folder = std::filesystem::path(Test_SourceRoot()) / "examples";
  int examples = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".cpp") continue;
    ++examples;
    const std::string mark = "<!-- examples/" + entry.path().filename().string() + " [";
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&](const std::string& iLine) {
      return iLine.starts_with(mark);
    })) << mark;
  }
  EXPECT_GT(examples, 8) << "the examples weren't found";
}

}  // namespace
