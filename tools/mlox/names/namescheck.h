// SPDX-License-Identifier: MIT
/// \file
/// `mlox names check`: what is wrong with documents, and what to change.
#pragma once

#include <string>
#include <vector>

namespace tool {

/// Checks files and, in folders, all that ends in .midnam or .middev. Prints a line a file, warnings below
/// it, and a summary. Throws ToolError afterwards if a document has a fault.
void CheckNames(const std::vector<std::string>& iPaths);

}  // namespace tool
