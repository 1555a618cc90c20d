// SPDX-License-Identifier: MIT
/// \file
/// What an input port receives, on its way to the thread that looks at it.
#pragma once

#include <chrono>
#include <condition_variable>
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
class ReceivedQueue final : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override;

  /// The oldest message into oMessage; false when none came within the time, or when the queue was ended and
  /// is empty.
  bool Take(ReceivedMessage& oMessage, std::chrono::microseconds iTime);

  /// Whether it was ended and everything was taken.
  bool HasEnded();

  /// Wakes who waits; what is there can still be taken.
  void End();

 private:
  std::mutex mMutex;
  std::condition_variable mChanged;
  std::deque<ReceivedMessage> mMessages;
  bool mHasEnded = false;
};

}  // namespace tool
