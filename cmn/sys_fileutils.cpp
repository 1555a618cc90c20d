// SPDX-License-Identifier: MIT
#include "cmn/sys_fileutils.h"

#include <sys/stat.h>

#include <string>

Sys_FileType Sys_FileUtils::GetFileType(const Sys_FileLoc& iLocation) {
  const std::string path = iLocation.GetFullPath();
  struct stat status {};
  // A zero byte would cut the name for the system: such a name names nothing.
  if (path.find('\0') != std::string::npos || stat(path.c_str(), &status) != 0) return Sys_FileType::cUnknown;
  return S_ISDIR(status.st_mode) ? Sys_FileType::cFolder : Sys_FileType::cUnknown;
}
