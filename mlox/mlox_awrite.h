// SPDX-License-Identifier: MIT
/// \file
/// Whatever MIDI can be written to.
#pragma once

#include "cmn/cmn_export.h"
#include "mlox/mlox_outputcontextref.h"

class Mdie_Event;
class Mdie_Timestamp;

/// Whatever MIDI can be written to. The operations return nothing: a write can't fail visibly.
class MLOX_EXPORT Mlox_AWrite {
 public:
  virtual ~Mlox_AWrite() = default;

  /// [writer] Writes one event.
  /// \param iTimestamp  when the event is due: at once, or at a sample time
  /// \param iEvent      the event; the call copies what it keeps
  /// \param iContext    the stream of events that this write belongs to
  virtual void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                          Mlox_OutputContextRef iContext) = 0;

  /// [writer] Writes a short system exclusive message at once.
  /// \param iDataP   the bytes; they need to live for the call only
  /// \param iLength  their number
  virtual void WriteLimitedSysex(const unsigned char* iDataP, int iLength,
                                 Mlox_OutputContextRef iContext) = 0;

  /// [writer] Writes raw MIDI bytes at once.
  /// \param iDataP   the bytes; they need to live for the call only
  /// \param iLength  their number
  virtual void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) = 0;

 protected:
  Mlox_AWrite() = default;
  Mlox_AWrite(const Mlox_AWrite&) = default;
  Mlox_AWrite& operator=(const Mlox_AWrite&) = default;
};
