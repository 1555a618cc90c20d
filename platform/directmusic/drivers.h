// SPDX-License-Identifier: MIT
/// \file
/// The drivers that this build has, and which of them are used.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "platform/directmusic/driver.h"

#if !defined(_WIN32)

/// The names of the drivers that were built, in the order in which they are preferred.
MLOX_EXPORT std::vector<std::string> Platform_DriverNames();

/// A driver by name; null for a name that was not built.
std::unique_ptr<Platform_Driver> Platform_MakeDriver(const std::string& iName);

/// Makes a driver by name; null for a name that it doesn't know.
using Platform_DriverMaker = std::function<std::unique_ptr<Platform_Driver>(const std::string& iName)>;

/// The drivers to use, started. MLOX_MIDI_DRIVERS names them, comma between; unset, the first that starts, in
/// the order of Platform_DriverNames. A driver that is named and can't start now is left out with one line to
/// the debug log.
std::vector<std::unique_ptr<Platform_Driver>> Platform_StartDrivers(
    Platform_DriverHost* iHostP, const Platform_DriverMaker& iMake = &Platform_MakeDriver);

/// What came of starting a driver for a moment.
struct Platform_DriverTrial {
  bool mIsBuilt = false;  ///< this build has a driver of that name
  bool mStarts = false;
  std::string mReason;  ///< why it does not start, or starts and has no ports yet; for people
  int mInputs = 0;      ///< ports that give MIDI to us
  int mOutputs = 0;
};

/// Starts a driver, counts its ports and stops it. It lasts as long as the driver's own start does: who can't
/// wait for a server that hangs asks in another process.
Platform_DriverTrial Platform_TryDriver(const std::string& iName, const Platform_DriverMaker& iMake);
/// The same with the drivers that were built.
MLOX_EXPORT Platform_DriverTrial Platform_TryDriver(const std::string& iName);

#endif
