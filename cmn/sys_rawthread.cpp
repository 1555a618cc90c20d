// SPDX-License-Identifier: MIT
#include "cmn/sys_rawthread.h"

#if defined(__linux__)
#include <sys/resource.h>
#endif

#include <chrono>
#include <system_error>

#include "cmn/cmn_assert.h"
#include "cmn/ps_thread.h"

namespace {

constexpr char kAssertSource[] = "cmn/sys_rawthread";

// A thread that was asleep takes its turn at once only before those of a higher nice value: without this,
// what arrives waits until whoever runs has had his share.
void TakePriority() noexcept {
#if defined(__linux__)
  constexpr id_t kThisThread = 0;
  if (getpriority(PRIO_PROCESS, kThisThread) > Sys_RawThread::kNice) {
    // Refused to whom the system gives no priority; the thread runs as it comes then.
    static_cast<void>(setpriority(PRIO_PROCESS, kThisThread, Sys_RawThread::kNice));
  }
#endif
}

}  // namespace

Sys_RawThread* Sys_RawThread::Create(Sys_RawThreadTask* iTaskP) {
  if (!CMN_ASSERT_FROM(kAssertSource, iTaskP != nullptr, "iTaskP")) return nullptr;
  auto* threadP = new Sys_RawThread(iTaskP);
  try {
    threadP->mThread = std::thread([threadP] { threadP->RunTask(); });
  } catch (const std::system_error&) {
    static_cast<void>(threadP->mTaskP.release());  // still the caller's
    delete threadP;
    return nullptr;
  }
  return threadP;
}

void Sys_RawThread::Destroy(Sys_RawThread*& ioThreadP) {
  if (ioThreadP == nullptr) return;
  const bool isOwnThread = ioThreadP->mThread.get_id() == std::this_thread::get_id();
  if (!CMN_ASSERT_FROM(kAssertSource, !isOwnThread, "!isOwnThread")) return;
  Sys_RawThread* threadP = ioThreadP;
  threadP->StopAndWait();
  ioThreadP = nullptr;
  delete threadP;
}

Sys_RawThread::Sys_RawThread(Sys_RawThreadTask* iTaskP) : mTaskP(iTaskP) {}

Sys_RawThread::~Sys_RawThread() = default;

void Sys_RawThread::RunTask() {
  gPSThread->SetCurrentThreadName(mTaskP->GetName().c_str());
  TakePriority();
  mTaskP->Run();
  {
    const std::lock_guard lock(mMutex);
    mHasEnded = true;
  }
  mEnded.notify_all();
}

void Sys_RawThread::StopAndWait() {
  mTaskP->Stop();
  if (const unsigned timeout = mTaskP->GetKillTimeout(); timeout != 0) {
    std::unique_lock lock(mMutex);
    // Against the system clock: waits against the steady one are unknown to older thread checkers.
    const auto until = std::chrono::system_clock::now() + std::chrono::milliseconds(timeout);
    const bool hasEnded = mEnded.wait_until(lock, until, [this] { return mHasEnded; });
    lock.unlock();
    // A request can be lost by a body that wasn't ready for it yet: ask again, then wait as long as it takes.
    if (!CMN_ASSERT_FROM(kAssertSource, hasEnded, "hasEnded")) mTaskP->Stop();
  }
  mThread.join();
}
