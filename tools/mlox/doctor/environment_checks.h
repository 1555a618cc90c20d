// SPDX-License-Identifier: MIT
/// \file
/// What the environment asks for.
#pragma once

#include <string>
#include <vector>

#include "tools/mlox/doctor/finding.h"
#include "tools/mlox/doctor/machine.h"

namespace tool {

/// The names of all variables that the library reads, the startup options' among them.
const std::vector<std::string>& KnownVariables();

/// A finding for each variable that asks for something that there isn't; one if all is well.
std::vector<Finding> CheckEnvironment(const Machine& iMachine);

/// The library that writes trace lines: found, whole, asked for.
Finding CheckTracing(const Machine& iMachine);

}  // namespace tool
