// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_deliverybase.h"

#include <utility>
#include <vector>

#include "cmn/cmn_assert.h"
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_directdelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_retireddelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_deliverybase";

}  // namespace

// ---- lifetime ----

Mlox_DM_DeliveryBase::Mlox_DM_DeliveryBase(Mlox_DM_Service* iServiceP)
    : mServiceP(iServiceP), mState(new Mlox_DM_DeliveryState) {}

Mlox_DM_DeliveryBase::~Mlox_DM_DeliveryBase() {
  // Of every delivery made here, not of the last one alone: the plug-in may hold earlier ones too.
  mState->ClearOwners();
  mState->SetCurrentDelivery(nullptr);
  Mlox_DM_RetiredDelivery::LetGo(std::move(mDirectDeliveryP), *mState);
}

// ---- [main] ----

void Mlox_DM_DeliveryBase::SetAdvanceScheduleRequirement(int32_t iSamples) {
  mAdvanceScheduleRequirement.store(iSamples, std::memory_order_release);
  Mlox_Manager::Singleton()->Service_OutputPreSendChanged();
}

void Mlox_DM_DeliveryBase::SetZeroJitterDelay(int32_t iSamples) {
  mZeroJitterDelay.store(iSamples, std::memory_order_release);
  Mlox_Manager::Singleton()->Service_OutputPreSendChanged();
}

IDirectMIDIBufferedDelivery* Mlox_DM_DeliveryBase::SetBufferedDelivery() {
  if (!CMN_ASSERT_FROM(kAssertSource, mServiceP != nullptr, "mServiceP")) return nullptr;
  const Mlox_Manager* const managerP = Mlox_Manager::Singleton();
  // In order of priority: of equal times the first stream comes first.
  std::vector<Mlox_OutputContextRef> contexts{managerP->GetImmediateOutputContext(),
                                              managerP->GetPatchThruContext(),
                                              managerP->GetSlightlyEarlyPlayerContext()};
  // The owner is the state and not this object: see there.
  auto* const deliveryP = new Mlox_DM_BufferedDelivery(mServiceP->GetBufferedDeliveryAllocator(),
                                                       mState.get(), std::move(contexts), mState);
  deliveryP->AddRef();
  mState->AddBufferedDelivery(deliveryP);
  mState->SetCurrentDelivery(deliveryP);
  return deliveryP;
}

void Mlox_DM_DeliveryBase::SetDirectDelivery(IDirectMIDIOutput_DirectDeliveryClient* iClientP) {
  mState->SetCurrentDelivery(nullptr);
  Mlox_DM_RetiredDelivery::LetGo(std::move(mDirectDeliveryP), *mState);
  if (iClientP == nullptr) return;
  mDirectDeliveryP = std::make_unique<Mlox_DM_DirectDelivery>(iClientP);
  mState->SetCurrentDelivery(mDirectDeliveryP.get());
}

// ---- [any] ----

void Mlox_DM_DeliveryBase::BufferedDeliveryReleased() { mState->BufferedDeliveryReleased(); }
