// SPDX-License-Identifier: MIT
/// \file
/// The studio's one thread: it alone touches the file, and it alone tells subscribers.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/studio/studiocore.h"
#include "platform/studio/studiodatabase.h"
#include "platform/studio/studiosubscribers.h"

/// What the studio serves.
enum class Platform_StudioUse {
  kPlaying,  ///< a program that goes on, with changes in memory, whatever the file is like
  kEdits,    ///< one that ends after a change: what isn't in the file is lost
};

/// Reads the file, writes what is queued, looks four times a second whether another process has changed it,
/// delivers news, and polls a root that doesn't tell of changes. Shared, since its thread may outlive the
/// studio for as long as the file takes.
class Platform_StudioWorker : public std::enable_shared_from_this<Platform_StudioWorker> {
 public:
  Platform_StudioWorker(std::shared_ptr<Platform_StudioCore> iCore,
                        std::shared_ptr<Platform_StudioSubscribers> iSubscribers, const std::string& iPath,
                        Platform_StudioUse iUse = Platform_StudioUse::kPlaying);
  Platform_StudioWorker(const Platform_StudioWorker&) = delete;
  Platform_StudioWorker& operator=(const Platform_StudioWorker&) = delete;
  ~Platform_StudioWorker();

  /// \param iPoll called on the thread at each look; may be empty
  /// \param iSettle called on the thread when the file has been read for the first time
  void Start(std::function<void()> iPoll, std::function<void()> iSettle);
  /// Waits for the first attempt at reading the file, whatever its end.
  void WaitForFirstTry(std::chrono::milliseconds iTime);
  /// Waits until the file has been read; false when there is trouble with it, or after the time.
  bool WaitUntilRead(std::chrono::milliseconds iTime);
  /// Ends it: what is queued is tried once more. Waits at most that long; a thread that takes longer ends by
  /// itself, and the process waits for it when it ends. Clear the subscribers first: it may be telling them.
  void Stop(std::chrono::milliseconds iTime);
  [[nodiscard]] std::string Trouble() const;

  /// Ends those that still run. Called when the process ends.
  static void StopAll();

 private:
  using Clock = std::chrono::steady_clock;

  void Run();
  void Round();
  void Step();
  Platform_StudioStanding OpenAndRead();
  void TakeOver(Platform_StudioContents iContents);
  void Read();
  void WriteChanges();
  bool WriteSome();
  void Finish();
  void Settle(Platform_StudioStanding iStanding);
  [[nodiscard]] const char* WhatBecomesOfChanges() const;
  void SetAside();
  void SetTrouble(Platform_StudioStanding iStanding, const std::string& iText);
  [[nodiscard]] bool WaitUntilDone(std::chrono::milliseconds iTime);

  const std::shared_ptr<Platform_StudioCore> mCore;
  const std::shared_ptr<Platform_StudioSubscribers> mSubscribers;
  Platform_StudioDatabase mDatabase;
  const Platform_StudioUse mUse;
  std::function<void()> mPoll;
  std::function<void()> mSettle;
  std::thread mThread;
  std::atomic<bool> mStop{false};
  std::atomic<bool> mIsHurried{false};

  // The thread's own.
  Clock::time_point mNextTry{};
  Clock::time_point mNextPoll{};
  Clock::time_point mBusySince{};
  Platform_StudioStanding mStanding = Platform_StudioStanding::kGood;

  mutable std::mutex mMutex;
  std::condition_variable mChanged;
  bool mHasTried = false;
  bool mHasRead = false;
  bool mIsDone = false;
  std::string mTrouble;
};
