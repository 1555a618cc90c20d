// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_retireddelivery.h"

#include <utility>

#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverystate.h"

Mlox_DM_RetiredDelivery::Mlox_DM_RetiredDelivery(std::unique_ptr<Mlox_DM_GeneralDelivery> iDeliveryP)
    : mDeliveryP(std::move(iDeliveryP)) {}

Mlox_DM_RetiredDelivery::~Mlox_DM_RetiredDelivery() = default;

void Mlox_DM_RetiredDelivery::LetGo(std::unique_ptr<Mlox_DM_GeneralDelivery> iDeliveryP,
                                    const Mlox_DM_DeliveryState& iState) {
  if (iDeliveryP == nullptr || !iState.IsAnyoneInside()) return;
  Sys_DelayedDeletion::Retire(new Mlox_DM_RetiredDelivery(std::move(iDeliveryP)));
}
