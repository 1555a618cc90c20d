// SPDX-License-Identifier: MIT
#include "mlox/mlox_inputport.h"

#include "cmn/cmn_assert.h"
#include "mlox/mlox_manager.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_inputport";

// The index of a service that wasn't installed yet, and that of a fourth one, have no entry.
bool HasEntry(int iServiceIndex) {
  return CMN_ASSERT_FROM(kAssertSource, iServiceIndex >= 1 && iServiceIndex < Mlox_cMaxInstalledServices,
                         "iServiceIndex >= 1 && iServiceIndex < Mlox_cMaxInstalledServices");
}

}  // namespace

Mlox_InputPort::Mlox_InputPort(Mlox_RawMidiReceiver* iRawMidiReceiverP)
    : mRawMidiReceiverP(iRawMidiReceiverP) {}

void Mlox_InputPort::ConnectToInputs(const Mlox_InputList& iInputs) {
  Mlox_Manager::Singleton()->ConnectInputsToInputPort(iInputs, this);
}

void Mlox_InputPort::CloseCurrentConnections() { Mlox_Manager::Singleton()->InputPortCloseConnections(this); }

void* Mlox_InputPort::GetServiceEntry(int iServiceIndex) const {
  return HasEntry(iServiceIndex) ? mServiceEntries[iServiceIndex] : nullptr;
}

void Mlox_InputPort::SetServiceEntry(int iServiceIndex, void* iEntryP) {
  if (HasEntry(iServiceIndex)) mServiceEntries[iServiceIndex] = iEntryP;
}
