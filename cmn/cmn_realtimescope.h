// SPDX-License-Identifier: MIT
/// \file
/// Marks on the calling thread: real-time work, and stretches out of which no report may throw.
#pragma once

#include "cmn/cmn_export.h"

/// Marks the calling thread as real-time for its lifetime: failed checks are then noted in a ring, for the
/// handler or standard error to get them from another thread, and never throw. In mode kAbort alone one
/// prints at once and ends the process. Scopes nest. [any] Wait-free.
class MLOX_EXPORT Cmn_RealTimeScope {
 public:
  Cmn_RealTimeScope() noexcept;
  ~Cmn_RealTimeScope();
  Cmn_RealTimeScope(const Cmn_RealTimeScope&) = delete;
  Cmn_RealTimeScope& operator=(const Cmn_RealTimeScope&) = delete;

  /// Whether the calling thread is inside such a scope. [any] Wait-free.
  static bool IsActive() noexcept;
};

/// Keeps failed checks of the throwing form from throwing on the calling thread for its lifetime: they report
/// and return. For code that would be left half done by an exception: a pull, the clearing of queues, a
/// destructor. Scopes nest. [any] Wait-free.
class MLOX_EXPORT Cmn_NoThrowScope {
 public:
  Cmn_NoThrowScope() noexcept;
  ~Cmn_NoThrowScope();
  Cmn_NoThrowScope(const Cmn_NoThrowScope&) = delete;
  Cmn_NoThrowScope& operator=(const Cmn_NoThrowScope&) = delete;

  /// Whether the calling thread is inside such a scope. [any] Wait-free.
  static bool IsActive() noexcept;
};
