// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic_devicedescriptor.h"

Mlox_DirectMusic_DeviceDescriptor::Mlox_DirectMusic_DeviceDescriptor(DeviceType iDeviceType)
    : Mlox_DeviceDescriptor(iDeviceType) {}

Mlox_DirectMusic_DeviceDescriptor::Mlox_DirectMusic_DeviceDescriptor(DeviceType iDeviceType,
                                                                     const std::string& iName,
                                                                     const int& iHashValue)
    : Mlox_DeviceDescriptor(iDeviceType), mName(iName), mHashValue(iHashValue) {}

Mlox_DirectMusic_DeviceDescriptor::~Mlox_DirectMusic_DeviceDescriptor() = default;

bool Mlox_DirectMusic_DeviceDescriptor::Equals(const Mlox_DeviceDescriptor* iOtherP) const {
  const auto* otherP = dynamic_cast<const Mlox_DirectMusic_DeviceDescriptor*>(iOtherP);
  return otherP != nullptr && mName == otherP->mName && mHashValue == otherP->mHashValue;
}

std::string Mlox_DirectMusic_DeviceDescriptor::GetName() const { return mName; }

int Mlox_DirectMusic_DeviceDescriptor::GetHashValue() const { return mHashValue; }

Mlox_DeviceDescriptor::MatchType Mlox_DirectMusic_DeviceDescriptor::GetMatchType() const {
  return kMatchAllowFallback;
}

void Mlox_DirectMusic_DeviceDescriptor::SetName(const std::string& iName) { mName = iName; }

void Mlox_DirectMusic_DeviceDescriptor::SetHashValue(const int& iHashValue) { mHashValue = iHashValue; }
