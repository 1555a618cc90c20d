// SPDX-License-Identifier: MIT
/// \file
/// Conversions between descriptors, devices of plug-ins and their locators.
#pragma once

#include <memory>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmidi/mlox_dm_pluginlocator.h"
#include "mlox/mlox_input.h"

class Mlox_Device;
class Mlox_DeviceDescriptor;
class Mlox_DM_Device;
class Mlox_Output;
struct SFicPlugInSpec;

/// Conversions between descriptors, devices of plug-ins and their locators. It has no instances, and all of
/// it belongs to the main thread. No operation reports.
class MLOX_EXPORT Mlox_Utils {
 public:
  Mlox_Utils() = delete;

  /// [main] Whether what a host says of a plug-in instance is what a device's locator says. Three words of 64
  /// bits are compared: mIdHigh with the first two words of the locator's id, mIdLow with the last two, each
  /// as it lies in memory, and mTag with the locator's value. A device without a locator has the default one,
  /// all 0. \param iSpecP  may be null: false
  static bool DmDeviceMatchesPlugInSpec(const Mlox_DM_Device& iDevice, SFicPlugInSpec* iSpecP);

  /// [main] The device descriptor inside an output's descriptor; null if the output has none.
  static std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptorFromOutput(Mlox_Output& iOutput);

  /// [main] The device of a plug-in that fits a descriptor best; null if none does, and for null or a
  /// descriptor that doesn't name a plug-in.
  static Mlox_DM_Device* GetDmDeviceFromDeviceDescriptor(
      const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorRCP);

  /// [main] The common output of the identified plug-in that a descriptor names exactly; null if there is
  /// none.
  static Mlox_Output* GetMloxOutputFromPluginDeviceDescriptor(
      const std::shared_ptr<const Mlox_DeviceDescriptor>& iDescriptorRCP);

  /// [main] The locator by which an input of a plug-in is known; the default one, all 0, for any other and
  /// for null.
  static Mlox_DM_PlugInLocator GetPlugInLocator(const Mlox_InputRef& iInputRCP);

  /// [main] The same for a device.
  static Mlox_DM_PlugInLocator GetPlugInLocator(Mlox_Device* iDeviceP);

  /// [any] The same for a descriptor.
  static Mlox_DM_PlugInLocator GetPlugInLocator(std::shared_ptr<const Mlox_DeviceDescriptor> iDescriptorRCP);
};
