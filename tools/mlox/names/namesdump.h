// SPDX-License-Identifier: MIT
/// \file
/// `mlox names dump`: all that a name document says, as the library holds it.
#pragma once

#include <string>

namespace tool {

/// Prints the document to standard output. Throws ToolError afterwards if it ends in a fault.
void DumpNames(const std::string& iFile, bool iJson);

}  // namespace tool
