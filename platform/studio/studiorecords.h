// SPDX-License-Identifier: MIT
/// \file
/// What the studio database holds, as plain values: rows of devices with their properties, wires, identities
/// of cards, and the numbers that identifiers carry. Nothing here knows a file, a lock or what is plugged in.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/directmusic/durableguid.h"
#include "platform/studio/studiobank.h"

/// Levels of the studio, as PROPID_EndpointCollectionLevel tells them.
inline constexpr int kStudio_EndpointLevel = 0;
inline constexpr int kStudio_EntityLevel = 1;
inline constexpr int kStudio_DeviceLevel = 2;

/// Which property of a device: its level, and the key. Endpoints have none beside their identifiers' numbers.
struct Platform_StudioPropertyKey {
  int mLevel = kStudio_DeviceLevel;
  std::string mKey;
  // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler writes here has no pointer
  auto operator<=>(const Platform_StudioPropertyKey&) const = default;
};

/// One number or text, with the short name that goes with its key.
struct Platform_StudioProperty {
  std::string mName;
  std::variant<std::int32_t, std::string> mValue;
  bool operator==(const Platform_StudioProperty&) const = default;
};

/// A property that is a list of texts.
struct Platform_StudioList {
  std::string mName;
  std::vector<std::string> mItems;
  bool operator==(const Platform_StudioList&) const = default;
};

/// One row: a port of hardware, in one direction, or a device that the user has defined, which has both.
struct Platform_StudioDevice {
  std::string mGuid;  ///< the GUID's text; the device's unique id
  bool mIsUserDefined = false;
  bool mIsSource = false;   ///< hardware only
  bool mIsVirtual = false;  ///< hardware only
  std::string mDriver;
  std::string mName;
  std::string mManufacturer;
  std::string mModel;
  std::map<Platform_StudioPropertyKey, Platform_StudioProperty> mProperties;
  std::map<Platform_StudioPropertyKey, Platform_StudioList> mLists;
  std::vector<Platform_StudioBank> mBanks;
  bool operator==(const Platform_StudioDevice&) const = default;

  /// Whether there is an endpoint of this direction.
  [[nodiscard]] bool HasEndpoint(bool iIsSource) const { return mIsUserDefined || mIsSource == iIsSource; }
};
using Platform_StudioDeviceP = std::shared_ptr<const Platform_StudioDevice>;

/// A user-defined device sits on a port. The port's direction says which of its endpoints it is.
struct Platform_StudioWire {
  std::string mUser;
  std::string mPort;
  bool operator==(const Platform_StudioWire&) const = default;
};

/// Devices in the order in which they were first seen, wires in the order in which they were made.
struct Platform_StudioRecords {
  std::vector<Platform_StudioDeviceP> mDevices;
  std::vector<Platform_StudioWire> mWires;
};

/// A device, an entity or an endpoint of a row. The direction counts at the endpoint's level only.
struct Platform_StudioPlace {
  std::string mGuid;
  int mLevel = kStudio_DeviceLevel;
  bool mIsSource = false;
  // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler writes here has no pointer
  auto operator<=>(const Platform_StudioPlace&) const = default;
};

/// Which number of which identifier.
struct Platform_StudioNumberKey {
  Platform_StudioPlace mPlace;
  std::string mKey;
  // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler writes here has no pointer
  auto operator<=>(const Platform_StudioNumberKey&) const = default;
};

/// A number that an identifier carries, with its short name.
struct Platform_StudioNumber {
  std::string mName;
  std::int32_t mValue = 0;
  bool operator==(const Platform_StudioNumber&) const = default;
};
using Platform_StudioNumbers = std::map<Platform_StudioNumberKey, Platform_StudioNumber>;

/// All that a file holds.
struct Platform_StudioContents {
  Platform_StudioRecords mRecords;
  std::vector<Platform_IdentityRow> mIdentities;
  Platform_StudioNumbers mNumbers;
};
