// SPDX-License-Identifier: MIT
#include "midixml/scannumber.h"

#include <clocale>
#include <cstdio>
#include <limits>

#include "cmn/i18n_utils.h"

#if !defined(_WIN32)
#include <locale.h>
#endif

namespace midixml {

namespace {

const char* SkipSpace(const char* iAtP, const char* iEndP) {
  while (iAtP != iEndP && I18N_Utils::IsSpace(*iAtP)) ++iAtP;
  return iAtP;
}

bool TakeSign(const char*& ioAtP, const char* iEndP) {
  if (ioAtP == iEndP || (*ioAtP != '-' && *ioAtP != '+')) return false;
  return *ioAtP++ == '-';
}

int DigitValue(char iCharacter) {
  if (iCharacter >= '0' && iCharacter <= '9') return iCharacter - '0';
  if (iCharacter >= 'a' && iCharacter <= 'f') return iCharacter - 'a' + 10;
  if (iCharacter >= 'A' && iCharacter <= 'F') return iCharacter - 'A' + 10;
  return std::numeric_limits<int>::max();
}

// Takes digits of a base; the value saturates. Gives false if there was none.
bool TakeDigits(const char*& ioAtP, const char* iEndP, uint64_t iBase, uint64_t& oValue, bool& oOverflow) {
  const char* beginP = ioAtP;
  oValue = 0;
  oOverflow = false;
  for (; ioAtP != iEndP; ++ioAtP) {
    const auto digit = static_cast<uint64_t>(DigitValue(*ioAtP));
    if (digit >= iBase) break;
    if (oValue > (std::numeric_limits<uint64_t>::max() - digit) / iBase) oOverflow = true;
    if (!oOverflow) oValue = oValue * iBase + digit;
  }
  return ioAtP != beginP;
}

#if defined(_WIN32)
_locale_t CLocale() {
  static const _locale_t sLocale = _create_locale(LC_ALL, "C");
  return sLocale;
}
#else
locale_t CLocale() {
  static const locale_t sLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  return sLocale;
}
#endif

}  // namespace

const char* ScanInt(const char* iBeginP, const char* iEndP, int& oValue) {
  const char* atP = SkipSpace(iBeginP, iEndP);
  const bool negative = TakeSign(atP, iEndP);
  uint64_t magnitude = 0;
  bool overflow = false;
  if (!TakeDigits(atP, iEndP, 10, magnitude, overflow)) return nullptr;
  const uint64_t limit = static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + (negative ? 1 : 0);
  if (overflow || magnitude > limit) magnitude = limit;
  oValue = static_cast<int>(static_cast<uint32_t>(negative ? 0 - magnitude : magnitude));
  return atP;
}

const char* ScanHex(const char* iBeginP, const char* iEndP, uint32_t& oValue) {
  const char* atP = SkipSpace(iBeginP, iEndP);
  const bool negative = TakeSign(atP, iEndP);
  const bool leadingZero = atP != iEndP && *atP == '0';
  // A lone "0x" converts to 0.
  if (leadingZero && atP + 1 != iEndP && (atP[1] == 'x' || atP[1] == 'X')) atP += 2;
  uint64_t magnitude = 0;
  bool overflow = false;
  if (!TakeDigits(atP, iEndP, 16, magnitude, overflow) && !leadingZero) return nullptr;
  if (overflow) {
    oValue = std::numeric_limits<uint32_t>::max();
    return atP;
  }
  oValue = static_cast<uint32_t>(negative ? 0 - magnitude : magnitude);
  return atP;
}

bool ScanFloat(const char* iTextP, float& oValue) {
#if defined(_WIN32)
  return _sscanf_l(iTextP, "%f", CLocale(), &oValue) == 1;
#else
  // Only this thread's locale is exchanged, and only for the call.
  const locale_t callersLocale = uselocale(CLocale());
  const bool converted = std::sscanf(iTextP, "%f", &oValue) == 1;
  uselocale(callersLocale);
  return converted;
#endif
}

}  // namespace midixml
