// SPDX-License-Identifier: MIT
/// \file
/// What shells need to complete the tool's command lines.
#pragma once

#include <string>
#include <vector>

#include "tools/mlox/reference/commandtree.h"

namespace tool {

/// A script for bash, which completes commands, options and choices, and file names everywhere else. Choices
/// are those of options, with a blank or "=" in front, and of positional arguments. The value behind "=" is
/// known where
/// "=" is among the characters that bash breaks words at, as it is if nobody has changed them.
std::string BashCompletion(const std::vector<Command>& iCommands);

/// The same for zsh, with descriptions.
std::string ZshCompletion(const std::vector<Command>& iCommands);

}  // namespace tool
