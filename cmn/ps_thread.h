// SPDX-License-Identifier: MIT
/// \file
/// The module of threads and named mutexes.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

/// A mutex with a name: two objects of the same name are the same mutex of the process. Its maker deletes it,
/// while it isn't locked. The thread that has locked it may lock it again, and unlocks it as often.
class PSMutex {
 public:
  /// Ends this object; the mutex ends with the last object of its name.
  virtual ~PSMutex() = default;
  /// Locks, and waits for it without a limit. [any but real-time]
  virtual void Lock() = 0;
  /// Unlocks. Only for the thread that has locked it. [any but real-time]
  virtual void Unlock() = 0;
};

/// Threads and named mutexes.
class IPSModule_Thread {
 public:
  /// The revision of this interface: 1.
  virtual int GetRevision() const noexcept = 0;
  /// A number of the calling thread that no other living thread of the process has; never 0. [any]
  virtual std::uint64_t GetCurrentThreadID() const noexcept = 0;
  /// Lets another thread run. [any but real-time]
  virtual void YieldThread() noexcept = 0;
  /// Names the calling thread for debuggers; what the system finds too long is cut. Null is ignored. [any]
  virtual void SetCurrentThreadName(const char* iNameP) noexcept = 0;
  /// A new mutex object that the caller owns and deletes. iNameP: the name; null or empty: a mutex of its
  /// own. Null without memory. [any but real-time]
  virtual PSMutex* NewMutex(const char* iNameP) = 0;

 protected:
  ~IPSModule_Thread() = default;
};

/// The one module. It works during static initialisation and until the process is gone.
extern MLOX_EXPORT IPSModule_Thread* const gPSThread;
