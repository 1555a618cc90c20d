// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_eventpacker.h"

#include <cstring>
#include <limits>

#include "mdi/mdi_messageutils.h"
#include "mlox/mlox_mididata.h"

namespace {

constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

}  // namespace

void Mlox_DirectMusic_EventPacker::WaitForLead() {
  // A clock doesn't run below 0, so that neither the sum nor the difference leaves its 64 bits.
  const std::int64_t now = std::max<std::int64_t>(0, mTarget.Now());
  if (now < kLatest - kLongMessageLead && now + kLongMessageLead < mTime) mTarget.Sleep((mTime - now) / 1000);
}

void Mlox_DirectMusic_EventPacker::SendPacked() {
  if (mPackedLength > 0) mTarget.Send(mImmediate, mTime, mPacked, mPackedLength);
  mPackedLength = 0;
}

unsigned char Mlox_DirectMusic_EventPacker::ImposeChannel(unsigned char iStatus, short iChannel) {
  if (!Mdi_IsChannelStatus(iStatus)) return iStatus;
  return static_cast<unsigned char>((iStatus & 0xF0) | (iChannel & 0xFF));
}

std::int64_t Mlox_DirectMusic_EventPacker::PauseAfter(int iBytes) {
  return static_cast<std::int64_t>(iBytes * 0.32 + 1.0);
}

std::int64_t Mlox_DirectMusic_EventPacker::TimeOfPiece(std::int64_t iTime, int iOffset) {
  const std::int64_t late = iOffset * kMicrosecondsPerByte;
  return iTime > kLatest - late ? kLatest : iTime + late;
}

bool Mlox_DirectMusic_EventPacker::CopyRaw(const unsigned char* iDataP, int iLength, short iChannel,
                                           unsigned char* oDataP) {
  unsigned char runningStatus = 0;
  for (int at = 0; at < iLength;) {
    const int length = Mlox_GetMIDIMessageLength(iDataP[at], &runningStatus);
    if (length == 0 || length > iLength - at) return false;
    std::memcpy(oDataP + at, iDataP + at, static_cast<std::size_t>(length));
    oDataP[at] = ImposeChannel(oDataP[at], iChannel);
    at += length;
  }
  return true;
}
