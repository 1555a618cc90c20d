// SPDX-License-Identifier: MIT
/// \file
/// A device that is known by its name alone.
#pragma once

#include <memory>
#include <string>

#include "mlox/mlox_devicedescriptor.h"

/// Stands for a device saved on another system or by an older version: it matches by name alone.
class MLOX_EXPORT Mlox_GenericDevDescriptor : public Mlox_DeviceDescriptor {
 public:
  /// [any] An output device of this name.
  static std::shared_ptr<const Mlox_DeviceDescriptor> New(std::string iName);

  /// [any] An output device or input of this name.
  static std::shared_ptr<const Mlox_DeviceDescriptor> New(std::string iName, DeviceType iDeviceType);

  Mlox_GenericDevDescriptor(const Mlox_GenericDevDescriptor&) = default;
  Mlox_GenericDevDescriptor(Mlox_GenericDevDescriptor&&) = default;
  Mlox_GenericDevDescriptor& operator=(const Mlox_GenericDevDescriptor&) = default;
  Mlox_GenericDevDescriptor& operator=(Mlox_GenericDevDescriptor&&) = default;
  ~Mlox_GenericDevDescriptor() override;

  bool Equals(const Mlox_DeviceDescriptor* iOtherP) const override;
  std::string GetName() const override;
  int GetHashValue() const override;
  MatchType GetMatchType() const override;

 private:
  Mlox_GenericDevDescriptor(std::string iName, DeviceType iDeviceType);

  std::string mName;
};
