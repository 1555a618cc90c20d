// SPDX-License-Identifier: MIT
/// \file
/// Writes changes as SQL.
#pragma once

#include "platform/studio/studiochange.h"

namespace SQLite {
class Database;
}

/// Makes one change; the caller has begun a transaction. Throws SQLite::Exception.
void Platform_StudioWriteChange(SQLite::Database& iDatabase, const Platform_StudioChange& iChange);
