// SPDX-License-Identifier: MIT
#include "platform/directmusic/referenceclock.h"

#if !defined(_WIN32)

#include "cmn/sys_clock.h"
#include "platform/directmusic/port.h"

namespace {

constexpr REFERENCE_TIME kUnitsPerMicrosecond = 10;

}  // namespace

HRESULT Platform_ReferenceClock::QueryInterface(REFIID iID, void** oResult) {
  if (oResult == nullptr) {
    return E_POINTER;
  }
  *oResult = nullptr;
  if (!(iID == IID_IReferenceClock) && !(iID == IID_IUnknown)) {
    return E_NOINTERFACE;
  }
  AddRef();
  *oResult = static_cast<IReferenceClock*>(this);
  return S_OK;
}

HRESULT Platform_MasterClock::GetTime(REFERENCE_TIME* oTime) {
  if (oTime == nullptr) {
    return E_POINTER;
  }
  *oTime = Sys_Clock::Microseconds() * kUnitsPerMicrosecond;
  return S_OK;
}

ULONG Platform_LatencyClock::AddRef() { return mPort.AddRef(); }
ULONG Platform_LatencyClock::Release() { return mPort.Release(); }

HRESULT Platform_LatencyClock::GetTime(REFERENCE_TIME* oTime) {
  if (oTime == nullptr) {
    return E_POINTER;
  }
  *oTime = (Sys_Clock::Microseconds() + mPort.LatencyMicroseconds()) * kUnitsPerMicrosecond;
  return S_OK;
}

#endif
