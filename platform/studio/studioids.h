// SPDX-License-Identifier: MIT
/// \file
/// The studio's identifiers.
#pragma once

#include <memory>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/studio/studiocore.h"

/// Names a place of the studio. It answers its level and its unique ids from itself, so that it does so after
/// its thing is gone; numbers that were given to it are kept by the studio for its place. [any thread]
class Platform_StudioIDs final : public IEndpointIDs {
 public:
  Platform_StudioIDs(std::shared_ptr<Platform_StudioCore> iCore, Platform_StudioPlace iPlace);

  HRESULT GetIntProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, LONG* oValue) override;
  HRESULT SetIntProperty(const OLECHAR* iKey, const OLECHAR* iName, LONG iPersistent, LONG iValue) override;
  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR* oName, DWORD* oWord, BSTR* oValue) override;
  /// By row, level and direction.
  HRESULT CompareIDs(std::shared_ptr<IEndpointIDs> iOther) override;

  [[nodiscard]] const Platform_StudioPlace& Place() const { return mPlace; }

 private:
  std::shared_ptr<Platform_StudioCore> mCore;
  const Platform_StudioPlace mPlace;
};
