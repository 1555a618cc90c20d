// SPDX-License-Identifier: MIT
/// \file
/// What keeps the rounds of the thread that writes trace lines and the forks of the application apart.
#pragma once

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>

/// One round or one fork at a time, forks first, and no fork waits long.
///
/// A fork says that it wants in; the round then ends with the line under way, and none begins before the fork
/// is through. But the line under way may take any time, where nobody reads the pipe that it goes to: after
/// kForkPatience a fork goes ahead without. So a child's copy of the log may hold lines, and the child must
/// let go of them whether its fork was in or not.
///
/// In a child the gate stays as it was: nobody goes through it again.
class QuilTrace_Gate {
 public:
  /// How long a fork waits for the end of a round, and a round for forks that follow each other.
  static constexpr std::chrono::milliseconds kForkPatience{100};

  /// iPatience: for tests, which may have to wait for a machine that has much else to do.
  constexpr explicit QuilTrace_Gate(std::chrono::milliseconds iPatience = kForkPatience)
      : mPatience(iPatience) {}
  QuilTrace_Gate(const QuilTrace_Gate&) = delete;
  QuilTrace_Gate& operator=(const QuilTrace_Gate&) = delete;

  /// Begins a round, behind the forks that wait. [the thread that writes]
  void EnterRound() {
    // A mutex alone would be taken again at once by the thread that has just given it back.
    const auto end = std::chrono::steady_clock::now() + mPatience;
    while (IsForkWaiting() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(kMoment);
    mMutex.lock();
  }
  /// Ends a round. [the thread that writes]
  void LeaveRound() { mMutex.unlock(); }
  /// Whether a round shall end with the line under way. [any]
  bool IsForkWaiting() const noexcept { return mWaiting.load(std::memory_order_acquire) != 0; }

  /// Begins a fork, after kForkPatience at the latest. Whether no round is under way. [any]
  bool EnterFork() {
    mWaiting.fetch_add(1, std::memory_order_acq_rel);
    const auto end = std::chrono::steady_clock::now() + mPatience;
    bool isIn = mMutex.try_lock();
    while (!isIn && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kMoment);
      isIn = mMutex.try_lock();
    }
    mWaiting.fetch_sub(1, std::memory_order_acq_rel);
    if (isIn) mHolder.store(Self(), std::memory_order_release);
    return isIn;
  }
  /// Ends the fork that this thread has begun, in the parent. [any]
  void LeaveFork() {
    if (mHolder.load(std::memory_order_acquire) != Self()) return;  // it went ahead without
    mHolder.store(0, std::memory_order_release);
    mMutex.unlock();
  }

 private:
  static constexpr std::chrono::microseconds kMoment{500};

  static std::uint64_t Self() { return static_cast<std::uint64_t>(pthread_self()); }

  const std::chrono::milliseconds mPatience;
  std::mutex mMutex;
  std::atomic<int> mWaiting{0};           // forks that want in
  std::atomic<std::uint64_t> mHolder{0};  // the thread whose fork has the mutex
};
