// SPDX-License-Identifier: MIT
#include "platform/directmusic/midisplitter.h"

#include <algorithm>

#include "mdi/mdi_messageutils.h"

namespace {

constexpr std::uint8_t kSysexStart = 0xF0;
constexpr std::uint8_t kSysexEnd = 0xF7;
constexpr std::uint8_t kFirstRealTime = 0xF8;

bool IsStatus(std::uint8_t iByte) { return iByte >= 0x80; }
bool IsRealTime(std::uint8_t iByte) { return iByte >= kFirstRealTime; }

// How many bytes a message of this status has; 0 for system exclusive.
std::size_t MessageLength(std::uint8_t iStatus) { return Mdi_GetMessageLength(iStatus, nullptr); }

using Word = std::array<std::uint8_t, 4>;

// A word that begins with data goes on with a system exclusive message: as far as its end, or else as far as
// the last byte that is no padding. (Its length is not told, and a tail of zeros without an end can't be told
// from padding.)
std::size_t DataWordLength(const Word& iWord) {
  std::size_t length = 1;
  for (std::size_t i = 0; i < 3; ++i) {
    if (iWord[i] == kSysexEnd) {
      return i + 1;
    }
    length = iWord[i] != 0 ? i + 1 : length;
  }
  return length;
}

std::size_t WordMessageLength(const Word& iWord, std::size_t iOffset) {
  const std::size_t left = iWord.size() - iOffset;
  if (iWord[iOffset] != kSysexStart) {
    return std::clamp<std::size_t>(MessageLength(iWord[iOffset]), 1, left);
  }
  std::size_t length = 1;
  for (std::size_t i = 1; i < left; ++i) {
    if (iWord[iOffset + i] == kSysexEnd) {
      return i + 1;
    }
    length = iWord[iOffset + i] != 0 ? i + 1 : length;
  }
  return length;
}

}  // namespace

Platform_MidiSplitter::Platform_MidiSplitter(std::size_t iPieceSize)
    : mPieceSize(std::clamp<std::size_t>(iPieceSize, 1, std::tuple_size_v<decltype(mPiece)>)) {}

void Platform_MidiSplitter::Reset() {
  mPending = Pending();
  mPieceLength = 0;
  mInsideSysex = false;
  mAside = false;
}

void Platform_MidiSplitter::Feed(const std::uint8_t* iBytes, std::size_t iLength, const Sink& iSink) {
  if (iLength == 0 || PassWhole(iBytes, iLength, iSink)) {
    return;
  }
  // A continuation begins with data, its end or a real-time byte. Anything else was written to another output
  // of this port while the message was going out in pieces.
  const std::uint8_t first = iBytes[0];
  mAside =
      mInsideSysex && IsStatus(first) && first != kSysexEnd && first != kSysexStart && !IsRealTime(first);
  for (std::size_t i = 0; i < iLength; ++i) {
    Byte(iBytes[i], iSink);
  }
  FlushPiece(iSink);
  mAside = false;
}

// One whole channel message, outside of system exclusive ones, leaves what byte by byte would leave.
bool Platform_MidiSplitter::PassWhole(const std::uint8_t* iBytes, std::size_t iLength, const Sink& iSink) {
  if (mInsideSysex || !Mdi_IsChannelStatus(iBytes[0]) || iLength != MessageLength(iBytes[0]) ||
      IsStatus(iBytes[1]) || IsStatus(iBytes[iLength - 1])) {
    return false;
  }
  mPending.mLength = 0;
  mPending.mNeeded = iLength;
  mPending.mRunningStatus = iBytes[0];
  iSink(iBytes, iLength);
  return true;
}

void Platform_MidiSplitter::FeedWord(std::uint32_t iWord, const Sink& iSink) {
  std::array<std::uint8_t, 4> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(iWord >> (8 * i));
  }
  if (!IsStatus(bytes[0])) {
    Feed(bytes.data(), DataWordLength(bytes), iSink);
    return;
  }
  std::size_t used = 0;
  while (used < bytes.size() && IsStatus(bytes[used])) {
    const std::size_t length = WordMessageLength(bytes, used);
    Feed(bytes.data() + used, length, iSink);
    used += length;
  }
}

void Platform_MidiSplitter::Byte(std::uint8_t iByte, const Sink& iSink) {
  if (IsRealTime(iByte)) {
    // What came before it goes out before it; the message that it falls into goes on behind it.
    FlushPiece(iSink);
    iSink(&iByte, 1);
  } else if (mInsideSysex && !mAside) {
    SysexByte(iByte, iSink);
  } else if (IsStatus(iByte)) {
    Status(iByte, iSink);
  } else {
    DataByte(iByte, iSink);
  }
}

void Platform_MidiSplitter::SysexByte(std::uint8_t iByte, const Sink& iSink) {
  if (IsStatus(iByte) && iByte != kSysexEnd) {
    // A status inside ends the message, as it does on the wire.
    FlushPiece(iSink);
    mInsideSysex = false;
    Status(iByte, iSink);
    return;
  }
  mPiece[mPieceLength++] = iByte;
  if (iByte == kSysexEnd) {
    mInsideSysex = false;
    FlushPiece(iSink);
  } else if (mPieceLength == mPieceSize) {
    FlushPiece(iSink);
  }
}

void Platform_MidiSplitter::Status(std::uint8_t iStatus, const Sink& iSink) {
  mPending.mLength = 0;
  mPending.mRunningStatus = Mdi_IsChannelStatus(iStatus) ? iStatus : std::uint8_t{0};
  if (iStatus == kSysexStart) {
    FlushPiece(iSink);
    mInsideSysex = true;
    mAside = false;
    SysexStart(iSink);
    return;
  }
  mPending.mNeeded = std::max<std::size_t>(MessageLength(iStatus), 1);
  mPending.mBytes[mPending.mLength++] = iStatus;
  EmitIfWhole(iSink);
}

void Platform_MidiSplitter::SysexStart(const Sink& iSink) {
  mPiece[mPieceLength++] = kSysexStart;
  if (mPieceLength == mPieceSize) {
    FlushPiece(iSink);
  }
}

void Platform_MidiSplitter::DataByte(std::uint8_t iByte, const Sink& iSink) {
  if (mPending.mLength == 0) {
    if (mPending.mRunningStatus == 0) {
      ++mStrayBytes;
      return;
    }
    mPending.mBytes[mPending.mLength++] = mPending.mRunningStatus;
    mPending.mNeeded = MessageLength(mPending.mRunningStatus);
  }
  mPending.mBytes[mPending.mLength++] = iByte;
  EmitIfWhole(iSink);
}

void Platform_MidiSplitter::EmitIfWhole(const Sink& iSink) {
  if (mPending.mLength < mPending.mNeeded) {
    return;
  }
  iSink(mPending.mBytes.data(), mPending.mLength);
  mPending.mLength = 0;
}

void Platform_MidiSplitter::FlushPiece(const Sink& iSink) {
  if (mPieceLength == 0) {
    return;
  }
  iSink(mPiece.data(), mPieceLength);
  mPieceLength = 0;
}
