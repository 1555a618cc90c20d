// SPDX-License-Identifier: MIT
/// \file
/// Pitch bend, controllers, the release of a controller, and all notes off.
#pragma once

#include <cstdint>

#include "mdid/mdie_event.h"

/// A pitch bend, -8192 to 8191, 0 in the middle.
class MLOX_EXPORT Mdie_PitchBendEvent : public Mdie_Event {
 public:
  explicit Mdie_PitchBendEvent(std::int16_t iBend) : Mdie_Event(kPitchBend) {
    SetBendValue(iBend);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kPitchBend, "mU.mBase.mType == kPitchBend");
  }
  std::int16_t GetBendValue() const { return mU.mPitchBend.mBend; }
  void SetBendValue(std::int16_t iBend) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, -8192 <= iBend && iBend <= 8191,
                    "-8192 <= iBend && iBend <= 8191");
    mU.mPitchBend.mBend = iBend;
  }
};
static_assert(kMdie_IsEventView<Mdie_PitchBendEvent>);

/// A controller change. Number 0 to 119, value 0 to 127. The numbers 120 to 127 are channel mode messages:
/// they travel as `Mdie_SysexPacketEvent` or `Mdie_AllNotesOffEvent`, and are reported here, yet stored.
class MLOX_EXPORT Mdie_ControllerEvent : public Mdie_Event {
 public:
  Mdie_ControllerEvent(signed char iControllerNumber, signed char iValue) : Mdie_Event(kController) {
    SetControllerNumber(iControllerNumber);
    SetValue(iValue);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kController, "mU.mBase.mType == kController");
  }
  signed char GetControllerNumber() const { return mU.mController.mNumber; }
  void SetControllerNumber(signed char iControllerNumber) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iControllerNumber >= 0, "iControllerNumber >= 0");
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iControllerNumber < 120, "iControllerNumber < 120");
    mU.mController.mNumber = iControllerNumber;
  }
  signed char GetValue() const { return mU.mController.mValue; }
  void SetValue(signed char iValue) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iValue >= 0, "iValue >= 0");
    mU.mController.mValue = iValue;
  }
};
static_assert(kMdie_IsEventView<Mdie_ControllerEvent>);

/// Tells a host to let go of a controller that it holds. The index is the host's own; it isn't checked.
class MLOX_EXPORT Mdie_ReleaseControllerEvent : public Mdie_Event {
 public:
  explicit Mdie_ReleaseControllerEvent(int iIndex) : Mdie_Event(kReleaseController) {
    SetIndex(iIndex);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kReleaseController,
                    "mU.mBase.mType == kReleaseController");
  }
  int GetIndex() const { return mU.mReleaseController.mIndex; }
  void SetIndex(int iIndex) { mU.mReleaseController.mIndex = iIndex; }
};
static_assert(kMdie_IsEventView<Mdie_ReleaseControllerEvent>);

/// Controller 123 with value 0.
class MLOX_EXPORT Mdie_AllNotesOffEvent : public Mdie_Event {
 public:
  Mdie_AllNotesOffEvent() : Mdie_Event(kAllNotesOff) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kAllNotesOff,
                    "mU.mBase.mType == kAllNotesOff");
  }
};
static_assert(kMdie_IsEventView<Mdie_AllNotesOffEvent>);
