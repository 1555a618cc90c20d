// SPDX-License-Identifier: MIT
/// \file
/// The relation of the system's clock and DirectMusic's.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "platform/directmusic/directmusic.h"

/// Relates Sys_Clock::Microseconds and DirectMusic's master clock by a running least-squares line.
///
/// There is one object at a time, counted: Acquire and Release come in pairs. When the count reaches 0 the
/// object goes, and the next Acquire makes a new one. The line is refitted at most once in 100 ms, and only
/// when someone asks; one thread refits, the others go on with the line as it was. Until a second reading has
/// been taken the quotient isn't a number, and a conversion gives the lowest number there is, which every
/// port plays at once. [any but real-time]
class DirectMusicClockSync {
 public:
  /// What a conversion gives when the line yields no number, or none that fits.
  static constexpr std::int64_t kNoTime = INT64_MIN;

  /// The object with its count raised. Without a DirectMusic root, or if that has no clock, the object has no
  /// clock for as long as it lives.
  static DirectMusicClockSync* Acquire();
  /// Gives one Acquire back; the pointer is no longer the caller's.
  void Release();

  /// Microseconds of Sys_Clock as reference time, in 100 ns units.
  std::int64_t MicrosecondsToReferenceTime(std::int64_t iMicroseconds);
  /// And back.
  std::int64_t ReferenceTimeToMicroseconds(std::int64_t iReferenceTime);
  /// How far the port's latency clock runs ahead of the master clock, in 100 ns units; 0 without a clock or a
  /// port.
  std::int64_t MeasureLatency(IDirectMusicPort* iPortP);
  /// Takes a reading if the last is 100 ms old.
  void Update();

  DirectMusicClockSync(const DirectMusicClockSync&) = delete;
  DirectMusicClockSync& operator=(const DirectMusicClockSync&) = delete;

 private:
  friend struct Test_DirectMusicClockSyncAccess;

  // The sums of the line: X the microseconds, Y the reference time.
  struct Fit {
    double mCount = 0.0;
    double mMeanMicroseconds = 0.0;
    double mMeanReferenceTime = 0.0;
    double mSumXY = 0.0;
    double mSumXX = 0.0;
    double mSumYY = 0.0;
  };

  // What a conversion reads, published by one thread and read by any without waiting: the version is odd
  // while it changes, and a reader that saw a change begins again.
  class PublishedFit {
   public:
    void Store(const Fit& iFit);
    Fit Load() const;

   private:
    std::atomic<std::uint32_t> mVersion{0};
    std::atomic<double> mMeanMicroseconds{0.0};
    std::atomic<double> mMeanReferenceTime{0.0};
    std::atomic<double> mSumXY{0.0};
    std::atomic<double> mSumXX{0.0};
    std::atomic<double> mSumYY{0.0};
  };

  DirectMusicClockSync();
  ~DirectMusicClockSync();

  void TakeReading(std::int64_t iFirst, std::int64_t iSecond);

  IDirectMusic8* mDirectMusicP = nullptr;
  IReferenceClock* mMasterClockP = nullptr;
  std::int32_t mRefCount = 0;  // under the mutex of the object's making
  std::mutex mRefitMutex;
  std::int64_t mLastUpdate = 0;  // these two under mRefitMutex
  Fit mFit;
  PublishedFit mPublished;
};

/// Holds an acquired clock for a scope.
struct DirectMusicClockSyncReleaser {
  void operator()(DirectMusicClockSync* ioClockP) const { ioClockP->Release(); }
};
using DirectMusicClockSyncPtr = std::unique_ptr<DirectMusicClockSync, DirectMusicClockSyncReleaser>;
