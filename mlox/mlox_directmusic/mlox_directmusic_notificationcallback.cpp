// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_notificationcallback.h"

#include <utility>

#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/mlox_directmusic_service.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"

namespace {

// {7C0B6E52-3F1D-4C8A-9E47-1B5D2A90C6F3}
constexpr GUID kSubscriberID = {0x7C0B6E52, 0x3F1D, 0x4C8A, {0x9E, 0x47, 0x1B, 0x5D, 0x2A, 0x90, 0xC6, 0xF3}};

}  // namespace

Mlox_DirectMusic_NotificationCallback::Mlox_DirectMusic_NotificationCallback() : mID(kSubscriberID) {}

Mlox_DirectMusic_NotificationCallback::~Mlox_DirectMusic_NotificationCallback() = default;

void Mlox_DirectMusic_NotificationCallback::Notify(std::shared_ptr<IDirectMusicNotificationList> iList) {
  const std::shared_ptr<IDirectMusicNotificationList> list = std::move(iList);
  if (list == nullptr) return;
  const DirectMusicSubsystemLock lock;
  const Mlox_DirectMusic_ServiceHandle* handleP = sService.load();
  Mlox_DirectMusic_Service* serviceP = handleP != nullptr ? handleP->GetService() : nullptr;
  if (serviceP != nullptr) serviceP->Notify(*list);
}

HRESULT Mlox_DirectMusic_NotificationCallback::GetID(BSTR* oID) {
  if (oID == nullptr) return E_INVALIDARG;
  *oID = SysAllocString(mID);
  return S_OK;
}
