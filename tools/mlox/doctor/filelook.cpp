// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/filelook.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>
#include <vector>

#include "cmn/sys_filelocutils.h"
#include "midixml/scanpatchfilenamesdir.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

// The library reads no more of its settings, and nobody hides so many ports.
constexpr std::size_t kMostText = 65536;

bool IsGranted(const std::string& iPath, int iRights) {
  return ::faccessat(AT_FDCWD, iPath.c_str(), iRights, AT_EACCESS) == 0;
}

PathKind KindOf(mode_t iMode) {
  if (S_ISREG(iMode)) return PathKind::kFile;
  return S_ISDIR(iMode) ? PathKind::kFolder : PathKind::kOther;
}

// The folder of a file, or the nearest one above that is there.
PathFacts NearestFolder(const std::string& iPath) {
  fs::path folder = fs::path(iPath).parent_path();
  while (folder.has_relative_path() && LookAtPath(folder.string()).mKind == PathKind::kNothing) {
    folder = folder.parent_path();
  }
  return LookAtPath(folder.string());
}

void LookAtDisk(StudioFacts& ioFacts) {
  struct statvfs disk {};
  if (::statvfs(ioFacts.mFolder.mPath.c_str(), &disk) != 0) {
    // Nobody knows of a disk that doesn't tell.
    ioFacts.mFreeBytes = std::numeric_limits<std::int64_t>::max();
    return;
  }
  ioFacts.mIsDiskReadOnly = (disk.f_flag & ST_RDONLY) != 0;
  const bool isRoot = ::geteuid() == 0;
  const auto blocks = static_cast<std::int64_t>(isRoot ? disk.f_bfree : disk.f_bavail);
  // A disk without a number of files has no limit for it.
  const bool hasPlace = disk.f_files == 0 || disk.f_favail != 0 || ioFacts.mFile.mKind == PathKind::kFile;
  ioFacts.mFreeBytes = hasPlace ? blocks * static_cast<std::int64_t>(disk.f_frsize) : 0;
}

// Set aside as "<file>.damaged-<number>", in the order of their numbers.
std::vector<std::string> DamagedOnes(const std::string& iPath) {
  std::vector<std::string> paths;
  for (int number = 1; LookAtPath(fmt::format("{}.damaged-{}", iPath, number)).mKind == PathKind::kFile;
       ++number) {
    paths.push_back(fmt::format("{}.damaged-{}", iPath, number));
  }
  return paths;
}

std::string ProgramOf(std::int64_t iProcess) {
  std::ifstream file(fmt::format("/proc/{}/comm", iProcess));
  std::string name;
  std::getline(file, name);
  return name;
}

}  // namespace

PathFacts LookAtPath(const std::string& iPath) {
  PathFacts facts;
  facts.mPath = iPath;
  struct stat status {};
  if (::stat(iPath.c_str(), &status) != 0) {
    facts.mFault = errno == ENOENT ? 0 : errno;
    return facts;
  }
  facts.mKind = KindOf(status.st_mode);
  const int enter = facts.mKind == PathKind::kFolder ? X_OK : 0;
  facts.mIsReadable = IsGranted(iPath, R_OK | enter);
  facts.mIsWritable = IsGranted(iPath, W_OK | enter);
  facts.mIsOurs = status.st_uid == ::geteuid();
  return facts;
}

StudioFacts LookAtStudio(const std::string& iPath) {
  StudioFacts facts;
  facts.mLook = Platform_LookAtStudio(iPath);
  if (facts.mLook.mPath.empty()) return facts;
  facts.mFile = LookAtPath(facts.mLook.mPath);
  facts.mFolder = NearestFolder(facts.mLook.mPath);
  facts.mIsFolderThere = facts.mFolder.mPath == fs::path(facts.mLook.mPath).parent_path();
  LookAtDisk(facts);
  facts.mDamaged = DamagedOnes(facts.mLook.mPath);
  if (facts.mLook.mHolder > 0) facts.mHolder = ProgramOf(facts.mLook.mHolder);
  return facts;
}

DocumentFacts LookAtDocuments(bool iOfDeviceTypes) {
  DocumentFacts facts;
  const Sys_FileLoc folder = iOfDeviceTypes ? Sys_FileLocUtils::GetMIDIDeviceTypesBaseDir()
                                            : Sys_FileLocUtils::GetMIDIPatchFileBaseDir();
  facts.mFolder = LookAtPath(Sys_FileLocUtils::StripSlash(folder.GetFullPath()));
  std::vector<std::string> names;
  facts.mCount = iOfDeviceTypes ? ScanDeviceTypesNamesDir(&names) : ScanPatchFileNamesDir(&names);
  return facts;
}

TextFacts LookAtText(const std::string& iPath) {
  TextFacts facts;
  facts.mFile = LookAtPath(iPath);
  // Reading anything else, such as a pipe, might wait for ever.
  if (facts.mFile.mKind != PathKind::kFile) return facts;
  std::ifstream file(iPath, std::ios::binary);
  std::string text(kMostText, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
  facts.mText = text;
  return facts;
}

LogFacts LookAtLog(const std::string& iPath) {
  LogFacts facts;
  if (iPath.empty() || iPath == "-") return facts;
  facts.mFile = LookAtPath(iPath);
  const std::string folder = fs::path(iPath).parent_path().string();
  facts.mFolder = LookAtPath(folder.empty() ? "." : folder);
  return facts;
}

}  // namespace tool
