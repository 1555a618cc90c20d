// SPDX-License-Identifier: MIT
/// \file
/// Base of a thread's work.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include "cmn/cmn_export.h"

/// Base of a thread's work. Sys_RawThread::Create runs one on a thread of its own, once. Subclasses give the
/// body and the way to stop it.
///
/// Table: the destructor, Run, Stop, SetKillTimeout, Pause, Resume, DoTask, RequestStop.
class MLOX_EXPORT Sys_RawThreadTask {
 public:
  /// iSignature: four letters that tell what kind of task it is. iName: the thread's name, for debuggers.
  /// iKillTimeout: as for SetKillTimeout.
  Sys_RawThreadTask(int iSignature, std::string iName, unsigned iKillTimeout = 0);
  Sys_RawThreadTask(const Sys_RawThreadTask&) = delete;
  Sys_RawThreadTask& operator=(const Sys_RawThreadTask&) = delete;
  virtual ~Sys_RawThreadTask();

  /// Runs the body, on the calling thread, and returns when it has ended. A task runs once: a second call is
  /// reported and does nothing. [the task's thread]
  virtual void Run();
  /// Asks the body to end, and wakes it if it is paused; doesn't wait for it. Returns what RequestStop
  /// returns. [any]
  virtual bool Stop();
  /// Milliseconds that Sys_RawThread::Destroy waits before it reports the delay and asks a second time; 0: it
  /// only waits. A thread is never ended by force: it could hold a lock. [any]
  virtual void SetKillTimeout(unsigned iMilliseconds);
  /// Asks the body to halt at its next WaitWhilePaused. [any]
  virtual void Pause();
  /// Lets a paused body go on. [any]
  virtual void Resume();

  /// What the constructor got. [any]
  int GetSignature() const noexcept { return mSignature; }
  /// What the constructor got. [any]
  const std::string& GetName() const noexcept { return mName; }
  /// The kill timeout in milliseconds. [any]
  unsigned GetKillTimeout() const noexcept { return mKillTimeout.load(); }

 protected:
  /// The body. [the task's thread]
  virtual void DoTask() = 0;
  /// Makes the body end soon; may be called more than once, and before the body begins. True if it will.
  /// [any]
  virtual bool RequestStop() = 0;

  /// For bodies: returns at once unless the task is paused; else when it is resumed or stopped. [the task's
  /// thread]
  void WaitWhilePaused();

 private:
  const int mSignature;
  const std::string mName;
  std::atomic<unsigned> mKillTimeout;
  std::atomic<bool> mHasRun{false};

  std::mutex mPauseMutex;
  std::condition_variable mPauseChanged;
  bool mIsPaused = false;         // under mPauseMutex
  bool mIsStopRequested = false;  // under mPauseMutex
};
