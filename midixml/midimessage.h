// SPDX-License-Identifier: MIT
/// \file
/// A string of MIDI command bytes, short ones without a heap block.
#pragma once

#include <cstdint>

#include "midixml/sharedobject.h"

namespace midixml {

/// Command bytes: real MIDI bytes mixed with private records that 0xFF leads.
///
/// Up to eight bytes, enough for a bank select pair or a program change, lie in the object itself. Longer
/// ones lie in a counted body that copies share.
class MLOX_EXPORT MIDIMessage {
 public:
  MIDIMessage() = default;
  MIDIMessage(const MIDIMessage& iOther);
  MIDIMessage(MIDIMessage&& iOther) noexcept;
  ~MIDIMessage();
  MIDIMessage& operator=(const MIDIMessage& iOther);
  MIDIMessage& operator=(MIDIMessage&& iOther) noexcept;

  /// Becomes exactly these bytes. A length below 1 leaves nothing.
  void Set(int32_t iLength, const void* iBytesP);

  /// Puts bytes behind those that are there. A body that other messages share is left to them.
  void Append(int32_t iLength, const void* iBytesP);

  /// Number of bytes.
  int32_t GetLength() const { return mLength; }
  /// The bytes, valid until the next change of this message.
  const uint8_t* GetData() const;
  /// True if the bytes lie in a body of their own and not in the object.
  bool IsLarge() const { return mLength > kInlineCapacity; }

 private:
  class LargeMessage;

  static constexpr int32_t kInlineCapacity = 8;

  void ReleaseLarge();
  uint8_t* GrowTo(int32_t iLength);

  int32_t mLength = 0;
  union {
    uint8_t mInline[kInlineCapacity];
    LargeMessage* mLargeP;
  } mU = {};
};

static_assert(sizeof(MIDIMessage) == 16, "a length and eight bytes");

}  // namespace midixml
