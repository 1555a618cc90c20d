// SPDX-License-Identifier: MIT
/// \file
/// An event with the time at which it is due.
#pragma once

#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"

/// The record that a delivery message points at. Direct delivery keeps one on the stack, buffered delivery in
/// each of its queued elements.
struct Mlox_DM_TimedEvent {
  Mdie_Timestamp mTimestamp;
  Mdie_Event mEvent;
};
