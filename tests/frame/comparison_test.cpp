// SPDX-License-Identifier: MIT
// The comparison with other libraries says nothing without a source, and each test that it calls as a witness
// exists.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/frame/documentfiles.h"
#include "tests/support/test_paths.h"

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;

using Cells = std::vector<std::string>;

// The cells of a table's row without the blanks around them; none for any other line.
Cells Row(const std::string& iLine) {
  Cells cells;
  if (!iLine.starts_with("|") || iLine.starts_with("|---")) return cells;
  std::istringstream line(iLine.substr(1));
  for (std::string cell; std::getline(line, cell, '|');) {
    const size_t first = cell.find_first_not_of(' ');
    cells.push_back(first == std::string::npos ? ""
                                               : cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
  }
  return cells;
}

// The numbers of sources in a text: a letter and digits in brackets.
std::set<std::string> SourcesIn(const std::string& iText) {
  std::set<std::string> sources;
  for (size_t at = iText.find('['); at != std::string::npos; at = iText.find('[', at + 1)) {
    const std::string inside = iText.substr(at + 1, iText.find(']', at) - at - 1);
    const bool isNumber = inside.size() >= 2 && std::isupper(static_cast<unsigned char>(inside[0])) != 0 &&
                          std::all_of(inside.begin() + 1, inside.end(),
                                      [](unsigned char iLetter) { return std::isdigit(iLetter) != 0; });
    if (isNumber) sources.insert(inside);
  }
  return sources;
}

// What can be wrong with the document: each fault in words.
class Comparison {
 public:
  explicit Comparison(const Test_Lines& iDocument) {
    std::string section;
    for (const std::string& line : iDocument) {
      if (line.starts_with("## ")) section = line.substr(3);
      const Cells cells = Row(line);
      if (cells.empty() || cells.front().empty()) continue;
      if (section.empty()) {
        ReadClaims(cells);
      } else if (section.starts_with("Sources")) {
        mSources[cells.front()] = line;
      }
    }
  }

  Cells Faults() const {
    Cells faults = mFaults;
    for (const std::string& used : mUsed) {
      if (!mSources.contains(used)) faults.push_back(used + " is told nowhere");
    }
    for (const auto& [number, line] : mSources) {
      if (!mUsed.contains(number)) faults.push_back(number + " is used nowhere");
      if (number.starts_with("M")) CheckWitnesses(number, line, faults);
    }
    return faults;
  }
  size_t Claims() const { return mClaims; }

 private:
  void ReadClaims(const Cells& iCells) {
    for (size_t column = 1; column < iCells.size(); ++column) {
      const std::string& cell = iCells[column];
      if (cell == "not measured" || cell == "see left") continue;
      ++mClaims;
      const std::set<std::string> sources = SourcesIn(cell);
      if (sources.empty()) mFaults.push_back("no source: " + cell);
      mUsed.insert(sources.begin(), sources.end());
    }
  }

  // Paths stand between back ticks. Behind a path may stand names of tests, in brackets.
  static void CheckWitnesses(const std::string& iNumber, const std::string& iLine, Cells& ioFaults) {
    const fs::path root = Test_SourceRoot();
    int seen = 0;
    for (const std::string& path : Test_ReadMarks({iLine}).mSpans) {
      ++seen;
      if (!fs::exists(root / path)) ioFaults.push_back(iNumber + ": no file " + path);
      const std::string mark = "`" + path + "` (";
      const size_t at = iLine.find(mark);
      if (at == std::string::npos) continue;
      const size_t begin = at + mark.size();
      CheckTests(iNumber, root / path, iLine.substr(begin, iLine.find(')', begin) - begin), ioFaults);
    }
    if (seen == 0) ioFaults.push_back(iNumber + " names no file");
  }

  static void CheckTests(const std::string& iNumber, const fs::path& iFile, const std::string& iNames,
                         Cells& ioFaults) {
    std::ifstream file(iFile);
    std::string text;  // without blanks, for a macro may go over two lines
    for (char letter = 0; file.get(letter);) {
      if (std::isspace(static_cast<unsigned char>(letter)) == 0) text += letter;
    }
    std::istringstream names(iNames);
    for (std::string name; std::getline(names >> std::ws, name, ',');) {
      const size_t dot = name.find('.');
      const std::string macro = "(" + name.substr(0, dot) + "," + name.substr(dot + 1) + ")";
      if (dot == std::string::npos || text.find(macro) == std::string::npos) {
        ioFaults.push_back(iNumber + ": no test " + name);
      }
    }
  }

  Cells mFaults;
  std::set<std::string> mUsed;
  std::map<std::string, std::string> mSources;
  size_t mClaims = 0;
};

TEST(ComparisonTest, EveryClaimHasASourceAndEveryTestThatIsCitedExists) {
  const Comparison comparison(Test_ReadLines("docs/comparison.md"));
  EXPECT_THAT(comparison.Faults(), IsEmpty());
  EXPECT_GT(comparison.Claims(), 50u) << "the table wasn't found";
}

TEST(ComparisonTest, AClaimWithoutASourceASourceWithoutAClaimAndAWitnessThatIsNotThereAreSeen) {
  const Comparison comparison({"| | ours | theirs |", "|---|---|---|", "| a | yes [M1] [M2] [M3] | no |",
                               "| b | not measured | [X9] |", "## Sources", "| | what |", "|---|---|",
                               "| M1 | `tests/frame/nowhere_test.cpp` |",
                               "| M2 | `tests/frame/comparison_test.cpp` (ComparisonTest.Nothing) |",
                               "| M3 | a word |", "| R1 | a book |"});
  EXPECT_THAT(comparison.Faults(),
              ElementsAre("no source: no", "X9 is told nowhere", "M1: no file tests/frame/nowhere_test.cpp",
                          "M2: no test ComparisonTest.Nothing", "M3 names no file", "R1 is used nowhere"));
}

}  // namespace
