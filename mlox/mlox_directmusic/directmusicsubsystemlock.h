// SPDX-License-Identifier: MIT
/// \file
/// The one mutex of the hardware service.
#pragma once

/// Holds the mutex of the hardware service for a scope. It is recursive and lives as long as the process.
///
/// It covers the service's lists, every device and input with their lazy caches, the table of identifiers,
/// the cache of ports, the port activators, and the groups of the receive code. Order: this one, then the
/// studio's, then a driver's. It is never held while the receive thread is joined or the application is
/// called. On the path of a message only a write that needs a clock takes it, and only when no clock object
/// exists and one has to be made. [any but real-time]
class DirectMusicSubsystemLock {
 public:
  DirectMusicSubsystemLock();
  DirectMusicSubsystemLock(const DirectMusicSubsystemLock&) = delete;
  DirectMusicSubsystemLock& operator=(const DirectMusicSubsystemLock&) = delete;
  ~DirectMusicSubsystemLock();

  /// Whether the calling thread holds it. [any]
  static bool IsHeldByThisThread();
};
