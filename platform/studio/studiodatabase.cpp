// SPDX-License-Identifier: MIT
#include "platform/studio/studiodatabase.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <cerrno>

#include "platform/studio/studioguard.h"
#include "platform/studio/studioreader.h"
#include "platform/studio/studioschema.h"
#include "platform/studio/studiotext.h"
#include "platform/studio/studiowriter.h"

namespace {

using Standing = Platform_StudioStanding;

// How long one step may wait for another process. The thread that waits is the studio's own.
constexpr int kBusyMilliseconds = 20;

}  // namespace

Platform_StudioDatabase::Platform_StudioDatabase(const std::string& iPath) : mFile(iPath) {}

Platform_StudioDatabase::~Platform_StudioDatabase() { Close(); }

Standing Platform_StudioDatabase::StandingOf(const SQLite::Exception& iFault) {
  mReason = Platform_StudioPlainText(iFault.what());
  const bool isFull = mDatabase != nullptr && (iFault.getErrorCode() & 0xFF) == SQLITE_IOERR &&
                      (sqlite3_system_errno(mDatabase->getHandle()) == ENOSPC ||
                       sqlite3_system_errno(mDatabase->getHandle()) == EDQUOT);
  if (isFull) {
    return Standing::kFull;
  }
  switch (iFault.getErrorCode() & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return Standing::kBusy;
    case SQLITE_READONLY:
      return Standing::kReadOnly;
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_CANTOPEN:
      return Standing::kNoPermission;
    case SQLITE_FULL:
      return Standing::kFull;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return Standing::kDamaged;
    case SQLITE_CONSTRAINT:
      return Standing::kRefused;
    default:
      return Standing::kFailed;
  }
}

template <class Step>
Standing Platform_StudioDatabase::Guarded(Step iStep) {
  try {
    return iStep();
  } catch (const SQLite::Exception& fault) {
    return StandingOf(fault);
  } catch (const std::exception& fault) {
    mReason = Platform_StudioPlainText(fault.what());
    return Standing::kFailed;
  }
}

int Platform_StudioDatabase::Number(const char* iQuery) { return mDatabase->execAndGet(iQuery).getInt(); }

Standing Platform_StudioDatabase::Connect(int iFlags, const std::string& iName) {
  mDatabase.reset();
  mIsWritable = false;
  mDatabase = std::make_unique<SQLite::Database>(iName, iFlags, kBusyMilliseconds);
  Platform_StudioGuard(*mDatabase);
  return Standing::kGood;
}

void Platform_StudioDatabase::MakeSchema() {
  SQLite::Transaction transaction(*mDatabase, SQLite::TransactionBehavior::IMMEDIATE);
  // Two processes may find an empty file at once.
  if (Number("SELECT count(*) FROM sqlite_master") == 0) {
    mDatabase->exec(kStudio_Schema);
    mDatabase->exec("PRAGMA application_id = " + std::to_string(kStudio_ApplicationID));
    mDatabase->exec("PRAGMA user_version = " + std::to_string(kStudio_SchemaVersion));
  }
  transaction.commit();
}

// Finds out whose file it is before anything is written to it.
Standing Platform_StudioDatabase::Settle() {
  // Of one moment: another process may be making the tables.
  auto moment = std::make_optional<SQLite::Transaction>(*mDatabase);
  const int version = Number("PRAGMA user_version");
  const int application = Number("PRAGMA application_id");
  const bool isEmpty = version == 0 && application == 0 && Number("SELECT count(*) FROM sqlite_master") == 0;
  moment.reset();
  if (!isEmpty && (application != kStudio_ApplicationID || version < 1)) {
    mReason = "it belongs to another program";
    return Standing::kNotOurs;
  }
  if (version > kStudio_SchemaVersion) {
    mReason = "it has version " + std::to_string(version) + ", this library knows version " +
              std::to_string(kStudio_SchemaVersion);
    return Standing::kFutureVersion;
  }
  if (sqlite3_db_readonly(mDatabase->getHandle(), "main") == 1) {
    mReason = "it is read-only";
    return Standing::kReadOnly;
  }
  mDatabase->exec("PRAGMA foreign_keys = ON");
  mDatabase->exec("PRAGMA journal_mode = WAL");
  mDatabase->exec("PRAGMA synchronous = FULL");
  if (isEmpty) {
    MakeSchema();
  }
  sqlite3_db_config(mDatabase->getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
  mIsWritable = true;
  return Standing::kGood;
}

Standing Platform_StudioDatabase::OpenForWriting() {
  return Guarded([this] {
    Connect(SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX, mFile.Path());
    return Settle();
  });
}

// Reads what can be read of a file that is not to be written. Only a connection that may write says that a
// file is damaged: this one may have read it without its log, or while it was being written.
Standing Platform_StudioDatabase::OpenForReading(Standing iWhy, Platform_StudioContents& oContents) {
  const std::string why = mReason;
  const auto read = [&](int iFlags, const std::string& iName) {
    return Guarded([&] {
      Connect(SQLite::OPEN_READONLY | SQLite::OPEN_NOMUTEX | iFlags, iName);
      const bool isOurs = Number("PRAGMA application_id") == kStudio_ApplicationID;
      if (isOurs) {
        Platform_StudioReadAll(*mDatabase, true, oContents);
        mDataVersion = Number("PRAGMA data_version");
      }
      return Standing::kGood;
    });
  };
  Standing standing = read(0, mFile.Path());
  // An immutable file is read without its log and without any lock: the only way into one whose folder takes
  // no new files.
  if (standing != Standing::kGood) {
    standing = read(SQLite::OPEN_URI, Platform_StudioUri(mFile.Path(), "immutable=1"));
  }
  mReason = why;
  if (standing != Standing::kGood) {
    oContents = {};
    Close();
    return iWhy;
  }
  return iWhy == Standing::kNoPermission ? Standing::kReadOnly : iWhy;
}

Standing Platform_StudioDatabase::Open(Platform_StudioContents& oContents) {
  Close();
  oContents = {};
  if (mFile.Path().empty()) {
    mReason = "no folder for it is known: set MLOX_STUDIO_DB, XDG_STATE_HOME or HOME";
    return Standing::kFailed;
  }
  mFile.MakeFolders();
  if (!mFile.Share()) {
    mReason = "it is being set aside";
    return Standing::kBusy;
  }
  Standing standing = OpenForWriting();
  if (standing == Standing::kGood) {
    mFile.MarkSeen();
    standing = Load(oContents);
  }
  if (standing == Standing::kReadOnly || standing == Standing::kNoPermission ||
      standing == Standing::kFutureVersion) {
    return OpenForReading(standing, oContents);
  }
  if (standing != Standing::kGood) {
    Close();
  }
  return standing;
}

Standing Platform_StudioDatabase::Load(Platform_StudioContents& oContents) {
  return Guarded([&] {
    // Taken first: what others commit while the tables are read is read again.
    mDataVersion = Number("PRAGMA data_version");
    Platform_StudioReadAll(*mDatabase, !mIsWritable, oContents);
    return Standing::kGood;
  });
}

Standing Platform_StudioDatabase::Write(const std::vector<Platform_StudioChange>& iChanges) {
  return Guarded([&] {
    SQLite::Transaction transaction(*mDatabase, SQLite::TransactionBehavior::IMMEDIATE);
    for (const Platform_StudioChange& change : iChanges) {
      Platform_StudioWriteChange(*mDatabase, change);
    }
    transaction.commit();
    return Standing::kGood;
  });
}

bool Platform_StudioDatabase::HasForeignChange() {
  if (mDatabase == nullptr) {
    return false;
  }
  int version = mDataVersion;
  const Standing standing = Guarded([&] {
    version = Number("PRAGMA data_version");
    return Standing::kGood;
  });
  // What stands against the question will stand against the reading too, and is told there.
  return standing != Standing::kGood || version != mDataVersion;
}

void Platform_StudioDatabase::Close() {
  mDatabase.reset();
  mIsWritable = false;
  mFile.Release();
}

bool Platform_StudioDatabase::SetAside(std::string& oNewPath) {
  Close();
  std::string reason;
  if (mFile.SetAside(oNewPath, reason)) {
    return true;
  }
  mReason += "; it can't be set aside: " + reason;
  return false;
}
