// SPDX-License-Identifier: MIT
// The one place where the core makes a service: here the application's choice becomes the hardware service.
#include "mlox/mlox_directmusic/mlox_directmusic_service.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "mlox/mlox_manager.h"

namespace {

// Services that this library doesn't have. They have names because applications ask for them.
constexpr int kMissingServices = 1 | 16;

// The hardware service, made if there is none yet; null without a studio.
Mlox_DirectMusic_Service* HardwareService(Mem2_MasterAllocator* iAllocatorP, Mdi_AppCallback* iAppCallbackP) {
  Mlox_DirectMusic_Service::Create(iAppCallbackP, iAllocatorP);
  Mlox_DirectMusic_Service* serviceP = Mlox_DirectMusic_ServiceHandle::Singleton().GetService();
  return serviceP != nullptr && serviceP->GetStudio() != nullptr ? serviceP : nullptr;
}

}  // namespace

bool Mlox_Manager::ActivateService(const int& iServices, Mem2_MasterAllocator* iAllocatorP,
                                   Mdi_AppCallback* iAppCallbackP) {
  mAppCallbackP = iAppCallbackP;
  if ((iServices & kDirectMusicService) != 0) {
    Mlox_DirectMusic_Service* serviceP = HardwareService(iAllocatorP, iAppCallbackP);
    if (serviceP == nullptr) return false;
    // The whole mask, and not only our bit. Installing an installed service again is no mistake of this
    // operation's: it is what it does.
    AddService(serviceP, iServices);
    mOSServiceP = serviceP;
  }
  // Read anew: a listener that was told of the service may have changed it.
  return (iServices & kMissingServices) == 0;
}
