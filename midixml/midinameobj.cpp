// SPDX-License-Identifier: MIT
#include "midixml/midinameobj.h"

namespace midixml {

MIDINameObj::~MIDINameObj() = default;

}  // namespace midixml
