// SPDX-License-Identifier: MIT
/// \file
/// A stable hash of text.
#pragma once

#include <cstdint>
#include <string>

#include "cmn/cmn_export.h"

/// The 32-bit FNV-1a hash of the bytes of a text. The same on every platform and in every version, since
/// descriptors that were saved with it are compared with new ones. [any]
MLOX_EXPORT std::uint32_t Cmn_HashString(const std::string& iText);
