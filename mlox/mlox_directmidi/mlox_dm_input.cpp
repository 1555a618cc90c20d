// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_input.h"

#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"

// ---- lifetime ----

Mlox_DM_Input::Mlox_DM_Input(const char* iNameP, Mlox_DM_Service* iServiceP, uint64_t iClientID)
    : Mlox_DM_GenericDeviceOrInput(iNameP != nullptr ? iNameP : ""),
      mServiceP(iServiceP),
      mInputID(iServiceP->GetServiceIndex(), GetUniqueID()),
      mClientID(iClientID) {
  CheckMainThread(iServiceP);
}

Mlox_DM_Input::~Mlox_DM_Input() = default;

Mlox_DM_Input* Mlox_DM_Input::FromInput(const Mlox_InputRef& iInput) {
  return dynamic_cast<Mlox_DM_Input*>(const_cast<Mlox_Input*>(iInput.get()));
}

void Mlox_DM_Input::ClearServiceP() { mServiceP = nullptr; }

uint32_t Mlox_DM_Input::InternalAddRef() {
  const uint32_t count = CQCFUnknown::InternalAddRef();
  // The service may drop its reference, or go, while the plug-in still pushes bytes through an interface.
  if (count == 1) AddReference();
  return count;
}

void Mlox_DM_Input::ReclaimMemory() {
  CheckMainThread(mServiceP);
  if (mServiceP != nullptr) mServiceP->InputBeingReleased(this);
  RemoveReference();  // the input is gone here unless the application refers to it
}

// ---- Mlox_Input ----

Mlox_InputID Mlox_DM_Input::GetInputID() const { return mInputID; }

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_DM_Input::GetDeviceDescriptor() const {
  return CachedDescriptor(&Mlox_DM_DeviceDescriptor::NewInput, &Mlox_DM_DeviceDescriptor::NewInput);
}

std::string Mlox_DM_Input::GetName() const { return Mlox_DM_GenericDeviceOrInput::GetName(); }

bool Mlox_DM_Input::IsMidiChannelAvailable(short iMidiChannel) const {
  return Mlox_DM_GenericDeviceOrInput::IsMidiChannelAvailable(iMidiChannel);
}

bool Mlox_DM_Input::IsPhysical() const { return false; }

bool Mlox_DM_Input::IsVirtual() const { return true; }

bool Mlox_DM_Input::IsSyncSource() const { return false; }

bool Mlox_DM_Input::IsPlugIn() const { return true; }

uint64_t Mlox_DM_Input::GetTrackPtr() const { return mClientID; }

// ---- IDirectMIDIClientInput ----

int32_t Mlox_DM_Input::QueryInterface(const _qcfUID& iUID, void** oResultP) {
  return GetControllingUnknown()->QueryInterface(iUID, oResultP);
}

uint32_t Mlox_DM_Input::AddRef() { return GetControllingUnknown()->AddRef(); }

uint32_t Mlox_DM_Input::Release() { return GetControllingUnknown()->Release(); }

void Mlox_DM_Input::SetChannelMask(uint16_t iMask) {
  Mlox_DM_GenericDeviceOrInput::SetChannelMask(iMask);
  Mlox_Manager::Singleton()->ServiceInputListChanged(mServiceP);
}

void Mlox_DM_Input::SetName(const char* iNameP) {
  CheckMainThread(mServiceP);
  Mlox_DM_GenericDeviceOrInput::SetName(iNameP);
  Mlox_Manager::Singleton()->ServiceInputListChanged(mServiceP);
}

void Mlox_DM_Input::SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID) {
  Mlox_DM_GenericDeviceOrInput::SetPluginIdentification(iFicPlugInSpecP, iPluginID);
}

// ---- CQCFUnknown ----

int32_t Mlox_DM_Input::InternalQueryInterface(const _qcfUID& iUID, void** oResultP) {
  if (oResultP == nullptr) return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
  if (iUID == IDirectMIDIClientInput::kUID) {
    *oResultP = static_cast<IDirectMIDIClientInput*>(this);
    AddRef();
    return 0;
  }
  if (iUID == IDirectMIDIInputReceiveMIDI::kUID) {
    *oResultP = static_cast<IDirectMIDIInputReceiveMIDI*>(this);
    AddRef();
    return 0;
  }
  return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
}
