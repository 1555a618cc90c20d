// SPDX-License-Identifier: MIT
/// \file
/// The sink to which a plug-in's outputs write.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

class Mdie_Event;
class Mdie_Timestamp;
class Mlox_OutputContextRef;

/// Where the events that are written to a plug-in's node go.
class MLOX_EXPORT Mlox_DM_GeneralDelivery {
 public:
  virtual ~Mlox_DM_GeneralDelivery() = default;

  /// Takes one event. [any] Any number of writers at once. iChannel is 0 to 15, or -1 for none.
  virtual void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent, int16_t iChannel,
                          const Mlox_OutputContextRef& iContext) = 0;
};
