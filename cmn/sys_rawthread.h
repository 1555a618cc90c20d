// SPDX-License-Identifier: MIT
/// \file
/// A thread that runs one task.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "cmn/cmn_export.h"
#include "cmn/sys_rawthreadtask.h"

/// A thread that runs one task and owns it. On Linux it runs at a nice value of kNice where the system allows
/// that (root, and whom RLIMIT_NICE lets), else at its maker's.
class MLOX_EXPORT Sys_RawThread {
 public:
  static constexpr int kNice = -10;

  /// Starts a thread on iTaskP, which belongs to the thread from now on. Null, with iTaskP still the
  /// caller's, if the system gives no thread; null for a null task, which is reported. [any but real-time]
  static Sys_RawThread* Create(Sys_RawThreadTask* iTaskP);

  /// Asks the task to stop, waits until its thread has ended, deletes both and sets the pointer to null; null
  /// is ignored. On the thread itself, which can't wait for its own end, it is reported and does nothing.
  /// [any but real-time]
  static void Destroy(Sys_RawThread*& ioThreadP);

  /// The task. [any]
  Sys_RawThreadTask* GetTask() const noexcept { return mTaskP.get(); }

  Sys_RawThread(const Sys_RawThread&) = delete;
  Sys_RawThread& operator=(const Sys_RawThread&) = delete;

 private:
  explicit Sys_RawThread(Sys_RawThreadTask* iTaskP);
  ~Sys_RawThread();

  void RunTask();
  void StopAndWait();

  std::unique_ptr<Sys_RawThreadTask> mTaskP;
  std::mutex mMutex;
  std::condition_variable mEnded;
  bool mHasEnded = false;  // under mMutex
  std::thread mThread;     // last: it uses the others
};
