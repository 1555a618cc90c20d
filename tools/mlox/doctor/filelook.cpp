// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/filelook.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#if defined(__linux__)
#include <linux/magic.h>
#include <sys/vfs.h>
#endif

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
  // Above the first folder of a relative path is the one that the process is in.
  return LookAtPath(folder.empty() ? "." : folder.string());
}

// Whether a folder belongs to a tree in which the kernel shows itself. Whatever the rights of such a folder
// say, nobody makes files in it.
bool IsOfKernel(const std::string& iFolder) {
#if defined(__linux__)
  struct statfs disk {};
  if (::statfs(iFolder.c_str(), &disk) != 0) return false;
  switch (static_cast<std::uint32_t>(disk.f_type)) {
    case PROC_SUPER_MAGIC:
    case SYSFS_MAGIC:
    case DEBUGFS_MAGIC:
    case TRACEFS_MAGIC:
    case SECURITYFS_MAGIC:
    case DEVPTS_SUPER_MAGIC:
    case CGROUP_SUPER_MAGIC:
    case CGROUP2_SUPER_MAGIC:
      return true;
    default:
      return false;
  }
#else
  return iFolder.empty();
#endif
}

void LookAtDisk(StudioFacts& ioFacts) {
  struct statvfs disk {};
  if (::statvfs(ioFacts.mFolder.mPath.c_str(), &disk) != 0) {
    // Nobody knows of a disk that doesn't tell.
    ioFacts.mFreeBytes = std::numeric_limits<std::int64_t>::max();
    return;
  }
  ioFacts.mIsDiskReadOnly = (disk.f_flag & ST_RDONLY) != 0;
  ioFacts.mFreeBytes = FreeBytes(disk, ::geteuid() == 0, ioFacts.mFile.mKind == PathKind::kFile);
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

std::int64_t FreeBytes(const struct statvfs& iDisk, bool iIsRoot, bool iIsFileThere) {
  // One without a size, such as of another machine's files, doesn't tell.
  if (iDisk.f_blocks == 0) return std::numeric_limits<std::int64_t>::max();
  const auto blocks = static_cast<std::int64_t>(iIsRoot ? iDisk.f_bfree : iDisk.f_bavail);
  // One without a number of files has no limit for it.
  const bool hasPlace = iDisk.f_files == 0 || iDisk.f_favail != 0 || iIsFileThere;
  return hasPlace ? blocks * static_cast<std::int64_t>(iDisk.f_frsize) : 0;
}

StudioFacts LookAtStudio(const std::string& iPath) {
  StudioFacts facts;
  facts.mLook = Platform_LookAtStudio(iPath);
  if (facts.mLook.mPath.empty()) return facts;
  facts.mFile = LookAtPath(facts.mLook.mPath);
  facts.mFolder = NearestFolder(facts.mLook.mPath);
  facts.mIsOfKernel = IsOfKernel(facts.mFolder.mPath);
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
  if (iPath.empty()) return facts;
  facts.mFile = LookAtPath(iPath);
  const std::string folder = fs::path(iPath).parent_path().string();
  facts.mFolder = LookAtPath(folder.empty() ? "." : folder);
  facts.mNearest = folder.empty() ? facts.mFolder : NearestFolder(iPath);
  facts.mIsOfKernel = IsOfKernel(facts.mNearest.mPath);
  return facts;
}

}  // namespace tool
