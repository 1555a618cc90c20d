// SPDX-License-Identifier: MIT
// Which memory orders the tree uses. In the core and its services everything that threads share is
// released and acquired at least; only the heads of a sorted queue may be relaxed, because what an event
// holds was handed over by its FIFO. Fences stand nowhere: ThreadSanitizer doesn't know them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "tests/support/test_paths.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string ReadFile(const std::filesystem::path& iPath) {
  std::ifstream file(iPath);
  EXPECT_TRUE(file.is_open()) << iPath;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The source files of some folders in which a word stands, by their paths from the root.
std::set<std::string> FilesWith(const std::string& iWord, const std::vector<std::string>& iFolders) {
  const std::filesystem::path root(Test_SourceRoot());
  std::set<std::string> found;
  for (const std::string& folder : iFolders) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
      const std::string extension = entry.path().extension().string();
      if (extension != ".cpp" && extension != ".h") continue;
      if (ReadFile(entry.path()).find(iWord) == std::string::npos) continue;
      found.insert(std::filesystem::relative(entry.path(), root).generic_string());
    }
  }
  return found;
}

TEST(MemoryOrder, OnlyTheHeadsOfASortedQueueAreRelaxed) {
  EXPECT_THAT(FilesWith("memory_order_relaxed", {"diagnostics", "mdi", "mdid", "mlox"}),
              ElementsAre("mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl.cpp"));
}

TEST(MemoryOrder, NoFenceStandsAnywhere) {
  EXPECT_THAT(FilesWith("atomic_thread_fence",
                        {"cmn", "diagnostics", "mdi", "mdid", "midixml", "mlox", "platform", "tools"}),
              IsEmpty());
}

}  // namespace
