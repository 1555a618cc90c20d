// SPDX-License-Identifier: MIT
#include "mlox/midioutputidmapper_mloxmanagerlistener.h"

#include "mlox/midioutputidmapper.h"

void MidiOutputIDMapper_MloxManagerListener::Mlox_Manager_OutputsChanged(bool) {
  // Emptied first: a listener that looks an id up gets it from a new list. The storage stays.
  MidiOutputIDMapper::sMidiOutputIDList.clear();
  MidiOutputIDMapper::BroadcastChange();
}
