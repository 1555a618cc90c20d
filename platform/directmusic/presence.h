// SPDX-License-Identifier: MIT
/// \file
/// What the library's own DirectMusic root tells beyond DirectMusic: which ports are really there. EnumPort
/// can't tell it, since an input that this process holds open stays in the list while its hardware is away.
#pragma once

#include <vector>

#include "platform/directmusic/durableguid.h"

#if !defined(_WIN32)

/// A port that is there, with its identity.
struct Platform_PresentPort {
  GUID mGuid;
  Platform_PortInfo mInfo;
};

/// Gets the list of the ports that are there, whenever it has changed: the first time on the thread of Watch,
/// later on the root's worker, after active ports whose hardware came back have been connected again. The
/// root holds its lock of reports meanwhile and no other. Watch and Unwatch wait for that one: called from
/// inside, they would wait for themselves.
class Platform_PresenceWatcher {
 public:
  virtual ~Platform_PresenceWatcher() = default;
  virtual void PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) = 0;
};

/// The root's private interface, reached by QueryInterface. [any thread but the root's worker]
struct IPlatformPresence : IUnknown {
  /// Gives the root what is known of cards with serial numbers; not owned, null takes it away. Before Watch.
  virtual void SetIdentityTable(Platform_IdentityTable* iTableP) = 0;
  /// Starts the drivers and reports the list now, on this thread, and every change from then on. Not owned.
  virtual void Watch(Platform_PresenceWatcher* iWatcherP) = 0;
  /// Ends it; returns when no report to the watcher runs.
  virtual void Unwatch(Platform_PresenceWatcher* iWatcherP) = 0;
  /// What the table answers has changed: all ports are identified again and watchers told, before this
  /// returns. A port that is held open follows its GUID to other hardware. Not from inside a watcher's call.
  virtual void IdentitiesChanged() = 0;

 protected:
  ~IPlatformPresence() = default;
};
inline constexpr IID IID_IPlatformPresence = {
    0x1B7E0C52, 0x94D3, 0x4F6A, {0x8C, 0x35, 0xE2, 0x1D, 0x7A, 0x60, 0xB4, 0x0F}};

#endif
