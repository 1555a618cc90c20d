// SPDX-License-Identifier: MIT
/// \file
/// The element of a buffered delivery's queues.
#pragma once

#include <cstdint>

#include "cmn/ps_atomicstructures.h"
#include "mlox/mlox_directmidi/mlox_dm_timedevent.h"

/// One written event on its way to the reader, in a block of the delivery's allocator. Its base is the link
/// that belongs to the queue in which the element lies.
struct Mlox_DM_QueuedEvent : public SPSAtomicElementBase {
  Mlox_DM_TimedEvent mTimedEvent;
  /// Of the output that was written to: 0 to 15, or -1 for the common output.
  int16_t mChannel = 0;
};
