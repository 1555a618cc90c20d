// SPDX-License-Identifier: MIT
#include "mlox/mlox_genericdevdescriptor.h"

#include <utility>

#include "cmn/cmn_hashstring.h"

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_GenericDevDescriptor::New(std::string iName) {
  return New(std::move(iName), kOutput);
}

std::shared_ptr<const Mlox_DeviceDescriptor> Mlox_GenericDevDescriptor::New(std::string iName,
                                                                            DeviceType iDeviceType) {
  return std::shared_ptr<const Mlox_DeviceDescriptor>(
      new Mlox_GenericDevDescriptor(std::move(iName), iDeviceType));
}

Mlox_GenericDevDescriptor::Mlox_GenericDevDescriptor(std::string iName, DeviceType iDeviceType)
    : Mlox_DeviceDescriptor(iDeviceType), mName(std::move(iName)) {}

Mlox_GenericDevDescriptor::~Mlox_GenericDevDescriptor() = default;

bool Mlox_GenericDevDescriptor::Equals(const Mlox_DeviceDescriptor* iOtherP) const {
  const auto* otherP = dynamic_cast<const Mlox_GenericDevDescriptor*>(iOtherP);
  return otherP != nullptr && mName == otherP->mName;
}

std::string Mlox_GenericDevDescriptor::GetName() const { return mName; }

int Mlox_GenericDevDescriptor::GetHashValue() const { return static_cast<int>(Cmn_HashString(mName)); }

Mlox_DeviceDescriptor::MatchType Mlox_GenericDevDescriptor::GetMatchType() const {
  return kMatchAllowFallback;
}
