// SPDX-License-Identifier: MIT
/// \file
/// Questions about files.
#pragma once

#include <string>

#include "cmn/cmn_export.h"
#include "cmn/sys_fileloc.h"
#include "cmn/sys_filetype.h"

/// Questions about what a location names at this moment.
class MLOX_EXPORT Sys_FileUtils {
 public:
  /// `Sys_FileType::cFolder` for a folder and for a link to one; `Sys_FileType::cUnknown` for all else, for
  /// what isn't there, and for no location. [main]
  static Sys_FileType GetFileType(const Sys_FileLoc& iLocation);

  /// A text that is the same for all locations of one file or folder, and of no other, while it is there: a
  /// link has that of what it leads to. Empty for what isn't there, and for no location. [main]
  static std::string GetIdentity(const Sys_FileLoc& iLocation);
};
