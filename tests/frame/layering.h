// SPDX-License-Identifier: MIT
/// \file
/// Which folder of the tree may include which, and a reader of all includes.
#pragma once

#include <set>
#include <string>
#include <vector>

/// One include line.
struct Test_Include {
  std::string mFile;    ///< The file that holds it, from the tree's root.
  int mLine;            ///< Its line, from 1.
  std::string mTarget;  ///< What stands between the quotes or brackets.
  bool mIsQuoted;       ///< Whether quotes stand around it.
};

/// What a check of all includes found.
struct Test_LayeringResult {
  std::vector<std::string> mViolations;   ///< One text for each: file, line, what it may not include and why.
  std::set<std::string> mUsedExceptions;  ///< The exceptions without which there would be more, "from -> to".
};

/// Reads the includes of every source and header under a root, without build folders and hidden ones.
std::vector<Test_Include> Test_ReadIncludes(const std::string& iRoot);

/// Checks all includes under a root against the layering.
Test_LayeringResult Test_CheckLayering(const std::string& iRoot);

/// All exceptions, "from -> to".
std::set<std::string> Test_LayeringExceptions();
