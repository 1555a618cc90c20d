// SPDX-License-Identifier: MIT
#include "platform/studio/studiofile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

const char* const kCompanions[] = {"-wal", "-shm"};

// The bytes of a database file that its users lock, a reader one of them and a writer all. Fixed for ever.
constexpr off_t kLockedBytes = 0x40000000;
constexpr off_t kLockedLength = 512;

std::string Variable(const char* iName) {
  const char* const value = std::getenv(iName);
  return value != nullptr ? value : "";
}

// Also where a link leads to a file that isn't there yet.
std::string Real(const std::string& iPath) {
  constexpr int kMostLinks = 40;
  std::error_code error;
  fs::path path = fs::absolute(iPath, error);
  for (int link = 0; link < kMostLinks && fs::is_symlink(path, error); ++link) {
    path = path.parent_path() / fs::read_symlink(path, error);
  }
  const fs::path real = fs::weakly_canonical(path, error);
  return error || real.empty() ? iPath : real.string();
}

bool Exists(const std::string& iPath) {
  struct stat status {};
  return ::lstat(iPath.c_str(), &status) == 0;
}

// The first name that nothing has yet.
std::string FreeName(const std::string& iPath) {
  for (int number = 1;; ++number) {
    std::string name = iPath + ".damaged-" + std::to_string(number);
    if (!Exists(name) && !Exists(name + "-wal") && !Exists(name + "-shm")) {
      return name;
    }
  }
}

// Whether a user of the database that knows nothing of the lock beside it has it open. Its own locks tell.
bool IsOpenElsewhere(const std::string& iPath) {
  const int file = ::open(iPath.c_str(), O_RDWR | O_CLOEXEC);
  if (file < 0) {
    return errno != ENOENT;
  }
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kLockedBytes;
  lock.l_len = kLockedLength;
  const bool isFree = ::fcntl(file, F_OFD_SETLK, &lock) == 0;
  ::close(file);
  return !isFree;
}

bool Rename(const std::string& iFrom, const std::string& iTo, std::string& oReason) {
  if (!Exists(iFrom) || std::rename(iFrom.c_str(), iTo.c_str()) == 0) {
    return true;
  }
  oReason = std::strerror(errno);
  return false;
}

}  // namespace

std::string Platform_StudioDefaultPath() {
  std::string named = Variable("MLOX_STUDIO_DB");
  if (!named.empty()) {
    return named;
  }
  const std::string state = Variable("XDG_STATE_HOME");
  if (!state.empty() && state.front() == '/') {
    return state + "/mlox/studio.db";
  }
  const std::string home = Variable("HOME");
  return home.empty() ? "" : home + "/.local/state/mlox/studio.db";
}

std::string Platform_StudioUri(const std::string& iPath, const std::string& iQuery) {
  std::string uri = "file:";
  for (const char character : iPath) {
    const bool isPlain = (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
                         (character >= 'a' && character <= 'z') ||
                         std::string("/._-~").find(character) != std::string::npos;
    if (isPlain) {
      uri += character;
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof(escaped), "%%%02X", static_cast<unsigned char>(character));
      uri += escaped;
    }
  }
  return uri + "?" + iQuery;
}

Platform_StudioFile::Platform_StudioFile(const std::string& iPath)
    : mPath(iPath.empty() ? iPath : Real(iPath)) {}

Platform_StudioFile::~Platform_StudioFile() { Release(); }

void Platform_StudioFile::MakeFolders() const {
  const fs::path folder = fs::path(mPath).parent_path();
  fs::path made;
  for (const fs::path& part : folder) {
    made /= part;
    // One that is there, and one that can't be made, show when the file is opened.
    static_cast<void>(::mkdir(made.c_str(), S_IRWXU));
  }
}

bool Platform_StudioFile::Lock(int iHow) {
  if (mLock < 0) {
    mLock = ::open((mPath + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  }
  return mLock >= 0 && ::flock(mLock, iHow | LOCK_NB) == 0;
}

bool Platform_StudioFile::Share() { return Lock(LOCK_SH) || mLock < 0 || errno != EWOULDBLOCK; }

void Platform_StudioFile::Release() {
  if (mLock >= 0) {
    ::close(mLock);
    mLock = -1;
  }
}

bool Platform_StudioFile::SetAside(std::string& oNewPath, std::string& oReason) {
  Release();
  if (!Lock(LOCK_EX)) {
    oReason = mLock < 0 ? std::strerror(errno) : "somebody else has it open";
    Release();
    return false;
  }
  if (IsOpenElsewhere(mPath)) {
    oReason = "somebody else has it open";
    Release();
    return false;
  }
  oNewPath = FreeName(mPath);
  // The file itself goes last: a new file must never meet the log of the old one.
  bool isDone = true;
  for (const char* const companion : kCompanions) {
    isDone = isDone && Rename(mPath + companion, oNewPath + companion, oReason);
  }
  isDone = isDone && Rename(mPath, oNewPath, oReason);
  Release();
  return isDone;
}

bool Platform_StudioFile::IsSame() const {
  if (mInode == 0) {
    return true;
  }
  struct stat status {};
  return ::stat(mPath.c_str(), &status) == 0 && status.st_dev == mDevice && status.st_ino == mInode;
}

void Platform_StudioFile::MarkSeen() {
  struct stat status {};
  const bool isThere = ::stat(mPath.c_str(), &status) == 0;
  mDevice = isThere ? status.st_dev : 0;
  mInode = isThere ? status.st_ino : 0;
}
