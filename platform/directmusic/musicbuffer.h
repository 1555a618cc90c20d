// SPDX-License-Identifier: MIT
/// \file
/// DirectMusic's buffer outside Windows.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/directmusic/directmusic.h"

#if !defined(_WIN32)

/// A run of time-stamped events in one block made at the start: packing and reading allocate nothing. Times
/// are kept as distances from the start time and wrap, so that the earliest time there is can be a start
/// time.
class Platform_MusicBuffer final : public IDirectMusicBuffer {
 public:
  /// One event as a port reads it.
  struct Event {
    REFERENCE_TIME mTime;
    bool mIsStructured;
    const BYTE* mDataP;
    DWORD mLength;
  };

  /// The reference goes to the caller. \param iBytes room in bytes, headers included.
  explicit Platform_MusicBuffer(DWORD iBytes);

  HRESULT QueryInterface(REFIID iID, void** oResult) override;
  ULONG AddRef() override;
  ULONG Release() override;

  HRESULT Flush() override;
  HRESULT TotalTime(LPREFERENCE_TIME oTime) override;
  /// E_OUTOFMEMORY when there is no room left.
  HRESULT PackStructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iMessage) override;
  HRESULT PackUnstructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iLength, BYTE* iDataP) override;
  HRESULT ResetReadPtr() override;
  HRESULT GetNextEvent(LPREFERENCE_TIME oTime, DWORD* oChannelGroup, DWORD* oLength, BYTE** oDataP) override;
  HRESULT GetRawBufferPtr(BYTE** oDataP) override;
  HRESULT GetStartTime(LPREFERENCE_TIME oTime) override;
  HRESULT GetUsedBytes(DWORD* oBytes) override;
  HRESULT GetMaxBytes(DWORD* oBytes) override;
  HRESULT GetBufferFormat(GUID* oFormat) override;
  HRESULT SetStartTime(REFERENCE_TIME iTime) override;
  HRESULT SetUsedBytes(DWORD iBytes) override;

  /// Gives the event at ioOffset and moves ioOffset behind it; false at the end or where the bytes are no
  /// event.
  bool EventAt(std::size_t& ioOffset, Event& oEvent) const;

 private:
  ~Platform_MusicBuffer() = default;
  HRESULT Pack(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iFlags, const void* iDataP, DWORD iLength);

  std::atomic<ULONG> mRefCount{1};
  std::vector<BYTE> mBytes;
  std::size_t mUsed = 0;
  std::size_t mRead = 0;
  REFERENCE_TIME mStart = 0;
};

#endif
