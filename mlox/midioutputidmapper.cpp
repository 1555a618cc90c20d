// SPDX-License-Identifier: MIT
#include "mlox/midioutputidmapper.h"

#include "cmn/cmn_assert.h"
#include "mlox/midiidsearch.h"
#include "mlox/midioutputidmapper_mloxmanagerlistener.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"

namespace {

constexpr char kAssertSource[] = "mlox/midioutputidmapper";

int GlobalIndexOfDevice(const Mlox_Device* iDeviceP) {
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  const int count = managerP->GetNumberOfOutputDevices();
  for (int index = 0; index < count; ++index) {
    if (managerP->GetOutputDevice(index) == iDeviceP) return index;
  }
  return -1;
}

}  // namespace

constinit std::vector<MidiOutputIDMapper_Entry> MidiOutputIDMapper::sMidiOutputIDList;
constinit Cmn_DoublyLinkedList<MidiOutputIDMapper_Listener> MidiOutputIDMapper::sListeners;
constinit MidiOutputIDMapper_MloxManagerListener* MidiOutputIDMapper::sMloxManagerListenerP = nullptr;

void MidiOutputIDMapper::AddListener(MidiOutputIDMapper_Listener* iListenerP) {
  if (iListenerP != nullptr) sListeners.AddToTail(iListenerP);
}

int MidiOutputIDMapper::GetMaxID() {
  ValidateOutputList();
  return static_cast<int>(sMidiOutputIDList.size()) - 1;
}

short MidiOutputIDMapper::IDToChannel(int iID) { return IDToEntry(iID)->mChannel; }

Mlox_Device* MidiOutputIDMapper::IDToDevice(int iID) {
  const std::int32_t index = IDToEntry(iID)->mIndex;
  return index == -1 ? nullptr : Mlox_Manager::Singleton()->GetOutputDevice(index);
}

Mlox_Output* MidiOutputIDMapper::IDToOutput(int iID) {
  const MidiOutputIDMapper_Entry entry = *IDToEntry(iID);
  if (entry.mIndex == -1) return nullptr;
  Mlox_Device* deviceP = Mlox_Manager::Singleton()->GetOutputDevice(entry.mIndex);
  if (deviceP == nullptr) return nullptr;
  return entry.mChannel == -1 ? deviceP->GetCommonOutput() : deviceP->GetOutputForChannel(entry.mChannel);
}

int MidiOutputIDMapper::OutputToID(Mlox_Output* iOutputP) {
  ValidateOutputList();
  if (iOutputP == nullptr) return 0;
  // An output that has left its device is unknown, whatever holes the list of devices has.
  const Mlox_Device* deviceP = iOutputP->GetDevice();
  if (deviceP == nullptr) return 0;
  const int index = GlobalIndexOfDevice(deviceP);
  const auto descriptor = iOutputP->GetDescriptor();
  if (index == -1 || !descriptor) return 0;
  return Mlox_PositionOfEntry(sMidiOutputIDList, index, descriptor->GetChannel());
}

Mlox_Output* MidiOutputIDMapper::FindNextOutput(Mlox_Output* iOutputP) {
  const int nextID = OutputToID(iOutputP) + 1;
  return IDToOutput(nextID % static_cast<int>(sMidiOutputIDList.size()));
}

void MidiOutputIDMapper::AddDeviceCommonEntryToOutputList(int iDeviceIndex) {
  sMidiOutputIDList.push_back({iDeviceIndex, -1});
}

// Unlike an input, a device has an entry for its common output only if it has no channel at all: this is
// deliberate.
void MidiOutputIDMapper::AddDeviceEntriesToOutputList(int iDeviceIndex) {
  const std::size_t sizeBefore = sMidiOutputIDList.size();
  const Mlox_Device* deviceP = Mlox_Manager::Singleton()->GetOutputDevice(iDeviceIndex);
  for (std::int16_t channel = 0; channel < 16; ++channel) {
    if (deviceP != nullptr && deviceP->IsMidiChannelAvailable(channel)) {
      sMidiOutputIDList.push_back({iDeviceIndex, channel});
    }
  }
  if (sMidiOutputIDList.size() == sizeBefore) AddDeviceCommonEntryToOutputList(iDeviceIndex);
}

void MidiOutputIDMapper::AddSpecialNoneEntryToOutputList() { sMidiOutputIDList.push_back({-1, -1}); }

void MidiOutputIDMapper::BroadcastChange() {
  Cmn_DoublyLinkedList<MidiOutputIDMapper_Listener>::Cursor cursor(sListeners);
  while (MidiOutputIDMapper_Listener* listenerP = cursor.Next()) listenerP->MidiOutputIDMapper_IDsChanged();
}

// An id that lies outside happens in normal use: a listener of the manager that comes before the mapper's own
// may still look up what it had. Such an id counts as the none entry.
const MidiOutputIDMapper_Entry* MidiOutputIDMapper::IDToEntry(int iID) {
  ValidateOutputList();
  const bool isInList =
      CMN_ASSERT_FROM(kAssertSource, iID < static_cast<std::int32_t>(sMidiOutputIDList.size()) && iID >= 0,
                      "iID < (Cmn_Int32)sMidiOutputIDList.size() && iID >= 0");
  if (!isInList) return &sMidiOutputIDList.front();
  return &sMidiOutputIDList[static_cast<std::size_t>(iID)];
}

void MidiOutputIDMapper::InstallMloxManagerListener() {
  if (sMloxManagerListenerP != nullptr) return;
  sMloxManagerListenerP = new MidiOutputIDMapper_MloxManagerListener;
  Mlox_Manager::Singleton()->AddListener(sMloxManagerListenerP);
}

bool MidiOutputIDMapper::IsOutputListValid() { return !sMidiOutputIDList.empty(); }

void MidiOutputIDMapper::RebuildOutputList() {
  sMidiOutputIDList.clear();
  AddSpecialNoneEntryToOutputList();
  const int count = Mlox_Manager::Singleton()->GetNumberOfOutputDevices();
  for (int index = 0; index < count; ++index) AddDeviceEntriesToOutputList(index);
  InstallMloxManagerListener();
}

void MidiOutputIDMapper::ValidateOutputList() {
  Mlox_Manager::Singleton()->CheckStudioSetup();
  if (!IsOutputListValid()) RebuildOutputList();
}
