// SPDX-License-Identifier: MIT
#include "platform/studio/studioanswer.h"

#include "platform/studio/studiokeys.h"
#include "platform/studio/studiotext.h"

namespace {

// Manufacturer and model belong to the row, unless the user has set others.
const std::string* RowText(const Platform_StudioDevice& iDevice, const std::string& iKey) {
  if (iKey == kStudio_DeviceUniqueID) {
    return &iDevice.mGuid;
  }
  if (iKey == kStudio_EntityName) {
    return &iDevice.mName;
  }
  if (iKey == kStudio_DeviceManufacturerName && !iDevice.mManufacturer.empty()) {
    return &iDevice.mManufacturer;
  }
  if (iKey == kStudio_DeviceModelName && !iDevice.mModel.empty()) {
    return &iDevice.mModel;
  }
  return nullptr;
}

}  // namespace

void Platform_StudioNameAnswer(const std::string& iName, BSTR* oName, DWORD* oWord) {
  if (oName != nullptr) {
    *oName = iName.empty() ? nullptr : Platform_StudioToBstr(iName);
  }
  if (oWord != nullptr) {
    *oWord = 0;
  }
}

std::optional<LONG> Platform_StudioUniqueNumber(const Platform_StudioPlace& iPlace, const std::string& iKey) {
  if (iKey == kStudio_EntityUniqueID && iPlace.mLevel <= kStudio_EntityLevel) {
    return 1;
  }
  if (iKey == kStudio_EndpointUniqueID && iPlace.mLevel == kStudio_EndpointLevel) {
    return iPlace.mIsSource ? 0 : 1;
  }
  return std::nullopt;
}

const Platform_StudioProperty* Platform_StudioPropertyOf(const Platform_StudioDevice& iDevice, int iLevel,
                                                         const std::string& iKey) {
  for (int level = iLevel; level <= kStudio_DeviceLevel; ++level) {
    const auto found = iDevice.mProperties.find({level, iKey});
    if (found != iDevice.mProperties.end()) {
      return &found->second;
    }
  }
  return nullptr;
}

std::optional<std::string> Platform_StudioTextOf(const Platform_StudioDevice& iDevice, int iLevel,
                                                 const std::string& iKey) {
  const Platform_StudioProperty* const property = Platform_StudioPropertyOf(iDevice, iLevel, iKey);
  if (property != nullptr && std::holds_alternative<std::string>(property->mValue)) {
    return std::get<std::string>(property->mValue);
  }
  const std::string* const text = RowText(iDevice, iKey);
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<bool> Platform_StudioFlagOf(const Platform_StudioDevice& iDevice,
                                          const Platform_StudioState& iState, const std::string& iKey) {
  if (iKey == kStudio_DeviceExternal) {
    return iDevice.mIsUserDefined;
  }
  if (iKey == kStudio_DeviceVirtual) {
    return !iDevice.mIsUserDefined && iDevice.mIsVirtual;
  }
  if (iKey == kStudio_DeviceOffline) {
    return !iState.IsLive(iDevice.mGuid);
  }
  return std::nullopt;
}

int Platform_StudioLevelOf(const std::string& iKey, int iLevel) {
  return iKey == kStudio_DeviceChannelModes || iKey == kStudio_DeviceMasterNamesFileLoc ? kStudio_DeviceLevel
                                                                                        : iLevel;
}
