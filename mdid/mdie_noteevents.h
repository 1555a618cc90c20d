// SPDX-License-Identifier: MIT
/// \file
/// Note on, note off and the two kinds of pressure.
#pragma once

#include "mdid/mdie_event.h"

/// A note on. Pitch 0 to 127, velocity 1 to 127: velocity 0 would be a note off, and is reported.
class MLOX_EXPORT Mdie_NoteOnEvent : public Mdie_Event {
 public:
  Mdie_NoteOnEvent(signed char iPitch, signed char iVelocity) : Mdie_Event(kNoteOn) {
    SetPitch(iPitch);
    SetVelocity(iVelocity);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kNoteOn, "mU.mBase.mType == kNoteOn");
  }
  signed char GetPitch() const { return mU.mNote.mPitch; }
  void SetPitch(signed char iPitch) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPitch >= 0, "iPitch >= 0");
    mU.mNote.mPitch = iPitch;
  }
  signed char GetVelocity() const { return mU.mNote.mVelocity; }
  void SetVelocity(signed char iVelocity) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iVelocity >= 1, "iVelocity >= 1");
    mU.mNote.mVelocity = iVelocity;
  }
};
static_assert(kMdie_IsEventView<Mdie_NoteOnEvent>);

/// A note off. Pitch and velocity 0 to 127.
class MLOX_EXPORT Mdie_NoteOffEvent : public Mdie_Event {
 public:
  Mdie_NoteOffEvent(signed char iPitch, signed char iVelocity) : Mdie_Event(kNoteOff) {
    SetPitch(iPitch);
    SetVelocity(iVelocity);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kNoteOff, "mU.mBase.mType == kNoteOff");
  }
  signed char GetPitch() const { return mU.mNote.mPitch; }
  void SetPitch(signed char iPitch) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPitch >= 0, "iPitch >= 0");
    mU.mNote.mPitch = iPitch;
  }
  signed char GetVelocity() const { return mU.mNote.mVelocity; }
  void SetVelocity(signed char iVelocity) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iVelocity >= 0, "iVelocity >= 0");
    mU.mNote.mVelocity = iVelocity;
  }
};
static_assert(kMdie_IsEventView<Mdie_NoteOffEvent>);

/// Pressure of a whole channel, 0 to 127.
class MLOX_EXPORT Mdie_MonoPressureEvent : public Mdie_Event {
 public:
  explicit Mdie_MonoPressureEvent(signed char iPressure) : Mdie_Event(kMonoPressure) {
    SetPressure(iPressure);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kMonoPressure,
                    "mU.mBase.mType == kMonoPressure");
  }
  signed char GetPressure() const { return mU.mMonoPressure.mPressure; }
  void SetPressure(signed char iPressure) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPressure >= 0, "iPressure >= 0");
    mU.mMonoPressure.mPressure = iPressure;
  }
};
static_assert(kMdie_IsEventView<Mdie_MonoPressureEvent>);

/// Pressure of one key. Pitch and pressure 0 to 127.
class MLOX_EXPORT Mdie_PolyPressureEvent : public Mdie_Event {
 public:
  Mdie_PolyPressureEvent(signed char iPitch, signed char iPressure) : Mdie_Event(kPolyPressure) {
    SetPitch(iPitch);
    SetPressure(iPressure);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPolyPressure,
                    "mU.mBase.mType == kPolyPressure");
  }
  signed char GetPitch() const { return mU.mPolyPressure.mPitch; }
  void SetPitch(signed char iPitch) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPitch >= 0, "iPitch >= 0");
    mU.mPolyPressure.mPitch = iPitch;
  }
  signed char GetPressure() const { return mU.mPolyPressure.mPressure; }
  void SetPressure(signed char iPressure) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iPressure >= 0, "iPressure >= 0");
    mU.mPolyPressure.mPressure = iPressure;
  }
};
static_assert(kMdie_IsEventView<Mdie_PolyPressureEvent>);
