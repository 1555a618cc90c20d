// SPDX-License-Identifier: MIT
/// \file
/// `mlox names check`: what is wrong with documents, and what to change.
#pragma once

#include <string>
#include <vector>

namespace tool {

/// What `mlox names check` is asked.
struct CheckRequest {
  std::vector<std::string> mPaths;
  bool mJson = false;
};

/// Checks files and, in folders, all that ends in .midnam or .middev. Prints a line a file, warnings below
/// it, and a summary; or all of it as one line of JSON. Throws ToolError afterwards if a document has a
/// fault.
void CheckNames(const CheckRequest& iRequest);

}  // namespace tool
