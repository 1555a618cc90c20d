// SPDX-License-Identifier: MIT
#include "mlox/midiinputidmapper_listener.h"

// The link's destructor takes the listener out of the mapper's list.
MidiInputIDMapper_Listener::~MidiInputIDMapper_Listener() = default;
