// SPDX-License-Identifier: MIT
/// \file
/// Numbers of documents, read as in the C locale whatever locale the application has set.
#pragma once

#include <cstdint>

namespace midixml {

/// Reads as "%d" does: white space, a sign, digits. Gives the place behind them, or null if nothing converts.
/// A number out of range converts as it does there: the 64-bit value saturates and its low 32 bits are taken.
const char* ScanInt(const char* iBeginP, const char* iEndP, int& oValue);

/// Reads as "%x" does: white space, a sign, "0x", hexadecimal digits. Gives the place behind them, or null.
const char* ScanHex(const char* iBeginP, const char* iEndP, uint32_t& oValue);

/// Reads as "%f" does from a text with a terminator. False if nothing converts.
bool ScanFloat(const char* iTextP, float& oValue);

}  // namespace midixml
