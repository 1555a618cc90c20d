// SPDX-License-Identifier: MIT
#include "midixml/scanfolder.h"

#include <cstddef>
#include <string_view>

#include "cmn/sys_file.h"
#include "cmn/sys_filelociterator.h"
#include "cmn/sys_fileutils.h"
#include "midixml/asciicase.h"

namespace midixml {

namespace {

// The name of an item: what stands behind the last "\" or, with none, behind the last ":".
std::string ItemName(const Sys_FileLoc& iItem) {
  const std::string name = iItem.GetName(cKeepExtension);
  size_t separator = name.rfind('\\');
  if (separator == std::string::npos) separator = name.rfind(':');
  return separator == std::string::npos ? name : name.substr(separator + 1);
}

bool IsFolder(const Sys_FileLoc& iItem) { return Sys_FileUtils::GetFileType(iItem) == Sys_FileType::cFolder; }

int AddFolder(std::vector<std::string>& ioNames, const Sys_FileLoc& iFolder, const std::string& iName,
              bool iWantPatchFiles) {
  const int count = ScanFolder(&ioNames, iFolder, iWantPatchFiles);
  if (count < 1 || static_cast<size_t>(count) > ioNames.size()) return 0;
  const std::string prefix = iName + "\\";
  for (auto it = ioNames.end() - count; it != ioNames.end(); ++it) it->insert(0, prefix);
  return count;
}

int AddFile(std::vector<std::string>& ioNames, const std::string& iName, std::string_view iExtension) {
  const size_t dot = iName.rfind('.');
  if (dot == std::string::npos) return 0;
  if (!EqualsIgnoringCase(std::string_view(iName).substr(dot), iExtension)) return 0;
  ioNames.push_back(iName.substr(0, dot));
  return 1;
}

}  // namespace

int ScanFolder(std::vector<std::string>* oNamesP, const Sys_FileLoc& iFolder, bool iWantPatchFiles) {
  if (!oNamesP || !iFolder || !Sys_File(iFolder).IsOnline() || !IsFolder(iFolder)) return 0;
  const std::string_view extension = iWantPatchFiles ? ".midnam" : ".middev";
  int total = 0;
  for (Sys_FileLocIterator item(iFolder, {}, cIterFilesAndFolders, 1); item; ++item) {
    const std::string name = ItemName(*item);
    total += IsFolder(*item) ? AddFolder(*oNamesP, *item, name, iWantPatchFiles)
                             : AddFile(*oNamesP, name, extension);
  }
  return total;
}

}  // namespace midixml
