// SPDX-License-Identifier: MIT
#include "mdid/mdie_event.h"

#include <algorithm>
#include <limits>

#include "cmn/mem2_masterallocator.h"

namespace {

constexpr unsigned char kSysexStart = 0xF0;
constexpr unsigned char kSysexEnd = 0xF7;

// Blocks come from the shared pool and not from the heap: queued events are freed on audio threads.
unsigned char* AllocBlock(int iLength) {
  return static_cast<unsigned char*>(Mem2_MasterAllocator::Shared().Alloc(iLength, nullptr));
}

void FreeBlock(unsigned char* iBlockP) { Mem2_MasterAllocator::Shared().Free(iBlockP, nullptr); }

// A block with a copy of the bytes, or null, which is reported.
unsigned char* CopyToBlock(const unsigned char* iData, int iLength) {
  unsigned char* const blockP = AllocBlock(iLength);
  if (!CMN_ASSERT_FROM(kMdie_EventAssertSource, blockP != nullptr, "blockP != nullptr")) return nullptr;
  std::memcpy(blockP, iData, static_cast<std::size_t>(iLength));
  return blockP;
}

unsigned char Low7(int iValue) { return static_cast<unsigned char>(iValue & 0x7F); }
unsigned char High7(int iValue) { return static_cast<unsigned char>((iValue >> 7) & 0x7F); }

}  // namespace

// ---- the bytes of sysex and packet ----

bool Mdie_Event::HoldsSysexBytes() const {
  const EType type = mU.mBase.mType;
  return type == kShortSysex || type == kLongSysex || type == kSysexPacket;
}

int Mdie_Event::SysexLength() const {
  if (!HoldsSysexBytes()) return 0;
  return mU.mBase.mType == kLongSysex ? mU.mLongSysex.mLength : mU.mInlineSysex.mLength;
}

const unsigned char* Mdie_Event::SysexData() const {
  if (SysexLength() == 0) return nullptr;
  return mU.mBase.mType == kLongSysex ? mU.mLongSysex.mBlockP : mU.mInlineSysex.mData;
}

bool Mdie_Event::IsCompleteLongSysex() const {
  if (mU.mBase.mType != kLongSysex) return false;
  const unsigned char* const beginP = mU.mLongSysex.mBlockP;
  const auto length = static_cast<std::size_t>(mU.mLongSysex.mLength);
  // The first 0xF7 must be the last byte: two messages in one block are not one whole message.
  return beginP[0] == kSysexStart && std::memchr(beginP, kSysexEnd, length) == beginP + length - 1;
}

// ---- messages ----

int Mdie_Event::GetNumMessages() const {
  switch (mU.mBase.mType) {
    case kNoteOn:
    case kNoteOff:
    case kPitchBend:
    case kController:
    case kMonoPressure:
    case kPolyPressure:
    case kSongPosition:
    case kStart:
    case kContinue:
    case kStop:
    case kTimingClock:
    case kAllNotesOff:
    case kQuarterFrame:
      return 1;
    case kShortSysex:
    case kLongSysex:
    case kSysexPacket:
      return SysexLength() > 0 ? 1 : 0;
    case kProgram:
      return ((mU.mProgram.mBank & 0x8000) == 0) + ((mU.mProgram.mBank & 0x4000) == 0) +
             ((mU.mProgram.mProgram & 0x80) == 0);
    // These talk to a host and not to a wire: a note with a duration has no end that could be sent now.
    case kNoEvent:
    case kNoteWithDuration:
    case kClearNoteInProgress:
    case kAddNoteInProgress:
    case kReleaseController:
    case kPitchToMIDINoteWithDuration:
    case kClipEvent:
      return 0;
  }
  return 0;  // a tag from outside the enumeration
}

int Mdie_Event::ProgramMessage(int iIndex, unsigned char (&oBytes)[3]) const {
  const int bank = mU.mProgram.mBank;
  int index = iIndex;
  if ((bank & 0x8000) == 0 && index-- == 0) {
    oBytes[0] = 0xB0;
    oBytes[1] = 0x00;
    oBytes[2] = High7(bank);
    return 3;
  }
  if ((bank & 0x4000) == 0 && index-- == 0) {
    oBytes[0] = 0xB0;
    oBytes[1] = 0x20;
    oBytes[2] = Low7(bank);
    return 3;
  }
  if ((mU.mProgram.mProgram & 0x80) == 0 && index == 0) {
    oBytes[0] = 0xC0;
    oBytes[1] = Low7(mU.mProgram.mProgram);
    return 2;
  }
  return 0;
}

int Mdie_Event::ShortMessage(int iIndex, unsigned char (&oBytes)[3]) const {
  const auto put = [&oBytes](int iLength, unsigned char iStatus, unsigned char iFirst = 0,
                             unsigned char iSecond = 0) {
    oBytes[0] = iStatus;
    oBytes[1] = iFirst;
    oBytes[2] = iSecond;
    return iLength;
  };
  if (mU.mBase.mType == kProgram) return iIndex < 0 ? 0 : ProgramMessage(iIndex, oBytes);
  if (iIndex != 0) return 0;
  switch (mU.mBase.mType) {
    case kNoteOn:
      return put(3, 0x90, Low7(mU.mNote.mPitch), Low7(mU.mNote.mVelocity));
    case kNoteOff:
      return put(3, 0x80, Low7(mU.mNote.mPitch), Low7(mU.mNote.mVelocity));
    case kPolyPressure:
      return put(3, 0xA0, Low7(mU.mPolyPressure.mPitch), Low7(mU.mPolyPressure.mPressure));
    case kController:
      return put(3, 0xB0, Low7(mU.mController.mNumber), Low7(mU.mController.mValue));
    case kAllNotesOff:
      return put(3, 0xB0, 123);
    case kMonoPressure:
      return put(2, 0xD0, Low7(mU.mMonoPressure.mPressure));
    case kPitchBend: {
      const int bend = mU.mPitchBend.mBend + 8192;
      return put(3, 0xE0, Low7(bend), High7(bend));
    }
    case kQuarterFrame:
      return put(2, 0xF1, Low7(mU.mQuarterFrame.mData));
    case kSongPosition:
      return put(3, 0xF2, Low7(mU.mSongPosition.mPosition), High7(mU.mSongPosition.mPosition));
    case kTimingClock:
      return put(1, 0xF8);
    case kStart:
      return put(1, 0xFA);
    case kContinue:
      return put(1, 0xFB);
    case kStop:
      return put(1, 0xFC);
    default:
      return 0;
  }
}

int Mdie_Event::GetMessageLength(int iIndex) const {
  if (HoldsSysexBytes()) return iIndex == 0 ? SysexLength() : 0;
  unsigned char bytes[3];
  return ShortMessage(iIndex, bytes);
}

void Mdie_Event::GetMessageData(signed char* oData, int iIndex) const {
  GetPartialMessageData(oData, iIndex, 0, std::numeric_limits<int>::max());
}

void Mdie_Event::GetPartialMessageData(signed char* oData, int iIndex, int iOffset, int iLength) const {
  unsigned char bytes[3];
  const unsigned char* messageP = bytes;
  int length = 0;
  if (!HoldsSysexBytes()) {
    length = ShortMessage(iIndex, bytes);
  } else if (iIndex == 0) {
    length = SysexLength();
    messageP = SysexData();
  }
  if (oData == nullptr || iLength <= 0 || iOffset < 0 || iOffset >= length) return;
  const int count = std::min(iLength, length - iOffset);
  std::memcpy(oData, messageP + iOffset, static_cast<std::size_t>(count));
}

// ---- the block of a long sysex ----

void Mdie_Event::LongSysexCopyConstruct() {
  // The bytes were copied, so the pointer is still the source's. It must not survive a failure: two records
  // would free one block.
  mU.mLongSysex.mBlockP = CopyToBlock(mU.mLongSysex.mBlockP, mU.mLongSysex.mLength);
  if (mU.mLongSysex.mBlockP == nullptr) mU.mBase.mType = kNoEvent;
}

void Mdie_Event::LongSysexAssign(const Mdie_Event& iSource) {
  LongSysexDestruct();
  CopyBytes(iSource);
  if (mU.mBase.mType == kLongSysex) LongSysexCopyConstruct();
}

void Mdie_Event::LongSysexDestruct() {
  if (mU.mBase.mType != kLongSysex) return;  // the target of an assignment needn't be long
  FreeBlock(mU.mLongSysex.mBlockP);
}

void Mdie_Event::CountBlockAsAbandoned() const {
  if (mU.mBase.mType == kLongSysex) Mem2_MasterAllocator::Shared().CountAbandoned(1, mU.mLongSysex.mLength);
}

// ---- Mdie_SysexEvent ----

Mdie_SysexEvent::Mdie_SysexEvent(int iLength, const unsigned char* iData) {
  SetData(iLength, iData);
  CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex,
                  "mU.mBase.mType == kShortSysex || mU.mBase.mType == kLongSysex");
}

void Mdie_SysexEvent::SetData(int iLength, const unsigned char* iData) {
  // The old block is freed last: iData may lie in it. For the same reason bytes within the record are moved.
  unsigned char* const oldBlockP = mU.mBase.mType == kLongSysex ? mU.mLongSysex.mBlockP : nullptr;
  const int length = iData == nullptr ? 0 : std::max(iLength, 0);
  if (length <= kInlineSysexBytes) {
    if (length > 0) std::memmove(mU.mInlineSysex.mData, iData, static_cast<std::size_t>(length));
    mU.mInlineSysex.mLength = static_cast<unsigned char>(length);
    mU.mBase.mType = kShortSysex;
  } else {
    unsigned char* const blockP = CopyToBlock(iData, length);
    mU.mLongSysex.mBlockP = blockP;
    mU.mLongSysex.mLength = length;
    mU.mBase.mType = blockP != nullptr ? kLongSysex : kNoEvent;
  }
  if (oldBlockP != nullptr) FreeBlock(oldBlockP);
}

// ---- Mdie_SysexPacketEvent ----

Mdie_SysexPacketEvent::Mdie_SysexPacketEvent(int iLength, const unsigned char* iData)
    : Mdie_Event(kSysexPacket) {
  const bool fits = CMN_ASSERT_FROM(kMdie_EventAssertSource, iLength >= 0 && iLength <= kMaxLength,
                                    "iLength >= 0 && iLength <= kMaxLength");
  const int length = fits && iData != nullptr ? iLength : 0;
  if (length > 0) std::memcpy(mU.mInlineSysex.mData, iData, static_cast<std::size_t>(length));
  mU.mInlineSysex.mLength = static_cast<unsigned char>(length);
  CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kSysexPacket, "mU.mBase.mType == kSysexPacket");
}
