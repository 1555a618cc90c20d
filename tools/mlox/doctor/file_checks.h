// SPDX-License-Identifier: MIT
/// \file
/// The files and folders that the library reads.
#pragma once

#include "tools/mlox/doctor/finding.h"
#include "tools/mlox/doctor/machine.h"

namespace tool {

/// The studio's database.
Finding CheckStudio(const Machine& iMachine);
/// The folder of name documents.
Finding CheckPatchNames(const Machine& iMachine);
/// The folder of device type documents.
Finding CheckDeviceTypes(const Machine& iMachine);
/// The user's list of ports that are not to be shown.
Finding CheckExcludedPorts(const Machine& iMachine);
/// The settings file of an application.
Finding CheckSettings(const Machine& iMachine);

}  // namespace tool
