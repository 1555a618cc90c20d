// SPDX-License-Identifier: MIT
/// \file
/// Everything that can be sent to or listened to, with what is known of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/studio/studiomanagement.h"

namespace tool {

class PortSession;

/// One output device or one input.
struct PortRow {
  bool mIsInput = false;
  std::string mId;  ///< as IdText gives it; empty for what has never had one
  std::string mName;
  std::vector<int> mChannels;  ///< 1 to 16
  /// The integer ids: of an output one for each channel, or one for a device without any; of an input one for
  /// the whole of it, then one for each channel. They hold until something changes. Empty for what isn't
  /// listed.
  std::vector<int> mIntegerIds;
  std::string mService;  ///< "hardware" for what the studio's database knows, "other"
  std::string mDriver;   ///< "alsa", "jack", "loopback"; empty where there is none or nobody knows
  bool mIsVirtual = false;
  bool mIsExternal = false;  ///< an instrument that the user has defined
  bool mIsPlugIn = false;
  bool mIsOnline = true;
};

/// The channels, 1 to 16, of a mask in which bit n is MIDI channel n, from 0.
std::vector<int> ChannelsOfMask(std::int32_t iMask);

/// What is there now: outputs, then inputs, each in the order of its global index. The entries tell what the
/// services don't.
std::vector<PortRow> ListedPorts(const PortSession& iSession,
                                 const std::vector<Platform_StudioEntry>& iEntries);

/// What only the database knows: the entries that stand for none of the listed ports. They are offline, but
/// for ports that are there while a user-defined device is listed in their place.
std::vector<PortRow> UnlistedPorts(const std::vector<PortRow>& iListed,
                                   const std::vector<Platform_StudioEntry>& iEntries);

}  // namespace tool
