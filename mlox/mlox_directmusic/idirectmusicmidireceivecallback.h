// SPDX-License-Identifier: MIT
/// \file
/// Where a receiver hands its messages.
#pragma once

#include <memory>

#include "platform/directmusic/directmusic.h"

class Mlox_RawMidiReceiver;
struct Mlox_MidiData;

/// The last step before the application. It identifies its receiver: two callbacks for one raw receiver are
/// the same subscription.
///
/// Table: Receive, the destructor, IsDifferentFrom, SetRawReceiver.
class IDirectMusicMIDIReceiveCallback {
 public:
  /// Takes one record. Always 0. [the receive thread]
  virtual HRESULT Receive(Mlox_MidiData* data) = 0;
  virtual ~IDirectMusicMIDIReceiveCallback() = default;
  /// 0 when the other stands for the same raw receiver, else 1. [any]
  virtual HRESULT IsDifferentFrom(std::shared_ptr<IDirectMusicMIDIReceiveCallback> other) = 0;
  /// Before the callback is handed over. The receiver isn't owned. [main]
  virtual void SetRawReceiver(Mlox_RawMidiReceiver* receiver) = 0;
};
