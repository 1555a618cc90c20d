// SPDX-License-Identifier: MIT
/// \file
/// The process-wide dictionary from plug-in instances to the durable locators of their nodes.
#pragma once

#include <cstdint>
#include <map>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmidi/mlox_dm_pluginlocator.h"
#include "mlox/mlox_directmidi/sficpluginspec.h"

/// The key of the dictionary: three members of the host's record, opaque to this library. A plain value.
class MLOX_EXPORT Mlox_DM_PlugInInstDict_Spec {
 public:
  /// Initialises nothing: a key is filled by Set, or by the other constructor, before it is used.
  Mlox_DM_PlugInInstDict_Spec() = default;

  explicit Mlox_DM_PlugInInstDict_Spec(const SFicPlugInSpec& iSpec) { Set(iSpec); }

  /// Copies the three members.
  void Set(const SFicPlugInSpec& iSpec);

  /// The one order of keys: mIdHigh, then mIdLow, then mTag, all unsigned.
  bool operator<(const Mlox_DM_PlugInInstDict_Spec& iOther) const;

  uint32_t GetTag() const { return mTag; }
  uint64_t GetIdHigh() const { return mIdHigh; }
  uint64_t GetIdLow() const { return mIdLow; }

 private:
  uint32_t mTag;
  uint64_t mIdHigh;
  uint64_t mIdLow;
};

/// Lets a descriptor that was stored with a document name a plug-in node again after the plug-in instance was
/// created anew. The application fills it; nodes look themselves up.
///
/// All operations: [main]. There is no lock.
class MLOX_EXPORT Mlox_DM_PlugInInstDict {
 public:
  /// The one dictionary, made on first use and never destroyed: nodes may ask while the process exits.
  static Mlox_DM_PlugInInstDict& Singleton();

  /// Enters a locator. A key that is there already keeps its old locator.
  void AddEntry(const Mlox_DM_PlugInInstDict_Spec& iSpec, const Mlox_DM_PlugInLocator& iLocator);

  /// True, with the locator in *oLocatorP, when the key is there; false, with *oLocatorP untouched, when it
  /// isn't.
  bool LookupLocator(const Mlox_DM_PlugInInstDict_Spec& iSpec, Mlox_DM_PlugInLocator* oLocatorP) const;

  /// Removes the key if it is there.
  void RemoveEntry(const Mlox_DM_PlugInInstDict_Spec& iSpec);

  /// The next value of one process-wide counter, 1 at first: a key for an instance that has no tag of its
  /// own.
  static int32_t MakeOldTag();

 private:
  std::map<Mlox_DM_PlugInInstDict_Spec, Mlox_DM_PlugInLocator> mLocators;
};
