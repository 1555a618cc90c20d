// SPDX-License-Identifier: MIT
/// \file
/// Who wants to know that the integer ids of inputs mean something else now.
#pragma once

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"

/// Who wants to know that the integer ids of inputs mean something else now. The destructor leaves the
/// mapper's list. Inside its callback a listener may unlink, delete or add listeners, itself included, and
/// may look ids up: it then gets those of the new list.
class MLOX_EXPORT MidiInputIDMapper_Listener : public Cmn_DoublyLinkedList_Link<MidiInputIDMapper_Listener> {
 public:
  virtual ~MidiInputIDMapper_Listener();

  /// [main] Every id that was got before is void. It comes from inside `Mlox_Manager::CheckStudioSetup`, and
  /// so also from inside the look-ups of the mapper, which begin with that.
  virtual void MidiInputIDMapper_IDsChanged() = 0;

 protected:
  MidiInputIDMapper_Listener() = default;
  /// The copy is in no list; assigning leaves the link as it is.
  MidiInputIDMapper_Listener(const MidiInputIDMapper_Listener&) = default;
  MidiInputIDMapper_Listener& operator=(const MidiInputIDMapper_Listener&) = default;
};
