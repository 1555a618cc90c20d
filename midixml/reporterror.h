// SPDX-License-Identifier: MIT
/// \file
/// The one operation that all faults of a document pass through.
#pragma once

#include <initializer_list>
#include <string_view>

#include "midixml/xmlparserimpl.h"

namespace midixml {

/// Codes below this are warnings and have no effect at all.
inline constexpr int kFirstThrownCode = 2;

/// Throws the code as an int. Notes beforehand in iImplP, unless it is null, the line and the meaning: the
/// format with its "%s" and "%x" replaced by the arguments, in turn.
[[noreturn]] MLOX_EXPORT void ThrowFault(XMLParserImpl* iImplP, int iCode, const char* iFormatP,
                                         std::initializer_list<std::string_view> iArguments);

/// Reports a fault: a code below 2 returns at once, any other is thrown as an int.
template <class... Texts>
inline void ReportError(XMLParserImpl* iImplP, int iCode, const char* iFormatP, const Texts&... iArguments) {
  if (iCode < kFirstThrownCode) return;
  ThrowFault(iImplP, iCode, iFormatP, {std::string_view(iArguments)...});
}

}  // namespace midixml
