// SPDX-License-Identifier: MIT
/// \file
/// DirectMusic's clocks outside Windows. All of them count Sys_Clock's time in 100 ns units.
#pragma once

#include "platform/directmusic/directmusic.h"

#if !defined(_WIN32)

class Platform_Port;

/// What every clock has in common. It has no alarms: the Advise operations give E_NOTIMPL.
class Platform_ReferenceClock : public IReferenceClock {
 public:
  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HANDLE, DWORD*) override { return E_NOTIMPL; }
  HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HANDLE, DWORD*) override { return E_NOTIMPL; }
  HRESULT Unadvise(DWORD) override { return E_NOTIMPL; }

 protected:
  ~Platform_ReferenceClock() = default;
};

/// The master clock: one for the process, never destroyed.
class Platform_MasterClock final : public Platform_ReferenceClock {
 public:
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }
  HRESULT GetTime(REFERENCE_TIME* oTime) override;
};

/// The earliest time at which a port can still play: now, and the driver's latency. It is part of its port
/// and counts its references there, so that asking for it allocates nothing.
class Platform_LatencyClock final : public Platform_ReferenceClock {
 public:
  explicit Platform_LatencyClock(Platform_Port& iPort) : mPort(iPort) {}

  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT GetTime(REFERENCE_TIME* oTime) override;

 private:
  Platform_Port& mPort;
};

#endif
