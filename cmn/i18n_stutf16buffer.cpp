// SPDX-License-Identifier: MIT
#include "cmn/i18n_stutf16buffer.h"

#include <utf8.h>

#include <iterator>

#include "cmn/cmn_validateutf8string.h"

I18N_StUTF16Buffer::I18N_StUTF16Buffer(const char* iTextP) {
  if (iTextP == nullptr) return;
  const std::string valid = Cmn_ValidateUTF8String(iTextP);
  utf8::unchecked::utf8to16(valid.begin(), valid.end(), std::back_inserter(mText));
}
