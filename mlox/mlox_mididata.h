// SPDX-License-Identifier: MIT
/// \file
/// The record in which raw MIDI travels to the application, and the two functions that those who fill it
/// share.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"
#include "mlox/mlox_inputid.h"

/// A piece of raw MIDI on its way to the application's receiver.
///
/// Plain record. The bytes are not owned and live only during the call that hands the record over.
struct Mlox_MidiData {
  /// What this piece is to a system exclusive message.
  enum ESysexState : std::int32_t {
    kNoSysex = 0,      ///< Not system exclusive, or none in progress.
    kWholeSysex = 1,   ///< A whole message: begins with 0xF0 and holds 0xF7.
    kFirstSysex = 2,   ///< The first piece of a longer one: begins with 0xF0, holds no 0xF7.
    kMiddleSysex = 3,  ///< A middle piece: doesn't begin with 0xF0, a message is in progress, holds no 0xF7.
    kLastSysex = 4     ///< The last piece: doesn't begin with 0xF0, a message is in progress, holds 0xF7.
  };

  /// `mTimeKind`: the time is one of `Sys_Clock`, in microseconds, or absent.
  static constexpr std::uint32_t kClockTime = 0;
  /// `mTimeKind`: the time is a sample time.
  static constexpr std::uint32_t kSampleTime = 1;

  const std::uint8_t* mData = nullptr;   ///< The message bytes. Not owned; valid only during the call.
  std::uint32_t mLength = 0;             ///< Number of bytes.
  Mlox_InputID mInputID;                 ///< Which input this record is for.
  ESysexState mSysexState = kNoSysex;    ///< Class of this piece.
  std::uint32_t mTimeKind = kClockTime;  ///< `kClockTime` or `kSampleTime`.
  std::int64_t mTime = 0;     ///< When the piece arrived, in the unit that `mTimeKind` says; 0 when absent.
  bool mIsTimeValid = false;  ///< Whether `mTime` holds a time.
};

/// Length of the MIDI message that begins with `status`, or that goes on with that data byte under running
/// status; 0 if it can't be told. `ioRunningStatus` may be null; otherwise every status byte is stored in it,
/// real-time bytes included.
///
/// Threads: [any]. Real-time safe.
MLOX_EXPORT std::uint16_t Mlox_GetMIDIMessageLength(unsigned char status, unsigned char* ioRunningStatus);

/// Classifies a piece behind a stream that has come to `state`, stores the class in `data->mSysexState`, and
/// returns the state to pass in with the next piece. A null record gives 0.
///
/// Threads: [any]. Real-time safe.
MLOX_EXPORT Mlox_MidiData::ESysexState Mlox_SetSysexState(Mlox_MidiData* data,
                                                          Mlox_MidiData::ESysexState state);
