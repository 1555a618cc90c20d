// SPDX-License-Identifier: MIT
#include "platform/studio/studiokeys.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "platform/directmusic/durableguid.h"

namespace {

TEST(StudioKeysTest, EveryKeyOfTheServiceHasTheShortNameThatTheServiceGivesIt) {
  std::set<std::string> keys;
  for (int row = 0; row < getter_wrapper::kCommonDMSPropertyCount; ++row) {
    const std::string key = Platform_GuidToText(*getter_wrapper::KeyOfRow(row));
    keys.insert(key);
    EXPECT_EQ(Platform_StudioNameOfKey(key), getter_wrapper::Get_gCommonDMSPropertyNames()[row]) << row;
  }
  EXPECT_EQ(keys.size(), 18u);
  EXPECT_EQ(Platform_GuidToText(getter_wrapper::Get_PROPID_MLOXID()), kStudio_MloxID);
  EXPECT_EQ(Platform_StudioNameOfKey(kStudio_MloxID), "mloxID");
}

TEST(StudioKeysTest, TheKeysThatHaveNoNameAreKnownAllTheSame) {
  EXPECT_EQ(Platform_GuidToText(getter_wrapper::Get_PROPID_OMSUniqueID()), kStudio_OMSUniqueID);
  EXPECT_EQ(Platform_StudioNameOfKey(kStudio_OMSUniqueID), "");
  EXPECT_FALSE(Platform_StudioIsFixedKey(kStudio_OMSUniqueID));
}

TEST(StudioKeysTest, KeysAreTheServicesOwnOneByOne) {
  using namespace getter_wrapper;
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EndpointUniqueID()), kStudio_EndpointUniqueID);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EndpointIsSource()), kStudio_EndpointIsSource);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceManufacturerName()), kStudio_DeviceManufacturerName);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceModelName()), kStudio_DeviceModelName);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceOffline()), kStudio_DeviceOffline);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceUniqueID()), kStudio_DeviceUniqueID);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceExternal()), kStudio_DeviceExternal);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceVirtual()), kStudio_DeviceVirtual);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceScheduleAheadMuSec()), kStudio_DeviceScheduleAheadMuSec);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EntityName()), kStudio_EntityName);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EntityUniqueID()), kStudio_EntityUniqueID);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EntityEmbedded()), kStudio_EntityEmbedded);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EntityReceiveChannels()), kStudio_EntityReceiveChannels);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EntityTransmitChannels()), kStudio_EntityTransmitChannels);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EntityUserName()), kStudio_EntityUserName);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceMasterNamesFileLoc()), kStudio_DeviceMasterNamesFileLoc);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_DeviceChannelModes()), kStudio_DeviceChannelModes);
  EXPECT_EQ(Platform_GuidToText(Get_PROPID_EndpointCollectionLevel()), kStudio_EndpointCollectionLevel);
}

}  // namespace
