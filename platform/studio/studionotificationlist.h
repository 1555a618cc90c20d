// SPDX-License-Identifier: MIT
/// \file
/// A list of changes on its way to a subscriber.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/studio/studiocore.h"
#include "platform/studio/studioids.h"

/// A value: it may be kept.
class Platform_StudioNotificationList final : public IDirectMusicNotificationList {
 public:
  Platform_StudioNotificationList(std::shared_ptr<Platform_StudioCore> iCore,
                                  std::vector<Platform_StudioItem> iItems)
      : mCore(std::move(iCore)), mItems(std::move(iItems)) {}

  HRESULT GetCount(int* oCount) override {
    if (oCount == nullptr) {
      return E_POINTER;
    }
    *oCount = static_cast<int>(mItems.size());
    return S_OK;
  }

  HRESULT GetItem(int iIndex, std::shared_ptr<IEndpointIDs>* oIDs, int* oKind) override {
    if (oIDs == nullptr || oKind == nullptr) {
      return E_POINTER;
    }
    if (iIndex < 0 || static_cast<std::size_t>(iIndex) >= mItems.size()) {
      return E_INVALIDARG;
    }
    const Platform_StudioItem& item = mItems[static_cast<std::size_t>(iIndex)];
    *oIDs = std::make_shared<Platform_StudioIDs>(mCore, item.mPlace);
    *oKind = item.mKind;
    return S_OK;
  }

 private:
  std::shared_ptr<Platform_StudioCore> mCore;
  const std::vector<Platform_StudioItem> mItems;
};
