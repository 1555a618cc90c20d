// SPDX-License-Identifier: MIT
/// \file
/// What the raw objects of devices and entities have in common.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/studio/studioanswer.h"
#include "platform/studio/studiocore.h"
#include "platform/studio/studioids.h"
#include "platform/studio/studiokeys.h"
#include "platform/studio/studiotext.h"

/// A raw object of a row: it reads the row as it is now, and as it last saw it once the row is gone.
class Platform_StudioRaw {
 public:
  Platform_StudioRaw(std::shared_ptr<Platform_StudioCore> iCore, Platform_StudioDeviceP iDevice,
                     Platform_StudioPlace iPlace)
      : mCore(std::move(iCore)), mDevice(std::move(iDevice)), mPlace(std::move(iPlace)) {}

  [[nodiscard]] const Platform_StudioPlace& Place() const { return mPlace; }

 protected:
  ~Platform_StudioRaw() = default;

  [[nodiscard]] Platform_StudioDeviceP Row() const {
    const Platform_StudioDeviceP row = mCore->State()->Find(mPlace.mGuid);
    return row != nullptr ? row : mDevice;
  }

  HRESULT IDs(std::shared_ptr<IEndpointIDs>* oIDs) const {
    if (oIDs == nullptr) {
      return E_POINTER;
    }
    *oIDs = std::make_shared<Platform_StudioIDs>(mCore, mPlace);
    return S_OK;
  }

  // By row, level and direction, never by pointer or contents.
  template <class Interface>
  HRESULT Compare(const std::shared_ptr<Interface>& iOther) const {
    const auto* const other = dynamic_cast<const Platform_StudioRaw*>(iOther.get());
    return other != nullptr && other->mPlace == mPlace ? S_OK : S_FALSE;
  }

  const std::shared_ptr<Platform_StudioCore> mCore;
  const Platform_StudioDeviceP mDevice;
  const Platform_StudioPlace mPlace;
};

/// The readers and writers of properties.
/// \tparam Interface IDeviceProperties or IEntityProperties
template <class Interface>
class Platform_StudioPropertiesOf : public Interface, public Platform_StudioRaw {
 public:
  using Platform_StudioRaw::Platform_StudioRaw;

  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) override { return IDs(oIDs); }
  HRESULT CompareRaw(std::shared_ptr<Interface> iOther) override { return Compare(iOther); }

  HRESULT GetFlagProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, VARIANT_BOOL* oValue) override {
    if (iKey == nullptr || oValue == nullptr) {
      return E_POINTER;
    }
    const std::string key = Platform_StudioToKey(iKey);
    const std::optional<bool> flag = Platform_StudioFlagOf(*Row(), *mCore->State(), key);
    *oValue = flag.value_or(false) ? VARIANT_TRUE : VARIANT_FALSE;
    return Answer(flag.has_value(), key, oName, oWord);
  }

  HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, LONG* oValue) override {
    if (iKey == nullptr || oValue == nullptr) {
      return E_POINTER;
    }
    const std::string key = Platform_StudioToKey(iKey);
    const Platform_StudioDeviceP row = Row();
    const Platform_StudioProperty* const property = Platform_StudioPropertyOf(*row, mPlace.mLevel, key);
    std::optional<LONG> value = Platform_StudioUniqueNumber(mPlace, key);
    if (property != nullptr && std::holds_alternative<std::int32_t>(property->mValue)) {
      value = std::get<std::int32_t>(property->mValue);
    }
    *oValue = value.value_or(0);
    return Answer(value.has_value(), key, oName, oWord);
  }

  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, BSTR* oValue) override {
    if (iKey == nullptr || oValue == nullptr) {
      return E_POINTER;
    }
    const std::string key = Platform_StudioToKey(iKey);
    const std::optional<std::string> text = Platform_StudioTextOf(*Row(), mPlace.mLevel, key);
    *oValue = text.has_value() ? Platform_StudioToBstr(*text) : nullptr;
    return Answer(text.has_value(), key, oName, oWord);
  }

  HRESULT SetStringProperty(const OLECHAR* iKey, const OLECHAR* iName, const OLECHAR* iValue, LONG) override {
    if (iKey == nullptr || iValue == nullptr) {
      return E_POINTER;
    }
    const std::string key = Platform_StudioToKey(iKey);
    if (Platform_StudioIsFixedKey(key)) {
      return E_ACCESSDENIED;
    }
    const Platform_StudioProperty property{Platform_StudioToUtf8(iName), Platform_StudioToUtf8(iValue)};
    return Change([&](const Platform_StudioDevice&) {
      return Platform_StudioPutProperties{mPlace.mGuid, {{KeyOf(key), property}}};
    });
  }

  /// Nothing of this kind is ever known: absent.
  HRESULT GetDoubleProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, double* oValue) override {
    if (iKey == nullptr || oValue == nullptr) {
      return E_POINTER;
    }
    *oValue = 0.0;
    return Answer(false, {}, oName, oWord);
  }

  HRESULT GetArrayCount(const OLECHAR* iKey, int* oCount) override {
    if (iKey == nullptr || oCount == nullptr) {
      return E_POINTER;
    }
    const Platform_StudioDeviceP row = Row();
    const Platform_StudioList* const list = Find(*row, Platform_StudioToKey(iKey));
    *oCount = list != nullptr ? static_cast<int>(list->mItems.size()) : 0;
    return list != nullptr ? S_OK : S_FALSE;
  }

  HRESULT GetArrayItem(const OLECHAR* iKey, int iIndex, BSTR* oValue) override {
    if (iKey == nullptr || oValue == nullptr) {
      return E_POINTER;
    }
    *oValue = nullptr;
    const Platform_StudioDeviceP row = Row();
    const Platform_StudioList* const list = Find(*row, Platform_StudioToKey(iKey));
    if (list == nullptr) {
      return S_FALSE;
    }
    if (!IsIndex(*list, iIndex)) {
      return E_INVALIDARG;
    }
    *oValue = Platform_StudioToBstr(list->mItems[static_cast<std::size_t>(iIndex)]);
    return S_OK;
  }

  HRESULT AppendArrayItem(const OLECHAR* iKey, const OLECHAR* iName, LONG, const OLECHAR* iValue) override {
    if (iKey == nullptr || iValue == nullptr) {
      return E_POINTER;
    }
    const std::string key = Platform_StudioToKey(iKey);
    return Change([&](const Platform_StudioDevice& iRow) {
      const Platform_StudioList* const known = Find(iRow, key);
      Platform_StudioList list =
          known != nullptr ? *known : Platform_StudioList{Platform_StudioToUtf8(iName), {}};
      list.mItems.push_back(Platform_StudioToUtf8(iValue));
      return Platform_StudioPutList{mPlace.mGuid, KeyOf(key), std::move(list)};
    });
  }

  HRESULT SetArrayItem(const OLECHAR* iKey, int iIndex, const OLECHAR* iValue) override {
    if (iKey == nullptr || iValue == nullptr) {
      return E_POINTER;
    }
    const std::string key = Platform_StudioToKey(iKey);
    const Platform_StudioDeviceP row = Row();
    const Platform_StudioList* const found = Find(*row, key);
    if (found == nullptr) {
      return S_FALSE;
    }
    if (!IsIndex(*found, iIndex)) {
      return E_INVALIDARG;
    }
    return Change([&](const Platform_StudioDevice& iRow) {
      const Platform_StudioList* const known = Find(iRow, key);
      Platform_StudioList list = known != nullptr && IsIndex(*known, iIndex) ? *known : *found;
      list.mItems[static_cast<std::size_t>(iIndex)] = Platform_StudioToUtf8(iValue);
      return Platform_StudioPutList{mPlace.mGuid, KeyOf(key), std::move(list)};
    });
  }

 private:
  static HRESULT Answer(bool iIsKnown, const std::string& iKey, BSTR* oName, DWORD* oWord) {
    Platform_StudioNameAnswer(iIsKnown ? Platform_StudioNameOfKey(iKey) : "", oName, oWord);
    return iIsKnown ? S_OK : S_FALSE;
  }

  static bool IsIndex(const Platform_StudioList& iList, int iIndex) {
    return iIndex >= 0 && static_cast<std::size_t>(iIndex) < iList.mItems.size();
  }

  [[nodiscard]] Platform_StudioPropertyKey KeyOf(const std::string& iKey) const {
    return {Platform_StudioLevelOf(iKey, mPlace.mLevel), iKey};
  }

  [[nodiscard]] const Platform_StudioList* Find(const Platform_StudioDevice& iRow,
                                                const std::string& iKey) const {
    const auto found = iRow.mLists.find(KeyOf(iKey));
    return found != iRow.mLists.end() ? &found->second : nullptr;
  }

  // Changes the row; a failure when it is gone.
  template <class Make>
  HRESULT Change(Make iMake) {
    const bool isMade =
        mCore->Change([&](const Platform_StudioState& iState) -> std::optional<Platform_StudioChange> {
          const Platform_StudioDeviceP row = iState.Find(mPlace.mGuid);
          return row != nullptr ? std::optional<Platform_StudioChange>(iMake(*row)) : std::nullopt;
        });
    return isMade ? S_OK : E_FAIL;
  }
};
