// SPDX-License-Identifier: MIT
#include "cmn/sys_filelociterator.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "cmn/sys_filelocposix.h"
#include "cmn/sys_fileutils.h"

namespace {

namespace fs = std::filesystem;

bool SameFolder(const struct stat& iLeft, const struct stat& iRight) {
  return iLeft.st_dev == iRight.st_dev && iLeft.st_ino == iRight.st_ino;
}

// Whether a folder is one of those that lead to it: the folder that holds it, or one before it on the path as
// walked. Any endless path meets such a folder, so leaving these out is enough, and it needs no memory of the
// walk.
bool LeadsBack(const std::string& iHolderPath, const struct stat& iFolder) {
  std::string path = iHolderPath;
  while (true) {
    struct stat status {};
    if (stat(path.empty() ? "/" : path.c_str(), &status) == 0 && SameFolder(status, iFolder)) return true;
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return false;
    path.resize(slash);
  }
}

}  // namespace

Sys_FileLocIterator::Sys_FileLocIterator(const Sys_FileLoc& iFolder, const std::vector<Sys_FileType>& iTypes,
                                         EIterType iIterType, unsigned iDepth)
    : mTypes(iTypes), mIterType(iIterType), mDepth(iDepth) {
  if (Sys_FileUtils::GetFileType(iFolder) != Sys_FileType::cFolder) return;
  Enter(iFolder.GetFullPath());
  GoToWanted();
}

Sys_FileLocIterator& Sys_FileLocIterator::operator++() {
  if (mLevels.empty()) return *this;
  Step();
  GoToWanted();
  return *this;
}

void Sys_FileLocIterator::GoToWanted() {
  while (!mLevels.empty() && !IsWanted(Current().mType)) Step();
}

bool Sys_FileLocIterator::IsWanted(const Sys_FileType& iType) const {
  const bool isFolder = iType == Sys_FileType::cFolder;
  if (mIterType == (isFolder ? cIterFilesOnly : cIterFoldersOnly)) return false;
  return mTypes.empty() || std::find(mTypes.begin(), mTypes.end(), iType) != mTypes.end();
}

// The next item of all: the first one in the folder stood at, else the one behind it, else that behind its
// folder.
void Sys_FileLocIterator::Step() {
  const Item item = Current();
  ++mLevels.back().mIndex;
  if (item.mType == Sys_FileType::cFolder)
    Enter(item.mPath);
  else
    DropFinishedLevels();
}

void Sys_FileLocIterator::Enter(const std::string& iPath) {
  if (mLevels.size() < mDepth) mLevels.push_back({ReadFolder(iPath), 0});
  DropFinishedLevels();
}

void Sys_FileLocIterator::DropFinishedLevels() {
  while (!mLevels.empty() && mLevels.back().mIndex == mLevels.back().mItems.size()) mLevels.pop_back();
}

std::vector<Sys_FileLocIterator::Item> Sys_FileLocIterator::ReadFolder(const std::string& iPath) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(iPath, error), end; !error && entry != end; entry.increment(error))
    names.push_back(entry->path().filename().string());
  std::sort(names.begin(), names.end());

  std::vector<Item> items;
  for (const std::string& name : names) {
    const std::string path = (iPath == "/" ? "" : iPath) + "/" + name;
    struct stat status {};
    // A link to nothing isn't online; a pipe or a device would hang whoever opens it for reading.
    if (stat(path.c_str(), &status) != 0 || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))) continue;
    const bool isFolder = S_ISDIR(status.st_mode);
    if (isFolder && LeadsBack(iPath, status)) continue;
    const Sys_FileType type = isFolder ? Sys_FileType::cFolder : Sys_FileType::cUnknown;
    items.push_back({Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(path, type)), path, type});
  }
  return items;
}
