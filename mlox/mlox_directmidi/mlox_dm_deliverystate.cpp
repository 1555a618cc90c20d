// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_deliverystate.h"

#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery.h"

Mlox_DM_DeliveryState::~Mlox_DM_DeliveryState() {
  for (Place* placeP = mPlacesP.load(std::memory_order_acquire); placeP != nullptr;) {
    Place* const nextP = placeP->mNextP;
    delete placeP;
    placeP = nextP;
  }
}

void Mlox_DM_DeliveryState::AddBufferedDelivery(Mlox_DM_BufferedDelivery* iDeliveryP) {
  Place* placeP = mPlacesP.load(std::memory_order_acquire);
  while (placeP != nullptr && placeP->mDeliveryP.load(std::memory_order_seq_cst) != nullptr)
    placeP = placeP->mNextP;
  if (placeP == nullptr) {
    placeP = new Place;
    placeP->mNextP = mPlacesP.load(std::memory_order_acquire);
    mPlacesP.store(placeP, std::memory_order_release);
  }
  placeP->mDeliveryP.store(iDeliveryP, std::memory_order_seq_cst);
  mBufferedDeliveryP.store(iDeliveryP, std::memory_order_release);
}

void Mlox_DM_DeliveryState::RemoveBufferedDelivery(const Mlox_DM_BufferedDelivery* iDeliveryP) {
  for (Place* placeP = mPlacesP.load(std::memory_order_acquire); placeP != nullptr; placeP = placeP->mNextP) {
    if (placeP->mDeliveryP.load(std::memory_order_seq_cst) != iDeliveryP) continue;
    placeP->mDeliveryP.store(nullptr, std::memory_order_seq_cst);
    return;
  }
}

void Mlox_DM_DeliveryState::ClearOwners() {
  // A delivery whose last release is under way on another thread either is off the list by now, or its
  // release finds us inside and leaves it to the delayed-deletion pass.
  const Sys_EpochGuard epochGuard;
  Enter();
  for (Place* placeP = mPlacesP.load(std::memory_order_acquire); placeP != nullptr; placeP = placeP->mNextP) {
    if (Mlox_DM_BufferedDelivery* const deliveryP = placeP->mDeliveryP.load(std::memory_order_seq_cst)) {
      deliveryP->ClearOwner();
    }
  }
  Leave();
}

void Mlox_DM_DeliveryState::BufferedDeliveryReleased() {
  mBufferedDeliveryP.store(nullptr, std::memory_order_release);
  // Also if a direct delivery was set after the buffered one, or another buffered one: kept so on purpose.
  // The plug-in has let go of the queue that it pulled, and says anew what it wants.
  SetCurrentDelivery(nullptr);
}
