// SPDX-License-Identifier: MIT
/// \file
/// Wide text as UTF-8, for the length of a scope.
#pragma once

#include <cstddef>
#include <string>

#include "cmn/cmn_export.h"

/// Holds the UTF-8 form of a wide text, with a zero behind it. Pairs of surrogates are joined; single ones,
/// and what lies above U+10FFFF, become U+FFFD.
class MLOX_EXPORT I18N_StUTF8Buffer {
 public:
  /// Converts a text of the platform's wide characters that ends with a zero. Null gives an empty text.
  explicit I18N_StUTF8Buffer(const wchar_t* iTextP);
  /// Converts a UTF-16 text that ends with a zero. Null gives an empty text.
  explicit I18N_StUTF8Buffer(const char16_t* iTextP);

  /// The text; valid as long as this object.
  [[nodiscard]] const char* get() const { return mText.c_str(); }
  /// The text; valid as long as this object.
  operator const char*() const { return get(); }
  /// The number of bytes, without the zero.
  [[nodiscard]] std::size_t Length() const { return mText.size(); }

 private:
  std::string mText;
};
