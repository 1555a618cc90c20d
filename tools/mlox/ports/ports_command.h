// SPDX-License-Identifier: MIT
/// \file
/// The subcommands about MIDI ports: `mlox list`, `monitor`, `send`, `play`, `watch`, `latency`.
#pragma once

#include <CLI/CLI.hpp>

namespace tool {

void RegisterPorts(CLI::App& iApp);

/// `mlox names patches`, which asks an output; `mlox names` must be registered.
void RegisterOutputPatches(CLI::App& iApp);

}  // namespace tool
