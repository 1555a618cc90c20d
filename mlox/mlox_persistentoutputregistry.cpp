// SPDX-License-Identifier: MIT
#include "mlox/mlox_persistentoutputregistry.h"

#include "mlox/mlox_manager.h"

Mlox_PersistentOutputRegistry& Mlox_PersistentOutputRegistry::Singleton() {
  // Never deleted, like the manager: persistent outputs of static storage may go after everything else.
  static Mlox_PersistentOutputRegistry* const registryP = new Mlox_PersistentOutputRegistry;
  return *registryP;
}

Mlox_PersistentOutputRegistry::Mlox_PersistentOutputRegistry() {
  Mlox_Manager::Singleton()->AddListener(this);
}

void Mlox_PersistentOutputRegistry::Mlox_Manager_OutputsChanged(bool) { mOutputsNeedReResolving = true; }

void Mlox_PersistentOutputRegistry::Add(Mlox_PersistentOutput& iPersistentOutput) {
  mPersistentOutputs.AddToTail(&iPersistentOutput);
}

void Mlox_PersistentOutputRegistry::ReResolveIfNeeded() {
  if (!mOutputsNeedReResolving) return;
  mOutputsNeedReResolving = false;
  // A search reaches into devices, so that whoever is called there may make and destroy references.
  Cmn_DoublyLinkedList<Mlox_PersistentOutput>::Cursor cursor(mPersistentOutputs);
  while (Mlox_PersistentOutput* persistentOutputP = cursor.Next()) {
    persistentOutputP->ResetOutputUsingDescriptor();
  }
}
