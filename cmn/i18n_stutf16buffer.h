// SPDX-License-Identifier: MIT
/// \file
/// UTF-8 text as UTF-16, for the length of a scope.
#pragma once

#include <cstddef>
#include <string>

#include "cmn/cmn_export.h"

#if defined(_WIN32)
/// A unit of UTF-16: what the system's wide calls take.
using I18N_UTF16Char = wchar_t;
#else
/// A unit of UTF-16. `wchar_t` has 32 bits here.
using I18N_UTF16Char = char16_t;
#endif

/// Holds the UTF-16 form of a UTF-8 text, with a zero behind it. Characters above U+FFFF become pairs of
/// surrogates; each ill-formed sequence of bytes becomes U+FFFD.
class MLOX_EXPORT I18N_StUTF16Buffer {
 public:
  /// Converts a text that ends with a zero byte. Null gives an empty text.
  explicit I18N_StUTF16Buffer(const char* iTextP);

  /// The text; valid as long as this object.
  [[nodiscard]] const I18N_UTF16Char* get() const { return mText.c_str(); }
  /// The text; valid as long as this object.
  operator const I18N_UTF16Char*() const { return get(); }
  /// The number of units, without the zero.
  [[nodiscard]] std::size_t Length() const { return mText.size(); }

 private:
  std::basic_string<I18N_UTF16Char> mText;
};
