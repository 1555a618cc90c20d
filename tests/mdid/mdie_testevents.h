// SPDX-License-Identifier: MIT
/// \file
/// An event of each tag, for the tests of the event model.
#pragma once

#include <vector>

#include "mdid/mdie_event.h"

/// An event of the tag, 0 to 23, with values in range. The long sysex is whole and has 200 bytes.
inline Mdie_Event Test_MakeEvent(int iTag) {
  const Time_TypedLength length(1000, Time_cSamples);
  const unsigned char sysex[] = {0xF0, 0x01, 0x02, 0xF7};
  std::vector<unsigned char> longSysex(200, 0x11);
  longSysex.front() = 0xF0;
  longSysex.back() = 0xF7;
  switch (iTag) {
    case 1:
      return Mdie_NoteOnEvent(60, 100);
    case 2:
      return Mdie_NoteOffEvent(60, 64);
    case 3:
      return Mdie_NoteWithDurationEvent(60, length, 100, 64);
    case 4:
      return Mdie_PitchBendEvent(100);
    case 5:
      return Mdie_ControllerEvent(7, 100);
    case 6:
      return Mdie_ProgramEvent(5, 0x0102);
    case 7:
      return Mdie_MonoPressureEvent(50);
    case 8:
      return Mdie_PolyPressureEvent(60, 50);
    case 9:
      return Mdie_SongPositionEvent(16);
    case 10:
      return Mdie_StartEvent();
    case 11:
      return Mdie_ContinueEvent();
    case 12:
      return Mdie_StopEvent();
    case 13:
      return Mdie_TimingClockEvent();
    case 14:
      return Mdie_SysexEvent(4, sysex);
    case 15:
      return Mdie_SysexEvent(200, longSysex.data());
    case 16:
      return Mdie_SysexPacketEvent(4, sysex);
    case 17:
      return Mdie_ClearNoteInProgressEvent(60, length, 100, 64);
    case 18:
      return Mdie_AddNoteInProgressEvent(60, length, 100, 64);
    case 19:
      return Mdie_ReleaseControllerEvent(3);
    case 20:
      return Mdie_AllNotesOffEvent();
    case 21:
      return Mdie_QuarterFrameEvent(0x35);
    case 22:
      return Mdie_PitchToMIDINoteWithDuration(60, length, 100, 64, 60.25f);
    case 23:
      return Mdie_ClipEvent("region", length);
    default:
      return Mdie_Event();
  }
}
