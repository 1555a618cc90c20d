// SPDX-License-Identifier: MIT
/// \file
/// What goes out of one JACK port: from the thread that sends to the process callback.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/directmusic/jack/jack_cycle.h"
#include "platform/directmusic/jack/jack_ring.h"

/// The way of messages from the thread that sends into the cycles that hold their times. All memory is taken
/// when the lane is made.
class Platform_JackOutputLane {
 public:
  /// The most that goes into one cycle; the rest goes into the next. PipeWire takes more than 1,360 events,
  /// says for each that all is well, and delivers none of them.
  static constexpr std::size_t kMostEvents = 512;
  static constexpr std::size_t kMostBytes = 8192;

  /// Puts one event into the port's buffer; false when that has no room.
  using WriteEvent = bool (*)(void* iBufferP, std::uint32_t iFrame, const std::uint8_t* iBytes,
                              std::size_t iLength);

  Platform_JackOutputLane();

  /// \name One sender at a time
  /// @{
  /// Hands a message on; false when the lane is full. A time that has passed counts as now, which keeps such
  /// messages in order of sending. Wait-free.
  bool Send(std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength);
  /// The same for a caller that has just read Sys_Clock.
  bool SendNow(std::int64_t iNow, std::int64_t iTime, const std::uint8_t* iBytes, std::size_t iLength);
  /// Takes back what has not reached the server.
  void Drop();
  /// @}

  /// Plays what this cycle holds and what is late. [process callback] Wait-free.
  void Process(const Platform_JackCycle& iCycle, WriteEvent iWrite, void* iBufferP) noexcept;

  /// Messages that were sent, neither dropped nor played. [any thread, once no process callback comes any
  /// more]
  std::uint64_t Unplayed() const;

 private:
  static constexpr std::size_t kRingBytes = std::size_t{1} << 17;
  // As many as the ring can hold, so that the heap never is what has no room.
  static constexpr std::size_t kMostWaiting = Platform_JackRing::MostRecords(kRingBytes);

  // A message that was taken out of the ring and waits for its cycle; its bytes stay in the ring.
  struct Waiting {
    Platform_JackRing::Record mRecord;
    std::uint64_t mOrder = 0;
  };
  static bool IsLater(const Waiting& iLeft, const Waiting& iRight);

  void TakeIn() noexcept;
  void FinishFirst() noexcept;
  bool PlayFirst(const Platform_JackCycle& iCycle, WriteEvent iWrite, void* iBufferP) noexcept;

  Platform_JackRing mRing;
  // The sender's.
  std::atomic<std::uint64_t> mSent{0};
  // Messages of a lower order are dropped.
  std::atomic<std::uint64_t> mDropBelow{0};

  // The process callback's: a heap by time, then order.
  const std::unique_ptr<Waiting[]> mHeap;
  std::size_t mHeapSize = 0;
  std::uint64_t mNextOrder = 0;
  // How many were played since the drop that was seen last; read when no callback comes any more.
  std::atomic<std::uint64_t> mSeenDrop{0};
  std::atomic<std::uint64_t> mPlayedSinceDrop{0};
  std::size_t mEventsInCycle = 0;
  std::size_t mBytesInCycle = 0;
};
