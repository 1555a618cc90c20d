// SPDX-License-Identifier: MIT
#include "midixml/mididevicetypes.h"

namespace {

template <class T>
void DeleteAll(const std::vector<T*>& iObjects) {
  for (T* objectP : iObjects) delete objectP;
}

}  // namespace

MIDIPortGroupObj::~MIDIPortGroupObj() { DeleteAll(mPorts); }

MIDIDeviceTypeObj::~MIDIDeviceTypeObj() {
  DeleteAll(mInquiryResponses);
  DeleteAll(mDeviceIDs);
  DeleteAll(mPortGroups);
  DeleteAll(mReceives);
  DeleteAll(mTransmits);
}

MIDIDeviceTypesObj::~MIDIDeviceTypesObj() { DeleteAll(mDeviceTypes); }
