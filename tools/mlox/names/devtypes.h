// SPDX-License-Identifier: MIT
/// \file
/// `mlox devtypes`: all that a device type document says.
#pragma once

#include <string>

namespace tool {

/// Prints the document to standard output. Throws ToolError afterwards if it ends in a fault.
void DumpDeviceTypes(const std::string& iFile, bool iJson);

}  // namespace tool
