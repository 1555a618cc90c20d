// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_midireceivecallback.h"

#include "mlox/mlox_directmusic/directmusicreceivetask.h"
#include "mlox/mlox_directmusic/mlox_directmusic_servicehandle.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace {
constexpr int kHandOverAgain = 2;
}

Mlox_DirectMusic_MIDIReceiveCallback::~Mlox_DirectMusic_MIDIReceiveCallback() = default;

HRESULT Mlox_DirectMusic_MIDIReceiveCallback::Receive(Mlox_MidiData* data) {
  const Mlox_DirectMusic_ServiceHandle* const serviceP = sService.load();
  if (serviceP == nullptr || serviceP->IsSuspended()) return S_OK;
  mSysexState = Mlox_SetSysexState(data, mSysexState);
  if (mRawReceiver == nullptr) return S_OK;
  while (mRawReceiver->ReceiveRawMidi(data) == kHandOverAgain) {
    // Who stops the thread waits for it, and a receiver that never takes the record would keep both for ever.
    if (mIsWithdrawn.load() || DirectMusicReceiveTask::IsStopRequestedOnThisThread()) break;
  }
  return S_OK;
}

HRESULT Mlox_DirectMusic_MIDIReceiveCallback::IsDifferentFrom(
    std::shared_ptr<IDirectMusicMIDIReceiveCallback> other) {
  const auto* const otherP = dynamic_cast<const Mlox_DirectMusic_MIDIReceiveCallback*>(other.get());
  return otherP != nullptr && otherP->mRawReceiver == mRawReceiver ? S_OK : S_FALSE;
}

void Mlox_DirectMusic_MIDIReceiveCallback::SetRawReceiver(Mlox_RawMidiReceiver* receiver) {
  mRawReceiver = receiver;
}
