// SPDX-License-Identifier: MIT
/// \file
/// What an input port receives, on its way to the thread that looks at it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "mlox/mlox_mididata.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace tool {

/// One message, or one piece of a system exclusive one.
struct ReceivedMessage {
  std::vector<std::uint8_t> mBytes;
  Mlox_InputID mInput;
  std::int64_t mTime = 0;  ///< microseconds of Sys_Clock
  Mlox_MidiData::ESysexState mSysexState = Mlox_MidiData::kNoSysex;
};

/// Copies what comes, in order. Any threads on both ends.
///
/// Where nobody takes, the newest messages are dropped once the queue is full, and then all until half of it
/// has been taken: there are few gaps, and long pieces without one.
class ReceivedQueue final : public Mlox_RawMidiReceiver {
 public:
  /// How many messages may wait to be taken: minutes of the densest that a cable carries.
  static constexpr std::size_t kMostMessages = 100'000;

  explicit ReceivedQueue(std::size_t iMostMessages = kMostMessages) : mMostMessages(iMostMessages) {}

  int ReceiveRawMidi(Mlox_MidiData* iDataP) override;

  /// The oldest message into oMessage; false when none came within the time, or when the queue was ended and
  /// is empty.
  bool Take(ReceivedMessage& oMessage, std::chrono::microseconds iTime);

  /// How many messages were dropped between the one taken last and the next; 0 when asked again.
  std::size_t TakeDropped();

  /// Whether it was ended and everything was taken.
  bool HasEnded();

  /// Wakes who waits; what is there can still be taken.
  void End();

 private:
  struct Waiting {
    ReceivedMessage mMessage;
    std::size_t mDroppedBefore;
  };

  const std::size_t mMostMessages;
  std::mutex mMutex;
  std::condition_variable mChanged;
  std::deque<Waiting> mMessages;
  std::size_t mDropped = 0;  // behind all that wait
  bool mIsDropping = false;
  bool mHasEnded = false;
};

}  // namespace tool
