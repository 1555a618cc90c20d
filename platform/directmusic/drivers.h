// SPDX-License-Identifier: MIT
/// \file
/// The drivers that this build has, and which of them are used.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/directmusic/driver.h"

#if !defined(_WIN32)

/// The names of the drivers that were built, in the order in which they are preferred.
std::vector<std::string> Platform_DriverNames();

/// A driver by name; null for a name that was not built.
std::unique_ptr<Platform_Driver> Platform_MakeDriver(const std::string& iName);

/// Makes a driver by name; null for a name that it doesn't know.
using Platform_DriverMaker = std::function<std::unique_ptr<Platform_Driver>(const std::string& iName)>;

/// The drivers to use, started. MLOX_MIDI_DRIVERS names them, comma between; unset, the first that starts, in
/// the order of Platform_DriverNames. A driver that is named and can't start now is left out with one line to
/// the debug log.
std::vector<std::unique_ptr<Platform_Driver>> Platform_StartDrivers(
    Platform_DriverHost* iHostP, const Platform_DriverMaker& iMake = &Platform_MakeDriver);

#endif
