// SPDX-License-Identifier: MIT
#include "platform/studio/studioguard.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

namespace {

// No text of a studio comes near it; what claims more is damage.
constexpr int kMostBytesOfAValue = 16 * 1024 * 1024;

}  // namespace

void Platform_StudioGuard(SQLite::Database& ioDatabase) {
  sqlite3* const handle = ioDatabase.getHandle();
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, kMostBytesOfAValue);
  // Until it is known to be ours, not even the log is folded into the file.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  // No studio makes them. In the place of a table a view may have no end, and a trigger changes what is
  // written.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  ioDatabase.exec("PRAGMA trusted_schema = OFF");
  ioDatabase.exec("PRAGMA cell_size_check = ON");
  // A file that gets shorter under a mapping would end the process.
  ioDatabase.exec("PRAGMA mmap_size = 0");
}
