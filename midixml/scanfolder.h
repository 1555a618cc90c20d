// SPDX-License-Identifier: MIT
/// \file
/// Finding documents on disk.
#pragma once

#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "cmn/sys_fileloc.h"

namespace midixml {

/// Appends to *oNamesP the names of the documents under a folder: relative to it, without their extension,
/// with "\" between folders, the items of each folder in byte order of their names. The extension is
/// ".midnam", or ".middev" if iWantPatchFiles is false; its letter case doesn't count. Gives how many were
/// added; 0 for a null oNamesP and for what is no folder. Folders that can't be read give nothing, links that
/// lead back are left out, and of more than 16 ways to one folder the first 16 count. [main]
MLOX_EXPORT int ScanFolder(std::vector<std::string>* oNamesP, const Sys_FileLoc& iFolder,
                           bool iWantPatchFiles);

}  // namespace midixml
