// SPDX-License-Identifier: MIT
#include "cmn/i18n_stutf8buffer.h"

#include <utf8.h>

#include <cstdint>
#include <iterator>

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsLeadSurrogate(std::uint32_t iUnit) { return iUnit >= 0xD800 && iUnit <= 0xDBFF; }
bool IsTrailSurrogate(std::uint32_t iUnit) { return iUnit >= 0xDC00 && iUnit <= 0xDFFF; }

template <class Unit>
std::uint32_t CodeOf(Unit iUnit) {
  return std::char_traits<Unit>::to_int_type(iUnit);
}

// Units of 32 bits go the same way: text that came from UTF-16 may hold pairs of surrogates there too.
template <class Unit>
std::string ToUTF8(const Unit* iTextP) {
  std::string text;
  if (iTextP == nullptr) return text;
  while (*iTextP != 0) {
    std::uint32_t character = CodeOf(*iTextP++);
    const std::uint32_t next = CodeOf(*iTextP);
    if (IsLeadSurrogate(character) && IsTrailSurrogate(next)) {
      character = 0x10000 + ((character - 0xD800) << 10U) + (next - 0xDC00);
      ++iTextP;
    }
    const bool isCharacter = character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF);
    utf8::append(static_cast<char32_t>(isCharacter ? character : kReplacement), std::back_inserter(text));
  }
  return text;
}

}  // namespace

I18N_StUTF8Buffer::I18N_StUTF8Buffer(const wchar_t* iTextP) : mText(ToUTF8(iTextP)) {}

I18N_StUTF8Buffer::I18N_StUTF8Buffer(const char16_t* iTextP) : mText(ToUTF8(iTextP)) {}
