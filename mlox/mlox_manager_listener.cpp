// SPDX-License-Identifier: MIT
#include "mlox/mlox_manager_listener.h"

// The link's destructor takes the listener out of the manager's list.
Mlox_Manager_Listener::~Mlox_Manager_Listener() = default;

void Mlox_Manager_Listener::Mlox_Manager_OutputsChanged(bool) {}

void Mlox_Manager_Listener::Mlox_Manager_InputsChanged() {}

void Mlox_Manager_Listener::Mlox_Manager_OutputPreSendChanged() {}

void Mlox_Manager_Listener::Mlox_Manager_PlugInNodeRegistered(SFicPlugInSpec*) {}
