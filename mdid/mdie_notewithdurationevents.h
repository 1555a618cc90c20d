// SPDX-License-Identifier: MIT
/// \file
/// Notes that carry their own length: the recorded note, its two companions for a host's note tracking, and
/// the note with a fractional pitch. None of them turns into bytes on a wire.
#pragma once

#include "mdid/mdie_event.h"

/// What the notes with a duration have in common. Pitch and off velocity 0 to 127, on velocity 1 to 127,
/// duration at least 1 of its own unit.
class MLOX_EXPORT Mdie_NoteWithDurationBase : public Mdie_Event {
 public:
  signed char GetPitch() const { return mU.mNoteWithDuration.mPitch; }
  void SetPitch(signed char iPitch) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPitch >= 0, "iPitch >= 0");
    mU.mNoteWithDuration.mPitch = iPitch;
  }
  Time_TypedLength GetDuration() const {
    return Time_TypedLength(mU.mNoteWithDuration.mDuration, mU.mNoteWithDuration.mDurationType);
  }
  void SetDuration(const Time_TypedLength& iDuration) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iDuration >= Time_TypedLength(1, iDuration.GetType()),
                    "iDuration >= Time_TypedLength(1, iDuration.GetType())");
    mU.mNoteWithDuration.mDuration = iDuration.AsInt64();
    mU.mNoteWithDuration.mDurationType = iDuration.GetType();
  }
  signed char GetOnVelocity() const { return mU.mNoteWithDuration.mOnVelocity; }
  void SetOnVelocity(signed char iOnVelocity) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iOnVelocity >= 1, "iOnVelocity >= 1");
    mU.mNoteWithDuration.mOnVelocity = iOnVelocity;
  }
  signed char GetOffVelocity() const { return mU.mNoteWithDuration.mOffVelocity; }
  void SetOffVelocity(signed char iOffVelocity) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iOffVelocity >= 0, "iOffVelocity >= 0");
    mU.mNoteWithDuration.mOffVelocity = iOffVelocity;
  }
  /// Marks the note as dead while it sits in a list: on velocity 0, which no constructor or setter lets
  /// through without a report.
  void MarkForDeletion() { mU.mNoteWithDuration.mOnVelocity = 0; }

 protected:
  explicit Mdie_NoteWithDurationBase(EType iType) : Mdie_Event(iType) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == iType, "mU.mBase.mType == iType");
  }
  Mdie_NoteWithDurationBase(signed char iPitch, const Time_TypedLength& iDuration, signed char iOnVelocity,
                            signed char iOffVelocity, EType iType)
      : Mdie_Event(iType) {
    SetPitch(iPitch);
    SetDuration(iDuration);
    SetOnVelocity(iOnVelocity);
    SetOffVelocity(iOffVelocity);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == iType, "mU.mBase.mType == iType");
  }
};
static_assert(kMdie_IsEventView<Mdie_NoteWithDurationBase>);

/// A note of a known length (tag 3).
class MLOX_EXPORT Mdie_NoteWithDurationEvent : public Mdie_NoteWithDurationBase {
 public:
  /// Sets the tag alone; the values must be set before they are read.
  Mdie_NoteWithDurationEvent() : Mdie_NoteWithDurationBase(kNoteWithDuration) { CheckTag(); }
  Mdie_NoteWithDurationEvent(signed char iPitch, const Time_TypedLength& iDuration, signed char iOnVelocity,
                             signed char iOffVelocity)
      : Mdie_NoteWithDurationBase(iPitch, iDuration, iOnVelocity, iOffVelocity, kNoteWithDuration) {
    CheckTag();
  }

 private:
  void CheckTag() const {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kNoteWithDuration,
                    "mU.mBase.mType == kNoteWithDuration");
  }
};
static_assert(kMdie_IsEventView<Mdie_NoteWithDurationEvent>);

/// Tells a host's note tracking to forget a sounding note (tag 17).
class MLOX_EXPORT Mdie_ClearNoteInProgressEvent : public Mdie_NoteWithDurationBase {
 public:
  Mdie_ClearNoteInProgressEvent(signed char iPitch, const Time_TypedLength& iDuration,
                                signed char iOnVelocity, signed char iOffVelocity)
      : Mdie_NoteWithDurationBase(iPitch, iDuration, iOnVelocity, iOffVelocity, kClearNoteInProgress) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kClearNoteInProgress,
                    "mU.mBase.mType == kClearNoteInProgress");
  }
};
static_assert(kMdie_IsEventView<Mdie_ClearNoteInProgressEvent>);

/// Tells a host's note tracking of a note that sounds already (tag 18).
class MLOX_EXPORT Mdie_AddNoteInProgressEvent : public Mdie_NoteWithDurationBase {
 public:
  Mdie_AddNoteInProgressEvent(signed char iPitch, const Time_TypedLength& iDuration, signed char iOnVelocity,
                              signed char iOffVelocity)
      : Mdie_NoteWithDurationBase(iPitch, iDuration, iOnVelocity, iOffVelocity, kAddNoteInProgress) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kAddNoteInProgress,
                    "mU.mBase.mType == kAddNoteInProgress");
  }
};
static_assert(kMdie_IsEventView<Mdie_AddNoteInProgressEvent>);

/// A note found by pitch detection (tag 22): besides the nearest key it carries the pitch it was heard at, in
/// semitones, not negative.
class MLOX_EXPORT Mdie_PitchToMIDINoteWithDuration : public Mdie_NoteWithDurationBase {
 public:
  Mdie_PitchToMIDINoteWithDuration(signed char iPitch, const Time_TypedLength& iDuration,
                                   signed char iOnVelocity, signed char iOffVelocity, float inFractionalPitch)
      : Mdie_NoteWithDurationBase(iPitch, iDuration, iOnVelocity, iOffVelocity,
                                  kPitchToMIDINoteWithDuration) {
    SetFractionalPitch(inFractionalPitch);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPitchToMIDINoteWithDuration,
                    "mU.mBase.mType == kPitchToMIDINoteWithDuration");
  }
  float GetFractionalPitch() const { return mU.mNoteWithDuration.mFractionalPitch; }
  void SetFractionalPitch(float inFractionalPitch) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, inFractionalPitch >= 0, "inFractionalPitch >= 0");
    mU.mNoteWithDuration.mFractionalPitch = inFractionalPitch;
  }
};
static_assert(kMdie_IsEventView<Mdie_PitchToMIDINoteWithDuration>);
