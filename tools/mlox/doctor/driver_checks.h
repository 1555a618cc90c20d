// SPDX-License-Identifier: MIT
/// \file
/// Where ports come from: the three drivers and what each stands on.
#pragma once

#include <string>
#include <vector>

#include "tools/mlox/doctor/finding.h"
#include "tools/mlox/doctor/machine.h"

namespace tool {

/// The names of all drivers that there are, in the order in which they are preferred.
const std::vector<std::string>& DriverNames();

/// The names of MLOX_MIDI_DRIVERS, as the library takes them apart: comma between, blanks count.
std::vector<std::string> ChosenDrivers(const Machine& iMachine);

/// The drivers that an application uses here and now.
std::vector<std::string> DriversInUse(const Machine& iMachine);

/// Which drivers are used.
Finding CheckDrivers(const Machine& iMachine);
/// ALSA's sequencer: its device, its module, the right to it.
Finding CheckAlsa(const Machine& iMachine);
/// Group `audio`, where it decides about the sequencer.
Finding CheckAudioGroup(const Machine& iMachine);
/// A JACK server: whether one answers the libjack that this program has.
Finding CheckJack(const Machine& iMachine);
/// What PipeWire makes of notes, where it is the JACK server.
Finding CheckPipeWire(const Machine& iMachine);
/// Ports inside the process.
Finding CheckLoopback(const Machine& iMachine);

}  // namespace tool
