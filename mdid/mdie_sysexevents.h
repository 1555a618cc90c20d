// SPDX-License-Identifier: MIT
/// \file
/// System exclusive messages, and packets of raw bytes.
#pragma once

#include "mdid/mdie_event.h"

/// A system exclusive message of any length. Up to 78 bytes lie in the record (tag 14), more in a block of
/// its own from the shared pool (tag 15).
class MLOX_EXPORT Mdie_SysexEvent : public Mdie_Event {
 public:
  /// As `SetData`. Afterwards a tag that is neither 14 nor 15 is reported: there was no block for the bytes.
  Mdie_SysexEvent(int iLength, const unsigned char* iData);

  /// Stores a copy of `iLength` bytes, 0xF0 and 0xF7 included if they are to be sent: bytes are stored as
  /// they are. Any block held before is freed, and `iData` may lie in it. A length below 1 or a null pointer
  /// leaves an empty short sysex (tag 14, no bytes), which turns into no message. If no block is to be had
  /// for a long one, that is reported and the record becomes `kNoEvent`.
  void SetData(int iLength, const unsigned char* iData);

  /// Number of bytes held.
  int GetLength() const { return SysexLength(); }
  /// The bytes, or null if there are none. They live until the record changes.
  const unsigned char* GetData() const { return SysexData(); }
};
static_assert(kMdie_IsEventView<Mdie_SysexEvent>);

/// A few raw bytes that go out as one message: a piece of a system exclusive stream, or a message that no
/// other class carries, such as a channel mode message (controllers 120 to 127).
class MLOX_EXPORT Mdie_SysexPacketEvent : public Mdie_Event {
 public:
  /// The most bytes that a packet holds.
  static constexpr int kMaxLength = kInlineSysexBytes;

  /// Stores a copy of `iLength` bytes. A length below 0 or above `kMaxLength` is reported; it, a length of 0
  /// and a null pointer leave a packet without bytes, which turns into no message. (Half a message is worse
  /// than none.)
  Mdie_SysexPacketEvent(int iLength, const unsigned char* iData);

  /// Number of bytes held.
  int GetLength() const { return SysexLength(); }
  /// The bytes, or null if there are none. They live until the record changes.
  const unsigned char* GetData() const { return SysexData(); }
};
static_assert(kMdie_IsEventView<Mdie_SysexPacketEvent>);
