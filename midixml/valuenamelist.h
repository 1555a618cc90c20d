// SPDX-License-Identifier: MIT
/// \file
/// A list of names for the values of a controller.
#pragma once

#include <vector>

#include "midixml/controlvalue.h"
#include "midixml/midinameobj.h"

namespace midixml {

/// Names of the values of a controller.
class MLOX_EXPORT ValueNameList : public MIDINameObj, public std::vector<ControlValue> {};

}  // namespace midixml
