// SPDX-License-Identifier: MIT
#include "platform/directmusic/musicbuffer.h"

#if !defined(_WIN32)

#include <cstring>

namespace {

constexpr std::size_t kHeader = sizeof(DMUS_EVENTHEADER);

// An event with its header takes a multiple of eight bytes.
std::size_t EventSize(std::size_t iLength) { return (kHeader + iLength + 7) & ~std::size_t{7}; }

REFERENCE_TIME Difference(REFERENCE_TIME iLeft, REFERENCE_TIME iRight) {
  return static_cast<REFERENCE_TIME>(static_cast<std::uint64_t>(iLeft) - static_cast<std::uint64_t>(iRight));
}
REFERENCE_TIME Sum(REFERENCE_TIME iLeft, REFERENCE_TIME iRight) {
  return static_cast<REFERENCE_TIME>(static_cast<std::uint64_t>(iLeft) + static_cast<std::uint64_t>(iRight));
}

}  // namespace

Platform_MusicBuffer::Platform_MusicBuffer(DWORD iBytes) : mBytes(iBytes) {}

HRESULT Platform_MusicBuffer::QueryInterface(REFIID iID, void** oResult) {
  if (oResult == nullptr) {
    return E_POINTER;
  }
  *oResult = nullptr;
  if (!(iID == IID_IDirectMusicBuffer) && !(iID == IID_IUnknown)) {
    return E_NOINTERFACE;
  }
  AddRef();
  *oResult = static_cast<IDirectMusicBuffer*>(this);
  return S_OK;
}

ULONG Platform_MusicBuffer::AddRef() { return mRefCount.fetch_add(1) + 1; }

ULONG Platform_MusicBuffer::Release() {
  const ULONG count = mRefCount.fetch_sub(1) - 1;
  if (count == 0) {
    delete this;
  }
  return count;
}

HRESULT Platform_MusicBuffer::Flush() {
  mUsed = 0;
  mRead = 0;
  return S_OK;
}

HRESULT Platform_MusicBuffer::TotalTime(LPREFERENCE_TIME oTime) {
  if (oTime == nullptr) {
    return E_POINTER;
  }
  *oTime = 0;
  std::size_t offset = 0;
  Event event{};
  while (EventAt(offset, event)) {
    const REFERENCE_TIME distance = Difference(event.mTime, mStart);
    *oTime = distance > *oTime ? distance : *oTime;
  }
  return S_OK;
}

HRESULT Platform_MusicBuffer::Pack(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iFlags,
                                   const void* iDataP, DWORD iLength) {
  const std::size_t size = EventSize(iLength);
  if (size > mBytes.size() - mUsed) {
    return E_OUTOFMEMORY;
  }
  const DMUS_EVENTHEADER header = {iLength, iChannelGroup, Difference(iTime, mStart), iFlags};
  std::memcpy(mBytes.data() + mUsed, &header, kHeader);
  std::memcpy(mBytes.data() + mUsed + kHeader, iDataP, iLength);
  std::memset(mBytes.data() + mUsed + kHeader + iLength, 0, size - kHeader - iLength);
  mUsed += size;
  return S_OK;
}

HRESULT Platform_MusicBuffer::PackStructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iMessage) {
  BYTE bytes[4];
  for (std::size_t i = 0; i < sizeof(bytes); ++i) {
    bytes[i] = static_cast<BYTE>(iMessage >> (8 * i));
  }
  return Pack(iTime, iChannelGroup, DMUS_EVENT_STRUCTURED, bytes, sizeof(bytes));
}

HRESULT Platform_MusicBuffer::PackUnstructured(REFERENCE_TIME iTime, DWORD iChannelGroup, DWORD iLength,
                                               BYTE* iDataP) {
  if (iDataP == nullptr || iLength == 0) {
    return E_INVALIDARG;
  }
  return Pack(iTime, iChannelGroup, 0, iDataP, iLength);
}

HRESULT Platform_MusicBuffer::ResetReadPtr() {
  mRead = 0;
  return S_OK;
}

bool Platform_MusicBuffer::EventAt(std::size_t& ioOffset, Event& oEvent) const {
  if (ioOffset > mUsed || mUsed - ioOffset < kHeader) {
    return false;
  }
  DMUS_EVENTHEADER header{};
  std::memcpy(&header, mBytes.data() + ioOffset, kHeader);
  if (header.cbEvent > mUsed - ioOffset - kHeader) {
    return false;
  }
  oEvent.mTime = Sum(mStart, header.rtDelta);
  oEvent.mIsStructured = (header.dwFlags & DMUS_EVENT_STRUCTURED) != 0;
  oEvent.mDataP = mBytes.data() + ioOffset + kHeader;
  oEvent.mLength = header.cbEvent;
  ioOffset += EventSize(header.cbEvent);
  return true;
}

HRESULT Platform_MusicBuffer::GetNextEvent(LPREFERENCE_TIME oTime, DWORD* oChannelGroup, DWORD* oLength,
                                           BYTE** oDataP) {
  if (oTime == nullptr || oChannelGroup == nullptr || oLength == nullptr || oDataP == nullptr) {
    return E_POINTER;
  }
  DMUS_EVENTHEADER header{};
  const std::size_t at = mRead;
  Event event{};
  if (!EventAt(mRead, event)) {
    return S_FALSE;
  }
  std::memcpy(&header, mBytes.data() + at, kHeader);
  *oTime = event.mTime;
  *oChannelGroup = header.dwChannelGroup;
  *oLength = event.mLength;
  *oDataP = mBytes.data() + at + kHeader;
  return S_OK;
}

HRESULT Platform_MusicBuffer::GetRawBufferPtr(BYTE** oDataP) {
  if (oDataP == nullptr) {
    return E_POINTER;
  }
  *oDataP = mBytes.data();
  return S_OK;
}

HRESULT Platform_MusicBuffer::GetStartTime(LPREFERENCE_TIME oTime) {
  if (oTime == nullptr) {
    return E_POINTER;
  }
  *oTime = mStart;
  return S_OK;
}

HRESULT Platform_MusicBuffer::GetUsedBytes(DWORD* oBytes) {
  if (oBytes == nullptr) {
    return E_POINTER;
  }
  *oBytes = static_cast<DWORD>(mUsed);
  return S_OK;
}

HRESULT Platform_MusicBuffer::GetMaxBytes(DWORD* oBytes) {
  if (oBytes == nullptr) {
    return E_POINTER;
  }
  *oBytes = static_cast<DWORD>(mBytes.size());
  return S_OK;
}

HRESULT Platform_MusicBuffer::GetBufferFormat(GUID* oFormat) {
  if (oFormat == nullptr) {
    return E_POINTER;
  }
  *oFormat = GUID{};
  return S_OK;
}

HRESULT Platform_MusicBuffer::SetStartTime(REFERENCE_TIME iTime) {
  mStart = iTime;
  return S_OK;
}

HRESULT Platform_MusicBuffer::SetUsedBytes(DWORD iBytes) {
  if (iBytes > mBytes.size()) {
    return E_INVALIDARG;
  }
  mUsed = iBytes;
  mRead = 0;
  return S_OK;
}

#endif
