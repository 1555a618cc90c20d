// SPDX-License-Identifier: MIT
/// \file
/// What shells need to complete the tool's command lines.
#pragma once

#include <string>
#include <vector>

#include "tools/mlox/reference/commandtree.h"

namespace tool {

/// A script for bash, which completes commands, options and choices, and file names everywhere else.
std::string BashCompletion(const std::vector<Command>& iCommands);

/// The same for zsh, with descriptions.
std::string ZshCompletion(const std::vector<Command>& iCommands);

}  // namespace tool
