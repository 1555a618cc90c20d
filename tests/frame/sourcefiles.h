// SPDX-License-Identifier: MIT
/// \file
/// The sources of the library as text, for tests that look for calls in them.
#pragma once

#include <cctype>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tests/support/test_paths.h"

/// The content of each file of the library, by its path from the root.
inline std::map<std::string, std::string> Test_LibraryFiles() {
  std::map<std::string, std::string> contents;
  for (const char* folderP : {"cmn", "diagnostics", "mdid", "mdi", "mlox", "midixml"}) {
    const std::filesystem::path root = Test_SourceRoot();
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folderP)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream stream(entry.path(), std::ios::binary);
      contents[std::filesystem::relative(entry.path(), root).generic_string()] =
          std::string(std::istreambuf_iterator<char>(stream), {});
    }
  }
  return contents;
}

/// Where the arguments of each call of a function or macro begin in a text; its definition aside.
inline std::vector<std::size_t> Test_CallsIn(const std::string& iText, const std::string& iName) {
  const std::string call = iName + "(";
  std::vector<std::size_t> calls;
  for (std::size_t at = iText.find(call); at != std::string::npos; at = iText.find(call, at + 1)) {
    const bool isPartOfName =
        at > 0 && (std::isalnum(static_cast<unsigned char>(iText[at - 1])) != 0 || iText[at - 1] == '_');
    if (!isPartOfName && !iText.substr(0, at).ends_with("#define ")) calls.push_back(at + call.size());
  }
  return calls;
}
