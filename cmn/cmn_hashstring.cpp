// SPDX-License-Identifier: MIT
#include "cmn/cmn_hashstring.h"

std::uint32_t Cmn_HashString(const std::string& iText) {
  // Offset basis and prime of the 32-bit FNV hash.
  std::uint32_t hash = 0x811C9DC5U;
  for (const char character : iText) {
    hash ^= static_cast<unsigned char>(character);
    hash *= 0x01000193U;
  }
  return hash;
}
