// SPDX-License-Identifier: MIT
/// \file
/// An output for the transport streams that the application generates.
#pragma once

#include <atomic>

#include "cmn/cmn_export.h"
#include "cmn/cqcfunknown.h"
#include "mlox/mlox_basicoutput.h"
#include "mlox/mlox_directmidi/idirectmidiglobaloutput.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverybase.h"

class Mdi_AppCallback;
class Mlox_DM_Service;

/// Receives click, MIDI beat clock and MIDI time code from the application's data sources. It stands on no
/// device list and has no name, no channels and no descriptor.
///
/// The plug-in's last `Release` ends all connections; the object goes when nobody refers to it as an output
/// any more.
class MLOX_EXPORT Mlox_DM_GlobalOutput : public IDirectMIDIGlobalOutput,
                                         public CQCFUnknown,
                                         public Mlox_BasicOutput,
                                         public Mlox_DM_DeliveryBase {
 public:
  /// Refers to itself as an output, until the plug-in has let go. [main]
  /// \param iServiceP  reaches the data sources, and is told when the output goes; not null.
  Mlox_DM_GlobalOutput(Mlox_DM_Service* iServiceP, Mdi_AppCallback* iAppCallbackP);

  // ---- IDirectMIDIGlobalOutput ----

  int32_t QueryInterface(const _qcfUID& iUID, void** oResultP) override;
  uint32_t AddRef() override;
  uint32_t Release() override;
  void SetReceivesClick(bool iReceives) override;
  void SetReceivesMidiBeatClock(bool iReceives) override;
  void SetReceivesMTC(bool iReceives) override;

  // ---- Mlox_BasicOutput ----

  /// How many samples ahead of time the plug-in wants its events. The rate isn't used. [any]
  int GetTimestampedPreSendSamples(double iSampleRate) override;
  /// Always 0, whatever the plug-in has announced. [any]
  Time_SampleLength GetZeroJitterDelay(double iSampleRate) override;
  /// The delay that the plug-in has announced: kept, and not used for this output. [any]
  using Mlox_DM_DeliveryBase::GetZeroJitterDelay;
  /// Whether the plug-in wants events ahead of time. [any]
  bool IsTimestamped() override;

  // ---- Mlox_AWrite ----

  /// Hands the event to the current delivery, on channel 0. Dropped without a report when none is set.
  /// [writer]
  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                  Mlox_OutputContextRef iContext) override;
  /// Writes nothing; the report "0". [writer]
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;
  /// Writes nothing; the report "0". [writer]
  void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;

  /// The service is going: the output must not call it from now on. [main]
  void ClearServiceP();

  // ---- CQCFUnknown ----

  /// Ends all connections and then stops referring to itself.
  void ReclaimMemory() override;
  int32_t InternalQueryInterface(const _qcfUID& iUID, void** oResultP) override;

 protected:
  ~Mlox_DM_GlobalOutput() override;

 private:
  bool mReceivesClick = false;
  bool mReceivesMidiBeatClock = false;
  bool mReceivesMTC = false;
  Mlox_DM_Service* mServiceP;
};
