// SPDX-License-Identifier: MIT
/// \file
/// The names of one device.
#pragma once

#include <vector>

#include "cmn/cmn_export.h"
#include "midixml/channelnameset.h"
#include "midixml/controlnamelist.h"
#include "midixml/mode.h"
#include "midixml/namedref.h"
#include "midixml/notenamelist.h"
#include "midixml/patchnamelist.h"
#include "midixml/sharedstring.h"
#include "midixml/valuenamelist.h"

namespace midixml {

/// All that a document says about one device. A plain record that belongs to whoever accepted it from the
/// parser; its destruction releases every list that nothing else holds. One thread at a time.
struct MLOX_EXPORT MIDIDeviceNames {
  MIDIDeviceNames() = default;
  MIDIDeviceNames(const MIDIDeviceNames&) = delete;
  MIDIDeviceNames& operator=(const MIDIDeviceNames&) = delete;
  ~MIDIDeviceNames();

  SharedString mManufacturer;
  std::vector<SharedString> mModels;
  SharedString mDeviceName;
  int mUniqueID = 0;
  std::vector<NamedRef<Mode>> mModes;
  std::vector<NamedRef<ChannelNameSet>> mChannelNameSets;
  std::vector<NamedRef<PatchNameList>> mPatchNameLists;
  std::vector<NamedRef<NoteNameList>> mNoteNameLists;
  std::vector<NamedRef<ControlNameList>> mControlNameLists;
  std::vector<NamedRef<ValueNameList>> mValueNameLists;

  /// Points every reference by name at the list that it means: that of the mode at hand, else that of the
  /// device, and of several with one name the first. What matches nothing stays null. The cost is linear in
  /// the size of the record. Sets that no mode assigns to a channel, and the lists inside them, stay
  /// unresolved; so do the references of a list that stands inside a bank. The argument is without effect.
  void ResolveReferences(bool iUnused);

  /// Gives a bank another patch name list: the first of iLists with this name, or none.
  static void SetBankPatchNameList(PatchBank& ioBank, const char* iNameP,
                                   const std::vector<NamedRef<PatchNameList>>& iLists);
};

}  // namespace midixml
