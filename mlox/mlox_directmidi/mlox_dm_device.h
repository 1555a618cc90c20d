// SPDX-License-Identifier: MIT
/// \file
/// A plug-in as a MIDI destination: an ordinary device to the rest of the application.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "cmn/cqcfunknown.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/idirectmidiclientoutput.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverybase.h"
#include "mlox/mlox_directmidi/mlox_dm_genericdeviceorinput.h"
#include "mlox/mlox_directmidi/mlox_dm_output.h"

class Mdi_AppCallback;
class Mlox_DM_Service;

/// The device behind a client output.
///
/// `Mlox_DM_Service` makes it and lists it; the plug-in's last `Release` takes it off the list and destroys
/// it, after its outputs have died. The outputs may live on in the hands of the application: they then do
/// nothing.
///
/// [main] Making, naming, asking for outputs and descriptors, and the last release. A rename and the last
/// release wait until no writer is inside an output.
class MLOX_EXPORT Mlox_DM_Device : public Mlox_Device,
                                   public IDirectMIDIClientOutput4,
                                   public CQCFUnknown,
                                   public Mlox_DM_DeliveryBase,
                                   public Mlox_DM_GenericDeviceOrInput {
 public:
  /// \param iNameP         made valid UTF-8; null counts as the empty name.
  /// \param iServiceP      told when the device goes; may be null.
  /// \param iAppCallbackP  passed on to the outputs; may be null.
  /// \param iID            given back by `GetTrackPtr`.
  Mlox_DM_Device(const char* iNameP, Mlox_DM_Service* iServiceP, Mdi_AppCallback* iAppCallbackP,
                 uint64_t iID);
  ~Mlox_DM_Device() override;

  // ---- Mlox_Device ----

  using Mlox_DM_GenericDeviceOrInput::GetName;
  std::string GetName() override;
  /// The output without a channel, made when first asked for.
  Mlox_Output* GetCommonOutput() override;
  /// The output of one channel, made when first asked for, whether the mask has the channel or not.
  /// \param iMidiChannel  0 to 15; anything else is reported and answered with null.
  Mlox_Output* GetOutputForChannel(short iMidiChannel) override;
  bool IsMidiChannelAvailable(short iMidiChannel) const override;
  std::shared_ptr<const Mlox_DeviceDescriptor> GetDeviceDescriptor() override;
  bool GetReceivesMBC() const override;

  // ---- IDirectMIDIClientOutput, 2, 3 and 4 ----

  int32_t QueryInterface(const _qcfUID& iUID, void** oResultP) override;
  uint32_t AddRef() override;
  uint32_t Release() override;
  void SetChannelMask(uint16_t iMask) override;
  /// Another name kills all outputs, so that new ones carry a descriptor of the new name. The current name
  /// changes nothing; null always does its work, as the empty name.
  void SetName(const char* iNameP) override;
  void SetPluginIdentification(void* iFicPlugInSpecP, int32_t iPluginID) override;
  void SetReceivesMBC(bool iReceives) override;
  bool IsMidiSourceLive() override;

  // ---- service ----

  /// The service that lists this device, null once that is gone. [main]
  Mlox_DM_Service* GetServiceP() const;
  /// Makes the device belong to another service, or to none. [main]
  void SetServiceP(Mlox_DM_Service* iServiceP);

  // ---- live sources ----

  /// Counts one more live source; the mark that `IsMidiSourceLive` tells stays as it is. [main]
  void AddLiveSource();
  /// Counts one less, down to 0; the mark stays as it is. [main]
  void RemoveLiveSource();
  /// How many live sources are counted. [main]
  uint32_t GetLiveSourcesCount() const;
  /// True marks the source and counts one more. False counts one less, down to 0, and keeps the mark while
  /// the count is above 0. [main]
  void SetMidiSourceIsLive(bool iIsLive);

  /// Kills every output there is: afterwards no writer is inside, and none gets in. [main]
  void KillOutputs();

  // ---- CQCFUnknown ----

  /// Kills the outputs, leaves the service's list and destroys the device.
  void ReclaimMemory() override;
  /// Answers to the four output ids and to `IQCFUnknown` with one and the same interface pointer, and to the
  /// id of `IDirectMIDIOutputDeliverySetup`.
  int32_t InternalQueryInterface(const _qcfUID& iUID, void** oResultP) override;

 private:
  Mlox_DM_Service* mServiceP;
  Cmn_AliasedRefCountPtr<Mlox_DM_Output> mCommonOutput;
  std::array<Cmn_AliasedRefCountPtr<Mlox_DM_Output>, 16> mChannelOutputs;
  std::atomic<bool> mReceivesMBC{true};
  std::atomic<bool> mMidiSourceIsLive{false};
  uint32_t mLiveSourcesCount = 0;
};
