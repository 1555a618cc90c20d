// SPDX-License-Identifier: MIT
#include "mlox/mlox_mididata.h"

#include "mdi/mdi_messageutils.h"

// The two enumerations are one by their numbers; the byte rules lie in a folder that knows no record.
static_assert(int{Mlox_MidiData::kNoSysex} == int{Mdi_cNoSysex});
static_assert(int{Mlox_MidiData::kWholeSysex} == int{Mdi_cWholeSysex});
static_assert(int{Mlox_MidiData::kFirstSysex} == int{Mdi_cFirstSysex});
static_assert(int{Mlox_MidiData::kMiddleSysex} == int{Mdi_cMiddleSysex});
static_assert(int{Mlox_MidiData::kLastSysex} == int{Mdi_cLastSysex});

std::uint16_t Mlox_GetMIDIMessageLength(unsigned char status, unsigned char* ioRunningStatus) {
  return Mdi_GetMessageLength(status, ioRunningStatus);
}

Mlox_MidiData::ESysexState Mlox_SetSysexState(Mlox_MidiData* data, Mlox_MidiData::ESysexState state) {
  if (data == nullptr) return Mlox_MidiData::kNoSysex;
  const Mdi_SysexStep step =
      Mdi_ClassifySysexPiece(static_cast<Mdi_ESysexPiece>(state), data->mData, data->mLength);
  data->mSysexState = static_cast<Mlox_MidiData::ESysexState>(step.mPiece);
  return static_cast<Mlox_MidiData::ESysexState>(step.mNext);
}
