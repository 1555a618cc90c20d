// SPDX-License-Identifier: MIT
#include "mlox/midioutputidmapper_listener.h"

// The link's destructor takes the listener out of the mapper's list.
MidiOutputIDMapper_Listener::~MidiOutputIDMapper_Listener() = default;
