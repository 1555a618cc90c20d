// SPDX-License-Identifier: MIT
/// \file
/// Texts between the studio, which keeps UTF-8, and its contract, which speaks in BSTRs.
#pragma once

#include <string>

#include "platform/directmusic/windows_types.h"

/// Null gives the empty text; ill-formed pairs become U+FFFD.
std::string Platform_StudioToUtf8(const OLECHAR* iText);

/// A text that the caller frees with SysFreeString.
BSTR Platform_StudioToBstr(const std::string& iText);

/// A property's key as the studio keeps it: ASCII letters in upper case.
std::string Platform_StudioToKey(const OLECHAR* iText);

/// A text from a caller as it is kept: well-formed, up to the first zero.
std::string Platform_StudioCleanText(const std::string& iText);

/// A text of SQLite's, which may quote what it found in a file, as a part of one line: its beginning,
/// well-formed, with blanks for control characters.
std::string Platform_StudioPlainText(const std::string& iText);
