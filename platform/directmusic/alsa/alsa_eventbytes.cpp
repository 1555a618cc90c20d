// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_eventbytes.h"

#include <algorithm>

namespace {

constexpr int kBendCentre = 8192;

// Types without data, F0 and up; SND_SEQ_EVENT_NONE where the sequencer has none.
snd_seq_event_type_t SystemType(std::uint8_t iStatus) {
  switch (iStatus) {
    case 0xF1:
      return SND_SEQ_EVENT_QFRAME;
    case 0xF2:
      return SND_SEQ_EVENT_SONGPOS;
    case 0xF3:
      return SND_SEQ_EVENT_SONGSEL;
    case 0xF6:
      return SND_SEQ_EVENT_TUNE_REQUEST;
    case 0xF8:
      return SND_SEQ_EVENT_CLOCK;
    case 0xFA:
      return SND_SEQ_EVENT_START;
    case 0xFB:
      return SND_SEQ_EVENT_CONTINUE;
    case 0xFC:
      return SND_SEQ_EVENT_STOP;
    case 0xFE:
      return SND_SEQ_EVENT_SENSING;
    case 0xFF:
      return SND_SEQ_EVENT_RESET;
    default:
      return SND_SEQ_EVENT_NONE;
  }
}

std::size_t LengthOf(std::uint8_t iStatus) {
  if (iStatus >= 0xF0) {
    return iStatus == 0xF2 ? 3 : iStatus == 0xF1 || iStatus == 0xF3 ? 2 : 1;
  }
  return iStatus >= 0xC0 && iStatus < 0xE0 ? 2 : 3;
}

void EncodeNote(snd_seq_event_type_t iType, const std::uint8_t* iBytes, snd_seq_event_t& ioEvent) {
  ioEvent.type = static_cast<snd_seq_event_type>(iType);
  ioEvent.data.note = {};
  ioEvent.data.note.channel = iBytes[0] & 0x0F;
  ioEvent.data.note.note = iBytes[1];
  ioEvent.data.note.velocity = iBytes[2];
}

void EncodeControl(snd_seq_event_type_t iType, std::uint8_t iStatus, unsigned iParameter, int iValue,
                   snd_seq_event_t& ioEvent) {
  ioEvent.type = static_cast<snd_seq_event_type>(iType);
  ioEvent.data.control = {};
  ioEvent.data.control.channel = iStatus & 0x0F;
  ioEvent.data.control.param = iParameter;
  ioEvent.data.control.value = iValue;
}

int FourteenBits(const std::uint8_t* iBytes) { return iBytes[1] | (iBytes[2] << 7); }

void EncodeSystem(const std::uint8_t* iBytes, snd_seq_event_type_t iType, snd_seq_event_t& ioEvent) {
  const std::size_t length = LengthOf(iBytes[0]);
  const int value = length == 3 ? FourteenBits(iBytes) : length == 2 ? iBytes[1] : 0;
  EncodeControl(iType, 0, 0, value, ioEvent);
}

// \returns false for a status that channel messages don't have.
bool EncodeChannel(const std::uint8_t* iBytes, snd_seq_event_t& ioEvent) {
  switch (iBytes[0] & 0xF0) {
    case 0x80:
      EncodeNote(SND_SEQ_EVENT_NOTEOFF, iBytes, ioEvent);
      return true;
    case 0x90:
      EncodeNote(SND_SEQ_EVENT_NOTEON, iBytes, ioEvent);
      return true;
    case 0xA0:
      EncodeNote(SND_SEQ_EVENT_KEYPRESS, iBytes, ioEvent);
      return true;
    case 0xB0:
      EncodeControl(SND_SEQ_EVENT_CONTROLLER, iBytes[0], iBytes[1], iBytes[2], ioEvent);
      return true;
    case 0xC0:
      EncodeControl(SND_SEQ_EVENT_PGMCHANGE, iBytes[0], 0, iBytes[1], ioEvent);
      return true;
    case 0xD0:
      EncodeControl(SND_SEQ_EVENT_CHANPRESS, iBytes[0], 0, iBytes[1], ioEvent);
      return true;
    case 0xE0:
      EncodeControl(SND_SEQ_EVENT_PITCHBEND, iBytes[0], 0, FourteenBits(iBytes) - kBendCentre, ioEvent);
      return true;
    default:
      return false;
  }
}

unsigned Seven(unsigned iValue) { return iValue & 0x7Fu; }
unsigned Seven(int iValue) { return static_cast<unsigned>(iValue) & 0x7Fu; }

}  // namespace

void Platform_AlsaEncode(const std::uint8_t* iBytes, std::size_t iLength, snd_seq_event_t& ioEvent) {
  snd_seq_ev_set_fixed(&ioEvent);
  const std::uint8_t status = iBytes[0];
  if (status >= 0x80 && iLength == LengthOf(status)) {
    const snd_seq_event_type_t system = SystemType(status);
    if (system != SND_SEQ_EVENT_NONE) {
      EncodeSystem(iBytes, system, ioEvent);
      return;
    }
    if (EncodeChannel(iBytes, ioEvent)) {
      return;
    }
  }
  // The sequencer copies on the way into the kernel; its interface merely lacks the const.
  snd_seq_ev_set_sysex(&ioEvent, static_cast<unsigned>(iLength), const_cast<std::uint8_t*>(iBytes));
}

Platform_AlsaMessages::Platform_AlsaMessages(const snd_seq_event_t& iEvent) {
  const snd_seq_ev_note_t& note = iEvent.data.note;
  const snd_seq_ev_ctrl_t& control = iEvent.data.control;
  const unsigned channel = control.channel & 0x0Fu;
  switch (iEvent.type) {
    case SND_SEQ_EVENT_NOTEOFF:
      Add(0x80u | (note.channel & 0x0Fu), note.note, note.velocity);
      break;
    case SND_SEQ_EVENT_NOTEON:
      Add(0x90u | (note.channel & 0x0Fu), note.note, note.velocity);
      break;
    case SND_SEQ_EVENT_KEYPRESS:
      Add(0xA0u | (note.channel & 0x0Fu), note.note, note.velocity);
      break;
    case SND_SEQ_EVENT_CONTROLLER:
      Add(0xB0u | channel, control.param, static_cast<unsigned>(control.value));
      break;
    case SND_SEQ_EVENT_PGMCHANGE:
      Add(0xC0u | channel, static_cast<unsigned>(control.value));
      break;
    case SND_SEQ_EVENT_CHANPRESS:
      Add(0xD0u | channel, static_cast<unsigned>(control.value));
      break;
    case SND_SEQ_EVENT_PITCHBEND: {
      const int bend = std::clamp(control.value, -kBendCentre, kBendCentre - 1) + kBendCentre;
      Add(0xE0u | channel, static_cast<unsigned>(bend), static_cast<unsigned>(bend) >> 7);
      break;
    }
    case SND_SEQ_EVENT_CONTROL14:
      AddController14(control);
      break;
    case SND_SEQ_EVENT_NONREGPARAM:
      AddParameter(control, 0x63, 0x62);
      break;
    case SND_SEQ_EVENT_REGPARAM:
      AddParameter(control, 0x65, 0x64);
      break;
    case SND_SEQ_EVENT_QFRAME:
      Add(0xF1, static_cast<unsigned>(control.value));
      break;
    case SND_SEQ_EVENT_SONGPOS:
      Add(0xF2, static_cast<unsigned>(control.value), static_cast<unsigned>(control.value) >> 7);
      break;
    case SND_SEQ_EVENT_SONGSEL:
      Add(0xF3, static_cast<unsigned>(control.value));
      break;
    case SND_SEQ_EVENT_TUNE_REQUEST:
      Add(0xF6);
      break;
    case SND_SEQ_EVENT_CLOCK:
      Add(0xF8);
      break;
    case SND_SEQ_EVENT_START:
      Add(0xFA);
      break;
    case SND_SEQ_EVENT_CONTINUE:
      Add(0xFB);
      break;
    case SND_SEQ_EVENT_STOP:
      Add(0xFC);
      break;
    case SND_SEQ_EVENT_SENSING:
      Add(0xFE);
      break;
    case SND_SEQ_EVENT_RESET:
      Add(0xFF);
      break;
    default:
      break;
  }
}

void Platform_AlsaMessages::Add(unsigned iStatus) {
  mMessages[mCount++] = {{static_cast<std::uint8_t>(iStatus), 0, 0}, 1};
}

void Platform_AlsaMessages::Add(unsigned iStatus, unsigned iData) {
  mMessages[mCount++] = {{static_cast<std::uint8_t>(iStatus), static_cast<std::uint8_t>(Seven(iData)), 0}, 2};
}

void Platform_AlsaMessages::Add(unsigned iStatus, unsigned iData1, unsigned iData2) {
  mMessages[mCount++] = {{static_cast<std::uint8_t>(iStatus), static_cast<std::uint8_t>(Seven(iData1)),
                          static_cast<std::uint8_t>(Seven(iData2))},
                         3};
}

// Controllers 0 to 31 have their lower half 32 further up; of the others there is only the lower half.
void Platform_AlsaMessages::AddController14(const snd_seq_ev_ctrl_t& iControl) {
  const unsigned status = 0xB0u | (iControl.channel & 0x0Fu);
  if (iControl.param < 32) {
    Add(status, iControl.param, Seven(iControl.value >> 7));
    Add(status, iControl.param + 32, Seven(iControl.value));
  } else {
    Add(status, iControl.param, Seven(iControl.value));
  }
}

void Platform_AlsaMessages::AddParameter(const snd_seq_ev_ctrl_t& iControl, unsigned iCoarse,
                                         unsigned iFine) {
  constexpr unsigned kDataCoarse = 6;
  constexpr unsigned kDataFine = 38;
  const unsigned status = 0xB0u | (iControl.channel & 0x0Fu);
  Add(status, iCoarse, iControl.param >> 7);
  Add(status, iFine, iControl.param);
  Add(status, kDataCoarse, Seven(iControl.value >> 7));
  Add(status, kDataFine, Seven(iControl.value));
}
