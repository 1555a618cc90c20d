// SPDX-License-Identifier: MIT
/// \file
/// The hardware service's subscription to changes of the studio.
#pragma once

#include <memory>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"

/// Hands changes of the studio to the hardware service, if there is one.
class MLOX_EXPORT Mlox_DirectMusic_NotificationCallback : public IDirectMusicNotificationCallback {
 public:
  Mlox_DirectMusic_NotificationCallback();
  ~Mlox_DirectMusic_NotificationCallback() override;

  /// [a thread of the studio's] Changes the service's lists and raises the manager's flags, nothing else:
  /// references are resolved again, and listeners called, when the application next asks.
  void Notify(std::shared_ptr<IDirectMusicNotificationList> iList) override;

  /// A fresh copy of the text that tells subscribers apart; the caller frees it. E_INVALIDARG for null.
  HRESULT GetID(BSTR* oID) override;

 private:
  CComBSTRLite mID;
};
