// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_inputportstate.h"

#include "mlox/mlox_directmidi/mlox_dm_input.h"

namespace {

// Lists give inputs as constant; connecting changes only their receiving half.
Mlox_DM_Input* AsPlugInInput(const Mlox_InputRef& iInput) {
  return dynamic_cast<Mlox_DM_Input*>(const_cast<Mlox_Input*>(iInput.get()));
}

}  // namespace

Mlox_DM_InputPortState::Mlox_DM_InputPortState(Mlox_RawMidiReceiver* iRawMidiReceiverP)
    : mRawMidiReceiverP(iRawMidiReceiverP) {}

Mlox_DM_InputPortState::~Mlox_DM_InputPortState() = default;

void Mlox_DM_InputPortState::ConnectInputs(const Mlox_InputList& iInputs) {
  for (const Mlox_InputRef& input : iInputs) {
    Mlox_DM_Input* plugInInputP = AsPlugInInput(input);
    if (plugInInputP == nullptr) continue;
    plugInInputP->Connect(mRawMidiReceiverP);
    mConnectedInputs.push_back(input);
  }
}

void Mlox_DM_InputPortState::CloseConnections() {
  for (const Mlox_InputRef& input : mConnectedInputs) AsPlugInInput(input)->Disconnect();
  mConnectedInputs.clear();
}
