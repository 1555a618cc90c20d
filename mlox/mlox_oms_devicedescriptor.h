// SPDX-License-Identifier: MIT
/// \file
/// A device that was saved under OMS.
#pragma once

#include <memory>
#include <string>

#include "mlox/mlox_devicedescriptor.h"

/// Stands for a device saved under OMS: its unique id there and a name.
class MLOX_EXPORT Mlox_OMS_DeviceDescriptor : public Mlox_DeviceDescriptor {
 public:
  /// [any] An output device.
  static std::shared_ptr<const Mlox_DeviceDescriptor> New(short iOMSUniqueID, std::string iName);

  /// [any] An input.
  static std::shared_ptr<const Mlox_DeviceDescriptor> NewInput(short iOMSUniqueID, std::string iName);

  Mlox_OMS_DeviceDescriptor(const Mlox_OMS_DeviceDescriptor&) = default;
  Mlox_OMS_DeviceDescriptor(Mlox_OMS_DeviceDescriptor&&) = default;
  Mlox_OMS_DeviceDescriptor& operator=(const Mlox_OMS_DeviceDescriptor&) = default;
  Mlox_OMS_DeviceDescriptor& operator=(Mlox_OMS_DeviceDescriptor&&) = default;
  ~Mlox_OMS_DeviceDescriptor() override;

  bool Equals(const Mlox_DeviceDescriptor* iOtherP) const override;
  std::string GetName() const override;
  /// The unique id, widened with its sign.
  int GetHashValue() const override;
  MatchType GetMatchType() const override;

  /// [any]
  short GetOMSUniqueID() const { return mOMSUniqueID; }

 private:
  Mlox_OMS_DeviceDescriptor(short iOMSUniqueID, std::string iName, DeviceType iDeviceType);

  short mOMSUniqueID;
  std::string mName;
};
