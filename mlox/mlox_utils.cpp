// SPDX-License-Identifier: MIT
#include "mlox/mlox_utils.h"

#include <array>
#include <bit>
#include <cstdint>

#include "mlox/mlox_directmidi/mlox_dm_device.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_directmidi/sficpluginspec.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_outputdescriptor.h"

namespace {

using Words = std::array<std::uint64_t, 3>;

Words WordsOf(const SFicPlugInSpec& iSpec) { return {iSpec.mIdHigh, iSpec.mIdLow, iSpec.mTag}; }

Words WordsOf(const Mlox_DM_PlugInLocator& iLocator) {
  const auto id = std::bit_cast<std::array<std::uint64_t, 2>>(iLocator.mUUID);
  return {id[0], id[1], static_cast<std::uint32_t>(iLocator.mValue)};
}

Mlox_DM_Device* FindPlugInDevice(const Mlox_DeviceDescriptor& iDescriptor) {
  return dynamic_cast<Mlox_DM_Device*>(
      Mlox_Manager::Singleton()->FindOutputDeviceBestMatchingDescriptor(&iDescriptor));
}

}  // namespace

bool Mlox_Utils::DmDeviceMatchesPlugInSpec(const Mlox_DM_Device& iDevice, SFicPlugInSpec* iSpecP) {
  return iSpecP != nullptr && WordsOf(*iSpecP) == WordsOf(iDevice.GetPlugInLocator());
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_Utils::GetDeviceDescriptorFromOutput(Mlox_Output& iOutput) {
  const auto descriptor = iOutput.GetDescriptor();
  if (!descriptor) return nullptr;
  return descriptor->GetDeviceDescriptor();
}

Mlox_DM_Device* Mlox_Utils::GetDmDeviceFromDeviceDescriptor(
    const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorRCP) {
  if (iDescriptorRCP == nullptr || !iDescriptorRCP->IsPlugIn()) return nullptr;
  return FindPlugInDevice(*iDescriptorRCP);
}

Mlox_Output* Mlox_Utils::GetMloxOutputFromPluginDeviceDescriptor(
    const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorRCP) {
  if (iDescriptorRCP == nullptr) return nullptr;
  Mlox_DM_Device* deviceP = FindPlugInDevice(*iDescriptorRCP);
  if (deviceP == nullptr || !deviceP->HasPluginTag()) return nullptr;
  // The best match may be one by locator alone: only the very descriptor counts here.
  if (!iDescriptorRCP->Equals(deviceP->GetDeviceDescriptor().get())) return nullptr;
  return deviceP->GetCommonOutput();
}

Mlox_DM_PlugInLocator Mlox_Utils::GetPlugInLocator(const Mlox_InputRef& iInputRCP) {
  if (!iInputRCP) return {};
  return GetPlugInLocator(iInputRCP->GetDeviceDescriptor());
}

Mlox_DM_PlugInLocator Mlox_Utils::GetPlugInLocator(Mlox_Device* iDeviceP) {
  if (iDeviceP == nullptr) return {};
  return GetPlugInLocator(iDeviceP->GetDeviceDescriptor());
}

// By value like the manager's search for inputs: the signature is a promise to binaries.
Mlox_DM_PlugInLocator Mlox_Utils::GetPlugInLocator(
    // NOLINTNEXTLINE(performance-unnecessary-value-param): see above
    std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorRCP) {
  const auto* descriptorP = dynamic_cast<const Mlox_DM_DeviceDescriptor*>(iDescriptorRCP.get());
  if (descriptorP == nullptr || !descriptorP->HasPluginTag()) return {};
  return descriptorP->GetPluginLocator();
}
