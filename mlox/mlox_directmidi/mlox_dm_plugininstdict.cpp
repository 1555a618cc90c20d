// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_plugininstdict.h"

#include <tuple>

void Mlox_DM_PlugInInstDict_Spec::Set(const SFicPlugInSpec& iSpec) {
  mTag = iSpec.mTag;
  mIdHigh = iSpec.mIdHigh;
  mIdLow = iSpec.mIdLow;
}

bool Mlox_DM_PlugInInstDict_Spec::operator<(const Mlox_DM_PlugInInstDict_Spec& iOther) const {
  return std::tie(mIdHigh, mIdLow, mTag) < std::tie(iOther.mIdHigh, iOther.mIdLow, iOther.mTag);
}

Mlox_DM_PlugInInstDict& Mlox_DM_PlugInInstDict::Singleton() {
  static Mlox_DM_PlugInInstDict* const sDictP = new Mlox_DM_PlugInInstDict;
  return *sDictP;
}

void Mlox_DM_PlugInInstDict::AddEntry(const Mlox_DM_PlugInInstDict_Spec& iSpec,
                                      const Mlox_DM_PlugInLocator& iLocator) {
  mLocators.emplace(iSpec, iLocator);
}

bool Mlox_DM_PlugInInstDict::LookupLocator(const Mlox_DM_PlugInInstDict_Spec& iSpec,
                                           Mlox_DM_PlugInLocator* oLocatorP) const {
  const auto it = mLocators.find(iSpec);
  if (it == mLocators.end()) return false;
  *oLocatorP = it->second;
  return true;
}

void Mlox_DM_PlugInInstDict::RemoveEntry(const Mlox_DM_PlugInInstDict_Spec& iSpec) { mLocators.erase(iSpec); }

int32_t Mlox_DM_PlugInInstDict::MakeOldTag() {
  static int32_t sLastTag = 0;
  return ++sLastTag;
}
