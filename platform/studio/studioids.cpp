// SPDX-License-Identifier: MIT
#include "platform/studio/studioids.h"

#include <utility>

#include "platform/studio/studioanswer.h"
#include "platform/studio/studiokeys.h"
#include "platform/studio/studiotext.h"

Platform_StudioIDs::Platform_StudioIDs(std::shared_ptr<Platform_StudioCore> iCore,
                                       Platform_StudioPlace iPlace)
    : mCore(std::move(iCore)), mPlace(std::move(iPlace)) {}

HRESULT Platform_StudioIDs::GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, LONG* oValue) {
  if (iKey == nullptr || oValue == nullptr) {
    return E_POINTER;
  }
  const std::string key = Platform_StudioToKey(iKey);
  *oValue = 0;
  std::optional<LONG> value;
  if (key == kStudio_EndpointCollectionLevel) {
    value = mPlace.mLevel;
  } else if (key == kStudio_EndpointIsSource && mPlace.mLevel == kStudio_EndpointLevel) {
    value = mPlace.mIsSource ? 1 : 0;
  } else if (!Platform_StudioIsFixedKey(key)) {
    const std::optional<Platform_StudioNumber> number = mCore->Number({mPlace, key});
    if (number.has_value()) {
      Platform_StudioNameAnswer(number->mName, oName, oWord);
      *oValue = number->mValue;
      return S_OK;
    }
  } else {
    value = Platform_StudioUniqueNumber(mPlace, key);
  }
  Platform_StudioNameAnswer(value.has_value() ? Platform_StudioNameOfKey(key) : "", oName, oWord);
  *oValue = value.value_or(0);
  return value.has_value() ? S_OK : S_FALSE;
}

HRESULT Platform_StudioIDs::SetIntProperty(const OLECHAR* iKey, const OLECHAR* iName, LONG iPersistent,
                                           LONG iValue) {
  if (iKey == nullptr) {
    return E_POINTER;
  }
  const std::string key = Platform_StudioToKey(iKey);
  if (Platform_StudioIsFixedKey(key)) {
    return E_ACCESSDENIED;
  }
  mCore->SetNumber({mPlace, key}, {Platform_StudioToUtf8(iName), iValue}, iPersistent != 0);
  return S_OK;
}

HRESULT Platform_StudioIDs::GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, BSTR* oValue) {
  if (iKey == nullptr || oValue == nullptr) {
    return E_POINTER;
  }
  const std::string key = Platform_StudioToKey(iKey);
  const Platform_StudioDeviceP device = mCore->State()->Find(mPlace.mGuid);
  const std::optional<std::string> text = key == kStudio_DeviceUniqueID ? std::optional(mPlace.mGuid)
                                          : device != nullptr
                                              ? Platform_StudioTextOf(*device, mPlace.mLevel, key)
                                              : std::nullopt;
  *oValue = text.has_value() ? Platform_StudioToBstr(*text) : nullptr;
  Platform_StudioNameAnswer(text.has_value() ? Platform_StudioNameOfKey(key) : "", oName, oWord);
  return text.has_value() ? S_OK : S_FALSE;
}

HRESULT Platform_StudioIDs::CompareIDs(std::shared_ptr<IEndpointIDs> iOther) {
  const auto* const other = dynamic_cast<const Platform_StudioIDs*>(iOther.get());
  return other != nullptr && other->mPlace == mPlace ? S_OK : S_FALSE;
}
