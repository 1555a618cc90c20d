// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_globaloutput.h"

#include "cmn/cmn_assert.h"
#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmidi/mlox_dm_generaldelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_globaloutput";

// Deliberately a channel and not -1: whatever channel a source writes, its messages come out on the first
// one.
constexpr int16_t kChannel = 0;

// The service's set of outputs has no lock: like other nodes these are made and released by the thread that
// made the service.
void CheckMainThread([[maybe_unused]] const Mlox_DM_Service* iServiceP) {
#ifndef NDEBUG
  CMN_ASSERT_FROM(kAssertSource, iServiceP == nullptr || iServiceP->IsMainThread(), "IsMainThread()");
#endif
}

}  // namespace

// ---- lifetime ----

Mlox_DM_GlobalOutput::Mlox_DM_GlobalOutput(Mlox_DM_Service* iServiceP, Mdi_AppCallback* iAppCallbackP)
    : Mlox_BasicOutput(iAppCallbackP), Mlox_DM_DeliveryBase(iServiceP), mServiceP(iServiceP) {
  CheckMainThread(iServiceP);
  AddReference();
}

Mlox_DM_GlobalOutput::~Mlox_DM_GlobalOutput() {
  if (mServiceP != nullptr) mServiceP->RemoveGlobalOutput(this);
}

void Mlox_DM_GlobalOutput::ClearServiceP() {
  mServiceP = nullptr;
  SetDeliveryService(nullptr);
}

void Mlox_DM_GlobalOutput::ReclaimMemory() {
  CheckMainThread(mServiceP);
  // The sources' references come first: with them the output would never go.
  IDirectMIDIGlobalOutput* interfaceP = this;
  interfaceP->SetReceivesClick(false);
  interfaceP->SetReceivesMidiBeatClock(false);
  interfaceP->SetReceivesMTC(false);
  RemoveReference();
}

// ---- IDirectMIDIGlobalOutput ----

int32_t Mlox_DM_GlobalOutput::QueryInterface(const _qcfUID& iUID, void** oResultP) {
  return GetControllingUnknown()->QueryInterface(iUID, oResultP);
}

uint32_t Mlox_DM_GlobalOutput::AddRef() { return GetControllingUnknown()->AddRef(); }

uint32_t Mlox_DM_GlobalOutput::Release() { return GetControllingUnknown()->Release(); }

void Mlox_DM_GlobalOutput::SetReceivesClick(bool iReceives) {
  if (iReceives == mReceivesClick) return;
  mReceivesClick = iReceives;
  if (mServiceP == nullptr) return;
  if (iReceives) {
    mServiceP->ConnectToClick(this);
  } else {
    mServiceP->DisconnectFromClick(this);
  }
}

void Mlox_DM_GlobalOutput::SetReceivesMidiBeatClock(bool iReceives) {
  if (iReceives == mReceivesMidiBeatClock) return;
  mReceivesMidiBeatClock = iReceives;
  if (mServiceP == nullptr) return;
  if (iReceives) {
    mServiceP->ConnectToMidiBeatClock(this);
  } else {
    mServiceP->DisconnectFromMidiBeatClock(this);
  }
}

void Mlox_DM_GlobalOutput::SetReceivesMTC(bool iReceives) {
  if (iReceives == mReceivesMTC) return;
  mReceivesMTC = iReceives;
  if (mServiceP == nullptr) return;
  if (iReceives) {
    mServiceP->ConnectToMTC(this);
  } else {
    mServiceP->DisconnectFromMTC(this);
  }
}

// ---- Mlox_BasicOutput ----

int Mlox_DM_GlobalOutput::GetTimestampedPreSendSamples(double) { return GetAdvanceScheduleRequirement(); }

Time_SampleLength Mlox_DM_GlobalOutput::GetZeroJitterDelay(double) { return Time_SampleLength(0); }

bool Mlox_DM_GlobalOutput::IsTimestamped() { return GetAdvanceScheduleRequirement() > 0; }

// ---- writes ----

void Mlox_DM_GlobalOutput::WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                                      Mlox_OutputContextRef iContext) {
  const Sys_EpochGuard epochGuard;
  // No gate stands here: the connection's reference keeps this object alive during its source's write.
  const Writing writing(*this);
  Mlox_DM_GeneralDelivery* deliveryP = writing.GetCurrentDelivery();
  if (deliveryP != nullptr) deliveryP->WriteEvent(iTimestamp, iEvent, kChannel, iContext);
}

void Mlox_DM_GlobalOutput::WriteLimitedSysex(const unsigned char*, int, Mlox_OutputContextRef) {
  const Sys_EpochGuard epochGuard;
  CMN_ASSERT_FROM(kAssertSource, false, "0");
}

void Mlox_DM_GlobalOutput::WriteRawMIDI(const unsigned char*, int, Mlox_OutputContextRef) {
  const Sys_EpochGuard epochGuard;
  CMN_ASSERT_FROM(kAssertSource, false, "0");
}

// ---- CQCFUnknown ----

int32_t Mlox_DM_GlobalOutput::InternalQueryInterface(const _qcfUID& iUID, void** oResultP) {
  if (oResultP == nullptr) return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
  if (iUID == IDirectMIDIOutputDeliverySetup::kUID) {
    *oResultP = static_cast<IDirectMIDIOutputDeliverySetup*>(this);
    AddRef();
    return 0;
  }
  if (iUID == IDirectMIDIGlobalOutput::kUID || iUID == IQCFUnknown::kUID) {
    *oResultP = static_cast<IDirectMIDIGlobalOutput*>(this);
    AddRef();
    return 0;
  }
  return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
}
