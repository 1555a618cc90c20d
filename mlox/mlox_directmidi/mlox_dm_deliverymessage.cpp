// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_deliverymessage.h"

#include "cmn/cmn_assert.h"
#include "cmn/cmn_realtimescope.h"
#include "mdi/mdi_messageutils.h"
#include "mlox/mlox_directmidi/mlox_dm_timedevent.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_deliverymessage";

}  // namespace

// ---- lifetime ----

Mlox_DM_DeliveryMessage::Mlox_DM_DeliveryMessage() = default;

Mlox_DM_DeliveryMessage::~Mlox_DM_DeliveryMessage() = default;

// Empty on purpose. The count falls to zero after every single message, and the object stays alive for the
// next one; in direct delivery it isn't even on the heap. Only the delivery that made it destroys it.
void Mlox_DM_DeliveryMessage::ReclaimMemory() {}

// ---- IQCFUnknown ----

int32_t Mlox_DM_DeliveryMessage::QueryInterface(const _qcfUID& iUID, void** oResultP) {
  return GetControllingUnknown()->QueryInterface(iUID, oResultP);
}

uint32_t Mlox_DM_DeliveryMessage::AddRef() MLOX_NONBLOCKING { return GetControllingUnknown()->AddRef(); }

uint32_t Mlox_DM_DeliveryMessage::Release() MLOX_NONBLOCKING { return GetControllingUnknown()->Release(); }

int32_t Mlox_DM_DeliveryMessage::InternalQueryInterface(const _qcfUID& iUID, void** oResultP) {
  const Cmn_RealTimeScope realTime;
  if (oResultP == nullptr) return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
  *oResultP = nullptr;
  if (iUID != IDirectMIDIMessage::kUID && iUID != IQCFUnknown::kUID) return kQCF_NoInterface;
  IDirectMIDIMessage* const messageP = this;
  messageP->AddRef();
  *oResultP = messageP;
  return 0;
}

// ---- [audio] ----
// A plug-in reads on its audio thread after the pull has returned. Where something may be wrong with the
// record the thread is marked, so that the report isn't printed there.

int32_t Mlox_DM_DeliveryMessage::GetMessageLength() MLOX_NONBLOCKING {
  if (mTimedEventP == nullptr) return 0;
  return mTimedEventP->mEvent.GetMessageLength(mMessageIndex);
}

void Mlox_DM_DeliveryMessage::GetMessageData(signed char* oBuffer) MLOX_NONBLOCKING {
  if (mTimedEventP == nullptr) return;
  mTimedEventP->mEvent.GetMessageData(oBuffer, mMessageIndex);
  ImposeChannel(oBuffer[0]);
}

void Mlox_DM_DeliveryMessage::GetPartialMessageData(signed char* oBuffer, int32_t iOffset,
                                                    int32_t iCount) MLOX_NONBLOCKING {
  if (iCount <= 0 || mTimedEventP == nullptr) return;
  mTimedEventP->mEvent.GetPartialMessageData(oBuffer, mMessageIndex, iOffset, iCount);
  // From any other offset the first byte read isn't the status byte, whatever it looks like.
  if (iOffset == 0) ImposeChannel(oBuffer[0]);
}

int64_t Mlox_DM_DeliveryMessage::GetSampleTime() MLOX_NONBLOCKING {
  if (mTimedEventP == nullptr) return 0;
  if (mTimedEventP->mTimestamp.IsImmediate()) return -1;
  const int64_t result = mTimedEventP->mTimestamp.AsSample().AsInt64();
  if (result >= 0) return result;
  const Cmn_RealTimeScope realTime;
  CMN_ASSERT_FROM(kAssertSource, result >= 0, "result >= 0");
  return result;
}

void Mlox_DM_DeliveryMessage::ImposeChannel(signed char& ioStatus) const {
  if (mChannel < 0) return;
  const auto status = static_cast<unsigned char>(ioStatus);
  if (!Mdi_IsChannelStatus(status)) return;
  const Cmn_RealTimeScope realTime;
  ioStatus = static_cast<signed char>(Mdi_SetChannel(status, mChannel));
}

// ---- the delivery ----

void Mlox_DM_DeliveryMessage::Set(const Mlox_DM_TimedEvent* iTimedEventP, int32_t iMessageIndex,
                                  int16_t iChannel) {
  mTimedEventP = iTimedEventP;
  mMessageIndex = iMessageIndex;
  mChannel = static_cast<int8_t>(iChannel);
}

uint32_t Mlox_DM_DeliveryMessage::GetInterfaceRefCount() {
  AddRef();
  return Release();
}
