// SPDX-License-Identifier: MIT
/// \file
/// How a plug-in chooses the way in which MIDI reaches it.
#pragma once

#include <cstdint>

#include "cmn/iqcfunknown.h"

class IDirectMIDIBufferedDelivery;
class IDirectMIDIOutput_DirectDeliveryClient;

/// The delivery choices of one output node. Part of the binary interface to plug-ins: the order of operations
/// is frozen.
///
/// [main] All operations: one thread at a time for each node, the one that sets the plug-in up.
/// SetDirectDelivery and SetBufferedDelivery may also be called by a client inside its own
/// ReceiveDirectMessage, whichever thread that is on.
class IDirectMIDIOutputDeliverySetup : public IQCFUnknown {
 public:
  /// How many samples before its due time the plug-in needs an event. Above 0 the output is time-stamped.
  virtual void SetAdvanceScheduleRequirement(int32_t iSamples) = 0;

  /// How many samples of delay the plug-in adds to all timed events to take out jitter.
  virtual void SetZeroJitterDelay(int32_t iSamples) = 0;

  /// From now on iClientP is called for every message. Null: writes go nowhere, even if a buffered delivery
  /// exists, which stays valid for pulls. The client must live until it is replaced and no write is in
  /// progress.
  virtual void SetDirectDelivery(IDirectMIDIOutput_DirectDeliveryClient* iClientP) = 0;

  /// From now on writes go to a new queue, which is returned with one reference for the caller. An earlier
  /// queue stays valid for pulls and gets no more writes. Null, after a report, when the node has outlived
  /// its service.
  virtual IDirectMIDIBufferedDelivery* SetBufferedDelivery() = 0;

  /// {E59D7668-2A48-11D6-8069-00025520EAA6}
  static constexpr _qcfUID kUID = {
      0xE59D7668, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};

 protected:
  // Holders call Release. A virtual destructor would take slots of the table.
  ~IDirectMIDIOutputDeliverySetup() = default;
};
