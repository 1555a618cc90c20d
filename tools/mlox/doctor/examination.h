// SPDX-License-Identifier: MIT
/// \file
/// All checks, and how their answers are printed.
#pragma once

#include <string>
#include <vector>

#include "tools/mlox/doctor/finding.h"
#include "tools/mlox/doctor/machine.h"

namespace tool {

/// What every check says of a machine, always in the same order.
std::vector<Finding> Examine(const Machine& iMachine);

/// How many of them are wrong.
std::size_t CountWrong(const std::vector<Finding>& iFindings);

/// For people: a line each, broken to so many columns, and behind it whole what mends it.
std::string FindingsText(const std::vector<Finding>& iFindings, std::size_t iColumns);

/// For programs, one line: {"findings": [{"mend": [...], "name": ..., "seen": ..., "state": "ok"}], "wrong":
/// 0}. States are "ok", "note" and "wrong".
std::string FindingsJson(const std::vector<Finding>& iFindings);

}  // namespace tool
