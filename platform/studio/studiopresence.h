// SPDX-License-Identifier: MIT
/// \file
/// What is plugged in, as a root tells it.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "mlox/mlox_directmusic/portnamerules.h"
#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/presence.h"
#include "platform/studio/studiocore.h"

/// Follows the ports of a root, through its private interface, or by asking it where it has none. Prohibited
/// ports, of either direction, are as if they were not there.
class Platform_StudioPresence final : private Platform_PresenceWatcher {
 public:
  /// \param iRootP may be null: then nothing is there. A reference is kept.
  Platform_StudioPresence(std::shared_ptr<Platform_StudioCore> iCore, IDirectMusic8* iRootP);
  Platform_StudioPresence(const Platform_StudioPresence&) = delete;
  Platform_StudioPresence& operator=(const Platform_StudioPresence&) = delete;
  ~Platform_StudioPresence() override;

  /// Takes over what is there now, on this thread, and follows it from then on.
  void Start();
  /// Returns when nothing more is taken over, and the root is let go. Poll does nothing from then on.
  void Stop();
  /// Whether Poll must be called from time to time.
  [[nodiscard]] bool NeedsPolling() const { return mIsPolled; }
  /// Asks the root what is there.
  void Poll();
  /// Has the root settle the identities of cards again. Also before Start, which makes no difference then,
  /// and after Stop, when it does nothing. [any thread]
  void SettleIdentities();

 private:
  void LetGo();
  void PresenceChanged(const std::vector<Platform_PresentPort>& iPorts) override;

  const std::shared_ptr<Platform_StudioCore> mCore;
  IDirectMusic8* mRootP;  ///< under mPolling once started
  const PortNameTable mTable;
  IPlatformPresence* mPresenceP = nullptr;  ///< likewise
  bool mIsPolled = false;
  std::mutex mPolling;
  /// What marks emulated ports here, once a port has shown it. Only system drivers do: none of our own.
  std::string mSuffix;
};
