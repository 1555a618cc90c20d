// SPDX-License-Identifier: MIT
#include "mlox/midiinputidmapper.h"

#include "cmn/cmn_assert.h"
#include "mlox/midiidsearch.h"
#include "mlox/midiinputidmapper_mloxmanagerlistener.h"
#include "mlox/mlox_manager.h"

namespace {

constexpr char kAssertSource[] = "mlox/midiinputidmapper";

int GlobalIndexOfInput(const Mlox_InputRef& iInputRCP) {
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  const int count = managerP->GetNumberOfInputs();
  for (int index = 0; index < count; ++index) {
    if (managerP->GetInput(index) == iInputRCP) return index;
  }
  return -1;
}

}  // namespace

constinit std::vector<MidiInputIDMapper_Entry> MidiInputIDMapper::sMidiInputIDList;
constinit Cmn_DoublyLinkedList<MidiInputIDMapper_Listener> MidiInputIDMapper::sListeners;
constinit MidiInputIDMapper_MloxManagerListener* MidiInputIDMapper::sMloxManagerListenerP = nullptr;

void MidiInputIDMapper::AddListener(MidiInputIDMapper_Listener* iListenerP) {
  if (iListenerP != nullptr) sListeners.AddToTail(iListenerP);
}

int MidiInputIDMapper::GetMaxID() {
  ValidateInputList();
  return static_cast<int>(sMidiInputIDList.size()) - 1;
}

short MidiInputIDMapper::IDToChannel(int iID) { return IDToEntry(iID)->mChannel; }

Mlox_InputRef MidiInputIDMapper::IDToInput(int iID) {
  const std::int32_t index = IDToEntry(iID)->mIndex;
  if (index == -1) return nullptr;
  return Mlox_Manager::Singleton()->GetInput(index);
}

// By value like the manager's search for inputs: the signature is a promise to binaries.
// NOLINTNEXTLINE(performance-unnecessary-value-param): see above
int MidiInputIDMapper::InputAssignmentToID(Mlox_InputRef iInputRCP, short iChannel) {
  ValidateInputList();
  if (!iInputRCP) return 0;
  const int index = GlobalIndexOfInput(iInputRCP);
  if (index == -1) return 0;
  return Mlox_PositionOfEntry(sMidiInputIDList, index, iChannel);
}

void MidiInputIDMapper::AddDeviceCommonEntryToInputList(int iInputIndex) {
  sMidiInputIDList.push_back({iInputIndex, -1});
}

// Unlike an output device, an input always has an entry for the whole of it, in front of its channels: this
// is deliberate.
void MidiInputIDMapper::AddDeviceEntriesToInputList(int iInputIndex) {
  const Mlox_InputRef input = Mlox_Manager::Singleton()->GetInput(iInputIndex);
  AddDeviceCommonEntryToInputList(iInputIndex);
  if (!input) return;
  for (std::int16_t channel = 0; channel < 16; ++channel) {
    if (input->IsMidiChannelAvailable(channel)) sMidiInputIDList.push_back({iInputIndex, channel});
  }
}

void MidiInputIDMapper::AddSpecialNoneEntryToInputList() { sMidiInputIDList.push_back({-1, -1}); }

void MidiInputIDMapper::BroadcastChange() {
  Cmn_DoublyLinkedList<MidiInputIDMapper_Listener>::Cursor cursor(sListeners);
  while (MidiInputIDMapper_Listener* listenerP = cursor.Next()) listenerP->MidiInputIDMapper_IDsChanged();
}

// An id that lies outside happens in normal use: a listener of the manager that comes before the mapper's own
// may still look up what it had. Such an id counts as the none entry. A negative one is not reported here,
// unlike for outputs: this is deliberate.
const MidiInputIDMapper_Entry* MidiInputIDMapper::IDToEntry(int iID) {
  ValidateInputList();
  const bool isBelowEnd =
      CMN_ASSERT_FROM(kAssertSource, iID < static_cast<std::int32_t>(sMidiInputIDList.size()),
                      "iID < (Cmn_Int32)sMidiInputIDList.size()");
  if (!isBelowEnd || iID < 0) return &sMidiInputIDList.front();
  return &sMidiInputIDList[static_cast<std::size_t>(iID)];
}

void MidiInputIDMapper::InstallMloxManagerListener() {
  if (sMloxManagerListenerP != nullptr) return;
  sMloxManagerListenerP = new MidiInputIDMapper_MloxManagerListener;
  Mlox_Manager::Singleton()->AddListener(sMloxManagerListenerP);
}

bool MidiInputIDMapper::IsInputListValid() { return !sMidiInputIDList.empty(); }

void MidiInputIDMapper::RebuildInputList() {
  sMidiInputIDList.clear();
  AddSpecialNoneEntryToInputList();
  const int count = Mlox_Manager::Singleton()->GetNumberOfInputs();
  for (int index = 0; index < count; ++index) AddDeviceEntriesToInputList(index);
  InstallMloxManagerListener();
}

void MidiInputIDMapper::ValidateInputList() {
  Mlox_Manager::Singleton()->CheckStudioSetup();
  if (!IsInputListValid()) RebuildInputList();
}
