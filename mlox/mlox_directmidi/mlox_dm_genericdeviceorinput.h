// SPDX-License-Identifier: MIT
/// \file
/// What plug-in outputs and plug-in inputs have in common: name, channels, identity and saved descriptor.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmidi/mlox_dm_plugininstdict.h"
#include "mlox/mlox_directmidi/mlox_dm_pluginlocator.h"

class Mlox_DeviceDescriptor;
class Mlox_DM_DeviceDescriptor;
class Mlox_DM_Service;

/// A node of a plug-in, seen from the list it stands on.
///
/// Nodes are made, named and identified on the main thread; the descriptor's cache has no lock either.
class MLOX_EXPORT Mlox_DM_GenericDeviceOrInput {
 public:
  virtual ~Mlox_DM_GenericDeviceOrInput();

  Mlox_DM_GenericDeviceOrInput(const Mlox_DM_GenericDeviceOrInput&) = delete;
  Mlox_DM_GenericDeviceOrInput& operator=(const Mlox_DM_GenericDeviceOrInput&) = delete;

  /// The node's name, UTF-8. [main]
  virtual std::string GetName() const;

  /// Stores the name as it comes, drops the cached descriptor and looks the locator up anew the next time it
  /// is needed. [main]  \param iNameP  null counts as the empty name.
  virtual void SetName(const char* iNameP);

  /// \param iMask  one bit per channel, bit 0 is channel 0. [main]
  virtual void SetChannelMask(uint16_t iMask);

  /// Bit `iMidiChannel` of the mask; false for a channel outside 0 to 15. [any]
  virtual bool IsMidiChannelAvailable(short iMidiChannel) const;

  /// Ties the node to a plug-in instance and tells every manager listener so. [main]
  /// \param iFicPlugInSpecP  an `SFicPlugInSpec*`; null is reported and changes nothing.
  virtual void SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID);

  /// Whether SetPluginIdentification has been called. [main]
  virtual bool HasPluginTag() const;

  /// The instance's key in the dictionary. It means nothing before SetPluginIdentification. [main]
  virtual Mlox_DM_PlugInInstDict_Spec GetPlugInSpec() const;

  /// The locator of the node, looked up if it isn't known yet; the default one while there is none. [main]
  const Mlox_DM_PlugInLocator& GetPlugInLocator() const;

  /// Whether a saved descriptor is that of this node. [main]
  ///
  /// A tagged descriptor is compared by locator and plug-in id alone: names never count then. An untagged one
  /// fits by unique id and, if iCompareName, by name; with unique id 0 it fits by name alone, and only a node
  /// without locator. \param iDescriptorP  null is reported and fits nothing.
  bool MatchesDescriptor(const Mlox_DM_DeviceDescriptor* iDescriptorP, bool iCompareName) const;

 protected:
  /// Gives the node the next unique id of the process; the first one is 1.
  explicit Mlox_DM_GenericDeviceOrInput(std::string iName);

  /// Reports when the caller doesn't run on the main thread of a service; release builds don't look.
  static void CheckMainThread(const Mlox_DM_Service* iServiceP);

  using DescriptorP = std::shared_ptr<const Mlox_DeviceDescriptor>;

  /// Looks the locator up unless it is known or the node has no tag. A failed look-up is tried again next
  /// time.
  void ResolveLocator() const;

  /// Makes a descriptor of a node with a locator.
  using NewTagged = DescriptorP (*)(const std::string&, const Mlox_DM_PlugInLocator&, int32_t);
  /// Makes a descriptor of a node without one.
  using NewUntagged = DescriptorP (*)(const std::string&, int32_t);

  /// The descriptor under which the node is saved, made once for each name: an untagged one stays untagged
  /// until the node gets another name, even when the locator becomes known meanwhile.
  DescriptorP CachedDescriptor(NewTagged iNewTagged, NewUntagged iNewUntagged) const;

  int32_t GetUniqueID() const { return mUniqueID; }

 private:
  bool MatchesTagged(const Mlox_DM_DeviceDescriptor& iDescriptor) const;
  bool MatchesUntagged(const Mlox_DM_DeviceDescriptor& iDescriptor, bool iCompareName) const;

  std::atomic<uint16_t> mChannelMask{0xFFFF};
  mutable bool mLocatorResolved = false;
  Mlox_DM_PlugInInstDict_Spec mSpec;
  int32_t mPluginID = 0;
  const int32_t mUniqueID;
  mutable DescriptorP mDeviceDescriptor;
  mutable Mlox_DM_PlugInLocator mLocator;
  std::string mName;
  bool mHasPluginTag = false;
};
