// SPDX-License-Identifier: MIT
#include "platform/studio/studiotext.h"

#include <algorithm>

#include "cmn/cmn_validateutf8string.h"
#include "cmn/i18n_stutf16buffer.h"
#include "cmn/i18n_stutf8buffer.h"
#include "platform/directmusic/windows_com.h"

std::string Platform_StudioToUtf8(const OLECHAR* iText) { return I18N_StUTF8Buffer(iText).get(); }

BSTR Platform_StudioToBstr(const std::string& iText) {
  return SysAllocString(I18N_StUTF16Buffer(iText.c_str()).get());
}

std::string Platform_StudioToKey(const OLECHAR* iText) {
  std::string key = Platform_StudioToUtf8(iText);
  std::transform(key.begin(), key.end(), key.begin(), [](char iCharacter) {
    return iCharacter >= 'a' && iCharacter <= 'z' ? static_cast<char>(iCharacter - 'a' + 'A') : iCharacter;
  });
  return key;
}

std::string Platform_StudioCleanText(const std::string& iText) {
  return Cmn_ValidateUTF8String(iText.substr(0, iText.find('\0')));
}

std::string Platform_StudioPlainText(const std::string& iText) {
  constexpr std::size_t kMost = 300;
  std::string plain = Cmn_ValidateUTF8String(iText.substr(0, kMost));
  std::replace_if(
      plain.begin(), plain.end(),
      [](char iCharacter) { return static_cast<unsigned char>(iCharacter) < 0x20 || iCharacter == 0x7F; },
      ' ');
  return plain;
}
