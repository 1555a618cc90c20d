// SPDX-License-Identifier: MIT
/// \file
/// One bank of a channel name set.
#pragma once

#include "midixml/midimessage.h"
#include "midixml/namedref.h"
#include "midixml/patchnamelist.h"

namespace midixml {

/// One bank of patches, and what selects it.
struct PatchBank {
  SharedString mName;
  bool mROM = false;
  /// What selects the bank: nothing, one controller (3 bytes) or two (6 bytes) in the banks that can be
  /// counted.
  MIDIMessage mCommands;
  NamedRef<PatchNameList> mPatchNameList;
};

}  // namespace midixml
