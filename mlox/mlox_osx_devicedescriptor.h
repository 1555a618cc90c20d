// SPDX-License-Identifier: MIT
/// \file
/// A device that was saved on OS X.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "mlox/mlox_devicedescriptor.h"

/// Stands for a device saved on OS X: a name and the number that system gave it.
class MLOX_EXPORT Mlox_OSX_DeviceDescriptor : public Mlox_DeviceDescriptor {
 public:
  /// [any] An output device.
  static std::shared_ptr<const Mlox_DeviceDescriptor> NewOutput(int iID, const std::string& iName);

  /// [any] An input.
  static std::shared_ptr<const Mlox_DeviceDescriptor> NewInput(int iID, const std::string& iName);

  Mlox_OSX_DeviceDescriptor(const Mlox_OSX_DeviceDescriptor&) = default;
  Mlox_OSX_DeviceDescriptor(Mlox_OSX_DeviceDescriptor&&) = default;
  Mlox_OSX_DeviceDescriptor& operator=(const Mlox_OSX_DeviceDescriptor&) = default;
  Mlox_OSX_DeviceDescriptor& operator=(Mlox_OSX_DeviceDescriptor&&) = default;
  ~Mlox_OSX_DeviceDescriptor() override;

  bool Equals(const Mlox_DeviceDescriptor* iOtherP) const override;
  std::string GetName() const override;
  /// The id.
  int GetHashValue() const override;
  MatchType GetMatchType() const override;
  bool IsIACDevice() const override;

 private:
  Mlox_OSX_DeviceDescriptor(int iID, const std::string& iName, DeviceType iDeviceType);

  std::string mName;
  std::int32_t mID;
  bool mIsIAC = false;
};
