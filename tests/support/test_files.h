// SPDX-License-Identifier: MIT
/// \file
/// Looks at what a test has written.
#pragma once

#include <string>
#include <vector>

#include "tests/support/song_builder.h"

/// The bytes of a file. A file that can't be read fails the test and is empty.
std::string Test_ReadFile(const std::string& iPath);

/// The names of all items of a folder, sorted.
std::vector<std::string> Test_NamesIn(const std::string& iFolder);

/// Bytes as a string that holds them.
inline std::string Test_AsString(const Test_Bytes& iBytes) { return {iBytes.begin(), iBytes.end()}; }
