// SPDX-License-Identifier: MIT
#include "cmn/sys_fileutils.h"

#include <sys/stat.h>

#include <string>

namespace {

bool ReadStatus(const Sys_FileLoc& iLocation, struct stat& oStatus) {
  const std::string path = iLocation.GetFullPath();
  // A zero byte would cut the name for the system: such a name names nothing.
  return path.find('\0') == std::string::npos && stat(path.c_str(), &oStatus) == 0;
}

}  // namespace

Sys_FileType Sys_FileUtils::GetFileType(const Sys_FileLoc& iLocation) {
  struct stat status {};
  if (!ReadStatus(iLocation, status)) return Sys_FileType::cUnknown;
  return S_ISDIR(status.st_mode) ? Sys_FileType::cFolder : Sys_FileType::cUnknown;
}

std::string Sys_FileUtils::GetIdentity(const Sys_FileLoc& iLocation) {
  struct stat status {};
  if (!ReadStatus(iLocation, status)) return {};
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}
