// SPDX-License-Identifier: MIT
/// \file
/// A reference to an output that survives its going and coming back.
#pragma once

#include <atomic>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_doublylinkedlist.h"
#include "cmn/cmn_export.h"
#include "cmn/time_types.h"
#include "mlox/mlox_awrite.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_outputdescriptor.h"

/// A late-binding reference to an output: a descriptor and the output found from it. A change of the outputs
/// only marks all references; IsOnline on any of them searches for all.
///
/// The three writes may run on any thread, also against a search: a write enters the deletion epoch, reads
/// the output once and forwards. All else belongs to the main thread.
class MLOX_EXPORT Mlox_PersistentOutput : public Mlox_AWrite,
                                          public Cmn_DoublyLinkedList_Link<Mlox_PersistentOutput> {
 public:
  /// [main] A null reference. It makes the manager if there is none, as all constructors do.
  Mlox_PersistentOutput();

  /// [main] Searches at once for what fits the descriptor.
  /// \param iDescriptorP  may be null: a null reference
  explicit Mlox_PersistentOutput(const Mlox_OutputDescriptor* iDescriptorP);

  /// [main] Refers to this output until the outputs change.
  /// \param iOutputP  may be null: a null reference
  explicit Mlox_PersistentOutput(Mlox_Output* iOutputP);

  Mlox_PersistentOutput(const Mlox_PersistentOutput& iOther);
  Mlox_PersistentOutput& operator=(const Mlox_PersistentOutput& iOther);

  /// [main] No thread may be writing through it.
  ~Mlox_PersistentOutput() override;

  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                  Mlox_OutputContextRef iContext) override;
  void WriteLimitedSysex(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;
  void WriteRawMIDI(const unsigned char* iDataP, int iLength, Mlox_OutputContextRef iContext) override;

  /// [main] The same output held, and equal descriptors.
  bool operator==(const Mlox_PersistentOutput& iOther) const;
  bool operator!=(const Mlox_PersistentOutput& iOther) const { return !(*this == iOther); }

  /// [main] Equal devices and channels, whatever outputs are held. Two null references are equal.
  bool DescriptorEquals(const Mlox_PersistentOutput& iOther) const;

  /// [main] The descriptor, without a search.
  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> GetDescriptor() const { return mDescriptorRCP; }

  /// [main] The output that is held, without a search; null while there is none.
  Mlox_Output* GetOutput() const { return mOutputRCP.get(); }

  /// [main] The user's beat clock offset, in samples.
  Time_SampleLength GetUserBeatClockOffset() const { return mUserBeatClockOffset; }

  /// [main] Stores the user's beat clock offset, in samples, and hands it to the device, now and after each
  /// search. A device takes its low 32 bits.
  void SetUserBeatClockOffset(Time_SampleLength iOffset);

  /// [main] Whether there is no descriptor.
  bool IsNull() const { return !mDescriptorRCP; }

  /// [main] Whether there is a descriptor.
  bool IsNotNull() const { return !IsNull(); }

  /// [main] Whether an output is held. After a change of the outputs the first call on any reference searches
  /// for all of them; this is the only place where that happens.
  bool IsOnline() const;

  /// [main] Searches for what fits the descriptor and adopts the identity of what it finds. A write that
  /// runs meanwhile goes to the old output or to the new one.
  void ResetOutputUsingDescriptor();

 private:
  void JoinRegistry();
  void HandOffsetToDevice();

  Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> mDescriptorRCP;
  // The stored pointer is atomic, because writers read it while a search exchanges it.
  Cmn_AliasedRefCountPtr<Mlox_Output, std::atomic<Mlox_Output*>> mOutputRCP;
  Time_SampleLength mUserBeatClockOffset{};
};
