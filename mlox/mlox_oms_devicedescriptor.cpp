// SPDX-License-Identifier: MIT
#include "mlox/mlox_oms_devicedescriptor.h"

#include <utility>

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_OMS_DeviceDescriptor::New(short iOMSUniqueID,
                                                                            std::string iName) {
  return std::shared_ptr<const Mlox_DeviceDescriptor>(
      new Mlox_OMS_DeviceDescriptor(iOMSUniqueID, std::move(iName), kOutput));
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_OMS_DeviceDescriptor::NewInput(short iOMSUniqueID,
                                                                                 std::string iName) {
  return std::shared_ptr<const Mlox_DeviceDescriptor>(
      new Mlox_OMS_DeviceDescriptor(iOMSUniqueID, std::move(iName), kInput));
}

Mlox_OMS_DeviceDescriptor::Mlox_OMS_DeviceDescriptor(short iOMSUniqueID, std::string iName,
                                                     DeviceType iDeviceType)
    : Mlox_DeviceDescriptor(iDeviceType), mOMSUniqueID(iOMSUniqueID), mName(std::move(iName)) {}

Mlox_OMS_DeviceDescriptor::~Mlox_OMS_DeviceDescriptor() = default;

bool Mlox_OMS_DeviceDescriptor::Equals(const Mlox_DeviceDescriptor* iOtherP) const {
  const auto* otherP = dynamic_cast<const Mlox_OMS_DeviceDescriptor*>(iOtherP);
  return otherP != nullptr && mOMSUniqueID == otherP->mOMSUniqueID && mName == otherP->mName;
}

std::string Mlox_OMS_DeviceDescriptor::GetName() const { return mName; }

int Mlox_OMS_DeviceDescriptor::GetHashValue() const { return mOMSUniqueID; }

Mlox_DeviceDescriptor::MatchType Mlox_OMS_DeviceDescriptor::GetMatchType() const {
  return kMatchAllowFallback;
}
