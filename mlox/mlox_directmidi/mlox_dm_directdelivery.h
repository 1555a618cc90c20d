// SPDX-License-Identifier: MIT
/// \file
/// Delivery on the writer's thread.
#pragma once

#include "cmn/cmn_export.h"
#include "mlox/mlox_directmidi/mlox_dm_generaldelivery.h"

class IDirectMIDIOutput_DirectDeliveryClient;

/// Calls the plug-in's client for each message of each event, on the thread that writes it and at once: time
/// stamps aren't waited for.
class MLOX_EXPORT Mlox_DM_DirectDelivery final : public Mlox_DM_GeneralDelivery {
 public:
  /// The client isn't owned. With null, writes do nothing.
  explicit Mlox_DM_DirectDelivery(IDirectMIDIOutput_DirectDeliveryClient* iClientP) : mClientP(iClientP) {}

  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent, int16_t iChannel,
                  const Mlox_OutputContextRef& iContext) override;

 private:
  IDirectMIDIOutput_DirectDeliveryClient* const mClientP;
};
