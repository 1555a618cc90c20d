// SPDX-License-Identifier: MIT
/// \file
/// The studio at one moment: its records and what is plugged in, with the groups and ends that follow.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/studio/studiorecords.h"

/// A change of an endpoint, as a notification tells it.
struct Platform_StudioItem {
  Platform_StudioPlace mPlace;
  int mKind = 0;  ///< EStudioNotificationKind
  bool operator==(const Platform_StudioItem&) const = default;
};

/// Never changes once made, so that any thread may read it without a lock.
class Platform_StudioState {
 public:
  using Present = std::set<std::string>;

  Platform_StudioState() = default;
  /// \param iPresent the GUIDs of the ports that are there
  Platform_StudioState(Platform_StudioRecords iRecords, Present iPresent);

  [[nodiscard]] const Platform_StudioRecords& Records() const { return mRecords; }
  [[nodiscard]] const Present& PresentPorts() const { return mPresent; }
  /// Empty when there is no such row.
  [[nodiscard]] Platform_StudioDeviceP Find(const std::string& iGuid) const;
  /// Hardware that is there, and a user-defined device wired to something that is.
  [[nodiscard]] bool IsLive(const std::string& iGuid) const;
  /// True: all that is live. False: user-defined devices that aren't. Absent hardware is in neither.
  [[nodiscard]] const std::vector<Platform_StudioDeviceP>& Group(bool iIsOnline) const {
    return iIsOnline ? mOnline : mOffline;
  }
  /// The other ends of an endpoint's wires, oldest wire first.
  [[nodiscard]] std::vector<std::string> WiredTo(const std::string& iGuid, bool iIsSource) const;
  /// Those of them that are live.
  [[nodiscard]] std::vector<std::string> LiveWiredTo(const std::string& iGuid, bool iIsSource) const;

 private:
  Platform_StudioRecords mRecords;
  Present mPresent;
  std::unordered_map<std::string, std::size_t> mIndices;
  std::unordered_map<std::string, std::vector<std::size_t>> mWiresOf;
  std::set<std::string> mLiveUsers;
  std::vector<Platform_StudioDeviceP> mOnline;
  std::vector<Platform_StudioDeviceP> mOffline;
};

/// What subscribers are told between two moments, in order: devices removed, wires gone, ports gone, ports
/// come, wires made, contents changed.
std::vector<Platform_StudioItem> Platform_StudioDifferences(const Platform_StudioState& iBefore,
                                                            const Platform_StudioState& iAfter);
