// SPDX-License-Identifier: MIT
/// \file
/// The step from the receive thread to the application.
#pragma once

#include <atomic>
#include <memory>

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmusic/idirectmusicmidireceivecallback.h"
#include "mlox/mlox_mididata.h"

/// Hands records to the raw receiver of one application port and classifies the pieces of system exclusive
/// messages. One classifier for each port, on purpose: pieces from two inputs that arrive interleaved disturb
/// each other's classes.
class MLOX_EXPORT Mlox_DirectMusic_MIDIReceiveCallback : public IDirectMusicMIDIReceiveCallback {
 public:
  Mlox_DirectMusic_MIDIReceiveCallback() = default;
  Mlox_DirectMusic_MIDIReceiveCallback(const Mlox_DirectMusic_MIDIReceiveCallback&) = delete;
  Mlox_DirectMusic_MIDIReceiveCallback& operator=(const Mlox_DirectMusic_MIDIReceiveCallback&) = delete;

  /// Drops the record without a service and while it is suspended; else calls the raw receiver, again with
  /// the same record for as long as it answers 2, until a stop is asked for or the subscription is withdrawn.
  HRESULT Receive(Mlox_MidiData* data) override;
  ~Mlox_DirectMusic_MIDIReceiveCallback() override;
  HRESULT IsDifferentFrom(std::shared_ptr<IDirectMusicMIDIReceiveCallback> other) override;
  void SetRawReceiver(Mlox_RawMidiReceiver* receiver) override;

  /// Whether the subscription is withdrawn: a receiver that answers 2 is then not called again. [any]
  void SetWithdrawn(bool iIsWithdrawn) { mIsWithdrawn.store(iIsWithdrawn); }

 private:
  Mlox_MidiData::ESysexState mSysexState = Mlox_MidiData::kNoSysex;
  Mlox_RawMidiReceiver* mRawReceiver = nullptr;
  std::atomic<bool> mIsWithdrawn{false};
};
