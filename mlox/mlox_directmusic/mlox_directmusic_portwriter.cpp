// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_portwriter.h"

#include <algorithm>

namespace {

// Below this length a message is packed as one 32-bit word.
constexpr int kUnstructuredLength = 4;

// The first byte lowest, whatever the byte order of the machine.
DWORD AsWord(const unsigned char* iDataP, int iLength) {
  DWORD word = 0;
  for (int i = 0; i < iLength; ++i) word |= DWORD{iDataP[i]} << (8 * i);
  return word;
}

}  // namespace

void Mlox_DirectMusic_PortWriter::Empty(IDirectMusicBuffer& iBuffer) {
  iBuffer.Flush();
  iBuffer.ResetReadPtr();
}

HRESULT Mlox_DirectMusic_PortWriter::GetEarliestTime(IDirectMusicPort& iPort, REFERENCE_TIME* oTimeP) {
  IReferenceClock* clockP = nullptr;
  HRESULT result = iPort.GetLatencyClock(&clockP);
  if (FAILED(result)) return result;
  if (clockP == nullptr) return kMissing;
  result = clockP->GetTime(oTimeP);
  clockP->Release();
  return result;
}

HRESULT Mlox_DirectMusic_PortWriter::Play(REFERENCE_TIME iTime, const unsigned char* iDataP, int iLength) {
  HRESULT result = mBuffer.SetStartTime(iTime);
  if (SUCCEEDED(result)) {
    result = iLength < kUnstructuredLength ? PlayStructured(iTime, iDataP, iLength)
                                           : PlayUnstructured(iTime, iDataP, iLength);
  }
  Empty(mBuffer);
  return result;
}

HRESULT Mlox_DirectMusic_PortWriter::PlayStructured(REFERENCE_TIME iTime, const unsigned char* iDataP,
                                                    int iLength) {
  const HRESULT result = mBuffer.PackStructured(iTime, mChannelGroup, AsWord(iDataP, iLength));
  return SUCCEEDED(result) ? mPort.PlayBuffer(&mBuffer) : result;
}

HRESULT Mlox_DirectMusic_PortWriter::PlayUnstructured(REFERENCE_TIME iTime, const unsigned char* iDataP,
                                                      int iLength) {
  HRESULT result = S_OK;
  for (int at = 0; at < iLength; at += kMaxPackedLength) {
    const int length = std::min(kMaxPackedLength, iLength - at);
    // DirectMusic's declaration lacks a const: the buffer takes a copy.
    result = mBuffer.PackUnstructured(iTime, mChannelGroup, static_cast<DWORD>(length),
                                      const_cast<BYTE*>(iDataP + at));
    if (FAILED(result)) return result;
    mBuffer.ResetReadPtr();
    result = mPort.PlayBuffer(&mBuffer);
    Empty(mBuffer);
  }
  return result;
}
