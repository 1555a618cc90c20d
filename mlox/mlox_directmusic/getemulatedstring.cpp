// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/getemulatedstring.h"

#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/enumports.h"
#include "mlox/mlox_directmusic/portnamerules.h"

namespace {

// The suffix of the first WinMM port that has one. Unlike elsewhere any result but success ends the walk.
std::string FindSuffix(IDirectMusic8& iRoot) {
  DMUS_PORTCAPS caps;
  for (DWORD index = 0; EnumOnePort(iRoot, index, &caps) == S_OK; ++index) {
    if (caps.dwType != DMUS_PORT_WINMM_DRIVER) continue;
    std::string suffix = PortName_SuffixOf(DescriptionOf(caps));
    if (!suffix.empty()) return suffix;
  }
  return {};
}

}  // namespace

std::string GetEmulatedString() {
  const DirectMusicSubsystemLock lock;
  std::string& emulatedString = DirectMusicClient::EmulatedString();
  if (!emulatedString.empty()) return emulatedString;
  // A miss isn't kept: the port that tells may be plugged in later.
  IDirectMusic8* const rootP = DirectMusicClient::GetDirectMusicPtr(false);
  if (rootP == nullptr) return emulatedString;
  emulatedString = FindSuffix(*rootP);
  rootP->Release();
  return emulatedString;
}
