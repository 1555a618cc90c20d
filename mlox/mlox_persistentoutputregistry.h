// SPDX-License-Identifier: MIT
/// \file
/// All persistent outputs of the process.
#pragma once

#include "cmn/cmn_doublylinkedlist.h"
#include "mlox/mlox_manager_listener.h"
#include "mlox/mlox_persistentoutput.h"

/// All persistent outputs of the process, and the mark that they need a new search. Private to the library:
/// Mlox_PersistentOutput is its only user. It is never deleted.
class Mlox_PersistentOutputRegistry : public Mlox_Manager_Listener {
 public:
  /// [main] Makes it, as a listener of the manager, on first use; safe against a race.
  static Mlox_PersistentOutputRegistry& Singleton();

  void Mlox_Manager_OutputsChanged(bool iFlag) override;

  /// [main] Appends a reference; its destructor takes it out again.
  void Add(Mlox_PersistentOutput& iPersistentOutput);

  /// [main] If the outputs have changed since the last call: a new search for every reference, from head to
  /// tail.
  void ReResolveIfNeeded();

 private:
  Mlox_PersistentOutputRegistry();
  ~Mlox_PersistentOutputRegistry() override = default;

  Cmn_DoublyLinkedList<Mlox_PersistentOutput> mPersistentOutputs;
  bool mOutputsNeedReResolving = false;
};
