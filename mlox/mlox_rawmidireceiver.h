// SPDX-License-Identifier: MIT
/// \file
/// Where the application takes the raw MIDI of an input port.
#pragma once

#include "cmn/cmn_export.h"

struct Mlox_MidiData;

/// Implemented by the application and only called by the library. It must outlive the closing of its port by
/// one block, because a source that is in the middle of a call finishes it.
class MLOX_EXPORT Mlox_RawMidiReceiver {
 public:
  virtual ~Mlox_RawMidiReceiver() = default;

  /// [any] Takes one record. It runs on the thread of the source: the receive thread for hardware, the audio
  /// thread of a plug-in for a plug-in's input; both may call at once.
  /// \param iDataP  the record; it and its bytes live until the call returns
  /// \return 0: taken; 2: the hardware path hands over the same record again at once
  virtual int ReceiveRawMidi(Mlox_MidiData* iDataP) = 0;
};
