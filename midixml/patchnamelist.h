// SPDX-License-Identifier: MIT
/// \file
/// A list of patches.
#pragma once

#include <vector>

#include "midixml/midinameobj.h"
#include "midixml/patch.h"

namespace midixml {

/// The patches of a bank.
class MLOX_EXPORT PatchNameList : public MIDINameObj, public std::vector<Patch> {};

}  // namespace midixml
