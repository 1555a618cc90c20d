// SPDX-License-Identifier: MIT
/// \file
/// The end of a delivery that a thread may still be inside of.
#pragma once

#include <memory>

#include "cmn/sys_delayeddeletionobject.h"
#include "mlox/mlox_directmidi/mlox_dm_generaldelivery.h"

class Mlox_DM_DeliveryState;

/// Carries a delivery that was let go to the delayed-deletion pass. Nobody waits for the thread inside: it
/// may be the very one that lets go, in a client that replaces itself.
class Mlox_DM_RetiredDelivery final : public Sys_DelayedDeletionObject {
 public:
  /// [any but real-time] Ends a delivery that new users no longer find: at once when nobody is inside, else
  /// by the pass. Either way takes the heap. Null does nothing.
  static void LetGo(std::unique_ptr<Mlox_DM_GeneralDelivery> iDeliveryP, const Mlox_DM_DeliveryState& iState);

  ~Mlox_DM_RetiredDelivery() override;

 private:
  explicit Mlox_DM_RetiredDelivery(std::unique_ptr<Mlox_DM_GeneralDelivery> iDeliveryP);

  std::unique_ptr<Mlox_DM_GeneralDelivery> mDeliveryP;
};
