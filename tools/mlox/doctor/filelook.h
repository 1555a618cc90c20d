// SPDX-License-Identifier: MIT
/// \file
/// Looks at files and folders. None of them changes anything, and each lasts as long as the disk takes.
#pragma once

#include <sys/statvfs.h>

#include <cstdint>
#include <string>

#include "tools/mlox/doctor/machine.h"

namespace tool {

/// What lies at a path, links followed, and what this process may do with it.
PathFacts LookAtPath(const std::string& iPath);

/// What is free on a disk; the largest number when it doesn't tell. \param iIsFileThere  no new file is
/// needed
std::int64_t FreeBytes(const struct statvfs& iDisk, bool iIsRoot, bool iIsFileThere);

/// The studio's file, its folder and its disk. \param iPath  empty where nothing says where it lies
StudioFacts LookAtStudio(const std::string& iPath);

/// The base folder of documents of one kind, as the library finds it by the environment.
DocumentFacts LookAtDocuments(bool iOfDeviceTypes);

/// A small file: its beginning, as far as anybody reads it.
TextFacts LookAtText(const std::string& iPath);

/// A file that lines are to be appended to. \param iPath  empty for none
LogFacts LookAtLog(const std::string& iPath);

}  // namespace tool
