// SPDX-License-Identifier: MIT
/// \file
/// Who wants to know that the integer ids of outputs mean something else now.
#pragma once

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"

/// Who wants to know that the integer ids of outputs mean something else now. The destructor leaves the
/// mapper's list. Inside its callback a listener may unlink, delete or add listeners, itself included, and
/// may look ids up: it then gets those of the new list.
class MLOX_EXPORT MidiOutputIDMapper_Listener
    : public Cmn_DoublyLinkedList_Link<MidiOutputIDMapper_Listener> {
 public:
  virtual ~MidiOutputIDMapper_Listener();

  /// [main] Every id that was got before is void. It comes from inside `Mlox_Manager::CheckStudioSetup`, and
  /// so also from inside the look-ups of the mapper, which begin with that.
  virtual void MidiOutputIDMapper_IDsChanged() = 0;

 protected:
  MidiOutputIDMapper_Listener() = default;
  /// The copy is in no list; assigning leaves the link as it is.
  MidiOutputIDMapper_Listener(const MidiOutputIDMapper_Listener&) = default;
  MidiOutputIDMapper_Listener& operator=(const MidiOutputIDMapper_Listener&) = default;
};
