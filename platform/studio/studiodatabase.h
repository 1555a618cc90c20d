// SPDX-License-Identifier: MIT
/// \file
/// The studio's file as a database: opening, reading, writing, watching. The only part of the studio that
/// knows SQL.
#pragma once

#include <memory>
#include <string>

#include "platform/studio/studiochange.h"
#include "platform/studio/studiofile.h"
#include "platform/studio/studiorecords.h"

namespace SQLite {
class Database;
class Exception;
}  // namespace SQLite

/// How a step with the file ended.
enum class Platform_StudioStanding {
  kGood,           ///< done
  kRefused,        ///< the change contradicts what the file holds now and was left out; all else is well
  kBusy,           ///< somebody else holds it; try again soon
  kReadOnly,       ///< it can be read and not written
  kNoPermission,   ///< it can't be opened
  kFull,           ///< no room to write
  kFutureVersion,  ///< a newer library's; read as far as it is understood
  kNotOurs,        ///< a database of something else
  kDamaged,        ///< its bytes make no database; the only one for which a file is set aside
  kFailed,         ///< anything else
};

/// The connection. Belongs to one thread; every call may wait for the disk, and for other processes as long
/// as kStudio_BusyMilliseconds. Nothing throws: what went wrong stands in the standing and in Reason.
class Platform_StudioDatabase {
 public:
  explicit Platform_StudioDatabase(const std::string& iPath);
  Platform_StudioDatabase(const Platform_StudioDatabase&) = delete;
  Platform_StudioDatabase& operator=(const Platform_StudioDatabase&) = delete;
  ~Platform_StudioDatabase();

  /// Opens the file, makes it when it isn't there, and reads all of it. Also a file that can't be written
  /// gives what can be read.
  Platform_StudioStanding Open(Platform_StudioContents& oContents);
  /// Reads all of it again.
  Platform_StudioStanding Load(Platform_StudioContents& oContents);
  /// Makes changes in one transaction: all of them, or none.
  Platform_StudioStanding Write(const std::vector<Platform_StudioChange>& iChanges);
  /// Whether another connection has changed the file since the last reading, or the path leads to another
  /// file.
  bool HasForeignChange();
  /// Whether the file at the path is no longer the one that was opened.
  [[nodiscard]] bool IsMoved() const { return mDatabase != nullptr && !mFile.IsSame(); }
  void Close();
  /// Closes and gives the damaged file another name.
  bool SetAside(std::string& oNewPath);

  [[nodiscard]] bool IsOpen() const { return mDatabase != nullptr; }
  [[nodiscard]] bool IsWritable() const { return mDatabase != nullptr && mIsWritable; }
  [[nodiscard]] const std::string& Path() const { return mFile.Path(); }
  /// What the database said of the last step that went wrong.
  [[nodiscard]] const std::string& Reason() const { return mReason; }

 private:
  Platform_StudioStanding OpenForWriting();
  Platform_StudioStanding OpenForReading(Platform_StudioStanding iWhy, Platform_StudioContents& oContents);
  Platform_StudioStanding Connect(int iFlags, const std::string& iName);
  Platform_StudioStanding Settle();
  void MakeSchema();
  int Number(const char* iQuery);
  Platform_StudioStanding StandingOf(const SQLite::Exception& iFault);
  template <class Step>
  Platform_StudioStanding Guarded(Step iStep);

  Platform_StudioFile mFile;
  std::unique_ptr<SQLite::Database> mDatabase;
  std::string mReason;
  bool mIsWritable = false;
  int mDataVersion = 0;
};
