// SPDX-License-Identifier: MIT
/// \file
/// The root of a name document.
#pragma once

#include "midixml/mididevicenames.h"
#include "midixml/ownedptrvector.h"
#include "midixml/sharedstring.h"

namespace midixml {

/// A name document: its author, and devices that someone chose to keep here. The parser hands each device
/// over and keeps none here.
struct MIDINameDocument {
  SharedString mAuthor;
  OwnedPtrVector<MIDIDeviceNames*> mDevices;
};

}  // namespace midixml
