// SPDX-License-Identifier: MIT
/// \file
/// Traps for what an audio thread must not do: take memory, take a lock, enter the system.
#pragma once

#include <cstdint>
#include <functional>

/// What was caught on one thread while its traps were armed.
struct Test_TrapCounts {
  uint64_t mAllocations = 0;  ///< malloc and its kin, free included; operator new and delete end there.
  uint64_t mLocks = 0;        ///< Mutexes, read-write locks, spin locks, condition variables, semaphores.
  uint64_t mSystemCalls = 0;  ///< Only on a thread of Test_RunTrapped. Each was refused.
  long mLastSystemCall = -1;  ///< The number of the last one.

  bool operator==(const Test_TrapCounts&) const = default;
};

/// Arms the traps of memory and locks on the calling thread for its lifetime.
class Test_TrapScope {
 public:
  Test_TrapScope();
  ~Test_TrapScope();
  Test_TrapScope(const Test_TrapScope&) = delete;
  Test_TrapScope& operator=(const Test_TrapScope&) = delete;

  /// What was caught on this thread since the last Test_ClearTraps.
  static Test_TrapCounts Caught();
};

/// Forgets what was caught on this thread.
void Test_ClearTraps();

/// Runs iFunction on a fresh thread under a filter that refuses every system call but those that end the
/// thread, and with all traps armed, and returns what was caught. The filter can't be taken off a thread,
/// which is why it is a fresh one. Throws std::runtime_error if the filter can't be set.
Test_TrapCounts Test_RunTrapped(const std::function<void()>& iFunction);
