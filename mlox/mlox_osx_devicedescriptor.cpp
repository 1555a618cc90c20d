// SPDX-License-Identifier: MIT
#include "mlox/mlox_osx_devicedescriptor.h"

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_OSX_DeviceDescriptor::NewOutput(int iID,
                                                                                  const std::string& iName) {
  return std::shared_ptr<const Mlox_DeviceDescriptor>(new Mlox_OSX_DeviceDescriptor(iID, iName, kOutput));
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_OSX_DeviceDescriptor::NewInput(int iID,
                                                                                 const std::string& iName) {
  return std::shared_ptr<const Mlox_DeviceDescriptor>(new Mlox_OSX_DeviceDescriptor(iID, iName, kInput));
}

Mlox_OSX_DeviceDescriptor::Mlox_OSX_DeviceDescriptor(int iID, const std::string& iName,
                                                     DeviceType iDeviceType)
    : Mlox_DeviceDescriptor(iDeviceType), mName(iName), mID(iID) {}

Mlox_OSX_DeviceDescriptor::~Mlox_OSX_DeviceDescriptor() = default;

bool Mlox_OSX_DeviceDescriptor::Equals(const Mlox_DeviceDescriptor* iOtherP) const {
  const auto* otherP = dynamic_cast<const Mlox_OSX_DeviceDescriptor*>(iOtherP);
  return otherP != nullptr && mName == otherP->mName && mID == otherP->mID;
}

std::string Mlox_OSX_DeviceDescriptor::GetName() const { return mName; }

int Mlox_OSX_DeviceDescriptor::GetHashValue() const { return mID; }

Mlox_DeviceDescriptor::MatchType Mlox_OSX_DeviceDescriptor::GetMatchType() const {
  return kMatchAllowFallback;
}

bool Mlox_OSX_DeviceDescriptor::IsIACDevice() const { return mIsIAC; }
