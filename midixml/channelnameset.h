// SPDX-License-Identifier: MIT
/// \file
/// What one channel can play: banks, notes and controllers.
#pragma once

#include <array>
#include <vector>

#include "midixml/controlnamelist.h"
#include "midixml/midinameobj.h"
#include "midixml/notenamelist.h"
#include "midixml/patchbank.h"
#include "midixml/patchchannelnamesets.h"

namespace midixml {

/// The banks, note names and controllers that a channel can be given.
class MLOX_EXPORT ChannelNameSet : public MIDINameObj {
 public:
  /// Index 0 is MIDI channel 1.
  std::array<bool, kChannelCount> mAvailableForChannels = {};
  std::vector<PatchBank> mPatchBanks;
  NamedRef<NoteNameList> mNoteNameList;
  NamedRef<ControlNameList> mControlNameList;
};

}  // namespace midixml
