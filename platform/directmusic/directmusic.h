// SPDX-License-Identifier: MIT
/// \file
/// DirectMusic's interfaces for ports, buffers and clocks. On Windows they are the system's own (dmusicc.h);
/// elsewhere the same interfaces are declared here, with the same names, ids, order of operations and record
/// sizes, and stand on the drivers of this folder. Times are reference times: signed 64-bit, 100 ns units of
/// the master clock.
#pragma once

// The calls of COM and the events come along: those who use DirectMusic need them, and reach this header
// alone.
#include "platform/directmusic/windows_com.h"
#include "platform/directmusic/windows_events.h"
#include "platform/directmusic/windows_types.h"

#if defined(_WIN32)
#include <dmusicc.h>
#else

using REFERENCE_TIME = LONGLONG;
using LPREFERENCE_TIME = REFERENCE_TIME*;

inline constexpr DWORD DMUS_MAX_DESCRIPTION = 128;

// DMUS_PORTCAPS::dwClass
inline constexpr DWORD DMUS_PC_INPUTCLASS = 0;
inline constexpr DWORD DMUS_PC_OUTPUTCLASS = 1;
// DMUS_PORTCAPS::dwFlags
inline constexpr DWORD DMUS_PC_DLS = 0x00000001;
inline constexpr DWORD DMUS_PC_EXTERNAL = 0x00000002;
inline constexpr DWORD DMUS_PC_SOFTWARESYNTH = 0x00000004;
inline constexpr DWORD DMUS_PC_SHAREABLE = 0x00000100;
// DMUS_PORTCAPS::dwType
inline constexpr DWORD DMUS_PORT_WINMM_DRIVER = 0;
inline constexpr DWORD DMUS_PORT_USER_MODE_SYNTH = 1;
inline constexpr DWORD DMUS_PORT_KERNEL_MODE = 2;

/// What EnumPort and GetCaps tell of a port. The caller sets dwSize to 308.
struct DMUS_PORTCAPS {
  DWORD dwSize;
  DWORD dwFlags;
  GUID guidPort;
  DWORD dwClass;
  DWORD dwType;
  DWORD dwMemorySize;
  DWORD dwMaxChannelGroups;
  DWORD dwMaxVoices;
  DWORD dwMaxAudioChannels;
  DWORD dwEffectFlags;
  WCHAR wszDescription[DMUS_MAX_DESCRIPTION];
};
static_assert(sizeof(DMUS_PORTCAPS) == 308);

/// What CreatePort is told. The caller sets dwSize to 36 and may leave the rest zero.
struct DMUS_PORTPARAMS8 {
  DWORD dwSize;
  DWORD dwValidParams;
  DWORD dwVoices;
  DWORD dwChannelGroups;
  DWORD dwAudioChannels;
  DWORD dwSampleRate;
  DWORD dwEffectFlags;
  BOOL fShare;
  DWORD dwFeatures;
};
static_assert(sizeof(DMUS_PORTPARAMS8) == 36);

/// What CreateMusicBuffer is told. The caller sets dwSize to 28; cbBuffer counts bytes, headers included.
struct DMUS_BUFFERDESC {
  DWORD dwSize;
  DWORD dwFlags;
  GUID guidBufferFormat;
  DWORD cbBuffer;
};
static_assert(sizeof(DMUS_BUFFERDESC) == 28);

#pragma pack(push, 4)
/// The header in front of each event in a buffer; the bytes follow, padded to a multiple of eight.
struct DMUS_EVENTHEADER {
  DWORD cbEvent;
  DWORD dwChannelGroup;
  REFERENCE_TIME rtDelta;  ///< from the buffer's start time
  DWORD dwFlags;
};
#pragma pack(pop)
static_assert(sizeof(DMUS_EVENTHEADER) == 20);

inline constexpr DWORD DMUS_EVENT_STRUCTURED = 0x00000001;

struct DMUS_CLOCKINFO;
struct DMUS_NOTERANGE;
struct DMUS_SYNTHSTATS;
struct IDirectSound;
struct IDirectSoundBuffer;
struct IDirectMusicInstrument;
struct IDirectMusicDownloadedInstrument;
struct OVERLAPPED;
struct WAVEFORMATEX;

/// A clock. [any thread]
struct IReferenceClock : IUnknown {
  /// The time now, in 100 ns units. Never runs backwards.
  virtual HRESULT GetTime(REFERENCE_TIME* oTime) = 0;
  virtual HRESULT AdviseTime(REFERENCE_TIME iBase, REFERENCE_TIME iStream, HANDLE iEvent, DWORD* oCookie) = 0;
  virtual HRESULT AdvisePeriodic(REFERENCE_TIME iStart, REFERENCE_TIME iPeriod, HANDLE iSemaphore,
                                 DWORD* oCookie) = 0;
  virtual HRESULT Unadvise(DWORD iCookie) = 0;

 protected:
  ~IReferenceClock() = default;
};

/// A run of time-stamped events for one port. One thread at a time.
struct IDirectMusicBuffer : IUnknown {
  /// Empties the buffer.
  virtual HRESULT Flush() = 0;
  virtual HRESULT TotalTime(LPREFERENCE_TIME oTime) = 0;
  /// Packs a channel message of up to three bytes, first byte lowest, as one word.
  virtual HRESULT PackStructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iMessage) = 0;
  /// Packs iLength bytes as they stand.
  virtual HRESULT PackUnstructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iLength,
                                   BYTE* iDataP) = 0;
  /// Puts the read position at the first event.
  virtual HRESULT ResetReadPtr() = 0;
  /// Gives the next event and moves on; the bytes live until the next change. S_FALSE at the end.
  virtual HRESULT GetNextEvent(LPREFERENCE_TIME oTime, DWORD* oChannelGroup, DWORD* oLength,
                               BYTE** oDataP) = 0;
  virtual HRESULT GetRawBufferPtr(BYTE** oDataP) = 0;
  virtual HRESULT GetStartTime(LPREFERENCE_TIME oTime) = 0;
  virtual HRESULT GetUsedBytes(DWORD* oBytes) = 0;
  virtual HRESULT GetMaxBytes(DWORD* oBytes) = 0;
  virtual HRESULT GetBufferFormat(GUID* oFormat) = 0;
  virtual HRESULT SetStartTime(REFERENCE_TIME iTime) = 0;
  virtual HRESULT SetUsedBytes(DWORD iBytes) = 0;

 protected:
  ~IDirectMusicBuffer() = default;
};

/// One MIDI port, of either direction.
struct IDirectMusicPort : IUnknown {
  /// Takes the buffer's events for playing at their stamps; the buffer may be reused at once. [any thread but
  /// audio]
  virtual HRESULT PlayBuffer(IDirectMusicBuffer* iBufferP) = 0;
  /// The event that is signalled while input waits; null for none. No signal follows its return.
  virtual HRESULT SetReadNotificationHandle(HANDLE iEvent) = 0;
  /// Replaces the buffer's contents by one waiting event. S_FALSE when none waits.
  virtual HRESULT Read(IDirectMusicBuffer* ioBufferP) = 0;
  virtual HRESULT DownloadInstrument(IDirectMusicInstrument* iInstrumentP,
                                     IDirectMusicDownloadedInstrument** oDownloadedP,
                                     DMUS_NOTERANGE* iRangesP, DWORD iRangeCount) = 0;
  virtual HRESULT UnloadInstrument(IDirectMusicDownloadedInstrument* iDownloadedP) = 0;
  /// The clock that tells the earliest time at which the port can still play.
  virtual HRESULT GetLatencyClock(IReferenceClock** oClockP) = 0;
  virtual HRESULT GetRunningStats(DMUS_SYNTHSTATS* oStatsP) = 0;
  virtual HRESULT Compact() = 0;
  virtual HRESULT GetCaps(DMUS_PORTCAPS* oCapsP) = 0;
  virtual HRESULT DeviceIoControl(DWORD iCode, LPVOID iInP, DWORD iInSize, LPVOID oOutP, DWORD iOutSize,
                                  DWORD* oReturned, OVERLAPPED* iOverlappedP) = 0;
  virtual HRESULT SetNumChannelGroups(DWORD iGroups) = 0;
  virtual HRESULT GetNumChannelGroups(DWORD* oGroups) = 0;
  /// Opens the port's connection to its driver, or closes it.
  virtual HRESULT Activate(BOOL iActive) = 0;
  virtual HRESULT SetChannelPriority(DWORD iGroup, DWORD iChannel, DWORD iPriority) = 0;
  virtual HRESULT GetChannelPriority(DWORD iGroup, DWORD iChannel, DWORD* oPriority) = 0;
  virtual HRESULT SetDirectSound(IDirectSound* iSoundP, IDirectSoundBuffer* iBufferP) = 0;
  virtual HRESULT GetFormat(WAVEFORMATEX* oFormatP, DWORD* ioFormatSize, DWORD* oBufferSize) = 0;

 protected:
  ~IDirectMusicPort() = default;
};

/// The root: lists and opens ports, makes buffers, has the master clock.
struct IDirectMusic : IUnknown {
  /// Describes port iIndex; S_FALSE past the end. Index 0 freezes the list for the calling thread.
  virtual HRESULT EnumPort(DWORD iIndex, DMUS_PORTCAPS* oCapsP) = 0;
  virtual HRESULT CreateMusicBuffer(DMUS_BUFFERDESC* iDescP, IDirectMusicBuffer** oBufferP,
                                    IUnknown* iOuterP) = 0;
  /// Opens a port; the same object for one GUID as long as anyone holds it.
  virtual HRESULT CreatePort(REFCLSID iPort, DMUS_PORTPARAMS8* ioParamsP, IDirectMusicPort** oPortP,
                             IUnknown* iOuterP) = 0;
  virtual HRESULT EnumMasterClock(DWORD iIndex, DMUS_CLOCKINFO* oInfoP) = 0;
  /// The clock of all reference times.
  virtual HRESULT GetMasterClock(GUID* oClock, IReferenceClock** oClockP) = 0;
  virtual HRESULT SetMasterClock(REFGUID iClock) = 0;
  virtual HRESULT Activate(BOOL iEnable) = 0;
  virtual HRESULT GetDefaultPort(GUID* oPort) = 0;
  virtual HRESULT SetDirectSound(IDirectSound* iSoundP, HWND iWindow) = 0;

 protected:
  ~IDirectMusic() = default;
};

/// The root of DirectMusic 8.
struct IDirectMusic8 : IDirectMusic {
  virtual HRESULT SetExternalMasterClock(IReferenceClock* iClockP) = 0;

 protected:
  ~IDirectMusic8() = default;
};

inline constexpr CLSID CLSID_DirectMusic = {
    0x636B9F10, 0x0C7D, 0x11D1, {0x95, 0xB2, 0x00, 0x20, 0xAF, 0xDC, 0x74, 0x21}};
inline constexpr IID IID_IDirectMusic = {
    0x6536115A, 0x7B2D, 0x11D2, {0xBA, 0x18, 0x00, 0x00, 0xF8, 0x75, 0xAC, 0x12}};
inline constexpr IID IID_IDirectMusic8 = {
    0x2D3629F7, 0x813D, 0x4939, {0x85, 0x08, 0xF0, 0x5C, 0x6B, 0x75, 0xFD, 0x97}};
inline constexpr IID IID_IDirectMusicBuffer = {
    0xD2AC2878, 0xB39B, 0x11D1, {0x87, 0x04, 0x00, 0x60, 0x08, 0x93, 0xB1, 0xBD}};
inline constexpr IID IID_IDirectMusicPort = {
    0x08F2D8C9, 0x37C2, 0x11D2, {0xB9, 0xF9, 0x00, 0x00, 0xF8, 0x75, 0xAC, 0x12}};
inline constexpr IID IID_IReferenceClock = {
    0x56A86897, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};

#endif
