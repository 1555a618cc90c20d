// SPDX-License-Identifier: MIT
/// \file
/// A list of controllers.
#pragma once

#include <vector>

#include "midixml/control.h"
#include "midixml/midinameobj.h"

namespace midixml {

/// The controllers of an instrument, a channel name set or a patch.
class MLOX_EXPORT ControlNameList : public MIDINameObj, public std::vector<Control> {};

}  // namespace midixml
