// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_inputlane.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "mdi/mdi_messageutils.h"

namespace {

// A message of 3 bytes takes 32: 32,768 of them, half a minute of a saturated wire.
constexpr std::size_t kRingBytes = std::size_t{1} << 20;
constexpr std::uint8_t kSysexStart = 0xF0;
constexpr std::uint8_t kSysexEnd = 0xF7;
constexpr std::uint8_t kFirstStatus = 0x80;
constexpr std::uint8_t kFirstRealTime = 0xF8;

bool IsPieceOfSysex(std::uint8_t iFirst) {
  return iFirst < kFirstStatus || iFirst == kSysexStart || iFirst == kSysexEnd;
}

}  // namespace

Platform_JackInputLane::Platform_JackInputLane()
    : mDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mRing(kRingBytes),
      mSplitter(kPlatform_MaxPiece) {}

Platform_JackInputLane::~Platform_JackInputLane() {
  if (mDescriptor >= 0) {
    ::close(mDescriptor);
  }
}

// ---- the process callback ----

void Platform_JackInputLane::Arrive(const std::uint8_t* iBytes, std::size_t iLength) noexcept {
  for (std::size_t at = 0; at < iLength; at += kPlatform_MaxPiece) {
    Put(iBytes + at, std::min(kPlatform_MaxPiece, iLength - at));
  }
}

void Platform_JackInputLane::Put(const std::uint8_t* iBytes, std::size_t iLength) noexcept {
  const bool isPiece = IsPieceOfSysex(iBytes[0]);
  mSkipsSysex = mSkipsSysex && iBytes[0] != kSysexStart;
  const bool isSkipped = isPiece && mSkipsSysex;
  if (!isSkipped && mRing.Push(0, iBytes, iLength)) {
    mHasArrived = true;
    return;
  }
  CountLost(1);
  mSkipsSysex = isPiece;
}

void Platform_JackInputLane::CountLost(std::uint32_t iPieces) noexcept {
  mLost.store(mLost.load(std::memory_order_relaxed) + iPieces, std::memory_order_relaxed);
}

void Platform_JackInputLane::Wake() noexcept {
  if (!mHasArrived) {
    return;
  }
  mHasArrived = false;
  // Sequentially consistent with LowerWhenEmpty: either the reader sees the message or we see the flag down.
  if (!mIsRaised.exchange(true)) {
    const std::uint64_t one = 1;
    while (::write(mDescriptor, &one, sizeof(one)) < 0 && errno == EINTR) {
    }
  }
}

// ---- the reader ----

bool Platform_JackInputLane::Read(Platform_Piece& oPiece) {
  if (TakeCut(oPiece)) {
    return true;
  }
  Platform_JackRing::Record record;
  bool isTaken = false;
  while (!isTaken && mRing.Take(record)) {
    if (IsWhole(record.mBytes, record.mLength)) {
      oPiece.mLength = record.mLength;
      std::memcpy(oPiece.mBytes, record.mBytes, record.mLength);
      isTaken = true;
    } else {
      Cut(record.mBytes, record.mLength);
      isTaken = TakeCut(oPiece);
    }
    mRing.Done(record);
  }
  LowerWhenEmpty(isTaken);
  return isTaken;
}

// The descriptor goes down first, then the flag, then the ring is looked at again: an event that arrives in
// between finds the flag up and does not write, so we do it in its place. A reader that found nothing lowers
// the descriptor whatever the flag says: the callback may have been held up between its flag and its write,
// and such a late write would otherwise wake for ever.
void Platform_JackInputLane::LowerWhenEmpty(bool iFoundSome) {
  if (!mRing.IsEmpty() || (iFoundSome && !mIsRaised.load())) {
    return;
  }
  std::uint64_t count = 0;
  while (::read(mDescriptor, &count, sizeof(count)) < 0 && errno == EINTR) {
  }
  mIsRaised.store(false);
  if (!mRing.IsEmpty() && !mIsRaised.exchange(true)) {
    const std::uint64_t one = 1;
    while (::write(mDescriptor, &one, sizeof(one)) < 0 && errno == EINTR) {
    }
  }
}

bool Platform_JackInputLane::TakeCut(Platform_Piece& oPiece) {
  Platform_TimedMessage* const message = mCut.Pop();
  if (message == nullptr) {
    return false;
  }
  oPiece.mLength = std::min(message->mLength, kPlatform_MaxPiece);
  std::memcpy(oPiece.mBytes, message->Bytes(), oPiece.mLength);
  Platform_TimedMessage::Delete(message);
  return true;
}

// Whether an event is what JACK promises: one whole message, or a piece of a system exclusive message in its
// place.
bool Platform_JackInputLane::IsWhole(const std::uint8_t* iBytes, std::size_t iLength) {
  const std::uint8_t first = iBytes[0];
  const std::uint8_t last = iBytes[iLength - 1];
  const auto isData = [](std::uint8_t iByte) { return iByte < kFirstStatus; };
  if (first >= kFirstRealTime) {
    return iLength == 1;
  }
  if (!IsPieceOfSysex(first)) {
    mInsideSysex = false;
    return iLength == Mdi_GetMessageLength(first, nullptr) &&
           std::all_of(iBytes + 1, iBytes + iLength, isData);
  }
  const std::uint8_t* const begin = iBytes + (first == kSysexStart ? 1 : 0);
  const std::uint8_t* const end = iBytes + iLength - (last == kSysexEnd ? 1 : 0);
  if ((first != kSysexStart && !mInsideSysex) || (begin < end && !std::all_of(begin, end, isData))) {
    mInsideSysex = false;
    return false;
  }
  mInsideSysex = last != kSysexEnd;
  return true;
}

// Clients do send several messages in one event, or running status. The splitter finds what is whole in it;
// data that belongs to nothing is left out.
void Platform_JackInputLane::Cut(const std::uint8_t* iBytes, std::size_t iLength) {
  mSplitter.Feed(iBytes, iLength, [this](const std::uint8_t* iMessage, std::size_t iMessageLength) {
    Platform_TimedMessage* const message = Platform_TimedMessage::New(0, iMessage, iMessageLength);
    if (message != nullptr) {
      mCut.Append(message);
    }
  });
}
