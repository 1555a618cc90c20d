// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_way.h"

#include <jack/midiport.h>

namespace {

bool WriteEvent(void* iBufferP, std::uint32_t iFrame, const std::uint8_t* iBytes, std::size_t iLength) {
  return jack_midi_event_write(iBufferP, iFrame, iBytes, iLength) == 0;
}

}  // namespace

void Platform_JackInputWay::Process(void* iBufferP, const Platform_JackCycle& /*iCycle*/) noexcept {
  jack_midi_event_t event{};
  const std::uint32_t count = jack_midi_get_event_count(iBufferP);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (jack_midi_event_get(&event, iBufferP, i) == 0) {
      mLane.Arrive(event.buffer, event.size);
    }
  }
  mLane.CountLost(jack_midi_get_lost_event_count(iBufferP));
  mLane.Wake();
}

bool Platform_JackOutputWay::IsHeldBack() noexcept {
  int left = mCyclesToWait.load();
  // Should the session set it anew at this moment, its word holds.
  return left > 0 && (mCyclesToWait.compare_exchange_strong(left, left - 1) || left > 0);
}

void Platform_JackOutputWay::Process(void* iBufferP, const Platform_JackCycle& iCycle) noexcept {
  // Not cleared, a buffer sounds again in every cycle.
  jack_midi_clear_buffer(iBufferP);
  if (!mIsSilent.load() && !IsHeldBack()) {
    mLane.Process(iCycle, WriteEvent, iBufferP);
  }
}
