// SPDX-License-Identifier: MIT
#include "midixml/scanfolder.h"

#include <cstddef>
#include <string_view>
#include <unordered_map>

#include "cmn/sys_file.h"
#include "cmn/sys_filelociterator.h"
#include "cmn/sys_fileutils.h"
#include "midixml/asciicase.h"

namespace midixml {

namespace {

// How often one folder is entered in one scan. Without links every folder is entered once. Folders that link
// to each other are met on every path through them, and the number of those paths grows faster than any power
// of the number of folders.
constexpr int kMostVisits = 16;

// The name of an item: what stands behind the last "\" or, with none, behind the last ":".
std::string ItemName(const Sys_FileLoc& iItem) {
  const std::string name = iItem.GetName(cKeepExtension);
  size_t separator = name.rfind('\\');
  if (separator == std::string::npos) separator = name.rfind(':');
  return separator == std::string::npos ? name : name.substr(separator + 1);
}

bool IsFolder(const Sys_FileLoc& iItem) { return Sys_FileUtils::GetFileType(iItem) == Sys_FileType::cFolder; }

class Scanner {
 public:
  Scanner(std::vector<std::string>& ioNames, std::string_view iExtension)
      : mNames(ioNames), mExtension(iExtension) {}

  // Appends the names of a folder's documents. Gives how many.
  int Scan(const Sys_FileLoc& iFolder) {
    if (!iFolder || !Sys_File(iFolder).IsOnline() || !IsFolder(iFolder)) return 0;
    if (++mVisits[Sys_FileUtils::GetIdentity(iFolder)] > kMostVisits) return 0;
    int total = 0;
    for (Sys_FileLocIterator item(iFolder, {}, cIterFilesAndFolders, 1); item; ++item) {
      const std::string name = ItemName(*item);
      total += IsFolder(*item) ? AddFolder(*item, name) : AddFile(name);
    }
    return total;
  }

 private:
  int AddFolder(const Sys_FileLoc& iFolder, const std::string& iName) {
    const int count = Scan(iFolder);
    if (count < 1 || static_cast<size_t>(count) > mNames.size()) return 0;
    const std::string prefix = iName + "\\";
    for (auto it = mNames.end() - count; it != mNames.end(); ++it) it->insert(0, prefix);
    return count;
  }

  int AddFile(const std::string& iName) {
    const size_t dot = iName.rfind('.');
    if (dot == std::string::npos) return 0;
    if (!EqualsIgnoringCase(std::string_view(iName).substr(dot), mExtension)) return 0;
    mNames.push_back(iName.substr(0, dot));
    return 1;
  }

  std::vector<std::string>& mNames;
  std::string_view mExtension;
  std::unordered_map<std::string, int> mVisits;
};

}  // namespace

int ScanFolder(std::vector<std::string>* oNamesP, const Sys_FileLoc& iFolder, bool iWantPatchFiles) {
  if (!oNamesP) return 0;
  return Scanner(*oNamesP, iWantPatchFiles ? ".midnam" : ".middev").Scan(iFolder);
}

}  // namespace midixml
