// SPDX-License-Identifier: MIT
/// \file
/// One patch of an instrument.
#pragma once

#include "midixml/controlnamelist.h"
#include "midixml/midimessage.h"
#include "midixml/namedref.h"
#include "midixml/notenamelist.h"
#include "midixml/patchchannelnamesets.h"

namespace midixml {

/// One patch: its number as the instrument shows it, its name, and what selects it.
struct Patch {
  /// The number is text and is taken as it stands: "A01" is one.
  SharedString mNumber;
  SharedString mName;
  /// What selects the patch within its bank, mostly one program change.
  MIDIMessage mCommands;
  NamedRef<NoteNameList> mNoteNameList;
  NamedRef<ControlNameList> mControlNameList;
  /// The channel name sets that a patch of a multitimbral kind gives to the 16 channels; index 0 is MIDI
  /// channel 1.
  PatchChannelNameSets mChannelNameSets;
};

}  // namespace midixml
