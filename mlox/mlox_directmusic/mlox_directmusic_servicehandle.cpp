// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"

#include <utility>

constinit std::atomic<Mlox_DirectMusic_ServiceHandle*> sService{nullptr};

Mlox_DirectMusic_ServiceHandle& Mlox_DirectMusic_ServiceHandle::Singleton() {
  static Mlox_DirectMusic_ServiceHandle& sHandle = *new Mlox_DirectMusic_ServiceHandle;
  return sHandle;
}

std::shared_ptr<IDirectMusicStudio> Mlox_DirectMusic_ServiceHandle::GetStudio() const {
  const std::lock_guard lock(mStudioMutex);
  return mStudio;
}

bool Mlox_DirectMusic_ServiceHandle::IsStopPlaybackFlagSet() const {
  return sService.load() == nullptr || mStopPlayback.load();
}

bool Mlox_DirectMusic_ServiceHandle::Attach(Mlox_DirectMusic_Service* iServiceP) {
  Mlox_DirectMusic_Service* noneP = nullptr;
  if (iServiceP == nullptr || !mServiceP.compare_exchange_strong(noneP, iServiceP)) return false;
  mIsSuspended.store(false);
  mStopPlayback.store(true);
  mZeroJitterDelay.store(0);
  sService.store(this);
  return true;
}

void Mlox_DirectMusic_ServiceHandle::Detach() {
  sService.store(nullptr);
  SetStudio(nullptr);
  mZeroJitterDelay.store(0);
  mStopPlayback.store(true);
  mServiceP.store(nullptr);
}

void Mlox_DirectMusic_ServiceHandle::SetStudio(std::shared_ptr<IDirectMusicStudio> iStudio) {
  std::shared_ptr<IDirectMusicStudio> old = std::move(iStudio);
  {
    const std::lock_guard lock(mStudioMutex);
    mStudio.swap(old);
  }
  // The studio before, if this was its last owner, goes here, outside the lock.
}
