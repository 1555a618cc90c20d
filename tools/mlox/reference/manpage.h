// SPDX-License-Identifier: MIT
/// \file
/// The tool's manual page.
#pragma once

#include <string>
#include <vector>

#include "tools/mlox/reference/commandtree.h"

namespace tool {

/// The manual page of a program and its commands, in the language of man(7). The same for the same commands:
/// it holds no date. \param iVersion  such as "mlox 1.0.0"
std::string ManualPage(const std::vector<Command>& iCommands, const std::string& iVersion);

}  // namespace tool
