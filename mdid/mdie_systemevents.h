// SPDX-License-Identifier: MIT
/// \file
/// System common and system real-time events: song position, quarter frame, start, continue, stop, timing
/// clock.
#pragma once

#include <cstdint>

#include "mdid/mdie_event.h"

/// A song position in MIDI beats (six timing clocks each), 0 to 16383.
class MLOX_EXPORT Mdie_SongPositionEvent : public Mdie_Event {
 public:
  explicit Mdie_SongPositionEvent(int iPosition) : Mdie_Event(kSongPosition) {
    SetPosition(iPosition);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kSongPosition,
                    "mU.mBase.mType == kSongPosition");
  }
  int GetPosition() const { return mU.mSongPosition.mPosition; }
  /// The record has 16 bits for the position: a larger one is reported and stored as far as it fits.
  void SetPosition(int iPosition) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPosition >= 0, "iPosition >= 0");
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPosition <= 0x3fff, "iPosition <= 0x3fff");
    mU.mSongPosition.mPosition = static_cast<std::int16_t>(iPosition);
  }
};
static_assert(kMdie_IsEventView<Mdie_SongPositionEvent>);

/// One of the eight messages that together carry a MIDI time code.
class MLOX_EXPORT Mdie_QuarterFrameEvent : public Mdie_Event {
 public:
  /// Which nibble of the time code a message carries.
  enum EQuarterFrameMessage : unsigned char {
    kFramesLow = 0,
    kFramesHigh = 1,
    kSecondsLow = 2,
    kSecondsHigh = 3,
    kMinutesLow = 4,
    kMinutesHigh = 5,
    kHoursLow = 6,
    kHoursHighAndRate = 7
  };

  /// `iDataByte`: message in bits 4 to 6, nibble in bits 0 to 3, stored as it is.
  explicit Mdie_QuarterFrameEvent(unsigned char iDataByte) { Init(iDataByte); }
  /// Stores (message shifted left by 4) OR nibble. `iNibble` 0 to 15.
  Mdie_QuarterFrameEvent(EQuarterFrameMessage iMessage, unsigned char iNibble) {
    Init(static_cast<unsigned char>((iMessage << 4) | iNibble));
  }
  unsigned char GetQFDataByte() const { return mU.mQuarterFrame.mData; }
  EQuarterFrameMessage GetQFMessage() const {
    return static_cast<EQuarterFrameMessage>((mU.mQuarterFrame.mData >> 4) & 0x07);
  }
  unsigned char GetQFNibble() const { return mU.mQuarterFrame.mData & 0x0F; }

 private:
  void Init(unsigned char iDataByte) {
    mU.mBase.mType = kQuarterFrame;
    mU.mQuarterFrame.mData = iDataByte;
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kQuarterFrame,
                    "mU.mBase.mType == kQuarterFrame");
  }
};
static_assert(kMdie_IsEventView<Mdie_QuarterFrameEvent>);

/// Starts playback from the beginning.
class MLOX_EXPORT Mdie_StartEvent : public Mdie_Event {
 public:
  Mdie_StartEvent() : Mdie_Event(kStart) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kStart, "mU.mBase.mType == kStart");
  }
};
static_assert(kMdie_IsEventView<Mdie_StartEvent>);

/// Starts playback where it stands.
class MLOX_EXPORT Mdie_ContinueEvent : public Mdie_Event {
 public:
  Mdie_ContinueEvent() : Mdie_Event(kContinue) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kContinue, "mU.mBase.mType == kContinue");
  }
};
static_assert(kMdie_IsEventView<Mdie_ContinueEvent>);

/// Stops playback.
class MLOX_EXPORT Mdie_StopEvent : public Mdie_Event {
 public:
  Mdie_StopEvent() : Mdie_Event(kStop) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kStop, "mU.mBase.mType == kStop");
  }
};
static_assert(kMdie_IsEventView<Mdie_StopEvent>);

/// One of 24 clocks a quarter note.
class MLOX_EXPORT Mdie_TimingClockEvent : public Mdie_Event {
 public:
  Mdie_TimingClockEvent() : Mdie_Event(kTimingClock) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kTimingClock,
                    "mU.mBase.mType == kTimingClock");
  }
};
static_assert(kMdie_IsEventView<Mdie_TimingClockEvent>);
