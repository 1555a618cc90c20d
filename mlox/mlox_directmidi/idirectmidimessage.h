// SPDX-License-Identifier: MIT
/// \file
/// One MIDI message as a plug-in sees it.
#pragma once

#include <cstdint>

#include "cmn/iqcfunknown.h"

/// A view of one MIDI message. Part of the binary interface to plug-ins: the order of operations is frozen.
///
/// The delivery hands out one and the same object for every message: use it until Release, and call Release
/// before asking for the next message. All operations: [audio], on the thread that was given the message.
/// None allocates or locks.
class IDirectMIDIMessage : public IQCFUnknown {
 public:
  /// Bytes of the message, 0 when the message is empty.
  virtual int32_t GetMessageLength() = 0;

  /// Copies the whole message to oBuffer, which holds at least GetMessageLength() bytes. A channel message
  /// carries the channel of the output that it was written to. Writes nothing when the message is empty.
  virtual void GetMessageData(signed char* oBuffer) = 0;

  /// Copies iCount bytes from byte iOffset of the message, fewer where the message ends before that. Writes
  /// nothing when the message is empty, iCount isn't above 0 or iOffset lies outside the message.
  virtual void GetPartialMessageData(signed char* oBuffer, int32_t iOffset, int32_t iCount) = 0;

  /// When the message is due, in samples; -1 for an immediate message of a direct delivery; 0 when empty.
  virtual int64_t GetSampleTime() = 0;

  /// {E59D7664-2A48-11D6-8069-00025520EAA6}
  static constexpr _qcfUID kUID = {
      0xE59D7664, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};

 protected:
  // Holders call Release. A virtual destructor would take slots of the table.
  ~IDirectMIDIMessage() = default;
};
