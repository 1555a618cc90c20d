// SPDX-License-Identifier: MIT
/// \file
/// `mlox studio`: the external instruments of this machine and what they are wired to.
#pragma once

#include <CLI/CLI.hpp>

namespace tool {

void RegisterStudio(CLI::App& iApp);

}  // namespace tool
