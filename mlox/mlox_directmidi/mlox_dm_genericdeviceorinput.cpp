// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_genericdeviceorinput.h"

#include <utility>

#include "cmn/cmn_assert.h"
#include "mlox/mlox_directmidi/mlox_dm_devicedescriptor.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_genericdeviceorinput";

// Plain, since nodes are made by one thread at a time. Ids count from 1: a descriptor's 0 means "none".
int32_t sLastUniqueID = 0;

}  // namespace

Mlox_DM_GenericDeviceOrInput::Mlox_DM_GenericDeviceOrInput(std::string iName)
    : mUniqueID(++sLastUniqueID), mName(std::move(iName)) {}

Mlox_DM_GenericDeviceOrInput::~Mlox_DM_GenericDeviceOrInput() = default;

std::string Mlox_DM_GenericDeviceOrInput::GetName() const { return mName; }

void Mlox_DM_GenericDeviceOrInput::SetName(const char* iNameP) {
  mName = iNameP != nullptr ? iNameP : "";
  mDeviceDescriptor.reset();
  mLocatorResolved = false;
}

void Mlox_DM_GenericDeviceOrInput::SetChannelMask(uint16_t iMask) {
  mChannelMask.store(iMask, std::memory_order_release);
}

bool Mlox_DM_GenericDeviceOrInput::IsMidiChannelAvailable(short iMidiChannel) const {
  if (iMidiChannel < 0 || iMidiChannel > 15) return false;
  return ((mChannelMask.load(std::memory_order_acquire) >> iMidiChannel) & 1) != 0;
}

void Mlox_DM_GenericDeviceOrInput::SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID) {
  if (!CMN_ASSERT_FROM(kAssertSource, iFicPlugInSpecP != nullptr, "iFicPlugInSpecP")) return;
  auto* specP = static_cast<SFicPlugInSpec*>(iFicPlugInSpecP);
  // Neither the cached descriptor nor a locator that was found is dropped here: only a new name does that.
  mHasPluginTag = true;
  mSpec.Set(*specP);
  mPluginID = iPluginID;
  Mlox_Manager::Singleton()->BroadcastPlugInNodeRegistered(specP);
}

bool Mlox_DM_GenericDeviceOrInput::HasPluginTag() const { return mHasPluginTag; }

Mlox_DM_PlugInInstDict_Spec Mlox_DM_GenericDeviceOrInput::GetPlugInSpec() const { return mSpec; }

const Mlox_DM_PlugInLocator& Mlox_DM_GenericDeviceOrInput::GetPlugInLocator() const {
  ResolveLocator();
  return mLocator;
}

bool Mlox_DM_GenericDeviceOrInput::MatchesDescriptor(const Mlox_DM_DeviceDescriptor* iDescriptorP,
                                                     bool iCompareName) const {
  if (!CMN_ASSERT_FROM(kAssertSource, iDescriptorP != nullptr, "iDescriptorP")) return false;
  ResolveLocator();
  return iDescriptorP->HasPluginTag() ? MatchesTagged(*iDescriptorP)
                                      : MatchesUntagged(*iDescriptorP, iCompareName);
}

bool Mlox_DM_GenericDeviceOrInput::MatchesTagged(const Mlox_DM_DeviceDescriptor& iDescriptor) const {
  // Where there is a locator the name never counts, so that a renamed plug-in is still found.
  if (!mLocatorResolved) return false;
  return mLocator == iDescriptor.GetPluginLocator() && mPluginID == iDescriptor.GetPluginID();
}

bool Mlox_DM_GenericDeviceOrInput::MatchesUntagged(const Mlox_DM_DeviceDescriptor& iDescriptor,
                                                   bool iCompareName) const {
  const bool nameEqual = iDescriptor.GetName() == mName;
  const int32_t uid = iDescriptor.GetUniqueID();
  if (uid != 0) {
    const bool sameNode = !mLocatorResolved && mUniqueID == uid;
    return iCompareName ? sameNode && nameEqual : sameNode;
  }
  // Only a name is left to go by, and a node with a locator is known by that alone.
  return iCompareName && !mLocatorResolved && nameEqual;
}

void Mlox_DM_GenericDeviceOrInput::CheckMainThread([[maybe_unused]] const Mlox_DM_Service* iServiceP) {
#ifndef NDEBUG
  CMN_ASSERT_FROM(kAssertSource, iServiceP == nullptr || iServiceP->IsMainThread(), "IsMainThread()");
#endif
}

void Mlox_DM_GenericDeviceOrInput::ResolveLocator() const {
  if (!mHasPluginTag || mLocatorResolved) return;
  mLocatorResolved = Mlox_DM_PlugInInstDict::Singleton().LookupLocator(mSpec, &mLocator);
}

Mlox_DM_GenericDeviceOrInput::DescriptorP Mlox_DM_GenericDeviceOrInput::CachedDescriptor(
    NewTagged iNewTagged, NewUntagged iNewUntagged) const {
  if (mDeviceDescriptor != nullptr) return mDeviceDescriptor;
  ResolveLocator();
  mDeviceDescriptor =
      mLocatorResolved ? iNewTagged(mName, mLocator, mPluginID) : iNewUntagged(mName, mUniqueID);
  return mDeviceDescriptor;
}
