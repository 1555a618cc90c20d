// SPDX-License-Identifier: MIT
/// \file
/// Makes text from outside safe to show and to store.
#pragma once

#include <string>

#include "cmn/cmn_export.h"

/// The text with each ill-formed sequence of bytes replaced by U+FFFD: stray, cut, overlong and surrogate
/// ones, and those above U+10FFFF. Valid UTF-8 comes back unchanged, zero bytes included. [any]
MLOX_EXPORT std::string Cmn_ValidateUTF8String(const std::string& iText);
