// SPDX-License-Identifier: MIT
#include "cmn/cmn_validateutf8string.h"

#include <utf8.h>

#include <iterator>

std::string Cmn_ValidateUTF8String(const std::string& iText) {
  std::string valid;
  valid.reserve(iText.size());
  utf8::replace_invalid(iText.begin(), iText.end(), std::back_inserter(valid), 0xFFFD);
  return valid;
}
