// SPDX-License-Identifier: MIT
#include "tests/frame/documentfiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/test_paths.h"

namespace {

namespace fs = std::filesystem;

// Moves the spans of a line to the list and gives the line without them.
std::string TakeSpans(const std::string& iLine, std::vector<std::string>& oSpans) {
  std::string rest;
  size_t at = 0;
  for (;;) {
    const size_t open = iLine.find('`', at);
    if (open == std::string::npos) return rest + iLine.substr(at);
    const size_t inside = std::min(iLine.find_first_not_of('`', open), iLine.size());
    const size_t ticks = inside - open;  // ``a`b`` is one span too
    const size_t close = iLine.find(std::string(ticks, '`'), inside);
    if (close == std::string::npos) return rest + iLine.substr(at);
    oSpans.push_back(iLine.substr(inside, close - inside));
    rest += iLine.substr(at, open - at);
    at = close + ticks;
  }
}

void TakeLinks(const std::string& iLine, std::vector<std::string>& oLinks) {
  for (size_t at = iLine.find("]("); at != std::string::npos; at = iLine.find("](", at + 1)) {
    const size_t close = iLine.find(')', at);
    if (close != std::string::npos) oLinks.push_back(iLine.substr(at + 2, close - at - 2));
  }
}

}  // namespace

Test_Lines Test_ReadLines(const std::string& iPath) {
  std::ifstream file(fs::path(Test_SourceRoot()) / iPath);
  EXPECT_TRUE(file.is_open()) << iPath;
  Test_Lines lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> Test_Documents() {
  std::vector<std::string> paths;
  const fs::path root = Test_SourceRoot();
  for (const fs::path& folder : {root, root / "docs"}) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      if (entry.path().extension() == ".md") {
        paths.push_back(fs::relative(entry.path(), root).generic_string());
      }
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

Test_DocumentMarks Test_ReadMarks(const Test_Lines& iDocument) {
  Test_DocumentMarks marks;
  bool isCode = false;
  for (const std::string& line : iDocument) {
    if (line.starts_with("```")) {
      isCode = !isCode;
    } else if (!isCode) {
      TakeLinks(TakeSpans(line, marks.mSpans), marks.mLinks);
    }
  }
  return marks;
}
