// SPDX-License-Identifier: MIT
/// \file
/// The queue from which a plug-in pulls its MIDI, once per audio block.
#pragma once

#include <cstdint>

#include "cmn/iqcfunknown.h"

class IDirectMIDIMessage;

/// A plug-in's buffered delivery. Part of the binary interface to plug-ins: the order of operations is
/// frozen.
///
/// The last Release: [any but real-time] It frees memory. It may meet a write, and the end of the node.
class IDirectMIDIBufferedDelivery : public IQCFUnknown {
 public:
  /// The next message of the block from iStartSample to iEndSample, both inclusive, or null when the block
  /// has no more. Pull until null: immediate messages come first, then timed ones in order of time. A late
  /// message is given at once and takes the time of the message before it, which can lie before the block.
  ///
  /// [audio] One reader at a time: a second one gets null at once. Never locks, waits or allocates. The
  /// result carries one reference, which the caller drops by Release before the next pull.
  virtual IDirectMIDIMessage* GetNextMessageInSampleRange(int64_t iStartSample, int64_t iEndSample) = 0;

  /// {E59D7665-2A48-11D6-8069-00025520EAA6}
  static constexpr _qcfUID kUID = {
      0xE59D7665, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};

 protected:
  // Holders call Release. A virtual destructor would take slots of the table.
  ~IDirectMIDIBufferedDelivery() = default;
};
