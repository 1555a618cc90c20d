// SPDX-License-Identifier: MIT
#include "tools/mlox/song/eventconversion.h"

#include "mdid/mdie_controlevents.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_programevent.h"
#include "mdid/mdie_sysexevents.h"

namespace tool {

namespace {

constexpr int kFirstChannelMode = 120;
constexpr int kAllNotesOff = 123;

Mdie_Event MakePacket(std::span<const std::uint8_t> iBytes) {
  return Mdie_SysexPacketEvent(static_cast<int>(iBytes.size()), iBytes.data());
}

Mdie_Event MakeSysex(std::span<const std::uint8_t> iBytes) {
  return Mdie_SysexEvent(static_cast<int>(iBytes.size()), iBytes.data());
}

Mdie_Event MakeController(std::span<const std::uint8_t> iBytes) {
  const int number = iBytes[1];
  const int value = iBytes[2];
  if (number < kFirstChannelMode) {
    return Mdie_ControllerEvent(static_cast<signed char>(number), static_cast<signed char>(value));
  }
  if (number == kAllNotesOff && value == 0) {
    return Mdie_AllNotesOffEvent();
  }
  return MakePacket(iBytes);
}

Mdie_Event MakeProgramChange(std::uint8_t iProgram) {
  Mdie_ProgramEvent event;
  event.SetProgram(static_cast<signed char>(iProgram));
  event.SetProgramEnable(true);
  return event;
}

Mdie_Event MakePitchBend(std::span<const std::uint8_t> iBytes) {
  constexpr int kCentre = 8192;
  return Mdie_PitchBendEvent(static_cast<std::int16_t>((iBytes[1] | (iBytes[2] << 7)) - kCentre));
}

Mdie_Event MakeChannelEvent(std::span<const std::uint8_t> iBytes) {
  const auto first = static_cast<signed char>(iBytes[1]);
  const auto second = static_cast<signed char>(iBytes.size() > 2 ? iBytes[2] : 0);
  switch (iBytes[0] & 0xF0) {
    case 0x80:
      return Mdie_NoteOffEvent(first, second);
    case 0x90:
      return second != 0 ? Mdie_Event(Mdie_NoteOnEvent(first, second)) : MakePacket(iBytes);
    case 0xA0:
      return Mdie_PolyPressureEvent(first, second);
    case 0xB0:
      return MakeController(iBytes);
    case 0xC0:
      return MakeProgramChange(iBytes[1]);
    case 0xD0:
      return Mdie_MonoPressureEvent(first);
    default:
      return MakePitchBend(iBytes);
  }
}

}  // namespace

Mdie_Event MakeEvent(SongMessageKind iKind, std::span<const std::uint8_t> iBytes) {
  switch (iKind) {
    case SongMessageKind::kChannel:
      return MakeChannelEvent(iBytes);
    case SongMessageKind::kSysex:
      return MakeSysex(iBytes);
    case SongMessageKind::kRaw:
      break;
  }
  return iBytes.size() <= Mdie_SysexPacketEvent::kMaxLength ? MakePacket(iBytes) : MakeSysex(iBytes);
}

}  // namespace tool
