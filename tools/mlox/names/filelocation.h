// SPDX-License-Identifier: MIT
/// \file
/// Paths of the command line as locations.
#pragma once

#include <string>

#include "cmn/sys_fileloc.h"

namespace tool {

/// The location of a path as the user wrote it; none for an empty one.
Sys_FileLoc FileAt(const std::string& iPath);

}  // namespace tool
