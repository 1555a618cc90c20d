// SPDX-License-Identifier: MIT
#include "tests/support/studio_fixture.h"

namespace {

std::string DescribeIDs(IEndpointIDs& iIDs) {
  return "[" + Test_TextOf(iIDs, kStudio_DeviceUniqueID) + " " + Test_NumberOf(iIDs, kStudio_EntityUniqueID) +
         " " + Test_NumberOf(iIDs, kStudio_EndpointUniqueID) + " " +
         Test_NumberOf(iIDs, kStudio_EndpointCollectionLevel) + " " +
         Test_NumberOf(iIDs, kStudio_EndpointIsSource) + " " + Test_NumberOf(iIDs, kStudio_MloxID) + "]";
}

template <class Object>
std::string DescribeIDsOf(Object& iObject) {
  std::shared_ptr<IEndpointIDs> ids;
  EXPECT_EQ(iObject.GetIDs(&ids), S_OK);
  return DescribeIDs(*ids);
}

std::string DescribeEndpoint(IEndpointProperties& iEndpoint) {
  std::string text = DescribeIDsOf(iEndpoint) + " wired to";
  int count = -1;
  EXPECT_EQ(iEndpoint.GetNumConnections(&count), S_OK);
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IEndpointIDs> other;
    EXPECT_EQ(iEndpoint.GetConnection(i, &other), S_OK);
    text += " " + DescribeIDs(*other);
  }
  return text + "\n";
}

std::string DescribeEntity(IEntityProperties& iEntity) {
  std::string text = DescribeIDsOf(iEntity);
  for (const std::string_view key : {kStudio_EntityName, kStudio_EntityUserName}) {
    text += " " + Test_TextOf(iEntity, key);
  }
  for (const std::string_view key : {kStudio_EntityReceiveChannels, kStudio_EntityTransmitChannels}) {
    text += " " + Test_NumberOf(iEntity, key);
  }
  text += "\n";
  for (const VARIANT_BOOL isSource : {VARIANT_FALSE, VARIANT_TRUE}) {
    int count = -1;
    EXPECT_EQ(iEntity.GetEndpointCount(isSource, &count), S_OK);
    for (int i = 0; i < count; ++i) {
      std::shared_ptr<IEndpointProperties> endpoint;
      EXPECT_EQ(iEntity.GetEndpoint(isSource, i, &endpoint), S_OK);
      text += "  " + DescribeEndpoint(*endpoint);
    }
  }
  return text;
}

std::string DescribeBanks(IDeviceProperties& iDevice) {
  std::string text;
  int count = -1;
  EXPECT_EQ(iDevice.GetPatchBankCount(&count), S_OK);
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IStudioPatchBank> bank;
    EXPECT_EQ(iDevice.GetPatchBank(i, &bank), S_OK);
    for (const auto get :
         {&IStudioPatchBank::GetName, &IStudioPatchBank::GetFile, &IStudioPatchBank::GetPatchNameList}) {
      BSTR value = nullptr;
      EXPECT_EQ(((*bank).*get)(&value), S_OK);
      text += " '" + Platform_StudioToUtf8(value) + "'";
      SysFreeString(value);
    }
  }
  return text;
}

std::string DescribeModes(IDeviceProperties& iDevice) {
  const std::u16string key = Test_Key(kStudio_DeviceChannelModes);
  int count = -1;
  std::string text = " modes " + std::to_string(iDevice.GetArrayCount(key.c_str(), &count));
  for (int i = 0; i < count; ++i) {
    BSTR value = nullptr;
    EXPECT_EQ(iDevice.GetArrayItem(key.c_str(), i, &value), S_OK);
    text += " '" + Platform_StudioToUtf8(value) + "'";
    SysFreeString(value);
  }
  return text;
}

std::string DescribeDevice(IDeviceProperties& iDevice) {
  std::string text = DescribeIDsOf(iDevice);
  for (const std::string_view key :
       {kStudio_DeviceManufacturerName, kStudio_DeviceModelName, kStudio_DeviceMasterNamesFileLoc}) {
    text += " " + Test_TextOf(iDevice, key);
  }
  for (const std::string_view key : {kStudio_DeviceExternal, kStudio_DeviceVirtual, kStudio_DeviceOffline}) {
    text += " " + Test_FlagOf(iDevice, key);
  }
  text += DescribeBanks(iDevice) + DescribeModes(iDevice) + "\n";
  int count = -1;
  EXPECT_EQ(iDevice.GetEntityCount(&count), S_OK);
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IEntityProperties> entity;
    EXPECT_EQ(iDevice.GetEntity(i, &entity), S_OK);
    text += " " + DescribeEntity(*entity);
  }
  return text;
}

}  // namespace

std::string Test_DescribeStudio(IDirectMusicStudio& iStudio) {
  std::string text;
  for (const VARIANT_BOOL group : {VARIANT_TRUE, VARIANT_FALSE}) {
    int count = -1;
    EXPECT_EQ(iStudio.GetDeviceCount(group, &count), S_OK);
    text += group == VARIANT_TRUE ? "online:\n" : "offline:\n";
    for (int i = 0; i < count; ++i) {
      std::shared_ptr<IDeviceProperties> device;
      EXPECT_EQ(iStudio.GetDevice(group, i, &device), S_OK);
      text += DescribeDevice(*device);
    }
  }
  return text;
}

std::shared_ptr<IDeviceProperties> Test_StudioFixture::Find(const std::string& iGuid, VARIANT_BOOL iGroup) {
  int count = 0;
  EXPECT_EQ(Studio().GetDeviceCount(iGroup, &count), S_OK);
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<IDeviceProperties> device;
    EXPECT_EQ(Studio().GetDevice(iGroup, i, &device), S_OK);
    if (Test_TextOf(*device, kStudio_DeviceUniqueID) == "0:" + iGuid) return device;
  }
  return nullptr;
}

std::shared_ptr<IEntityProperties> Test_StudioFixture::FindEntity(const std::string& iGuid,
                                                                  VARIANT_BOOL iGroup) {
  const std::shared_ptr<IDeviceProperties> device = Find(iGuid, iGroup);
  std::shared_ptr<IEntityProperties> entity;
  if (device != nullptr) {
    EXPECT_EQ(device->GetEntity(0, &entity), S_OK);
  }
  return entity;
}

std::shared_ptr<IEndpointProperties> Test_StudioFixture::FindEndpoint(const std::string& iGuid,
                                                                      bool iIsSource, VARIANT_BOOL iGroup) {
  const std::shared_ptr<IEntityProperties> entity = FindEntity(iGuid, iGroup);
  std::shared_ptr<IEndpointProperties> endpoint;
  if (entity != nullptr) {
    EXPECT_EQ(entity->GetEndpoint(iIsSource ? VARIANT_TRUE : VARIANT_FALSE, 0, &endpoint), S_OK);
  }
  return endpoint;
}
