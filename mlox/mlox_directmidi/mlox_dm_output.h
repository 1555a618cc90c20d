// SPDX-License-Identifier: MIT
/// \file
/// One channel of a plug-in's MIDI destination, or the output common to all channels.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "cmn/sys_atomicint32.h"
#include "mlox/mlox_output.h"

class Mdi_AppCallback;
class Mlox_DM_Device;

/// Passes what is written to the delivery that the plug-in has set, if any.
///
/// A gate stands around every write and every inquiry that reaches the device: after `Kill` no thread is
/// inside, and none gets in. Writers take no lock; the gate costs them four atomic operations: two loads of a
/// flag and a count up on the way in, a count down on the way out. A killed output stays valid for as long as
/// somebody refers to it, and does nothing.
class MLOX_EXPORT Mlox_DM_Output : public Mlox_Output {
 public:
  /// An output of one channel. \param iChannel  0 to 15. [main]
  static Cmn_AliasedRefCountPtr<Mlox_DM_Output> NewChannel(Mlox_DM_Device* iDeviceP, int16_t iChannel,
                                                           Mdi_AppCallback* iAppCallbackP);
  /// The output common to all channels: what is written keeps the channel it has. [main]
  static Cmn_AliasedRefCountPtr<Mlox_DM_Output> NewCommon(Mlox_DM_Device* iDeviceP,
                                                          Mdi_AppCallback* iAppCallbackP);

  /// Waits until no writer is inside and keeps all others out, for good. [main]
  ///
  /// A write of the calling thread isn't waited for, so that a client may rename or release its node while a
  /// message is delivered to it: that write ends when the client returns.
  void Kill();

  // ---- Mlox_BasicOutput ----

  /// How many samples ahead of time the plug-in wants its events; 0 once killed. The rate isn't used. [any]
  int GetTimestampedPreSendSamples(double iSampleRate) override;
  /// The delay in samples that the plug-in has announced; 0 once killed. The rate isn't used. [any]
  Time_SampleLength GetZeroJitterDelay(double iSampleRate) override;
  /// Whether the plug-in wants events ahead of time; false once killed. [any]
  bool IsTimestamped() override;

  // ---- Mlox_Output ----

  /// Identity of the device as it was when this output was made, and the channel. [any]
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> GetDescriptor() const override;
  /// The device, null once killed. [main]
  Mlox_Device* GetDevice() override;
  /// 0: plug-ins have no patch documents. [any]
  int GetNumberOfPatches() override;
  /// False. [any]
  bool GetPatchName(std::string* oNameP, const Mdie_ProgramEvent& iProgram) override;
  /// Null, with the report "0": there are no patches to ask for. [any]
  Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> GetPatchInfo(int iIndex) override;
  /// Nothing. [any]
  void AddThruCount() override;
  /// Nothing. [any]
  void RemoveThruCount() override;

  // ---- Mlox_AWrite ----

  /// Hands the event to the device's current delivery, at once: writes to plug-ins are never accumulated for
  /// a batch. Dropped without a report when the output is killed or no delivery is set. [writer]
  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                  Mlox_OutputContextRef iContext) override;
  /// Writes nothing; the report "0" unless killed. [writer]
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;
  /// Writes nothing; the report "0" unless killed. [writer]
  void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;

 protected:
  ~Mlox_DM_Output() override;

 private:
  class Gate;

  Mlox_DM_Output(Mlox_DM_Device* iDeviceP, int16_t iChannel, Mdi_AppCallback* iAppCallbackP);

  Mlox_DM_Device* LoadDevice() const;
  bool AcquireWriteLock();
  void ReleaseWriteLock();

  std::atomic<Mlox_DM_Device*> mDeviceP;
  const int16_t mChannel;
  const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> mDescriptorP;
  // Dekker's pattern: a writer counts itself in and then looks at the flag, Kill raises the flag and then
  // looks at the count. All four accesses are sequentially consistent; with anything weaker a writer gets in
  // behind Kill.
  std::atomic<bool> mKilled{false};
  Sys_AtomicInt32 mWriteLock;
};
