// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_inputportstate.h"

#include "mlox/mlox_directmidi/mlox_dm_input.h"

Mlox_DM_InputPortState::Mlox_DM_InputPortState(Mlox_RawMidiReceiver* iRawMidiReceiverP)
    : mRawMidiReceiverP(iRawMidiReceiverP) {}

Mlox_DM_InputPortState::~Mlox_DM_InputPortState() = default;

void Mlox_DM_InputPortState::ConnectInputs(const Mlox_InputList& iInputs) {
  for (const Mlox_InputRef& input : iInputs) {
    Mlox_DM_Input* plugInInputP = Mlox_DM_Input::FromInput(input);
    if (plugInInputP == nullptr) continue;
    plugInInputP->Connect(mRawMidiReceiverP);
    mConnectedInputs.push_back(input);
  }
}

void Mlox_DM_InputPortState::CloseConnections() {
  for (const Mlox_InputRef& input : mConnectedInputs) Mlox_DM_Input::FromInput(input)->Disconnect();
  mConnectedInputs.clear();
}
