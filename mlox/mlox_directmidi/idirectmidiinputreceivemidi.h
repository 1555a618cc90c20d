// SPDX-License-Identifier: MIT
/// \file
/// Where a plug-in pushes the MIDI that it produces. Slot order is frozen.
#pragma once

#include <cstdint>

#include "cmn/iqcfunknown.h"

/// The receiving half of a client input. A call goes straight through to the application's receiver, on the
/// caller's thread: no queue, no copy, no allocation, no lock.
class IDirectMIDIInputReceiveMIDI : public IQCFUnknown {
 public:
  /// Hands bytes to the connected receiver. [audio]
  /// \param iDataP       the bytes, which must stay valid until the call returns; they aren't copied.
  /// \param iLength      number of bytes.
  /// \param iSampleTime  sample time of the bytes, or -1 for none.
  /// \return true if a receiver is connected and took the bytes; false if none is, or if it refused them.
  virtual bool ReceiveMIDI(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime) = 0;

  /// As ReceiveMIDI, marked for the receiver by the sysex state 5. [audio]
  virtual bool ReceiveMIDISpecial(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime) = 0;

  /// {2CC1E8D2-9424-11DA-A72B-0800200C9A66}
  static constexpr _qcfUID kUID = {
      0x2CC1E8D2, 0x9424, 0x11DA, {0xA7, 0x2B, 0x08, 0x00, 0x20, 0x0C, 0x9A, 0x66}};

 protected:
  ~IDirectMIDIInputReceiveMIDI() = default;  // plug-ins release, they can't delete
};
