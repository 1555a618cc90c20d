// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"

#include <mutex>

#include "cmn/cmn_threadlocal.h"

namespace {

// Never destroyed: outputs and references of the application may outlive every other static.
std::recursive_mutex& Mutex() {
  static std::recursive_mutex& sMutex = *new std::recursive_mutex;
  return sMutex;
}

CMN_THREAD_LOCAL int sDepth = 0;

}  // namespace

DirectMusicSubsystemLock::DirectMusicSubsystemLock() {
  Mutex().lock();
  ++sDepth;
}

DirectMusicSubsystemLock::~DirectMusicSubsystemLock() {
  --sDepth;
  Mutex().unlock();
}

bool DirectMusicSubsystemLock::IsHeldByThisThread() { return sDepth > 0; }
