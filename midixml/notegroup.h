// SPDX-License-Identifier: MIT
/// \file
/// A named group of notes.
#pragma once

#include <vector>

#include "midixml/midinameobj.h"
#include "midixml/note.h"

namespace midixml {

/// A named group of notes. The groups of a list are copies taken while they were empty: see
/// MIDINameDocumentParser.
class MLOX_EXPORT NoteGroup : public MIDINameObj, public std::vector<Note> {
 public:
  NoteGroup() = default;
  /// A new object, with a count of its own, of the same name and notes.
  NoteGroup(const NoteGroup& iOther) : MIDINameObj(), std::vector<Note>(iOther) { mName = iOther.mName; }
  NoteGroup& operator=(const NoteGroup& iOther) {
    std::vector<Note>::operator=(iOther);
    mName = iOther.mName;
    return *this;
  }
};

}  // namespace midixml
