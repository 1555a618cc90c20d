// SPDX-License-Identifier: MIT
/// \file
/// Listing the documents that the user has.
#pragma once

#include <string>
#include <vector>

#include "cmn/cmn_export.h"

/// Appends the names of all name documents under the base folder: relative, without extension, "\" between
/// folders. Gives how many; 0 for a null vector. [main]
MLOX_EXPORT int ScanPatchFileNamesDir(std::vector<std::string>* oNamesP);

/// The same for device type documents, extension ".middev", under their base folder. [main]
MLOX_EXPORT int ScanDeviceTypesNamesDir(std::vector<std::string>* oNamesP);

/// The name documents in order of precedence, for callers that stop at the first match: those in the
/// sub-folder iFolder, if it is not empty; those in the sub-folder "Quilsonics", whatever the device; then
/// all of the base folder, so that the first ones come again. *oNamesP should be empty: the sub-folders'
/// names are put in front by position. Gives the sum of the three counts; 0 for a null vector. [main]
MLOX_EXPORT int ScanPatchFileNamesDir(std::vector<std::string>* oNamesP, const std::string& iFolder);
