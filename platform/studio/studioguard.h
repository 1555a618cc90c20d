// SPDX-License-Identifier: MIT
/// \file
/// What every connection to a studio's file is set to before anything is read of it: the file may be damaged,
/// or somebody else's work.
#pragma once

namespace SQLite {
class Database;
}

/// Guards a connection that has just been opened: a file that is no studio is refused, and ends nothing,
/// keeps nobody for ever and is not changed. Who only looks and who keeps a studio in the file so find the
/// same.
void Platform_StudioGuard(SQLite::Database& ioDatabase);
