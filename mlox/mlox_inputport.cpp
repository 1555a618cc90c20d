// SPDX-License-Identifier: MIT
#include "mlox/mlox_inputport.h"

#include "mlox/mlox_manager.h"

Mlox_InputPort::Mlox_InputPort(Mlox_RawMidiReceiver* iRawMidiReceiverP)
    : mRawMidiReceiverP(iRawMidiReceiverP) {}

void Mlox_InputPort::ConnectToInputs(const Mlox_InputList& iInputs) {
  Mlox_Manager::Singleton()->ConnectInputsToInputPort(iInputs, this);
}

void Mlox_InputPort::CloseCurrentConnections() { Mlox_Manager::Singleton()->InputPortCloseConnections(this); }

void* Mlox_InputPort::GetServiceEntry(int iServiceIndex) const { return mServiceEntries.Get(iServiceIndex); }

void Mlox_InputPort::SetServiceEntry(int iServiceIndex, void* iEntryP) {
  mServiceEntries.Set(iServiceIndex, iEntryP);
}
