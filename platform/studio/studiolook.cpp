// SPDX-License-Identifier: MIT
#include "platform/studio/studiolook.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <thread>

#include "platform/studio/studiofile.h"
#include "platform/studio/studioguard.h"
#include "platform/studio/studioreader.h"
#include "platform/studio/studioschema.h"
#include "platform/studio/studiotext.h"

namespace {

using Result = Platform_StudioLookResult;

constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::chrono::milliseconds kStep{50};

// The bytes that SQLite locks to keep others out, fixed for ever: of the database while it is written without
// a log, of the index while something is written to the log.
struct Bytes {
  const char* mCompanion;
  long long mFirst;
  long long mLast;
};
constexpr Bytes kHolds[] = {{"", 0x40000000, 0x400001FF}, {"-shm", 120, 122}};

// Who has locked bytes of a file for writing, by the kernel's list: asking for a lock by a descriptor of our
// own would end this process's other holds on the file with it. 0 is a holder that has no number.
std::optional<std::int64_t> HolderOf(ino_t iInode, const Bytes& iBytes) {
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    char kind[16];
    char last[32];
    long long process = 0;
    unsigned long long inode = 0;
    long long first = 0;
    const int count = std::sscanf(line.c_str(), "%*d: %*15s %*15s %15s %lld %*x:%*x:%llu %lld %31s", kind,
                                  &process, &inode, &first, last);
    if (count != 5 || inode != iInode || std::strcmp(kind, "WRITE") != 0) {
      continue;
    }
    const long long end = std::strcmp(last, "EOF") == 0 ? LLONG_MAX : std::atoll(last);
    if (first <= iBytes.mLast && end >= iBytes.mFirst) {
      return process > 0 ? process : 0;
    }
  }
  return std::nullopt;
}

std::optional<std::int64_t> Holder(const std::string& iPath) {
  for (const Bytes& bytes : kHolds) {
    struct stat status {};
    if (::stat((iPath + bytes.mCompanion).c_str(), &status) != 0) {
      continue;
    }
    if (const auto holder = HolderOf(status.st_ino, bytes)) {
      return holder;
    }
  }
  return std::nullopt;
}

// Whether somebody holds the file all the time. Two processes that write now and then are no trouble.
bool IsHeld(Platform_StudioLook& ioLook) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    const auto holder = Holder(ioLook.mPath);
    if (!holder) {
      return false;
    }
    ioLook.mHolder = *holder;
    if (std::chrono::steady_clock::now() >= end) {
      return true;
    }
    std::this_thread::sleep_for(kStep);
  }
}

bool HasBytes(const std::string& iPath) {
  struct stat status {};
  return ::stat(iPath.c_str(), &status) == 0 && status.st_size > 0;
}

bool IsThere(const std::string& iPath) {
  struct stat status {};
  return ::stat(iPath.c_str(), &status) == 0;
}

// With its log and index there, both are used as they are, the index without being written. Without a log
// the file itself is all there is; opening it in any other way would make one.
std::string Uri(const std::string& iPath) {
  const bool hasLog = IsThere(iPath + "-wal") && IsThere(iPath + "-shm");
  return Platform_StudioUri(iPath, hasLog ? "mode=ro&readonly_shm=1" : "immutable=1");
}

Result ResultOf(const SQLite::Exception& iFault) {
  switch (iFault.getErrorCode() & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return Result::kHeld;
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_CANTOPEN:
      return Result::kNoPermission;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return Result::kDamaged;
    default:
      return Result::kFailed;
  }
}

void Count(const Platform_StudioContents& iContents, Platform_StudioLook& ioLook) {
  for (const Platform_StudioDeviceP& device : iContents.mRecords.mDevices) {
    ++(device->mIsUserDefined ? ioLook.mUserDefined : ioLook.mPorts);
  }
  ioLook.mWires = static_cast<std::int64_t>(iContents.mRecords.mWires.size());
}

// Reads all of it, as a studio does.
Result Read(SQLite::Database& iDatabase, Platform_StudioLook& ioLook) {
  ioLook.mVersion = iDatabase.execAndGet("PRAGMA user_version").getInt64();
  const bool isOurs = iDatabase.execAndGet("PRAGMA application_id").getInt() == kStudio_ApplicationID;
  if (!isOurs || ioLook.mVersion < 1) {
    const bool isEmpty = iDatabase.execAndGet("SELECT count(*) FROM sqlite_master").getInt() == 0;
    return isEmpty && !isOurs && ioLook.mVersion == 0 ? Result::kEmpty : Result::kNotOurs;
  }
  const bool isOfTheFuture = ioLook.mVersion > kStudio_SchemaVersion;
  Platform_StudioContents contents;
  Platform_StudioReadAll(iDatabase, isOfTheFuture, contents);
  Count(contents, ioLook);
  if (isOfTheFuture) {
    return Result::kFutureVersion;
  }
  ioLook.mReason = Platform_StudioPlainText(iDatabase.execAndGet("PRAGMA quick_check(1)").getString());
  if (ioLook.mReason != "ok") {
    return Result::kDisordered;
  }
  ioLook.mReason.clear();
  return Result::kGood;
}

Result Open(Platform_StudioLook& ioLook) {
  SQLite::Database database(Uri(ioLook.mPath),
                            SQLite::OPEN_READONLY | SQLite::OPEN_URI | SQLite::OPEN_NOMUTEX,
                            static_cast<int>(kPatience.count()));
  Platform_StudioGuard(database);
  return Read(database, ioLook);
}

Result Look(Platform_StudioLook& ioLook) {
  struct stat status {};
  if (::stat(ioLook.mPath.c_str(), &status) != 0) {
    const int fault = errno;
    ioLook.mReason = std::strerror(fault);
    return fault == ENOENT ? Result::kAbsent : fault == EACCES ? Result::kNoPermission : Result::kFailed;
  }
  if (!S_ISREG(status.st_mode)) {
    ioLook.mReason = S_ISDIR(status.st_mode) ? "it is a folder" : "it is no file";
    return Result::kFailed;
  }
  const bool isUnfinished = HasBytes(ioLook.mPath + "-journal") ||
                            (HasBytes(ioLook.mPath + "-wal") && !IsThere(ioLook.mPath + "-shm"));
  if (isUnfinished) {
    return Result::kUnfinished;
  }
  if (status.st_size == 0 && !HasBytes(ioLook.mPath + "-wal")) {
    return Result::kEmpty;
  }
  return IsHeld(ioLook) ? Result::kHeld : Open(ioLook);
}

}  // namespace

Platform_StudioLook Platform_LookAtStudio(const std::string& iPath) {
  Platform_StudioLook look;
  if (iPath.empty()) {
    return look;
  }
  look.mPath = Platform_StudioFile(iPath).Path();
  try {
    look.mResult = Look(look);
  } catch (const SQLite::Exception& fault) {
    look.mResult = ResultOf(fault);
    look.mReason = Platform_StudioPlainText(fault.what());
  } catch (const std::exception& fault) {
    look.mResult = Result::kFailed;
    look.mReason = Platform_StudioPlainText(fault.what());
  }
  if (look.mResult == Result::kHeld) {
    look.mHolder = Holder(look.mPath).value_or(look.mHolder);
  } else {
    look.mHolder = 0;
  }
  return look;
}
