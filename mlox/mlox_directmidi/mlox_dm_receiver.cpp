// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_receiver.h"

#include "cmn/cmn_realtimescope.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace {

constexpr int64_t kNoSampleTime = -1;

}  // namespace

Mlox_DM_Receiver::~Mlox_DM_Receiver() = default;

void Mlox_DM_Receiver::Connect(Mlox_RawMidiReceiver* iReceiverP) {
  mRawMidiReceiverP.store(iReceiverP, std::memory_order_release);
}

void Mlox_DM_Receiver::Disconnect() { mRawMidiReceiverP.store(nullptr, std::memory_order_release); }

bool Mlox_DM_Receiver::ReceiveMIDI(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime) {
  return Receive(iDataP, iLength, iSampleTime, Mlox_MidiData::kNoSysex);
}

bool Mlox_DM_Receiver::ReceiveMIDISpecial(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime) {
  return Receive(iDataP, iLength, iSampleTime, kSpecialSysexState);
}

bool Mlox_DM_Receiver::Receive(const unsigned char* iDataP, int32_t iLength, int64_t iSampleTime,
                               Mlox_MidiData::ESysexState iSysexState) {
  const Cmn_RealTimeScope realTimeScope;
  // Loaded once: a disconnection between a test and a call would be a call through null.
  Mlox_RawMidiReceiver* receiverP = mRawMidiReceiverP.load(std::memory_order_acquire);
  if (receiverP == nullptr) return false;

  Mlox_MidiData data;
  data.mData = iDataP;
  data.mLength = static_cast<uint32_t>(iLength);
  data.mInputID = GetInputID();
  data.mSysexState = iSysexState;
  if (iSampleTime != kNoSampleTime) {
    data.mTimeKind = Mlox_MidiData::kSampleTime;
    data.mTime = iSampleTime;
    data.mIsTimeValid = true;
  }
  return receiverP->ReceiveRawMidi(&data) == 0;
}
