// SPDX-License-Identifier: MIT
#include "platform/studio/studiokeys.h"

namespace {

struct Row {
  std::string_view mKey;
  std::string_view mName;
  bool mIsFixed;
};

constexpr Row kRows[] = {
    {kStudio_EndpointUniqueID, "uniqueID", true},
    {kStudio_EndpointIsSource, "source", true},
    {kStudio_DeviceManufacturerName, "manufacturer", false},
    {kStudio_DeviceModelName, "model", false},
    {kStudio_DeviceOffline, "offline", true},
    {kStudio_DeviceUniqueID, "uniqueID", true},
    {kStudio_DeviceExternal, "external", true},
    {kStudio_DeviceVirtual, "virtual", true},
    {kStudio_DeviceScheduleAheadMuSec, "scheduleAheadMuSec", false},
    {kStudio_EntityName, "name", true},
    {kStudio_EntityUniqueID, "uniqueID", true},
    {kStudio_EntityEmbedded, "embedded", false},
    {kStudio_EntityReceiveChannels, "receiveChannels", false},
    {kStudio_EntityTransmitChannels, "transmitChannels", false},
    {kStudio_EntityUserName, "userName", false},
    {kStudio_DeviceMasterNamesFileLoc, "master", false},
    {kStudio_DeviceChannelModes, "currentModes", false},
    {kStudio_EndpointCollectionLevel, "eptCollectionLevel", true},
    {kStudio_MloxID, "mloxID", false},
};

const Row* Find(std::string_view iKey) {
  for (const Row& row : kRows) {
    if (row.mKey == iKey) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace

std::string Platform_StudioNameOfKey(std::string_view iKey) {
  const Row* const row = Find(iKey);
  return row != nullptr ? std::string(row->mName) : std::string();
}

bool Platform_StudioIsFixedKey(std::string_view iKey) {
  const Row* const row = Find(iKey);
  return row != nullptr && row->mIsFixed;
}
