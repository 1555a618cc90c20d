// SPDX-License-Identifier: MIT
#include "cmn/sys_rawthreadtask.h"

#include <utility>

#include "cmn/cmn_assert.h"

namespace {
constexpr char kAssertSource[] = "cmn/sys_rawthreadtask";
}

Sys_RawThreadTask::Sys_RawThreadTask(int iSignature, std::string iName, unsigned iKillTimeout)
    : mSignature(iSignature), mName(std::move(iName)), mKillTimeout(iKillTimeout) {}

Sys_RawThreadTask::~Sys_RawThreadTask() = default;

void Sys_RawThreadTask::Run() {
  const bool hasRun = mHasRun.exchange(true);
  if (!CMN_ASSERT_FROM(kAssertSource, !hasRun, "!hasRun")) return;
  DoTask();
}

bool Sys_RawThreadTask::Stop() {
  {
    const std::lock_guard lock(mPauseMutex);
    mIsStopRequested = true;
  }
  mPauseChanged.notify_all();
  return RequestStop();
}

void Sys_RawThreadTask::SetKillTimeout(unsigned iMilliseconds) { mKillTimeout.store(iMilliseconds); }

void Sys_RawThreadTask::Pause() {
  const std::lock_guard lock(mPauseMutex);
  mIsPaused = true;
}

void Sys_RawThreadTask::Resume() {
  {
    const std::lock_guard lock(mPauseMutex);
    mIsPaused = false;
  }
  mPauseChanged.notify_all();
}

void Sys_RawThreadTask::WaitWhilePaused() {
  std::unique_lock lock(mPauseMutex);
  mPauseChanged.wait(lock, [this] { return !mIsPaused || mIsStopRequested; });
}
