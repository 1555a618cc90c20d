// SPDX-License-Identifier: MIT
#include "midixml/scanpatchfilenamesdir.h"

#include <algorithm>
#include <cstddef>

#include "cmn/sys_fileloc.h"
#include "cmn/sys_filelocutils.h"
#include "midixml/scanfolder.h"

namespace {

// Documents that come with the application lie here.
const char* const kOwnFolder = "Quilsonics";

int ScanSubFolder(std::vector<std::string>& ioNames, const Sys_FileLoc& iBase, const std::string& iName) {
  return std::max(0, midixml::ScanFolder(&ioNames, Sys_FileLoc(iBase, iName, Sys_FileType::cFolder), true));
}

void PutInFront(std::vector<std::string>& ioNames, int iFrom, int iCount, const std::string& iFolder) {
  for (int index = iFrom; index < iFrom + iCount; ++index) {
    ioNames[static_cast<size_t>(index)].insert(0, iFolder + "\\");
  }
}

}  // namespace

int ScanPatchFileNamesDir(std::vector<std::string>* oNamesP) {
  if (!oNamesP) return 0;
  return midixml::ScanFolder(oNamesP, Sys_FileLocUtils::GetMIDIPatchFileBaseDir(), true);
}

int ScanDeviceTypesNamesDir(std::vector<std::string>* oNamesP) {
  if (!oNamesP) return 0;
  return midixml::ScanFolder(oNamesP, Sys_FileLocUtils::GetMIDIDeviceTypesBaseDir(), false);
}

int ScanPatchFileNamesDir(std::vector<std::string>* oNamesP, const std::string& iFolder) {
  if (!oNamesP) return 0;
  const Sys_FileLoc base = Sys_FileLocUtils::GetMIDIPatchFileBaseDir();
  const int inFolder = iFolder.empty() ? 0 : ScanSubFolder(*oNamesP, base, iFolder);
  const int inOwnFolder = ScanSubFolder(*oNamesP, base, kOwnFolder);
  const int inBase = std::max(0, midixml::ScanFolder(oNamesP, base, true));
  PutInFront(*oNamesP, 0, inFolder, iFolder);
  PutInFront(*oNamesP, inFolder, inOwnFolder, kOwnFolder);
  return inFolder + inOwnFolder + inBase;
}
