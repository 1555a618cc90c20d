// SPDX-License-Identifier: MIT
#include "cmn/ps_thread.h"

#include <pthread.h>
#include <sched.h>

#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "cmn/cmn_threadlocal.h"

namespace {

using SharedMutex = std::shared_ptr<std::recursive_mutex>;

// The mutexes that have a name. An entry whose last object is gone is taken over by the next of its name.
struct NamedMutexes {
  std::mutex mGuard;
  std::map<std::string, std::weak_ptr<std::recursive_mutex>> mEntries;
};

NamedMutexes& GetNamedMutexes() {
  static NamedMutexes& sNamedMutexes = *new NamedMutexes;  // never ended: used at exit too
  return sNamedMutexes;
}

SharedMutex FindOrMakeMutex(const std::string& iName) {
  if (iName.empty()) return std::make_shared<std::recursive_mutex>();
  NamedMutexes& named = GetNamedMutexes();
  const std::lock_guard guard(named.mGuard);
  std::weak_ptr<std::recursive_mutex>& entry = named.mEntries[iName];
  SharedMutex mutex = entry.lock();
  if (mutex == nullptr) entry = mutex = std::make_shared<std::recursive_mutex>();
  return mutex;
}

class NamedMutex final : public PSMutex {
 public:
  explicit NamedMutex(SharedMutex iMutex) : mMutex(std::move(iMutex)) {}
  void Lock() override { mMutex->lock(); }
  void Unlock() override { mMutex->unlock(); }

 private:
  SharedMutex mMutex;
};

CMN_THREAD_LOCAL char sThreadMark = 0;

class Threads final : public IPSModule_Thread {
 public:
  int GetRevision() const noexcept override { return 1; }

  std::uint64_t GetCurrentThreadID() const noexcept override {
    return reinterpret_cast<std::uintptr_t>(&sThreadMark);
  }

  void YieldThread() noexcept override { sched_yield(); }

  void SetCurrentThreadName(const char* iNameP) noexcept override {
    if (iNameP == nullptr) return;
    constexpr std::size_t kLongest = 15;
    char name[kLongest + 1] = {};
    for (std::size_t i = 0; i < kLongest && iNameP[i] != '\0'; ++i) name[i] = iNameP[i];
    pthread_setname_np(pthread_self(), name);
  }

  PSMutex* NewMutex(const char* iNameP) override {
    try {
      return new NamedMutex(FindOrMakeMutex(iNameP != nullptr ? iNameP : ""));
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  }
};

constinit Threads sThreads;

}  // namespace

constinit IPSModule_Thread* const gPSThread = &sThreads;
