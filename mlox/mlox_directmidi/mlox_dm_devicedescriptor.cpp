// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"

#include "cmn/cmn_assert.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_devicedescriptor";

}  // namespace

using DescriptorP = std::shared_ptr<const Mlox_DeviceDescriptor>;

DescriptorP Mlox_DM_DeviceDescriptor::NewOutput(const std::string& iName,
                                                const Mlox_DM_PlugInLocator& iLocator, int32_t iPluginID) {
  return DescriptorP(new Mlox_DM_DeviceDescriptor(kOutput, iName, iLocator, iPluginID));
}

DescriptorP Mlox_DM_DeviceDescriptor::NewOutput(const std::string& iName, int32_t iUniqueID) {
  return DescriptorP(new Mlox_DM_DeviceDescriptor(kOutput, iName, iUniqueID));
}

DescriptorP Mlox_DM_DeviceDescriptor::NewInput(const std::string& iName,
                                               const Mlox_DM_PlugInLocator& iLocator, int32_t iPluginID) {
  return DescriptorP(new Mlox_DM_DeviceDescriptor(kInput, iName, iLocator, iPluginID));
}

DescriptorP Mlox_DM_DeviceDescriptor::NewInput(const std::string& iName, int32_t iUniqueID) {
  return DescriptorP(new Mlox_DM_DeviceDescriptor(kInput, iName, iUniqueID));
}

Mlox_DM_DeviceDescriptor::Mlox_DM_DeviceDescriptor(DeviceType iType, const std::string& iName,
                                                   const Mlox_DM_PlugInLocator& iLocator, int32_t iPluginID)
    : Mlox_DeviceDescriptor(iType),
      mHasPluginTag(true),
      mPluginLocator(iLocator),
      mPluginID(iPluginID),
      mName(iName),
      mUniqueID(0) {}

Mlox_DM_DeviceDescriptor::Mlox_DM_DeviceDescriptor(DeviceType iType, const std::string& iName,
                                                   int32_t iUniqueID)
    : Mlox_DeviceDescriptor(iType),
      mHasPluginTag(false),
      mPluginLocator{Sys_UUID::NoID(), 0},
      mPluginID(0),
      mName(iName),
      mUniqueID(iUniqueID) {}

Mlox_DM_DeviceDescriptor::~Mlox_DM_DeviceDescriptor() = default;

bool Mlox_DM_DeviceDescriptor::Equals(const Mlox_DeviceDescriptor* iOtherP) const {
  const auto* otherP = dynamic_cast<const Mlox_DM_DeviceDescriptor*>(iOtherP);
  if (otherP == nullptr || otherP->mHasPluginTag != mHasPluginTag) return false;
  if (mHasPluginTag && !(otherP->mPluginLocator == mPluginLocator && otherP->mPluginID == mPluginID))
    return false;
  // Unique ids count anew in each process, so a saved descriptor must equal that of the same node a day
  // later.
  return otherP->mName == mName;
}

std::string Mlox_DM_DeviceDescriptor::GetName() const { return mName; }

int Mlox_DM_DeviceDescriptor::GetHashValue() const {
  if (!mHasPluginTag) return 0;
  return static_cast<int>(mPluginLocator.mUUID.GetWord(0) ^ mPluginLocator.mUUID.GetWord(2));
}

Mlox_DeviceDescriptor::MatchType Mlox_DM_DeviceDescriptor::GetMatchType() const {
  return mHasPluginTag ? kMatchExactOnly : kMatchAllowFallback;
}

bool Mlox_DM_DeviceDescriptor::IsPlugIn() const { return true; }

bool Mlox_DM_DeviceDescriptor::MatchesPlugIn(const Mlox_DeviceDescriptor* iOtherP) const {
  const auto* otherP = dynamic_cast<const Mlox_DM_DeviceDescriptor*>(iOtherP);
  return otherP != nullptr && otherP->mHasPluginTag && otherP->mPluginLocator == mPluginLocator;
}

int32_t Mlox_DM_DeviceDescriptor::GetPluginID() const {
  CMN_ASSERT_FROM(kAssertSource, mHasPluginTag, "mHasPluginTag");
  return mPluginID;
}

const Mlox_DM_PlugInLocator& Mlox_DM_DeviceDescriptor::GetPluginLocator() const {
  CMN_ASSERT_FROM(kAssertSource, mHasPluginTag, "mHasPluginTag");
  return mPluginLocator;
}
