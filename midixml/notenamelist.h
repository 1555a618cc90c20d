// SPDX-License-Identifier: MIT
/// \file
/// A list of note names.
#pragma once

#include <vector>

#include "midixml/midinameobj.h"
#include "midixml/note.h"
#include "midixml/notegroup.h"

namespace midixml {

/// Names of notes. The notes that a document gives inside a group are not here: only those directly in the
/// list are.
class MLOX_EXPORT NoteNameList : public MIDINameObj {
 public:
  std::vector<NoteGroup> mGroups;
  std::vector<Note> mNotes;
};

}  // namespace midixml
