// SPDX-License-Identifier: MIT
/// \file
/// Reads a studio database that may hold anything.
#pragma once

#include "platform/studio/studiorecords.h"

namespace SQLite {
class Database;
}

/// Reads all tables in one view of the file. Rows that make no sense (a wire from a port to a port, a level
/// that there is not, text in place of a number) are left out; ill-formed text is mended. Throws
/// SQLite::Exception.
/// \param iIsLenient leaves out tables that can't be read, as those of a newer version may be
void Platform_StudioReadAll(SQLite::Database& iDatabase, bool iIsLenient, Platform_StudioContents& oContents);
