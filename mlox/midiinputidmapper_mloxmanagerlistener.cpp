// SPDX-License-Identifier: MIT
#include "mlox/midiinputidmapper_mloxmanagerlistener.h"

#include "mlox/midiinputidmapper.h"

void MidiInputIDMapper_MloxManagerListener::Mlox_Manager_InputsChanged() {
  // Emptied first: a listener that looks an id up gets it from a new list. The storage stays.
  MidiInputIDMapper::sMidiInputIDList.clear();
  MidiInputIDMapper::BroadcastChange();
}
