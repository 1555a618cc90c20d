// SPDX-License-Identifier: MIT
/// \file
/// The conversation of an output with its DirectMusic buffer and port.
#pragma once

#include "platform/directmusic/directmusic.h"

/// One send to a port: puts bytes into a buffer and hands the buffer over. Results are those of DirectMusic.
///
/// [any but real-time], one thread at a time for one buffer. Takes no memory.
class Mlox_DirectMusic_PortWriter {
 public:
  /// The most bytes that are packed as one event.
  static constexpr int kMaxPackedLength = 256;
  /// What a send gets that lacks a buffer, a port or a clock.
  static constexpr HRESULT kMissing = E_UNEXPECTED;
  /// What a send gets that has no port set.
  static constexpr HRESULT kNoPortSet = E_ACCESSDENIED;

  /// Neither argument is owned; both live longer than this.
  Mlox_DirectMusic_PortWriter(IDirectMusicBuffer& iBuffer, IDirectMusicPort& iPort, DWORD iChannelGroup)
      : mBuffer(iBuffer), mPort(iPort), mChannelGroup(iChannelGroup) {}

  /// Empties a buffer and rewinds it.
  static void Empty(IDirectMusicBuffer& iBuffer);

  /// The earliest time at which a port can still play, from its latency clock.
  static HRESULT GetEarliestTime(IDirectMusicPort& iPort, REFERENCE_TIME* oTimeP);

  /// Plays bytes at a time and leaves the buffer empty. Up to three go out as one structured message, more as
  /// they stand, in pieces that all carry the same time; a piece that the port refuses doesn't keep back the
  /// next one.
  /// \return the last result
  HRESULT Play(REFERENCE_TIME iTime, const unsigned char* iDataP, int iLength);

 private:
  HRESULT PlayStructured(REFERENCE_TIME iTime, const unsigned char* iDataP, int iLength);
  HRESULT PlayUnstructured(REFERENCE_TIME iTime, const unsigned char* iDataP, int iLength);

  IDirectMusicBuffer& mBuffer;
  IDirectMusicPort& mPort;
  const DWORD mChannelGroup;
};
