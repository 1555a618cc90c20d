// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_device.h"

#include "cmn/cmn_assert.h"
#include "cmn/cmn_validateutf8string.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_device";

bool IsClientOutputID(const _qcfUID& iUID) {
  return iUID == IDirectMIDIClientOutput::kUID || iUID == IDirectMIDIClientOutput2::kUID ||
         iUID == IDirectMIDIClientOutput3::kUID || iUID == IDirectMIDIClientOutput4::kUID ||
         iUID == IQCFUnknown::kUID;
}

}  // namespace

// ---- lifetime ----

Mlox_DM_Device::Mlox_DM_Device(const char* iNameP, Mlox_DM_Service* iServiceP, Mdi_AppCallback* iAppCallbackP,
                               uint64_t iID)
    : Mlox_Device(iAppCallbackP, iID),
      Mlox_DM_DeliveryBase(iServiceP),
      Mlox_DM_GenericDeviceOrInput(Cmn_ValidateUTF8String(iNameP != nullptr ? iNameP : "")),
      mServiceP(iServiceP) {
  CheckMainThread(iServiceP);
}

Mlox_DM_Device::~Mlox_DM_Device() = default;

void Mlox_DM_Device::ReclaimMemory() {
  CheckMainThread(mServiceP);
  KillOutputs();
  if (mServiceP != nullptr) mServiceP->DeviceBeingReleased(this);
  delete this;
}

void Mlox_DM_Device::KillOutputs() {
  if (mCommonOutput) mCommonOutput->Kill();
  for (const auto& output : mChannelOutputs) {
    if (output) output->Kill();
  }
}

// ---- Mlox_Device ----

std::string Mlox_DM_Device::GetName() { return Mlox_DM_GenericDeviceOrInput::GetName(); }

Mlox_Output* Mlox_DM_Device::GetCommonOutput() {
  if (!mCommonOutput) mCommonOutput = Mlox_DM_Output::NewCommon(this, GetAppCallback());
  return mCommonOutput.get();
}

Mlox_Output* Mlox_DM_Device::GetOutputForChannel(short iMidiChannel) {
  if (!CMN_ASSERT_FROM(kAssertSource, iMidiChannel >= 0, "iMidiChannel >= 0")) return nullptr;
  if (!CMN_ASSERT_FROM(kAssertSource, iMidiChannel <= 15, "iMidiChannel <= 15")) return nullptr;
  auto& output = mChannelOutputs[static_cast<size_t>(iMidiChannel)];
  if (!output) output = Mlox_DM_Output::NewChannel(this, iMidiChannel, GetAppCallback());
  return output.get();
}

bool Mlox_DM_Device::IsMidiChannelAvailable(short iMidiChannel) const {
  return Mlox_DM_GenericDeviceOrInput::IsMidiChannelAvailable(iMidiChannel);
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_DM_Device::GetDeviceDescriptor() {
  return CachedDescriptor(&Mlox_DM_DeviceDescriptor::NewOutput, &Mlox_DM_DeviceDescriptor::NewOutput);
}

bool Mlox_DM_Device::GetReceivesMBC() const { return mReceivesMBC.load(std::memory_order_acquire); }

// ---- IDirectMIDIClientOutput4 ----

int32_t Mlox_DM_Device::QueryInterface(const _qcfUID& iUID, void** oResultP) {
  return GetControllingUnknown()->QueryInterface(iUID, oResultP);
}

uint32_t Mlox_DM_Device::AddRef() { return GetControllingUnknown()->AddRef(); }

uint32_t Mlox_DM_Device::Release() { return GetControllingUnknown()->Release(); }

void Mlox_DM_Device::SetChannelMask(uint16_t iMask) {
  Mlox_DM_GenericDeviceOrInput::SetChannelMask(iMask);
  Mlox_Manager::Singleton()->ServiceOutputListChanged(mServiceP, true);
}

void Mlox_DM_Device::SetName(const char* iNameP) {
  CheckMainThread(mServiceP);
  if (iNameP != nullptr && GetName() == iNameP) return;
  Mlox_DM_GenericDeviceOrInput::SetName(iNameP);
  KillOutputs();
  // Who holds an old output keeps a valid object that does nothing; new outputs are made with the new name.
  mCommonOutput = nullptr;
  for (auto& output : mChannelOutputs) output = nullptr;
  SetMidiSourceIsLive(false);
  Mlox_Manager::Singleton()->ServiceOutputListChanged(mServiceP, true);
}

void Mlox_DM_Device::SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID) {
  Mlox_DM_GenericDeviceOrInput::SetPluginIdentification(iFicPlugInSpecP, iPluginID);
}

void Mlox_DM_Device::SetReceivesMBC(bool iReceives) {
  mReceivesMBC.store(iReceives, std::memory_order_release);
  Mlox_Manager::Singleton()->ServiceOutputListChanged(mServiceP, true);
}

bool Mlox_DM_Device::IsMidiSourceLive() { return mMidiSourceIsLive.load(std::memory_order_acquire); }

// ---- service and live sources ----

Mlox_DM_Service* Mlox_DM_Device::GetServiceP() const { return mServiceP; }

void Mlox_DM_Device::SetServiceP(Mlox_DM_Service* iServiceP) {
  mServiceP = iServiceP;
  // The delivery base keeps a pointer of its own, which must not outlive the service either.
  SetDeliveryService(iServiceP);
}

void Mlox_DM_Device::AddLiveSource() { ++mLiveSourcesCount; }

void Mlox_DM_Device::RemoveLiveSource() {
  if (mLiveSourcesCount > 0) --mLiveSourcesCount;
}

uint32_t Mlox_DM_Device::GetLiveSourcesCount() const { return mLiveSourcesCount; }

void Mlox_DM_Device::SetMidiSourceIsLive(bool iIsLive) {
  if (iIsLive) {
    AddLiveSource();
    mMidiSourceIsLive.store(true, std::memory_order_release);
    return;
  }
  RemoveLiveSource();
  mMidiSourceIsLive.store(mLiveSourcesCount > 0, std::memory_order_release);
}

// ---- CQCFUnknown ----

int32_t Mlox_DM_Device::InternalQueryInterface(const _qcfUID& iUID, void** oResultP) {
  if (oResultP == nullptr) return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
  if (IsClientOutputID(iUID)) {
    // One pointer for all numbers, since each interface extends the one before, and for the unknown too.
    *oResultP = static_cast<IDirectMIDIClientOutput4*>(this);
    AddRef();
    return 0;
  }
  if (iUID == IDirectMIDIOutputDeliverySetup::kUID) {
    *oResultP = static_cast<IDirectMIDIOutputDeliverySetup*>(this);
    AddRef();
    return 0;
  }
  return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
}
