// SPDX-License-Identifier: MIT
/// \file
/// `mlox names` and `mlox devtypes`.
#pragma once

#include <CLI/CLI.hpp>

namespace tool {

/// Adds `names`, with what it can be asked, to the tool.
void RegisterNames(CLI::App& iApp);

/// Adds `devtypes` to the tool.
void RegisterDeviceTypes(CLI::App& iApp);

}  // namespace tool
