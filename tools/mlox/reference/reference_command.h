// SPDX-License-Identifier: MIT
/// \file
/// `mlox reference`: the tool's manual page and completions, made from its own tables.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tool {

/// Adds `mlox reference man|bash|zsh`, which prints what packages install.
/// \param iVersion  such as "mlox 1.0.0"
void RegisterReference(CLI::App& ioApp, const std::string& iVersion);

}  // namespace tool
