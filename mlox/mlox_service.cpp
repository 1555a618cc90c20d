// SPDX-License-Identifier: MIT
#include "mlox/mlox_service.h"

#include <string>
#include <utility>

#include "mlox/mlox_device.h"
#include "mlox/mlox_devicedescriptor.h"

Mlox_Service::Mlox_Service(Mdi_AppCallback* iAppCallbackP) : mAppCallbackP(iAppCallbackP) {}

Mlox_Service::Mlox_Service(Mdi_AppCallback* iAppCallbackP, std::atomic<bool>& ioIsSuspended)
    : mAppCallbackP(iAppCallbackP), mIsSuspendedP(&ioIsSuspended) {}

// A copy has a flag of its own, whatever the original's stands in.
Mlox_Service::Mlox_Service(const Mlox_Service& iOther)
    : mAppCallbackP(iOther.mAppCallbackP),
      mOwnIsSuspended(iOther.mIsSuspendedP->load(std::memory_order_acquire)) {}

Mlox_Service& Mlox_Service::operator=(const Mlox_Service& iOther) {
  if (this == &iOther) return *this;
  mAppCallbackP = iOther.mAppCallbackP;
  mIsSuspendedP->store(iOther.mIsSuspendedP->load(std::memory_order_acquire), std::memory_order_release);
  return *this;
}

Mlox_Device* Mlox_Service::FindOutputDeviceMatchingName(const Mlox_DeviceDescriptor* iDescriptorP) {
  if (iDescriptorP == nullptr) return nullptr;
  const std::string name = iDescriptorP->GetName();
  const int count = GetNumberOfOutputDevices();
  for (int i = 0; i < count; ++i) {
    Mlox_Device* deviceP = GetOutputDevice(i);
    if (deviceP != nullptr && deviceP->GetName() == name) return deviceP;
  }
  return nullptr;
}

Mlox_InputRef Mlox_Service::FindInputMatchingName(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorP) {
  const std::shared_ptr<const Mlox_DeviceDescriptor> descriptorP = std::move(iDescriptorP);
  if (descriptorP == nullptr) return nullptr;
  const std::string name = descriptorP->GetName();
  const int count = GetNumberOfInputs();
  for (int i = 0; i < count; ++i) {
    Mlox_InputRef input = GetInput(i);
    if (input && input->GetName() == name) return input;
  }
  return nullptr;
}

void Mlox_Service::SetZeroJitterDelay(int) {}

bool Mlox_Service::IsPlugInSource(const Mlox_InputID&) const { return false; }

// A writer that reads the flag late lets one more event through.

void Mlox_Service::Suspend() { mIsSuspendedP->store(true, std::memory_order_release); }

void Mlox_Service::Resume() { mIsSuspendedP->store(false, std::memory_order_release); }

bool Mlox_Service::IsSuspended() { return mIsSuspendedP->load(std::memory_order_acquire); }

void Mlox_Service::DoneUpdatingOldDeviceReferences() {}

void Mlox_Service::StopPlayback() {}
