// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/enumports.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "cmn/i18n_stutf8buffer.h"
#include "mlox/mlox_directmusic/ccombstrlite.h"

HRESULT EnumOnePort(IDirectMusic8& iRoot, DWORD iIndex, DMUS_PORTCAPS* oCapsP) {
  *oCapsP = DMUS_PORTCAPS{};
  oCapsP->dwSize = sizeof(DMUS_PORTCAPS);
  return iRoot.EnumPort(iIndex, oCapsP);
}

void EnumPorts(IDirectMusic8& iRoot, const std::function<void(const DMUS_PORTCAPS& iCaps)>& iOnPort) {
  // All are read before the first is handled: what handles a port may enumerate too, and a port that comes or
  // goes meanwhile would shift the indices of the others.
  std::vector<DMUS_PORTCAPS> ports;
  int failures = 0;
  for (DWORD index = 0; failures < kMaxPortFailuresInARow; ++index) {
    DMUS_PORTCAPS caps;
    const HRESULT result = EnumOnePort(iRoot, index, &caps);
    if (result == S_FALSE) break;
    failures = result == S_OK ? 0 : failures + 1;
    if (result == S_OK) ports.push_back(caps);
  }
  for (const DMUS_PORTCAPS& caps : ports) iOnPort(caps);
}

std::string DescriptionOf(const DMUS_PORTCAPS& iCaps) {
  OLECHAR text[DMUS_MAX_DESCRIPTION + 1] = {};
  std::copy(std::begin(iCaps.wszDescription), std::end(iCaps.wszDescription), std::begin(text));
  return std::string(I18N_StUTF8Buffer(text).get());
}

std::string GuidTextOf(const DMUS_PORTCAPS& iCaps) { return CComBSTRLite(iCaps.guidPort).AsString(); }
