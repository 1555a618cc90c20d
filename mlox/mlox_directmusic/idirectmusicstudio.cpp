// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/idirectmusicstudio.h"

#include <atomic>

namespace {

// Constants at first, so that files may register before this one's statics are initialised.
constinit std::atomic<IDirectMusicStudio::Factory> sFactory{nullptr};
constinit std::atomic<IDirectMusicStudio::Factory> sMachineFactory{nullptr};

}  // namespace

std::shared_ptr<IDirectMusicStudio> IDirectMusicStudio::Create(IDirectMusic8* iRootP) {
  Factory factory = sFactory.load();
  if (factory == nullptr) {
    factory = sMachineFactory.load();
  }
  return factory != nullptr ? factory(iRootP) : nullptr;
}

void IDirectMusicStudio::SetFactory(Factory iFactory) { sFactory.store(iFactory); }

void IDirectMusicStudio::SetMachineFactory(Factory iFactory) { sMachineFactory.store(iFactory); }
