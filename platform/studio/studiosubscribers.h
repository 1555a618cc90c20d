// SPDX-License-Identifier: MIT
/// \file
/// Those who are told of the studio's changes.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/studio/studiocore.h"

/// [any thread] No lock is held while a subscriber is called.
class Platform_StudioSubscribers {
 public:
  /// Tells it what has a higher number than iAfter. One with the id of another takes its place.
  HRESULT Register(const std::shared_ptr<IDirectMusicNotificationCallback>& iCallback, std::uint64_t iAfter);
  /// Returns when no call to it runs, except inside such a call, which then is the last. S_FALSE when nobody
  /// has the id.
  HRESULT Unregister(const OLECHAR* iID);
  /// Nobody is told anything from its return on: it waits for a call that runs, except inside that call,
  /// which then is the last.
  void Clear();
  /// Tells everybody. One thread at a time.
  void Deliver(const std::shared_ptr<Platform_StudioCore>& iCore,
               const std::deque<Platform_StudioNews>& iNews);

 private:
  struct Subscriber {
    std::string mID;
    std::shared_ptr<IDirectMusicNotificationCallback> mCallback;
    std::uint64_t mAfter = 0;
  };

  void Tell(const Subscriber& iSubscriber, const std::shared_ptr<IDirectMusicNotificationList>& iList);
  bool IsRegistered(const Subscriber& iSubscriber) const;

  mutable std::mutex mMutex;
  std::condition_variable mEnded;
  std::vector<Subscriber> mSubscribers;
  const IDirectMusicNotificationCallback* mRunning = nullptr;
  std::thread::id mThread;
};
