// SPDX-License-Identifier: MIT
#include "tools/mlox/names/filelocation.h"

#include "cmn/sys_filelocposix.h"

namespace tool {

Sys_FileLoc FileAt(const std::string& iPath) {
  if (iPath.empty()) return Sys_FileLoc();
  return Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cUnknown));
}

}  // namespace tool
