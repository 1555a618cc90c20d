// SPDX-License-Identifier: MIT
#include "tests/support/test_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

std::string Test_ReadFile(const std::string& iPath) {
  std::ifstream file(iPath, std::ios::binary);
  EXPECT_TRUE(file.good()) << iPath << " can't be read";
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Test_NamesIn(const std::string& iFolder) {
  std::vector<std::string> names;
  for (const auto& item : std::filesystem::directory_iterator(iFolder)) {
    names.push_back(item.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}
