// SPDX-License-Identifier: MIT
/// \file
/// The documents of the tree, for the tests that read them.
#pragma once

#include <string>
#include <vector>

using Test_Lines = std::vector<std::string>;

/// The lines of a file. \param iPath  from the root of the tree. A file that isn't there fails the test.
Test_Lines Test_ReadLines(const std::string& iPath);

/// Every document that people read, by its path from the root of the tree, sorted.
std::vector<std::string> Test_Documents();

/// What a document's prose points to.
struct Test_DocumentMarks {
  std::vector<std::string> mLinks;  ///< targets of links and pictures, in order
  std::vector<std::string> mSpans;  ///< what stands between single back ticks, in order
};

/// Reads a document's prose: blocks of code are passed over.
Test_DocumentMarks Test_ReadMarks(const Test_Lines& iDocument);
