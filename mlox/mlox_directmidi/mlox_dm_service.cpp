// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_service.h"

#include <algorithm>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_assert.h"
#include "cmn/cmn_threadlocal.h"
#include "diagnostics/cmn_traceassert.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_directmidi/mlox_datasource.h"
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_device.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_directmidi/mlox_dm_globaloutput.h"
#include "mlox/mlox_directmidi/mlox_dm_input.h"
#include "mlox/mlox_directmidi/mlox_dm_inputportstate.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_maxinstalledservices.h"
#include "mlox/mlox_outputdescriptor.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_service";

Mlox_DM_Service* sSingletonP = nullptr;

/// One query that a service has passed to its outer unknown and that hasn't come back answered. Queries of a
/// thread form a chain on its stack.
struct OuterQuery {
  const Mlox_DM_Service* mServiceP;
  const _qcfUID* mUIDP;
  const OuterQuery* mEnclosingP;
};

CMN_THREAD_LOCAL const OuterQuery* sInnermostQueryP = nullptr;

/// Keeps a query on the chain for its lifetime.
class OuterQueryScope {
 public:
  OuterQueryScope(const Mlox_DM_Service* iServiceP, const _qcfUID& iUID)
      : mQuery{iServiceP, &iUID, sInnermostQueryP} {
    sInnermostQueryP = &mQuery;
  }
  ~OuterQueryScope() { sInnermostQueryP = mQuery.mEnclosingP; }
  OuterQueryScope(const OuterQueryScope&) = delete;
  OuterQueryScope& operator=(const OuterQueryScope&) = delete;

 private:
  const OuterQuery mQuery;
};

/// Whether the calling thread has this very question under way already.
bool IsUnderWay(const Mlox_DM_Service* iServiceP, const _qcfUID& iUID) {
  for (const OuterQuery* queryP = sInnermostQueryP; queryP != nullptr; queryP = queryP->mEnclosingP) {
    if (queryP->mServiceP == iServiceP && *queryP->mUIDP == iUID) return true;
  }
  return false;
}

void Connect(Mlox_DataSource* iSourceP, Mlox_BasicOutput* iOutputP) {
  if (iSourceP != nullptr) iSourceP->Connect(Cmn_AliasedRefCountPtr<Mlox_BasicOutput>(iOutputP));
}

void Disconnect(Mlox_DataSource* iSourceP, Mlox_BasicOutput* iOutputP) {
  if (iSourceP != nullptr) iSourceP->Disconnect(Cmn_AliasedRefCountPtr<Mlox_BasicOutput>(iOutputP));
}

// Every input on the list is one of ours; another kind is a fault, told in the tracing form, and passed over.
Mlox_DM_Input* CheckedPlugInInput(const Mlox_InputRef& iInput) {
  Mlox_DM_Input* currentInput = Mlox_DM_Input::FromInput(iInput);
  CMN_TRACEASSERT(kAssertSource, currentInput != nullptr, "currentInput");
  return currentInput;
}

Mlox_DM_BufferedDelivery* BufferedDeliveryOf(const Mlox_DM_DeliveryBase::Writing& iWriting) {
  return dynamic_cast<Mlox_DM_BufferedDelivery*>(iWriting.GetCurrentDelivery());
}

void WriteAllNotesOff(Mlox_DM_BufferedDelivery& ioDelivery, const Mlox_DM_Device& iDevice) {
  const Mlox_OutputContextRef context = Mlox_Manager::Singleton()->GetDefaultOutputContext();
  const Mdie_Timestamp immediately;
  for (int16_t channel = 0; channel < 16; ++channel) {
    if (!iDevice.IsMidiChannelAvailable(channel)) continue;
    ioDelivery.WriteEvent(immediately, Mdie_AllNotesOffEvent(), channel, context);
  }
}

}  // namespace

// ---- lifetime ----

Mlox_DM_Service::Mlox_DM_Service(IQCFUnknown* iOuterUnknownP, Mem2_MasterAllocator* iAllocatorP,
                                 Mdi_AppCallback* iAppCallbackP)
    : Mlox_Service(iAppCallbackP),
      CQCFUnknown(iOuterUnknownP),
      mBufferedDeliveryAllocatorP(iAllocatorP),
      mOuterUnknownP(iOuterUnknownP),
      mMainThread(std::this_thread::get_id()) {
  sSingletonP = this;
}

Mlox_DM_Service::~Mlox_DM_Service() {
  for (Mlox_DM_Device* deviceP : mOutputs) {
    if (deviceP->GetServiceP() == this) deviceP->SetServiceP(nullptr);
  }
  for (Mlox_DM_GlobalOutput* outputP : mGlobalOutputs) outputP->ClearServiceP();
  for (const Mlox_InputRef& input : mInputs) {
    if (Mlox_DM_Input* inputP = Mlox_DM_Input::FromInput(input)) inputP->ClearServiceP();
  }
  mGlobalOutputs.clear();
  mInputs.clear();
  mOutputs.clear();
  if (sSingletonP == this) sSingletonP = nullptr;
}

void Mlox_DM_Service::ReclaimMemory() {}

Mlox_DM_Service* Mlox_DM_Service::Singleton(Mlox_DM_Service* iServiceP) {
  if (iServiceP != nullptr) sSingletonP = iServiceP;
  CMN_ASSERT_FROM(kAssertSource, sSingletonP != nullptr, "sSingletonP != nullptr");
  return sSingletonP;
}

int Mlox_DM_Service::GetServiceIndex() const { return mServiceIndex; }

bool Mlox_DM_Service::IsMainThread() const { return std::this_thread::get_id() == mMainThread; }

// ---- unknown ----

int32_t Mlox_DM_Service::QueryInterface(const _qcfUID& iUID, void** oResultP) {
  return InternalQueryInterface(iUID, oResultP);
}

uint32_t Mlox_DM_Service::AddRef() { return GetControllingUnknown()->AddRef(); }

uint32_t Mlox_DM_Service::Release() { return GetControllingUnknown()->Release(); }

int32_t Mlox_DM_Service::InternalQueryInterface(const _qcfUID& iUID, void** oResultP) {
  if (mOuterUnknownP == nullptr) return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
  if (IsUnderWay(this, iUID)) {
    // The outer doesn't know the id and asks us in turn: without this the two would ask each other for ever.
    if (oResultP != nullptr) *oResultP = nullptr;
    return kQCF_NoInterface;
  }
  const OuterQueryScope scope(this, iUID);
  return mOuterUnknownP->QueryInterface(iUID, oResultP);
}

// ---- nodes ----

IDirectMIDIClientOutput* Mlox_DM_Service::CreateClientOutput(const char* iNameP) {
  return NewClientOutput(iNameP, 0);
}

IDirectMIDIClientOutput* Mlox_DM_Service::CreateClientOutputEx(const char* iNameP, uint64_t iID) {
  return NewClientOutput(iNameP, iID);
}

IDirectMIDIClientInput* Mlox_DM_Service::CreateClientInput(const char* iNameP) {
  return NewClientInput(iNameP, 0);
}

IDirectMIDIClientInput* Mlox_DM_Service::CreateClientInputEx(const char* iNameP, uint64_t iID) {
  return NewClientInput(iNameP, iID);
}

IDirectMIDIGlobalOutput* Mlox_DM_Service::CreateGlobalOutput() {
  auto* outputP = new Mlox_DM_GlobalOutput(this, GetAppCallback());
  outputP->AddRef();
  mGlobalOutputs.insert(outputP);
  return outputP;  // no device, so no list has changed
}

Mlox_DM_Device* Mlox_DM_Service::NewClientOutput(const char* iNameP, uint64_t iID) {
  auto* deviceP = new Mlox_DM_Device(iNameP, this, GetAppCallback(), iID);
  deviceP->AddRef();
  mOutputs.push_back(deviceP);
  Mlox_Manager::Singleton()->ServiceOutputListChanged(this, true);
  return deviceP;
}

Mlox_DM_Input* Mlox_DM_Service::NewClientInput(const char* iNameP, uint64_t iID) {
  auto* inputP = new Mlox_DM_Input(iNameP, this, iID);
  inputP->AddRef();
  mInputs.emplace_back(inputP);
  Mlox_Manager::Singleton()->ServiceInputListChanged(this);
  return inputP;
}

void Mlox_DM_Service::DeviceBeingReleased(Mlox_DM_Device* iDeviceP) {
  const auto i = std::find(mOutputs.begin(), mOutputs.end(), iDeviceP);
  if (i == mOutputs.end()) return;
  mOutputs.erase(i);
  Mlox_Manager::Singleton()->ServiceOutputListChanged(this, true);
}

void Mlox_DM_Service::InputBeingReleased(Mlox_DM_Input* iInputP) {
  const auto i = std::find_if(mInputs.begin(), mInputs.end(),
                              [iInputP](const Mlox_InputRef& iInput) { return iInput.get() == iInputP; });
  if (i == mInputs.end()) return;
  mInputs.erase(i);
  Mlox_Manager::Singleton()->ServiceInputListChanged(this);
}

void Mlox_DM_Service::RemoveGlobalOutput(Mlox_DM_GlobalOutput* iOutputP) { mGlobalOutputs.erase(iOutputP); }

// ---- data sources ----

void Mlox_DM_Service::SetClickSource(Mlox_DataSource* iSourceP) { mClickSourceP = iSourceP; }
void Mlox_DM_Service::SetMidiBeatClockSource(Mlox_DataSource* iSourceP) { mMidiBeatClockSourceP = iSourceP; }
void Mlox_DM_Service::SetMTCSource(Mlox_DataSource* iSourceP) { mMTCSourceP = iSourceP; }

void Mlox_DM_Service::ConnectToClick(Mlox_BasicOutput* iOutputP) { Connect(mClickSourceP, iOutputP); }
void Mlox_DM_Service::ConnectToMidiBeatClock(Mlox_BasicOutput* iOutputP) {
  Connect(mMidiBeatClockSourceP, iOutputP);
}
void Mlox_DM_Service::ConnectToMTC(Mlox_BasicOutput* iOutputP) { Connect(mMTCSourceP, iOutputP); }

void Mlox_DM_Service::DisconnectFromClick(Mlox_BasicOutput* iOutputP) { Disconnect(mClickSourceP, iOutputP); }
void Mlox_DM_Service::DisconnectFromMidiBeatClock(Mlox_BasicOutput* iOutputP) {
  Disconnect(mMidiBeatClockSourceP, iOutputP);
}
void Mlox_DM_Service::DisconnectFromMTC(Mlox_BasicOutput* iOutputP) { Disconnect(mMTCSourceP, iOutputP); }

// ---- lists ----

void Mlox_DM_Service::SetServiceIndex(int iServiceIndex) {
  mServiceIndex = iServiceIndex;
  mPortSlotIndex = iServiceIndex;
}

int Mlox_DM_Service::GetNumberOfOutputDevices() { return static_cast<int>(mOutputs.size()); }

Mlox_Device* Mlox_DM_Service::GetOutputDevice(int iOutputIndex) {
  if (!CMN_ASSERT_FROM(kAssertSource, iOutputIndex >= 0, "iOutputIndex >= 0")) return nullptr;
  const auto index = static_cast<size_t>(iOutputIndex);
  if (!CMN_ASSERT_FROM(kAssertSource, index < mOutputs.size(), "iOutputIndex < mOutputs.size()"))
    return nullptr;
  return mOutputs[index];
}

int Mlox_DM_Service::GetNumberOfInputs() { return static_cast<int>(mInputs.size()); }

Mlox_InputRef Mlox_DM_Service::GetInput(int iInputIndex) {
  if (!CMN_ASSERT_FROM(kAssertSource, iInputIndex >= 0, "iInputIndex >= 0")) return nullptr;
  const auto index = static_cast<size_t>(iInputIndex);
  if (!CMN_ASSERT_FROM(kAssertSource, index < mInputs.size(), "iInputIndex < mInputs.size()")) return nullptr;
  return mInputs[index];
}

void Mlox_DM_Service::AddInputsToList(Mlox_InputList* ioInputsP,
                                      Mlox_EInputVirtualSelection iVirtualSelection,
                                      Mlox_EInputSyncSelection iSyncSelection) {
  // All inputs here are virtual, and none is a sync source.
  const bool wantsVirtual =
      iVirtualSelection == kMlox_VirtualInputs || iVirtualSelection == kMlox_VirtualAndNonVirtualInputs;
  const bool wantsNonSync =
      iSyncSelection == kMlox_NonSyncInputs || iSyncSelection == kMlox_SyncAndNonSyncInputs;
  if (!wantsVirtual || !wantsNonSync || ioInputsP == nullptr) return;
  ioInputsP->insert(ioInputsP->end(), mInputs.begin(), mInputs.end());
}

bool Mlox_DM_Service::IsPlugInSource(const Mlox_InputID& iInputID) const {
  return std::any_of(mInputs.begin(), mInputs.end(), [&iInputID](const Mlox_InputRef& iInput) {
    Mlox_DM_Input* inputP = CheckedPlugInInput(iInput);
    return inputP != nullptr && inputP->GetInputID() == iInputID;
  });
}

// ---- matching ----

Mlox_Device* Mlox_DM_Service::FindDevice(const Mlox_DeviceDescriptor* iDescriptorP, bool iCompareName) const {
  const auto* descriptorP = dynamic_cast<const Mlox_DM_DeviceDescriptor*>(iDescriptorP);
  if (descriptorP == nullptr) return nullptr;
  for (Mlox_DM_Device* deviceP : mOutputs) {
    if (deviceP->MatchesDescriptor(descriptorP, iCompareName)) return deviceP;
  }
  return nullptr;
}

Mlox_Device* Mlox_DM_Service::FindOutputDeviceExactlyMatchingDescriptor(
    const Mlox_DeviceDescriptor* iDescriptorP) {
  return FindDevice(iDescriptorP, true);
}

Mlox_Device* Mlox_DM_Service::FindOutputDeviceMatchingDescriptorExceptForName(
    const Mlox_DeviceDescriptor* iDescriptorP) {
  return FindDevice(iDescriptorP, false);
}

Mlox_Output* Mlox_DM_Service::FindOutputInDevice(Mlox_Device* iDeviceP,
                                                 const Mlox_OutputDescriptor* iDescriptorP) {
  if (iDeviceP == nullptr) return nullptr;
  const auto channel = static_cast<int8_t>(iDescriptorP->GetChannel());
  if (channel == -1) return iDeviceP->GetCommonOutput();  // whatever the mask says
  return iDeviceP->IsMidiChannelAvailable(channel) ? iDeviceP->GetOutputForChannel(channel) : nullptr;
}

Mlox_Output* Mlox_DM_Service::FindOutputExactlyMatchingDescriptor(const Mlox_OutputDescriptor* iDescriptorP) {
  if (iDescriptorP == nullptr) return nullptr;
  return FindOutputInDevice(
      FindOutputDeviceExactlyMatchingDescriptor(iDescriptorP->GetDeviceDescriptor().get()), iDescriptorP);
}

Mlox_Output* Mlox_DM_Service::FindOutputMatchingDescriptorExceptForName(
    const Mlox_OutputDescriptor* iDescriptorP) {
  if (iDescriptorP == nullptr) return nullptr;
  return FindOutputInDevice(
      FindOutputDeviceMatchingDescriptorExceptForName(iDescriptorP->GetDeviceDescriptor().get()),
      iDescriptorP);
}

Mlox_InputRef Mlox_DM_Service::FindInput(const Mlox_DeviceDescriptor* iDescriptorP, bool iCompareName) const {
  const auto* descriptorP = dynamic_cast<const Mlox_DM_DeviceDescriptor*>(iDescriptorP);
  if (descriptorP == nullptr) return nullptr;
  for (const Mlox_InputRef& input : mInputs) {
    const Mlox_DM_Input* inputP = CheckedPlugInInput(input);
    if (inputP != nullptr && inputP->MatchesDescriptor(descriptorP, iCompareName)) return input;
  }
  return nullptr;
}

Mlox_InputRef Mlox_DM_Service::FindInputExactlyMatchingDescriptor(
    std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  return FindInput(iDescriptorP.get(), true);
}

Mlox_InputRef Mlox_DM_Service::FindInputMatchingDescriptorExceptForName(
    std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  return FindInput(iDescriptorP.get(), false);
}

// ---- contexts and ports ----

void Mlox_DM_Service::CreateOutputContext(Mlox_OutputContext*) {}

void Mlox_DM_Service::InputPortBlockInput(const Mlox_Input&, bool, Mlox_InputPort*) {}

bool Mlox_DM_Service::CanServe(const Mlox_InputPort* iInputPortP) const {
  if (!CMN_ASSERT_FROM(kAssertSource, iInputPortP != nullptr, "iInputPortP != nullptr")) return false;
  // Indices count from 1 and index the array itself, so its first entry is never ours.
  return CMN_ASSERT_FROM(kAssertSource, mPortSlotIndex >= 1 && mPortSlotIndex < Mlox_cMaxInstalledServices,
                         "mPortSlotIndex >= 1 && mPortSlotIndex < Mlox_cMaxInstalledServices");
}

void Mlox_DM_Service::CreateInputPort(Mlox_InputPort* iInputPortP) {
  if (!CanServe(iInputPortP)) return;
  auto stateP = std::make_unique<Mlox_DM_InputPortState>(iInputPortP->GetRawMidiReceiver());
  iInputPortP->SetServiceEntry(mPortSlotIndex, stateP.get());
  mPortStates[iInputPortP] = std::move(stateP);
}

Mlox_DM_InputPortState* Mlox_DM_Service::FindLivePortState(Mlox_InputPort* iInputPortP) const {
  if (!CanServe(iInputPortP)) return nullptr;
  const void* entryP = iInputPortP->GetServiceEntry(mPortSlotIndex);
  if (entryP == nullptr) return nullptr;
  const auto i = mPortStates.find(iInputPortP);
  // A port that was closed, or that an earlier service of our index served, still shows a record that is
  // gone.
  const bool isLive = i != mPortStates.end() && i->second.get() == entryP;
  return CMN_ASSERT_FROM(kAssertSource, isLive, "isLive") ? i->second.get() : nullptr;
}

void Mlox_DM_Service::ConnectInputsToInputPort(const Mlox_InputList& iInputs, Mlox_InputPort* iInputPortP) {
  Mlox_DM_InputPortState* stateP = FindLivePortState(iInputPortP);
  if (stateP != nullptr) stateP->ConnectInputs(iInputs);
}

void Mlox_DM_Service::InputPortCloseConnections(Mlox_InputPort* iInputPortP) {
  Mlox_DM_InputPortState* stateP = FindLivePortState(iInputPortP);
  if (stateP == nullptr) return;
  stateP->CloseConnections();
  // The port's entry keeps its value: closing is final, and the entry is never followed again.
  mPortStates.erase(iInputPortP);
}

// ---- playback ----

void Mlox_DM_Service::StopPlayback() {
  for (Mlox_DM_GlobalOutput* outputP : mGlobalOutputs) {
    const Mlox_DM_DeliveryBase::Writing writing(*outputP);
    if (Mlox_DM_BufferedDelivery* deliveryP = BufferedDeliveryOf(writing)) deliveryP->ClearQueues();
  }
  for (const Mlox_DM_Device* deviceP : mOutputs) {
    const Mlox_DM_DeliveryBase::Writing writing(*deviceP);
    Mlox_DM_BufferedDelivery* deliveryP = BufferedDeliveryOf(writing);
    if (deliveryP == nullptr) continue;
    deliveryP->ClearQueues();
    WriteAllNotesOff(*deliveryP, *deviceP);
  }
}
