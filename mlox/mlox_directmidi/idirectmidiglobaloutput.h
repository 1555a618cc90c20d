// SPDX-License-Identifier: MIT
/// \file
/// A plug-in's handle on an output for the transport streams of the application. Slot order is frozen.
#pragma once

#include "cmn/iqcfunknown.h"

/// Chooses among click, MIDI beat clock and MIDI time code. Delivery is set up through
/// `IDirectMIDIOutputDeliverySetup` of the same object, before it is connected to anything.
/// [main] All operations belong to the application's main thread.
class IDirectMIDIGlobalOutput : public IQCFUnknown {
 public:
  /// Connects to the click, or disconnects. A new output receives nothing. [main]
  virtual void SetReceivesClick(bool iReceives) = 0;

  /// Connects to the MIDI beat clock, or disconnects. [main]
  virtual void SetReceivesMidiBeatClock(bool iReceives) = 0;

  /// Connects to the MIDI time code, or disconnects. [main]
  virtual void SetReceivesMTC(bool iReceives) = 0;

  /// {E59D7667-2A48-11D6-8069-00025520EAA6}
  static constexpr _qcfUID kUID = {
      0xE59D7667, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};

 protected:
  ~IDirectMIDIGlobalOutput() = default;  // plug-ins release, they can't delete
};
