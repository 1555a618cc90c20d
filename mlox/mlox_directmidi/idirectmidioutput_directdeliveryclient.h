// SPDX-License-Identifier: MIT
/// \file
/// What a plug-in implements to be called for each message as it is written.
#pragma once

class IDirectMIDIMessage;

/// The receiving end of a direct delivery, implemented by the plug-in. Part of the binary interface to
/// plug-ins: its first slot is the one operation, with no destructor in front.
class IDirectMIDIOutput_DirectDeliveryClient {
 public:
  /// One message, on the writer's thread, as soon as it is written and whatever its time is.
  ///
  /// [writer] Possibly on several threads at once. iMessageP lives on the caller's stack: call its Release
  /// exactly once before returning, and keep nothing of it. Don't wait for the main thread in here.
  virtual void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) = 0;

 protected:
  // The library never deletes a client. A virtual destructor would take slots of the table.
  ~IDirectMIDIOutput_DirectDeliveryClient() = default;
};
