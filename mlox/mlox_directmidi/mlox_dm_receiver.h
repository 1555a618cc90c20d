// SPDX-License-Identifier: MIT
/// \file
/// The receiving half of a plug-in input.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmidi/idirectmidiinputreceivemidi.h"
#include "mlox/mlox_inputid.h"
#include "mlox/mlox_mididata.h"

class Mlox_RawMidiReceiver;

/// Wraps bytes of the plug-in into a record on the stack and calls the application's receiver, if one is
/// connected.
///
/// Nothing is queued, copied or allocated, and no lock is taken. Connecting and disconnecting don't wait for
/// a call in progress: a receiver must stand one more call around its disconnection.
class MLOX_EXPORT Mlox_DM_Receiver : public IDirectMIDIInputReceiveMIDI {
 public:
  /// Sysex state of what comes through ReceiveMIDISpecial. No classification is made here, and none of the
  /// states of `Mlox_SetSysexState` has this value.
  static constexpr auto kSpecialSysexState = static_cast<Mlox_MidiData::ESysexState>(5);

  Mlox_DM_Receiver(const Mlox_DM_Receiver&) = delete;
  Mlox_DM_Receiver& operator=(const Mlox_DM_Receiver&) = delete;

  bool ReceiveMIDI(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime) override;
  bool ReceiveMIDISpecial(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime) override;

  virtual ~Mlox_DM_Receiver();

  /// Sends what comes from now on to a receiver, which isn't owned; it replaces the one before. [main]
  virtual void Connect(Mlox_RawMidiReceiver* iReceiverP);
  /// Discards what comes from now on. [main]
  virtual void Disconnect();
  /// Which input the bytes come from; constant. [any]
  virtual Mlox_InputID GetInputID() const = 0;

 protected:
  Mlox_DM_Receiver() = default;

 private:
  bool Receive(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime,
               Mlox_MidiData::ESysexState iSysexState);

  std::atomic<Mlox_RawMidiReceiver*> mRawMidiReceiverP{nullptr};
};
