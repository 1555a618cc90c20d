// SPDX-License-Identifier: MIT
/// \file
/// The identity of a hardware device or input.
#pragma once

#include <cstdint>
#include <string>

#include "mlox/mlox_devicedescriptor.h"

/// A hardware device or input: its name and the stable number of its endpoint.
class MLOX_EXPORT Mlox_DirectMusic_DeviceDescriptor : public Mlox_DeviceDescriptor {
 public:
  /// [any] An output device with an empty name and the number 0.
  Mlox_DirectMusic_DeviceDescriptor() = default;

  /// [any] An empty name and the number 0.
  explicit Mlox_DirectMusic_DeviceDescriptor(DeviceType iDeviceType);

  /// [any]
  /// \param iHashValue  the second number of the endpoint's Mlox_InputID
  Mlox_DirectMusic_DeviceDescriptor(DeviceType iDeviceType, const std::string& iName, const int& iHashValue);

  Mlox_DirectMusic_DeviceDescriptor(const Mlox_DirectMusic_DeviceDescriptor&) = default;
  Mlox_DirectMusic_DeviceDescriptor(Mlox_DirectMusic_DeviceDescriptor&&) = default;
  Mlox_DirectMusic_DeviceDescriptor& operator=(const Mlox_DirectMusic_DeviceDescriptor&) = default;
  Mlox_DirectMusic_DeviceDescriptor& operator=(Mlox_DirectMusic_DeviceDescriptor&&) = default;
  ~Mlox_DirectMusic_DeviceDescriptor() override;

  /// Equal names and equal numbers: here the number is stable, so it takes part.
  bool Equals(const Mlox_DeviceDescriptor* iOtherP) const override;
  std::string GetName() const override;
  int GetHashValue() const override;
  MatchType GetMatchType() const override;

  /// [main] Only before the descriptor is published.
  void SetName(const std::string& iName);

  /// [main] Only before the descriptor is published.
  void SetHashValue(const int& iHashValue);

 private:
  std::string mName;
  std::int32_t mHashValue = 0;
};
