// SPDX-License-Identifier: MIT
/// \file
/// The real-time side of a JACK client: its cycles, their times, and the ways that each cycle serves.
#pragma once

#include <jack/types.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/directmusic/jack/jack_way.h"

/// What the process callback does, and what others tell it. Nothing in Process locks, allocates or enters the
/// system but for the write that wakes a reader.
class Platform_JackEngine {
 public:
  /// \name The session's thread
  /// @{
  /// Begins with a new client: its rate in frames a second, its period in frames.
  void Reset(std::uint32_t iRate, std::uint32_t iFrames);
  /// Serves a way from the next cycle on. False when there are too many.
  bool Add(Platform_JackWay* iWayP);
  /// Serves it no more. \returns false when a callback may still hold it, since it does not end.
  bool Remove(Platform_JackWay* iWayP);
  /// Waits until the callback that runs now, if one does, has ended; false when it does not end.
  bool WaitForEnd() const;
  /// Forgets all ways; only when no callback comes any more.
  void Clear();
  /// Waits until whole cycles have run; not for ever, since a server may stand still.
  /// \param iIsOver set when no cycle comes any more
  void WaitForCycles(int iCount, std::chrono::milliseconds iPatience, const std::atomic<bool>& iIsOver) const;
  /// How far Sys_Clock is ahead of the server's clock, in microseconds.
  void SetClockOffset(std::int64_t iOffset) { mClockOffset.store(iOffset); }
  /// @}

  /// \name libjack's callbacks, any thread
  /// @{
  void SetFreewheel(bool iRuns) { mFreewheels.store(iRuns); }
  void SetRate(std::uint32_t iRate);
  /// @}

  /// \param iClientP the client whose callback this is.
  void Process(jack_client_t* iClientP, std::uint32_t iFrames) noexcept;

  /// The length of a period in microseconds, rounded up. [any thread]
  std::int64_t PeriodMicroseconds() const;

 private:
  static constexpr std::size_t kMostWays = 512;

  Platform_JackCycle CycleOf(jack_client_t* iClientP, std::uint32_t iFrames) noexcept;
  Platform_JackCycle FreewheelCycle(std::uint32_t iFrames) noexcept;

  std::array<std::atomic<Platform_JackWay*>, kMostWays> mWays{};
  std::atomic<std::size_t> mWaysInUse{0};
  // Odd while a callback runs. The callback raises it before it looks at a way; Remove takes the way out
  // before it looks at the count. Both in one total order, so one of the two sees the other.
  std::atomic<std::uint64_t> mCycles{0};
  std::atomic<std::int64_t> mClockOffset{0};
  std::atomic<bool> mFreewheels{false};
  std::atomic<std::uint32_t> mRate{48000};
  std::atomic<std::uint32_t> mFrames{0};
  // The callback's. Frames since the server began to run free, and when that was.
  bool mWasFreewheel = false;
  std::uint64_t mFreeFrames = 0;
  std::int64_t mFreeSince = 0;
  std::int64_t mLastEnd = 0;
};
