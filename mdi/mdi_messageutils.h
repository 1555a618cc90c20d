// SPDX-License-Identifier: MIT
/// \file
/// The byte rules of raw MIDI: the channel of a status byte, the length of a message, and which piece of a
/// system exclusive message a run of bytes is. Pure functions without state; callers carry running status and
/// sysex state.
///
/// Threads: [any] for all of them. Real-time safe.
#pragma once

#include <cstdint>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_export.h"

/// Source text of the assertions of this file.
inline constexpr char kMdi_MessageUtilsAssertSource[] = "mdi/mdi_messageutils";

/// True for the status bytes that carry a channel, 0x80 to 0xEF.
inline constexpr bool Mdi_IsChannelStatus(unsigned char iStatus) {
  return iStatus >= 0x80 && iStatus <= 0xEF;
}

/// `iStatus` with `iChannel` (0 to 15) in its low four bits. Call it only for a status with a channel. A
/// channel out of range is reported and used as it is: its bits above the fourth then spoil the status.
inline unsigned char Mdi_SetChannel(unsigned char iStatus, int iChannel) {
  CMN_ASSERT_FROM(kMdi_MessageUtilsAssertSource, iChannel >= 0 && iChannel <= 15,
                  "iChannel >= 0 && iChannel <= 15");
  return static_cast<unsigned char>((iStatus & 0xF0) | iChannel);
}

/// Bytes of the message that begins with `iByte`, or that goes on with it under running status; 0 if that
/// can't be told. `ioRunningStatus` may be null. A status byte is stored in it whatever it is: real-time and
/// system common bytes too, contrary to what MIDI asks. That is settled: callers rely on the stored byte
/// being the last one seen. For a data byte the length is that of the running status less 1, as the status
/// byte is not repeated.
MLOX_EXPORT std::uint16_t Mdi_GetMessageLength(unsigned char iByte, unsigned char* ioRunningStatus);

/// What a piece of raw MIDI is to a system exclusive message. The numbers are those of
/// `Mlox_MidiData::ESysexState`.
enum Mdi_ESysexPiece : std::int32_t {
  Mdi_cNoSysex = 0,      ///< Not system exclusive, or none in progress.
  Mdi_cWholeSysex = 1,   ///< Begins with 0xF0 and holds 0xF7.
  Mdi_cFirstSysex = 2,   ///< Begins with 0xF0, holds no 0xF7.
  Mdi_cMiddleSysex = 3,  ///< Goes on with a message, holds no 0xF7.
  Mdi_cLastSysex = 4     ///< Goes on with a message and holds 0xF7.
};

/// The answer of `Mdi_ClassifySysexPiece`.
struct Mdi_SysexStep {
  Mdi_ESysexPiece mPiece;  ///< What this piece is.
  Mdi_ESysexPiece mNext;   ///< The state to pass in with the next piece.
};

/// Classifies `iLength` bytes at `iDataP` (may be null, which counts as no bytes) behind a stream that has
/// come to `iState`. A piece without bytes is no sysex and leaves a message in progress as it is. A 0xF0
/// inside a message ends the tracking, and that piece counts as no sysex. Bytes behind the first 0xF7 aren't
/// looked at. A state that is none of the five counts as none, with the next one 0.
MLOX_EXPORT Mdi_SysexStep Mdi_ClassifySysexPiece(Mdi_ESysexPiece iState, const unsigned char* iDataP,
                                                 std::uint32_t iLength);
