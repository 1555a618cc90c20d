// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/enumports.h"

#include <algorithm>
#include <iterator>

#include "cmn/i18n_stutf8buffer.h"
#include "mlox/mlox_directmusic/ccombstrlite.h"

HRESULT EnumOnePort(IDirectMusic8& iRoot, DWORD iIndex, DMUS_PORTCAPS* oCapsP) {
  *oCapsP = DMUS_PORTCAPS{};
  oCapsP->dwSize = sizeof(DMUS_PORTCAPS);
  return iRoot.EnumPort(iIndex, oCapsP);
}

void EnumPorts(IDirectMusic8& iRoot, const std::function<void(const DMUS_PORTCAPS& iCaps)>& iOnPort) {
  int failures = 0;
  for (DWORD index = 0; failures < kMaxPortFailuresInARow; ++index) {
    DMUS_PORTCAPS caps;
    const HRESULT result = EnumOnePort(iRoot, index, &caps);
    if (result == S_FALSE) return;
    failures = result == S_OK ? 0 : failures + 1;
    if (result == S_OK) iOnPort(caps);
  }
}

std::string DescriptionOf(const DMUS_PORTCAPS& iCaps) {
  OLECHAR text[DMUS_MAX_DESCRIPTION + 1] = {};
  std::copy(std::begin(iCaps.wszDescription), std::end(iCaps.wszDescription), std::begin(text));
  return std::string(I18N_StUTF8Buffer(text).get());
}

std::string GuidTextOf(const DMUS_PORTCAPS& iCaps) { return CComBSTRLite(iCaps.guidPort).AsString(); }
