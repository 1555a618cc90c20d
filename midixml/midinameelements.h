// SPDX-License-Identifier: MIT
/// \file
/// The elements of a MIDI name document.
#pragma once

#include "midixml/xmlelement.h"

namespace midixml {

/// The numbers of the elements: their rows in the table.
enum EMIDINameElement : int {
  kMIDINameDocument = 0,
  kAuthor,
  kMasterDeviceNames,
  kSupportsStandardDeviceMode,
  kExtendingDeviceNames,
  kManufacturer,
  kModel,
  kDevice,
  kStandardDeviceMode,
  kCustomDeviceMode,
  kDeviceModeEnable,
  kDeviceModeDisable,
  kChannelNameSetAssignments,
  kChannelNameSetAssign,
  kChannelNameSet,
  kAvailableForChannels,
  kAvailableChannel,
  kPatchBank,
  kUsesPatchNameList,
  kPatchNameList,
  kPatch,
  kUsesNoteNameList,
  kNoteNameList,
  kNoteGroup,
  kNote,
  kUsesControlNameList,
  kControlNameList,
  kControl,
  kValues,
  kUsesValueNameList,
  kValueNameList,
  kValue,
  kMIDICommands,
  kPatchMIDICommands,
  kMIDIDelay,
  kNoteOn,
  kNoteOff,
  kPolyKeyPressure,
  kControlChange,
  kProgramChange,
  kChannelKeyPressure,
  kPitchBendChange,
  kAllSoundOff,
  kResetAllControllers,
  kLocalControl,
  kAllNotesOff,
  kOmniOff,
  kOmniOn,
  kMonoMode,
  kPolyMode,
  kSysEx,
  kSysExDeviceID,
  kSysExChannel,
  kMIDINameElementCount
};

/// The element table of MIDI name documents, with its closing row.
extern const XMLElementType kMIDINameElements[kMIDINameElementCount + 1];

}  // namespace midixml
