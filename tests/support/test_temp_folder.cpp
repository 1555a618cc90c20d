// SPDX-License-Identifier: MIT
#include "tests/support/test_temp_folder.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

Test_TempFolder::Test_TempFolder() {
  std::string path = fs::canonical(fs::temp_directory_path()).string() + "/mlox_test_XXXXXX";
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder at " + path);
  mPath = path;
  fs::permissions(mPath, fs::perms(0755));
}

Test_TempFolder::~Test_TempFolder() {
  std::error_code ignored;
  fs::remove_all(mPath, ignored);
}

void Test_TempFolder::MakeFolder(const std::string& iName) const {
  fs::create_directories(mPath + "/" + iName);
}

std::string Test_TempFolder::MakeFile(const std::string& iName, const std::string& iContent) const {
  const std::string path = mPath + "/" + iName;
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream stream(path, std::ios::binary);
  stream << iContent;
  if (!stream.flush()) throw std::runtime_error("can't write " + path);
  return path;
}

void Test_TempFolder::MakeLink(const std::string& iName, const std::string& iTarget) const {
  fs::create_symlink(iTarget, mPath + "/" + iName);
}
