// SPDX-License-Identifier: MIT
/// \file
/// What comes in at one JACK port: from the process callback to the thread that reads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/directmusic/driver.h"
#include "platform/directmusic/jack/jack_ring.h"
#include "platform/directmusic/midisplitter.h"
#include "platform/directmusic/timedmessage.h"

/// The way of events from the process callback to one reader, and the descriptor that tells the reader. All
/// memory that the callback needs is taken when the lane is made.
class Platform_JackInputLane {
 public:
  Platform_JackInputLane();
  ~Platform_JackInputLane();
  Platform_JackInputLane(const Platform_JackInputLane&) = delete;
  Platform_JackInputLane& operator=(const Platform_JackInputLane&) = delete;

  /// \name The process callback, wait-free; of all system calls, Wake alone makes one: it wakes the reader
  /// @{
  /// Takes one event; one longer than kPlatform_MaxPiece is cut.
  void Arrive(const std::uint8_t* iBytes, std::size_t iLength) noexcept;
  /// Counts pieces that the server itself has lost.
  void CountLost(std::uint32_t iPieces) noexcept;
  /// Tells the reader of what arrived in this cycle.
  void Wake() noexcept;
  /// @}

  /// \name One reader at a time
  /// @{
  /// The oldest whole message or piece; false when there is none.
  bool Read(Platform_Piece& oPiece);
  /// Whether messages wait that the descriptor does not show.
  bool HasBuffered() const { return !mCut.IsEmpty(); }
  /// @}

  /// Readable while something waits in the ring. [any thread]
  int Descriptor() const { return mDescriptor; }
  /// Pieces that found no room. [any thread]
  std::uint64_t Lost() const { return mLost.load(std::memory_order_relaxed); }

 private:
  void Put(const std::uint8_t* iBytes, std::size_t iLength) noexcept;
  void LowerWhenEmpty(bool iFoundSome);
  bool TakeCut(Platform_Piece& oPiece);
  bool IsWhole(const std::uint8_t* iBytes, std::size_t iLength);
  void Cut(const std::uint8_t* iBytes, std::size_t iLength);

  const int mDescriptor;
  Platform_JackRing mRing;
  // Whether the descriptor has been raised for what waits.
  std::atomic<bool> mIsRaised{false};
  std::atomic<std::uint64_t> mLost{0};
  // The process callback's: something came that the reader has not been told of; a system exclusive message
  // lost a piece, and the rest of it would only look like a whole one.
  bool mHasArrived = false;
  bool mSkipsSysex = false;
  // The reader's.
  bool mInsideSysex = false;
  Platform_MidiSplitter mSplitter;
  Platform_MessageList mCut;
};
