// SPDX-License-Identifier: MIT
/// \file
/// `mlox doctor`: what this machine offers, and what is wrong with it.
#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// Adds `doctor` to the tool.
void RegisterDoctor(CLI::App& iApp);

}  // namespace tool
