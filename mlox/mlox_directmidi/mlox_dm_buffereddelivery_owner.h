// SPDX-License-Identifier: MIT
/// \file
/// The back reference of a buffered delivery.
#pragma once

#include "cmn/cmn_export.h"

/// Who made a buffered delivery, and hears of its end.
class MLOX_EXPORT Mlox_DM_BufferedDelivery_Owner {
 public:
  virtual ~Mlox_DM_BufferedDelivery_Owner() = default;

  /// The delivery's last reference is gone. [any] On the thread that dropped it.
  virtual void BufferedDeliveryReleased() = 0;
};
