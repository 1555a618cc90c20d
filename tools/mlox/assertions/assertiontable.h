// SPDX-License-Identifier: MIT
/// \file
/// The checks that failed, as a table for people.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cmn/cmn_assert.h"

namespace tool {

/// A row a site: where it is, the text of its check, how often it failed; by source and line. iUnlisted:
/// reports of sites that the list has no room for, told below. Every line ends with a line break. Without any
/// report it is the one line that says so.
std::string AssertionTable(std::vector<Cmn_AssertSite> iSites, std::uint64_t iUnlisted);

/// The table of the reports of this process until now.
std::string AssertionTableOfThisRun();

}  // namespace tool
