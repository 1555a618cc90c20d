// SPDX-License-Identifier: MIT
/// \file
/// A file of patch names that stands in for one bank.
#pragma once

#include <string>

#include "cmn/sys_fileloc.h"

/// A stored override: the patches of one bank come from a list of another document.
struct Mlox_PatchNameBankInfo {
  /// The bank, by its name.
  std::string mBankName;
  /// The document.
  Sys_FileLoc mFile;
  /// The patch name list in that document.
  std::string mPatchNameListName;
};
