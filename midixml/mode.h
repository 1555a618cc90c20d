// SPDX-License-Identifier: MIT
/// \file
/// One mode of a device.
#pragma once

#include <array>
#include <vector>

#include "midixml/channelnamesetassign.h"
#include "midixml/controlnamelist.h"
#include "midixml/midinameobj.h"
#include "midixml/notenamelist.h"
#include "midixml/patchnamelist.h"
#include "midixml/valuenamelist.h"

namespace midixml {

/// One mode of a device: what it gives to each channel, what switches it on and off, and its own lists.
class MLOX_EXPORT Mode : public MIDINameObj {
 public:
  /// True if the mode is one that standard mode documents describe.
  bool mSupportsStandardDeviceMode = false;
  /// Index 0 is MIDI channel 1.
  std::array<ChannelNameSetAssign, kChannelCount> mChannelNameSets;
  MIDIMessage mDeviceModeEnable;
  MIDIMessage mDeviceModeDisable;
  std::vector<NamedRef<PatchNameList>> mPatchNameLists;
  std::vector<NamedRef<NoteNameList>> mNoteNameLists;
  std::vector<NamedRef<ControlNameList>> mControlNameLists;
  std::vector<NamedRef<ValueNameList>> mValueNameLists;
};

}  // namespace midixml
