// SPDX-License-Identifier: MIT
/// \file
/// Who wants to know that the device landscape has changed.
#pragma once

#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"

struct SFicPlugInSpec;

/// Who wants to know that the device landscape has changed. The destructor leaves the manager's list. Inside
/// a callback a listener may unlink, delete or add listeners, itself included; an added one is still called
/// in the same walk.
class MLOX_EXPORT Mlox_Manager_Listener : public Cmn_DoublyLinkedList_Link<Mlox_Manager_Listener> {
 public:
  virtual ~Mlox_Manager_Listener();

  /// [main] The output devices have changed.
  /// \param iFlag  what the service said: true from all services of this library
  virtual void Mlox_Manager_OutputsChanged(bool iFlag);

  /// [main] The inputs have changed.
  virtual void Mlox_Manager_InputsChanged();

  /// [main] An output wants its events at another distance ahead of their time.
  virtual void Mlox_Manager_OutputPreSendChanged();

  /// [main] A plug-in has told who it is.
  /// \param iPlugInSpecP  lives for the call
  virtual void Mlox_Manager_PlugInNodeRegistered(SFicPlugInSpec* iPlugInSpecP);

 protected:
  Mlox_Manager_Listener() = default;
  /// The copy is in no list; assigning leaves the link as it is.
  Mlox_Manager_Listener(const Mlox_Manager_Listener&) = default;
  Mlox_Manager_Listener& operator=(const Mlox_Manager_Listener&) = default;
};
