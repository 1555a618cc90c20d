// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/excludedportnames.h"

#include "cmn/sys_file.h"
#include "cmn/sys_filelocutils.h"
#include "cmn/sys_filetype.h"
#include "diagnostics/quiltracelibrary.h"
#include "mlox/mlox_directmusic/portnamerules.h"

void ReadExcludedPortNamesFile(std::set<std::string>& ioNames) {
  const Sys_FileLoc location(Sys_FileLocUtils::GetApplicationFolderLoc(), kExcludedPortNamesFile,
                             Sys_FileType::cUnknown);
  Sys_File file(location);
  if (!file.IsOnline()) return;
  const Sys_StFileOpener opener(file, Sys_File::cReadExisting);
  PortName_ReadExcluded(file, ioNames);
}

void LoadExcludedPortNames(const std::function<void(std::set<std::string>&)>& iReader,
                           std::set<std::string>& ioNames) {
  try {
    iReader(ioNames);
  } catch (...) {  // whatever it was, the built-in names still hold
    QUIL_TRACE(0x04000000, "MLOX: Failed to load ExcludedMIDIPorts.txt");
  }
}
