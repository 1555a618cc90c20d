// SPDX-License-Identifier: MIT
// Every file of the tree that can carry a comment says its licence.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/test_paths.h"

namespace {

namespace fs = std::filesystem;

using Paths = std::vector<std::string>;

// Data without a place for a comment, and pictures that a program draws from texts that say it.
bool CanSayIt(const std::string& iPath) {
  const std::string extension = fs::path(iPath).extension().string();
  const Paths dumb = {".expected", ".json", ".svg"};
  return std::find(dumb.begin(), dumb.end(), extension) == dumb.end() && !iPath.starts_with("fuzz/corpus/") &&
         iPath != "packaging/exported_names.txt" && iPath != "LICENSE";
}

// What lies in the root belongs to the tree if it is one of its rooms or a file of its own, whatever was
// built there.
bool IsOfTheTree(const fs::directory_entry& iEntry) {
  const std::string name = iEntry.path().filename().string();
  return name != "build" && name != ".git" && !name.starts_with("demo") && name != "compile_commands.json" &&
         !name.ends_with(".swp");
}

bool SaysIt(const fs::path& iFile) {
  std::ifstream file(iFile, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str().find("SPDX-License-Identifier: MIT") != std::string::npos;
}

void Collect(const fs::path& iRoot, const fs::path& iFolder, Paths& oSilent, int& oSeen) {
  for (const fs::directory_entry& entry : fs::directory_iterator(iFolder)) {
    if (iFolder == iRoot && !IsOfTheTree(entry)) continue;
    if (entry.is_directory()) {
      Collect(iRoot, entry.path(), oSilent, oSeen);
      continue;
    }
    const std::string path = fs::relative(entry.path(), iRoot).generic_string();
    if (!CanSayIt(path)) continue;
    ++oSeen;
    if (!SaysIt(entry.path())) oSilent.push_back(path);
  }
}

TEST(Licence, StandsInEveryFileThatCanCarryAComment) {
  Paths silent;
  int seen = 0;
  Collect(Test_SourceRoot(), Test_SourceRoot(), silent, seen);
  EXPECT_THAT(silent, testing::IsEmpty());
  EXPECT_GT(seen, 500) << "the tree wasn't found";
}

}  // namespace
