// SPDX-License-Identifier: MIT
/// \file
/// The saved identity of a plug-in node.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cmn/cmn_export.h"
#include "mlox/mlox_devicedescriptor.h"
#include "mlox/mlox_directmidi/mlox_dm_pluginlocator.h"

/// Names a node either by locator and plug-in id (it has a plug-in tag then), or by name and unique id.
///
/// Immutable once made, so any thread may read it. [any]
class MLOX_EXPORT Mlox_DM_DeviceDescriptor : public Mlox_DeviceDescriptor {
 public:
  /// Identity of an output with a tag; its unique id is 0.
  static std::shared_ptr<const Mlox_DeviceDescriptor> NewOutput(const std::string& iName,
                                                                const Mlox_DM_PlugInLocator& iLocator,
                                                                int32_t iPluginID);
  /// Identity of an output without a tag; its locator is nil and its plug-in id 0.
  static std::shared_ptr<const Mlox_DeviceDescriptor> NewOutput(const std::string& iName, int32_t iUniqueID);
  /// Identity of an input with a tag; its unique id is 0.
  static std::shared_ptr<const Mlox_DeviceDescriptor> NewInput(const std::string& iName,
                                                               const Mlox_DM_PlugInLocator& iLocator,
                                                               int32_t iPluginID);
  /// Identity of an input without a tag; its locator is nil and its plug-in id 0.
  static std::shared_ptr<const Mlox_DeviceDescriptor> NewInput(const std::string& iName, int32_t iUniqueID);

  ~Mlox_DM_DeviceDescriptor() override;

  /// Whether the other is a node's descriptor too, with the same name and either no tag in both, or a tag in
  /// both with the same locator and plug-in id. Unique ids and device types don't count.
  bool Equals(const Mlox_DeviceDescriptor* iOtherP) const override;
  std::string GetName() const override;
  /// First word of the locator's id XOR the third; 0 without a tag.
  int GetHashValue() const override;
  /// kMatchExactOnly with a tag, kMatchAllowFallback without.
  MatchType GetMatchType() const override;
  /// True.
  bool IsPlugIn() const override;
  /// Whether the other is a node's descriptor with a tag and this one's locator, whatever its plug-in id and
  /// name.
  virtual bool MatchesPlugIn(const Mlox_DeviceDescriptor* iOtherP) const;

  /// Whether the node is known by locator.
  bool HasPluginTag() const { return mHasPluginTag; }
  /// The plug-in id. Asked of a descriptor without a tag it reports "mHasPluginTag" and gives 0.
  int32_t GetPluginID() const;
  /// The locator. Asked of a descriptor without a tag it reports "mHasPluginTag" and gives the nil one.
  const Mlox_DM_PlugInLocator& GetPluginLocator() const;
  /// The unique id of the node in its process; 0 with a tag.
  int32_t GetUniqueID() const { return mUniqueID; }

 private:
  Mlox_DM_DeviceDescriptor(DeviceType iType, const std::string& iName, const Mlox_DM_PlugInLocator& iLocator,
                           int32_t iPluginID);
  Mlox_DM_DeviceDescriptor(DeviceType iType, const std::string& iName, int32_t iUniqueID);

  bool mHasPluginTag;
  Mlox_DM_PlugInLocator mPluginLocator;
  int32_t mPluginID;
  std::string mName;
  int32_t mUniqueID;
};
