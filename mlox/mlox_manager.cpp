// SPDX-License-Identifier: MIT
#include "mlox/mlox_manager.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_realtimescope.h"
#include "cmn/mem2_masterallocator.h"
#include "cmn/sys_delayeddeletion.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_maxinstalledservices.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_outputcontext.h"
#include "mlox/mlox_outputdescriptor.h"
#include "mlox/mlox_service.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_manager";

constexpr short kNumChannels = 16;
constexpr short kCommonOutputChannel = -1;

// How often a count is repeated when a change was reported during it.
constexpr int kMaxRepeatedWalks = 3;

using Entries = std::vector<Mlox_Manager_ServiceEntry>;

// Walks by index, because a service may have another one added while it is called; a row without a service is
// one whose service is being deleted, or has been.
template <class Visit>
void ForEachService(const Entries* iEntriesP, Visit iVisit) {
  if (iEntriesP == nullptr) return;
  for (std::size_t i = 0; i < iEntriesP->size(); ++i) {
    if (Mlox_Service* serviceP = (*iEntriesP)[i].mServiceP) iVisit(*serviceP);
  }
}

// The same for the services whose mask has a bit in common with the given one.
template <class Visit>
void ForEachServiceOf(const Entries* iEntriesP, int iMask, Visit iVisit) {
  for (std::size_t i = 0; i < iEntriesP->size(); ++i) {
    const Mlox_Manager_ServiceEntry entry = (*iEntriesP)[i];
    if (entry.mServiceP != nullptr && (entry.mServiceMask & iMask) != 0) iVisit(*entry.mServiceP);
  }
}

// Asks one service after the other, in table order, and takes the first answer that isn't null.
template <class Find>
auto FirstFound(const Entries* iEntriesP, Find iFind) -> decltype(iFind(std::declval<Mlox_Service&>())) {
  if (iEntriesP == nullptr) return nullptr;
  for (std::size_t i = 0; i < iEntriesP->size(); ++i) {
    Mlox_Service* serviceP = (*iEntriesP)[i].mServiceP;
    if (serviceP == nullptr) continue;
    if (auto found = iFind(*serviceP)) return found;
  }
  return nullptr;
}

// Finds the last row whose first index isn't above the given one. Of a run of rows with one first index only
// the last has any members, so it is the one that answers.
template <class FirstIndex>
Entries::iterator RowOfIndex(Entries& iEntries, int iIndex, FirstIndex iFirstIndex) {
  const auto i = std::upper_bound(
      iEntries.begin(), iEntries.end(), iIndex,
      [&](int iLeft, const Mlox_Manager_ServiceEntry& iRight) { return iLeft < iFirstIndex(iRight); });
  if (!CMN_ASSERT_FROM(kAssertSource, i != iEntries.begin(), "i != mServicesP->begin()")) {
    return iEntries.end();
  }
  return std::prev(i);
}

template <class Visit>
void BroadcastTo(Cmn_DoublyLinkedList<Mlox_Manager_Listener>& iListeners, Visit iVisit) {
  Cmn_DoublyLinkedList<Mlox_Manager_Listener>::Cursor cursor(iListeners);
  while (Mlox_Manager_Listener* listenerP = cursor.Next()) iVisit(*listenerP);
}

template <class Visit>
void ForEachPort(Cmn_DoublyLinkedList<Mlox_InputPort>& iPorts, Visit iVisit) {
  Cmn_DoublyLinkedList<Mlox_InputPort>::Cursor cursor(iPorts);
  while (Mlox_InputPort* portP = cursor.Next()) iVisit(*portP);
}

// Whether a search for an output has to end after the exact match.
bool IsExactMatchRequired(const Mlox_DeviceDescriptor& iDescriptor) {
  const int matchType = iDescriptor.GetMatchType();
  if (matchType == Mlox_DeviceDescriptor::kMatchExactOnly) return true;
  if (matchType != Mlox_DeviceDescriptor::kMatchAllowFallback) CMN_ASSERT_FROM(kAssertSource, false, "0");
  return false;
}

Mlox_Output* OutputForChannelIfAvailable(Mlox_Device& iDevice, short iChannel) {
  return iDevice.IsMidiChannelAvailable(iChannel) ? iDevice.GetOutputForChannel(iChannel) : nullptr;
}

// Appends the common output and those of the available channels; nothing at all without a common output.
void AppendOutputs(Mlox_Device& iDevice, std::vector<Mlox_Output*>& ioOutputs) {
  Mlox_Output* commonOutputP = iDevice.GetCommonOutput();
  if (commonOutputP == nullptr) return;
  ioOutputs.push_back(commonOutputP);
  for (short channel = 0; channel < kNumChannels; ++channel) {
    if (Mlox_Output* outputP = OutputForChannelIfAvailable(iDevice, channel)) ioOutputs.push_back(outputP);
  }
}

}  // namespace

// ---- lifetime ----

Mlox_Manager::Mlox_Manager()
    : mServicesP(std::make_unique<ServiceEntries>()),
      mOutputContextsP(std::make_unique<std::vector<Mlox_OutputContext*>>()) {
  mDefaultContext = CreateOutputContext();
  mImmediateContext = CreateOutputContext();
  mPatchThruContext = CreateOutputContext();
  mSlightlyEarlyPlayerContext = CreateOutputContext();
  mOutputIndicesAreDirty = true;
  mInputIndicesAreDirty = true;
}

Mlox_Manager::~Mlox_Manager() = default;

void Mlox_Manager::Init() { Singleton(); }

Mlox_Manager* Mlox_Manager::Singleton() {
  // Never deleted: contexts, ports and references outlive every order of shutting down.
  static Mlox_Manager* const sSingletonP = new Mlox_Manager;
  CMN_ASSERT_FROM(kAssertSource, sSingletonP != nullptr, "sSingletonP != nullptr");
  return sSingletonP;
}

// ---- services ----

void Mlox_Manager::AddService(Mlox_Service* iServiceP, const int& iServiceMask) {
  if (!CMN_ASSERT_THROWING_FROM(kAssertSource, iServiceP != nullptr, "iServiceP != nullptr")) return;
  CMN_ASSERT_THROWING_FROM(kAssertSource,
                           (mServicesP->size() + 1) <= static_cast<std::size_t>(Mlox_cMaxInstalledServices),
                           "(mServicesP->size() + 1) <= Mlox_cMaxInstalledServices");
  // Kept: until the next count the new row begins at 0, so that it is the one that answers for inputs.
  mServicesP->push_back({iServiceP, 0, 0, iServiceMask});
  // The input indices are left alone, by decision: the inputs of a new service show up once it reports them.
  mOutputIndicesAreDirty = true;
  iServiceP->SetServiceIndex(static_cast<int>(mServicesP->size()));
  AddNewServiceToExistingOutputContexts(iServiceP);
  AddNewServiceToExistingInputPorts(iServiceP);
  BroadcastOutputsChanged(true);
}

void Mlox_Manager::AddNewServiceToExistingOutputContexts(Mlox_Service* iServiceP) {
  for (std::size_t i = 0; i < mOutputContextsP->size(); ++i) {
    iServiceP->CreateOutputContext((*mOutputContextsP)[i]);
  }
}

void Mlox_Manager::AddNewServiceToExistingInputPorts(Mlox_Service* iServiceP) {
  ForEachPort(mInputPorts, [&](Mlox_InputPort& ioPort) { iServiceP->CreateInputPort(&ioPort); });
}

void Mlox_Manager::RemoveAllServices() {
  ForEachPort(mInputPorts, [](Mlox_InputPort& ioPort) { ioPort.CloseCurrentConnections(); });
  // Outputs that wait for deletion may still look at their service; the second pass takes what the services
  // leave behind.
  Sys_DelayedDeletion::RunPass();
  while (!mServicesP->empty()) RemoveLastRow();
  Sys_DelayedDeletion::RunPass();
  mInputIndicesAreDirty = true;
  mOutputIndicesAreDirty = true;
  // Inputs first: the reverse of CheckStudioSetup, on purpose.
  BroadcastInputsChanged();
  BroadcastOutputsChanged(true);
  Cmn_Assert::Drain();
}

// Deletes the service of the last row, and erases the row once it has none. Two steps, because a destructor
// may add a service: its row then stands behind this one, and goes first.
void Mlox_Manager::RemoveLastRow() {
  Mlox_Service* serviceP = mServicesP->back().mServiceP;
  if (serviceP == nullptr) {
    mServicesP->pop_back();
    return;
  }
  // A service that was installed twice is deleted once. No row keeps the pointer while the service dies, so
  // that nobody whom it calls can reach it through us.
  for (Mlox_Manager_ServiceEntry& entry : *mServicesP) {
    if (entry.mServiceP == serviceP) entry.mServiceP = nullptr;
  }
  // A check of ours that fails on a call of the destructor must not throw out of it.
  const Cmn_NoThrowScope noThrow;
  delete serviceP;
}

void Mlox_Manager::Suspend(EAvailableServices iServices) {
  ForEachServiceOf(mServicesP.get(), iServices, [](Mlox_Service& ioService) { ioService.Suspend(); });
}

void Mlox_Manager::Resume(EAvailableServices iServices) {
  ForEachServiceOf(mServicesP.get(), iServices, [](Mlox_Service& ioService) { ioService.Resume(); });
}

void Mlox_Manager::StopPlayback() {
  StopServicesPlayback();
  if (!CMN_ASSERT_FROM(kAssertSource, mAppCallbackP != nullptr, "mAppCallbackP != nullptr")) return;
  mAppCallbackP->StopPlayback();
}

void Mlox_Manager::StopServicesPlayback() {
  ForEachService(mServicesP.get(), [](Mlox_Service& ioService) { ioService.StopPlayback(); });
}

void Mlox_Manager::QuickAllNotesOff() {
  CountOutputDevices();
  // All outputs are fetched before the first write. A write can end in a plug-in that takes its node away,
  // and the epoch keeps the outputs of such a node for as long as we hold plain pointers to them.
  const Sys_EpochGuard guard;
  std::vector<Mlox_Output*> outputs;
  for (int i = 0; i < mNumOutputDevices; ++i) {
    if (Mlox_Device* deviceP = GetOutputDevice(i)) AppendOutputs(*deviceP, outputs);
  }
  for (Mlox_Output* outputP : outputs) {
    // The default context and not the immediate one: kept.
    outputP->WriteEvent(Mdie_Timestamp(), Mdie_AllNotesOffEvent(), mDefaultContext);
  }
}

void Mlox_Manager::DoneUpdatingOldDeviceReferences() {
  ForEachService(mServicesP.get(),
                 [](Mlox_Service& ioService) { ioService.DoneUpdatingOldDeviceReferences(); });
}

// ---- the index spaces ----

// The dirty flag is cleared before the walk that it asks for: a change reported during the walk counts for
// the next one.

void Mlox_Manager::ComputeOutputIndices() {
  mOutputIndicesAreDirty.exchange(false);
  int total = 0;
  for (std::size_t i = 0; i < mServicesP->size(); ++i) {
    (*mServicesP)[i].mFirstOutputIndex = total;
    if (Mlox_Service* serviceP = (*mServicesP)[i].mServiceP) total += serviceP->GetNumberOfOutputDevices();
  }
  mNumOutputDevices = total;
}

void Mlox_Manager::ComputeInputIndices() {
  mInputIndicesAreDirty.exchange(false);
  int total = 0;
  for (std::size_t i = 0; i < mServicesP->size(); ++i) {
    (*mServicesP)[i].mFirstInputIndex = total;
    if (Mlox_Service* serviceP = (*mServicesP)[i].mServiceP) total += serviceP->GetNumberOfInputs();
  }
  mNumInputs = total;
}

// A service may change its lists during the walk, on the first count above all, when it fills them, or
// because another of its threads reports a change. Repeating the walk gives the caller indices that it can
// use at once; a service that changes all the time gets the rest at the next count.
void Mlox_Manager::CountOutputDevices() {
  for (int walk = 0; walk <= kMaxRepeatedWalks && mOutputIndicesAreDirty; ++walk) ComputeOutputIndices();
}

void Mlox_Manager::CountInputs() {
  for (int walk = 0; walk <= kMaxRepeatedWalks && mInputIndicesAreDirty; ++walk) ComputeInputIndices();
}

int Mlox_Manager::GetNumberOfOutputDevices() {
  CountOutputDevices();
  return mNumOutputDevices;
}

int Mlox_Manager::GetNumberOfInputs() {
  CountInputs();
  return mNumInputs;
}

Mlox_Manager::ServiceEntries::iterator Mlox_Manager::FindServiceEntryForOutputIndex(int iOutputIndex) {
  if (!CMN_ASSERT_FROM(kAssertSource, iOutputIndex >= 0, "iOutputIndex >= 0") ||
      !CMN_ASSERT_FROM(kAssertSource, iOutputIndex < mNumOutputDevices, "iOutputIndex < mNumOutputDevices")) {
    return mServicesP->end();
  }
  return RowOfIndex(*mServicesP, iOutputIndex,
                    [](const Mlox_Manager_ServiceEntry& iEntry) { return iEntry.mFirstOutputIndex; });
}

Mlox_Manager::ServiceEntries::iterator Mlox_Manager::FindServiceEntryForInputIndex(int iInputIndex) {
  if (!CMN_ASSERT_FROM(kAssertSource, iInputIndex >= 0, "iInputIndex >= 0") ||
      !CMN_ASSERT_FROM(kAssertSource, iInputIndex < mNumInputs, "iInputIndex < mNumInputs")) {
    return mServicesP->end();
  }
  return RowOfIndex(*mServicesP, iInputIndex,
                    [](const Mlox_Manager_ServiceEntry& iEntry) { return iEntry.mFirstInputIndex; });
}

Mlox_Device* Mlox_Manager::GetOutputDevice(int iOutputIndex) {
  CMN_ASSERT_FROM(kAssertSource, !mOutputIndicesAreDirty, "!mOutputIndicesAreDirty");
  const auto entry = FindServiceEntryForOutputIndex(iOutputIndex);
  if (entry == mServicesP->end() || entry->mServiceP == nullptr) return nullptr;
  return entry->mServiceP->GetOutputDevice(iOutputIndex - entry->mFirstOutputIndex);
}

Mlox_InputRef Mlox_Manager::GetInput(int iInputIndex) {
  CMN_ASSERT_FROM(kAssertSource, !mInputIndicesAreDirty, "!mInputIndicesAreDirty");
  const auto entry = FindServiceEntryForInputIndex(iInputIndex);
  if (entry == mServicesP->end() || entry->mServiceP == nullptr) return nullptr;
  return entry->mServiceP->GetInput(iInputIndex - entry->mFirstInputIndex);
}

void Mlox_Manager::GetInputs(Mlox_InputList* oInputsP, Mlox_EInputVirtualSelection iVirtualSelection,
                             Mlox_EInputSyncSelection iSyncSelection) {
  if (!CMN_ASSERT_FROM(kAssertSource, oInputsP != nullptr, "oInputsP != nullptr")) return;
  oInputsP->clear();
  ForEachService(mServicesP.get(), [&](Mlox_Service& ioService) {
    ioService.AddInputsToList(oInputsP, iVirtualSelection, iSyncSelection);
  });
}

// ---- ports and contexts ----

Mlox_InputPort* Mlox_Manager::CreateInputPort(Mlox_RawMidiReceiver* iReceiverP) {
  auto* portP = new Mlox_InputPort(iReceiverP);
  mInputPorts.AddToTail(portP);
  ForEachService(mServicesP.get(), [&](Mlox_Service& ioService) { ioService.CreateInputPort(portP); });
  return portP;
}

void Mlox_Manager::ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort* iInputPortP) {
  if (!CMN_ASSERT_FROM(kAssertSource, iInputPortP != nullptr, "iInputPortP != nullptr")) return;
  ForEachService(mServicesP.get(),
                 [&](Mlox_Service& ioService) { ioService.ConnectInputsToInputPort(iInputs, iInputPortP); });
}

void Mlox_Manager::InputPortCloseConnections(Mlox_InputPort* iInputPortP) {
  if (!CMN_ASSERT_FROM(kAssertSource, iInputPortP != nullptr, "iInputPortP != nullptr")) return;
  ForEachService(mServicesP.get(),
                 [&](Mlox_Service& ioService) { ioService.InputPortCloseConnections(iInputPortP); });
}

void Mlox_Manager::BlockInput(const Mlox_Input& iInput, bool iBlock) {
  ForEachPort(mInputPorts, [&](Mlox_InputPort& ioPort) {
    ForEachService(mServicesP.get(),
                   [&](Mlox_Service& ioService) { ioService.InputPortBlockInput(iInput, iBlock, &ioPort); });
  });
}

Mlox_OutputContextRef Mlox_Manager::CreateOutputContext() {
  auto* contextP = new Mlox_OutputContext;
  mOutputContextsP->push_back(contextP);
  ForEachService(mServicesP.get(), [&](Mlox_Service& ioService) { ioService.CreateOutputContext(contextP); });
  return Mlox_OutputContextRef(contextP);
}

// ---- finding again ----

Mlox_Device* Mlox_Manager::FindOutputDeviceBestMatchingDescriptor(const Mlox_DeviceDescriptor* iDescriptorP) {
  if (iDescriptorP == nullptr) return nullptr;
  if (Mlox_Device* deviceP = FindOutputDeviceExactlyMatchingDescriptor(iDescriptorP)) return deviceP;
  if (IsExactMatchRequired(*iDescriptorP)) return nullptr;
  if (Mlox_Device* deviceP = FindOutputDeviceMatchingName(iDescriptorP)) return deviceP;
  return FindOutputDeviceMatchingDescriptorExceptForName(iDescriptorP);
}

Mlox_Output* Mlox_Manager::FindOutputBestMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP) {
  if (iDescriptorP == nullptr) return nullptr;
  // A counted copy: whoever is called in the exact search may drop the device that shares this identity.
  const std::shared_ptr<const Mlox_DeviceDescriptor> deviceDescriptorP = iDescriptorP->GetDeviceDescriptor();
  if (deviceDescriptorP == nullptr) return nullptr;
  if (Mlox_Output* outputP = FindOutputExactlyMatchingDescriptor(iDescriptorP)) return outputP;
  if (IsExactMatchRequired(*deviceDescriptorP)) return nullptr;
  if (Mlox_Output* outputP = FindOutputMatchingNameAndChannelOfDescriptor(iDescriptorP)) return outputP;
  return FindOutputMatchingDescriptorExceptForName(iDescriptorP);
}

Mlox_InputRef Mlox_Manager::FindInputBestMatchingDescriptor(
    std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  const std::shared_ptr<const Mlox_DeviceDescriptor> descriptorP = std::move(iDescriptorP);
  if (!CMN_ASSERT_FROM(kAssertSource, descriptorP != nullptr, "iDescriptorP.get() != nullptr"))
    return nullptr;
  // GetMatchType isn't asked here, unlike on the output side: inputs always fall back.
  if (Mlox_InputRef input = FindInputExactlyMatchingDescriptor(descriptorP)) return input;
  if (Mlox_InputRef input = FindInputMatchingName(descriptorP)) return input;
  return FindInputMatchingDescriptorExceptForName(descriptorP);
}

Mlox_Device* Mlox_Manager::FindOutputDeviceExactlyMatchingDescriptor(
    const Mlox_DeviceDescriptor* iDescriptorP) {
  return FirstFound(mServicesP.get(), [&](Mlox_Service& ioService) {
    return ioService.FindOutputDeviceExactlyMatchingDescriptor(iDescriptorP);
  });
}

Mlox_Device* Mlox_Manager::FindOutputDeviceMatchingName(const Mlox_DeviceDescriptor* iDescriptorP) {
  return FirstFound(mServicesP.get(), [&](Mlox_Service& ioService) {
    return ioService.FindOutputDeviceMatchingName(iDescriptorP);
  });
}

Mlox_Device* Mlox_Manager::FindOutputDeviceMatchingDescriptorExceptForName(
    const Mlox_DeviceDescriptor* iDescriptorP) {
  return FirstFound(mServicesP.get(), [&](Mlox_Service& ioService) {
    return ioService.FindOutputDeviceMatchingDescriptorExceptForName(iDescriptorP);
  });
}

Mlox_Output* Mlox_Manager::FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP) {
  return FirstFound(mServicesP.get(), [&](Mlox_Service& ioService) {
    return ioService.FindOutputExactlyMatchingDescriptor(iDescriptorP);
  });
}

Mlox_Output* Mlox_Manager::FindOutputMatchingNameAndChannelOfDescriptor(
    const Mlox_OutputDescriptor* iDescriptorP) {
  Mlox_Device* deviceP = FindOutputDeviceMatchingName(iDescriptorP->GetDeviceDescriptor().get());
  if (deviceP == nullptr) return nullptr;
  const short channel = iDescriptorP->GetChannel();
  if (channel == kCommonOutputChannel) return deviceP->GetCommonOutput();
  return OutputForChannelIfAvailable(*deviceP, channel);
}

Mlox_Output* Mlox_Manager::FindOutputMatchingDescriptorExceptForName(
    const Mlox_OutputDescriptor* iDescriptorP) {
  return FirstFound(mServicesP.get(), [&](Mlox_Service& ioService) {
    return ioService.FindOutputMatchingDescriptorExceptForName(iDescriptorP);
  });
}

Mlox_InputRef Mlox_Manager::FindInputExactlyMatchingDescriptor(
    const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP) {
  return FirstFound(mServicesP.get(), [&](Mlox_Service& ioService) {
    return ioService.FindInputExactlyMatchingDescriptor(iDescriptorP);
  });
}

Mlox_InputRef Mlox_Manager::FindInputMatchingName(
    const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP) {
  return FirstFound(mServicesP.get(),
                    [&](Mlox_Service& ioService) { return ioService.FindInputMatchingName(iDescriptorP); });
}

Mlox_InputRef Mlox_Manager::FindInputMatchingDescriptorExceptForName(
    const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorP) {
  return FirstFound(mServicesP.get(), [&](Mlox_Service& ioService) {
    return ioService.FindInputMatchingDescriptorExceptForName(iDescriptorP);
  });
}

bool Mlox_Manager::IsPlugInSource(const Mlox_InputID& iInputID) const {
  return std::any_of(mServicesP->begin(), mServicesP->end(), [&](const Mlox_Manager_ServiceEntry& iEntry) {
    return iEntry.mServiceP != nullptr && iEntry.mServiceP->IsPlugInSource(iInputID);
  });
}

bool Mlox_Manager::IsIACSource(const Mlox_InputID& iInputID) const {
  if (mIACSourcesP == nullptr) return false;
  return std::find(mIACSourcesP->begin(), mIACSourcesP->end(), iInputID) != mIACSourcesP->end();
}

// Empty by decision: no input of these platforms is a connection between applications.
void Mlox_Manager::UpdateIACSources() {}

// ---- notifications ----

void Mlox_Manager::AddListener(Mlox_Manager_Listener* iListenerP) {
  if (!CMN_ASSERT_FROM(kAssertSource, iListenerP != nullptr, "iListenerP != nullptr")) return;
  mListeners.AddToTail(iListenerP);
}

// Services raise the flags from any thread and in any number; CheckStudioSetup takes each by one exchange.
// All accesses are sequentially consistent: changes are rare, and a flag raised by one thread must not be
// hidden behind the same flag raised by another. The argument and the dirty flag are stored before the
// pending flag, so that whoever takes the latter finds the former.

void Mlox_Manager::ServiceOutputListChanged(Mlox_Service*, bool iFlag) {
  if (iFlag) mOutputsChangedArgument = true;
  mOutputIndicesAreDirty = true;
  mOutputsChangedPending = true;
}

void Mlox_Manager::ServiceInputListChanged(Mlox_Service*) {
  mInputIndicesAreDirty = true;
  mInputsChangedPending = true;
}

void Mlox_Manager::Service_OutputPreSendChanged() { mOutputPreSendChangedPending = true; }

void Mlox_Manager::CheckStudioSetup() {
  // Each flag is down before the listeners run: one that is raised inside a listener waits for the next call.
  if (mOutputsChangedPending.exchange(false))
    BroadcastOutputsChanged(mOutputsChangedArgument.exchange(false));
  if (mInputsChangedPending.exchange(false)) BroadcastInputsChanged();
  if (mOutputPreSendChangedPending.exchange(false)) BroadcastOutputPreSendChanged();
  // The regular call of the main thread is where the foundation does what real-time threads must not.
  Sys_DelayedDeletion::RunPass();
  Mem2_MasterAllocator::GrowAllAhead();
  Cmn_Assert::Drain();
}

// Every broadcast goes from head to tail and looks for the next listener after the present one has returned.

void Mlox_Manager::BroadcastPlugInNodeRegistered(SFicPlugInSpec* iPlugInSpecP) {
  BroadcastTo(mListeners, [&](Mlox_Manager_Listener& ioListener) {
    ioListener.Mlox_Manager_PlugInNodeRegistered(iPlugInSpecP);
  });
}

void Mlox_Manager::BroadcastOutputsChanged(bool iFlag) {
  BroadcastTo(mListeners,
              [&](Mlox_Manager_Listener& ioListener) { ioListener.Mlox_Manager_OutputsChanged(iFlag); });
}

void Mlox_Manager::BroadcastInputsChanged() {
  BroadcastTo(mListeners, [](Mlox_Manager_Listener& ioListener) { ioListener.Mlox_Manager_InputsChanged(); });
}

void Mlox_Manager::BroadcastOutputPreSendChanged() {
  BroadcastTo(mListeners,
              [](Mlox_Manager_Listener& ioListener) { ioListener.Mlox_Manager_OutputPreSendChanged(); });
}
