// SPDX-License-Identifier: MIT
#include "mdi/mdi_messageutils.h"

#include <cstring>

namespace {

constexpr unsigned char kSysexStart = 0xF0;
constexpr unsigned char kSysexEnd = 0xF7;

// Length of the message behind a status byte, or 0 where the status doesn't tell.
constexpr std::uint16_t LengthOfStatus(unsigned char iStatus) {
  switch (iStatus & 0xF0) {
    case 0x80:
    case 0x90:
    case 0xA0:
    case 0xB0:
    case 0xE0:
      return 3;
    case 0xC0:
    case 0xD0:
      return 2;
    case 0xF0:
      break;
    default:
      return 0;  // a data byte, or nothing stored yet
  }
  switch (iStatus) {
    case kSysexStart:
    case kSysexEnd:
      return 0;
    case 0xF1:  // quarter frame
    case 0xF3:  // song select
      return 2;
    case 0xF2:  // song position
      return 3;
    default:
      return 1;
  }
}

}  // namespace

std::uint16_t Mdi_GetMessageLength(unsigned char iByte, unsigned char* ioRunningStatus) {
  if ((iByte & 0x80) != 0) {
    if (ioRunningStatus != nullptr) *ioRunningStatus = iByte;
    return LengthOfStatus(iByte);
  }
  if (ioRunningStatus == nullptr) return 0;
  const std::uint16_t length = LengthOfStatus(*ioRunningStatus);
  return length == 0 ? length : static_cast<std::uint16_t>(length - 1);
}

Mdi_SysexStep Mdi_ClassifySysexPiece(Mdi_ESysexPiece iState, const unsigned char* iDataP,
                                     std::uint32_t iLength) {
  constexpr Mdi_SysexStep kNone = {Mdi_cNoSysex, Mdi_cNoSysex};
  // A state of 1 or 4 says that the last message is complete, so nothing is in progress.
  Mdi_ESysexPiece state = iState;
  if (state == Mdi_cWholeSysex || state == Mdi_cLastSysex) state = Mdi_cNoSysex;
  if (state < Mdi_cNoSysex || state > Mdi_cMiddleSysex) return kNone;
  if (iLength == 0 || iDataP == nullptr) return {Mdi_cNoSysex, state};

  const bool starts = iDataP[0] == kSysexStart;
  const bool inProgress = state != Mdi_cNoSysex;
  if (starts == inProgress) return kNone;  // a start inside a message, or a continuation of nothing

  const bool ends = std::memchr(iDataP, kSysexEnd, iLength) != nullptr;
  if (ends) return {starts ? Mdi_cWholeSysex : Mdi_cLastSysex, Mdi_cNoSysex};
  const Mdi_ESysexPiece piece = starts ? Mdi_cFirstSysex : Mdi_cMiddleSysex;
  return {piece, piece};
}
