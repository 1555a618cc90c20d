// SPDX-License-Identifier: MIT
// docs/tracing.md lists every trace site of the library with its category and its file, every check of the
// tracing form, and every variable that the tracing library reads: no more and no less.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/frame/sourcefiles.h"
#include "tests/support/test_paths.h"

namespace {

using testing::IsEmpty;
using testing::IsSubsetOf;
using testing::Not;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

// "<category> <file> <text>" of a line, or "<file> <text>" of a check: what is compared.
using Sites = std::vector<std::string>;
using Files = std::map<std::string, std::string>;

// The text of the string literals at a place, drawn together; empty if there are none.
std::string LiteralsAt(const std::string& iText, std::size_t iAt) {
  std::string text;
  bool isInside = false;
  for (; iAt < iText.size(); ++iAt) {
    const char character = iText[iAt];
    if (character == '"') {
      isInside = !isInside;
    } else if (!isInside && std::isspace(static_cast<unsigned char>(character)) == 0) {
      break;
    } else if (isInside) {
      iAt += character == '\\' ? 1 : 0;
      text += iText[iAt];
    }
  }
  return text;
}

// A number, or the name of a constant of the same file or of another.
std::string CategoryText(const std::string& iWord, const std::string& iFile, const Files& iFiles) {
  std::string number = iWord;
  for (const auto& [name, text] : iFiles) {
    const std::size_t at = text.find(" " + iWord + " = 0x");
    if (at == std::string::npos) continue;
    number = text.substr(at + iWord.size() + 4);
    if (name == iFile) break;
  }
  char digits[16] = {};
  std::snprintf(digits, sizeof(digits), "%08X",
                static_cast<unsigned>(std::strtoul(number.c_str(), nullptr, 16)));
  return digits;
}

struct Site {
  std::string mCategory;
  std::string mFormat;
};

// The trace sites of one file: by the macro, and by the bound function itself. The macro's own header only
// speaks of them.
std::vector<Site> SitesIn(const std::string& iFile, const Files& iFiles) {
  if (iFile == "diagnostics/quiltracelibrary.h") return {};
  const std::string& text = iFiles.at(iFile);
  std::vector<Site> sites;
  for (const char* callP : {"QUIL_TRACE", "QuilTraceLibrary::sFormat"}) {
    for (const std::size_t at : Test_CallsIn(text, callP)) {
      const std::size_t comma = text.find(',', at);
      sites.push_back(
          {CategoryText(text.substr(at, comma - at), iFile, iFiles), LiteralsAt(text, comma + 1)});
    }
  }
  return sites;
}

Sites SitesOfSources() {
  const Files files = Test_LibraryFiles();
  Sites sites;
  for (const auto& [file, text] : files) {
    for (const Site& site : SitesIn(file, files))
      sites.push_back(site.mCategory + " " + file + " " + site.mFormat);
  }
  return sites;
}

Sites ChecksOfSources() {
  Sites checks;
  for (const auto& [file, text] : Test_LibraryFiles()) {
    for (const std::size_t at : Test_CallsIn(text, "CMN_TRACEASSERT"))
      checks.push_back(file + " " + LiteralsAt(text, text.find('"', at)));
  }
  return checks;
}

std::string Document() {
  std::ifstream file(Test_SourceRoot() + "/docs/tracing.md");
  EXPECT_TRUE(file.is_open());
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// The cells of a table's row that are code, from the left on.
std::vector<std::string> CodeCells(const std::string& iLine) {
  std::vector<std::string> cells;
  for (std::size_t at = 0; iLine.compare(at, 3, "| `") == 0;) {
    const std::size_t end = iLine.find("` ", at + 3);
    if (end == std::string::npos) break;
    cells.push_back(iLine.substr(at + 3, end - at - 3));
    at = end + 2;
  }
  return cells;
}

struct Listed {
  Sites mSites;
  Sites mChecks;
};

// Rows of two code cells: lines in a table that begins with "Line", checks in one that begins with "Check".
Listed ListedBy(const std::string& iDocument) {
  Listed listed;
  std::istringstream lines(iDocument);
  std::string category;
  bool isOfChecks = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("### `")) category = line.substr(5, 8);
    if (line.starts_with("| Line |")) isOfChecks = false;
    if (line.starts_with("| Check |")) isOfChecks = true;
    const std::vector<std::string> cells = CodeCells(line);
    if (cells.size() < 2) continue;
    if (isOfChecks) {
      listed.mChecks.push_back(cells[1] + " " + cells[0]);
    } else {
      listed.mSites.push_back(category + " " + cells[1] + " " + cells[0]);
    }
  }
  return listed;
}

TEST(TracingDocument, SitesAreFoundWhateverTheirLayout) {
  const Files files = {
      {"a.cpp",
       "constexpr uint32_t kHere = 0x2000F27;\nQUIL_TRACE(kHere,\n  \"one \\\"%s\\\"\"\n \" two\", x);"
       "\nMY_QUIL_TRACE(0x1, \"no\"); QUIL_TRACE(0x04000000, \"three\"); "
       "QuilTraceLibrary::sFormat(kThere, \"four\");"},
      {"b.h", "int kHere = 0x9; std::uint32_t kThere = 0x4000E0F;"}};
  Sites found;
  for (const Site& site : SitesIn("a.cpp", files)) found.push_back(site.mCategory + " " + site.mFormat);
  EXPECT_THAT(found, UnorderedElementsAre("02000F27 one \"%s\" two", "04000000 three", "04000E0F four"));
}

TEST(TracingDocument, RowsAreReadWithTheCategoryTheyStandUnder) {
  const Listed listed = ListedBy(
      "### `0200000E`: x\n| Line | Where | When |\n|---|---|---|\n| `a %s` | `f.cpp` | `c` |\n"
      "| Check | Where |\n| `a < b` | `g.cpp` | d |\n| Variable | x |\n| `V` | y |\n");
  EXPECT_THAT(listed.mSites, UnorderedElementsAre("0200000E f.cpp a %s"));
  EXPECT_THAT(listed.mChecks, UnorderedElementsAre("g.cpp a < b"));
}

TEST(TracingDocument, ListsEveryTraceSiteWithItsCategoryAndItsFile) {
  const Sites sites = SitesOfSources();
  EXPECT_THAT(sites, Not(IsEmpty()));
  EXPECT_THAT(ListedBy(Document()).mSites, UnorderedElementsAreArray(sites));
}

TEST(TracingDocument, ListsEveryCheckOfTheTracingForm) {
  const Sites checks = ChecksOfSources();
  EXPECT_THAT(checks, Not(IsEmpty()));
  EXPECT_THAT(ListedBy(Document()).mChecks, UnorderedElementsAreArray(checks));
}

// What such a conversion costs a thread is tested with the tracing library.
TEST(TracingDocument, EveryTraceSiteUsesConversionsThatTakeNoMemory) {
  const Files files = Test_LibraryFiles();
  std::set<char> conversions;
  for (const auto& [file, text] : files) {
    for (const Site& site : SitesIn(file, files)) {
      for (std::size_t at = site.mFormat.find('%'); at != std::string::npos;
           at = site.mFormat.find('%', at + 2))
        conversions.insert(site.mFormat.at(at + 1));
    }
  }
  EXPECT_THAT(conversions, IsSubsetOf({'s', 'd', 'p'}));
}

TEST(TracingDocument, ListsEveryVariableThatTheTracingLibraryReads) {
  const std::string source = Test_LibraryFiles().at("diagnostics/quiltrace/tracesettings.cpp");
  std::set<std::string> read;
  for (const std::size_t at : Test_CallsIn(source, "Variable")) {
    if (source[at] == '"') read.insert(LiteralsAt(source, at));
  }
  std::set<std::string> listed;
  std::istringstream lines(Document());
  for (std::string line; std::getline(lines, line);) {
    const std::vector<std::string> cells = CodeCells(line);
    if (!cells.empty() && cells.front().starts_with("MLOX_")) listed.insert(cells.front());
  }
  EXPECT_THAT(read, Not(IsEmpty()));
  EXPECT_EQ(listed, read);
}

}  // namespace
