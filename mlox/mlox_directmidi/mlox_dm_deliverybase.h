// SPDX-License-Identifier: MIT
/// \file
/// What every object that receives MIDI for a plug-in holds about delivery.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmidi/idirectmidioutputdeliverysetup.h"
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery_owner.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverystate.h"

class Mlox_DM_DirectDelivery;
class Mlox_DM_GeneralDelivery;
class Mlox_DM_Service;

/// The delivery choices of a node, and the way of a write to the delivery that was chosen last: none at
/// first, a buffered one, or a direct one. A base of Mlox_DM_Device and Mlox_DM_GlobalOutput, which implement
/// the three operations of IQCFUnknown.
class MLOX_EXPORT Mlox_DM_DeliveryBase : public IDirectMIDIOutputDeliverySetup,
                                         public Mlox_DM_BufferedDelivery_Owner {
 public:
  /// [main] iServiceP isn't owned. It may be null, as for a node that has outlived its service.
  explicit Mlox_DM_DeliveryBase(Mlox_DM_Service* iServiceP);

  /// [main] Buffered deliveries that the plug-in still holds live on without an owner.
  ~Mlox_DM_DeliveryBase() override;

  Mlox_DM_DeliveryBase(const Mlox_DM_DeliveryBase&) = delete;
  Mlox_DM_DeliveryBase& operator=(const Mlox_DM_DeliveryBase&) = delete;

  void SetAdvanceScheduleRequirement(int32_t iSamples) override;
  void SetZeroJitterDelay(int32_t iSamples) override;
  void SetDirectDelivery(IDirectMIDIOutput_DirectDeliveryClient* iClientP) override;
  IDirectMIDIBufferedDelivery* SetBufferedDelivery() override;

  /// [any] Writes go nowhere from now on, also if a direct delivery was set after the buffered one.
  void BufferedDeliveryReleased() override;

  /// [any] Samples, 0 at first.
  int32_t GetAdvanceScheduleRequirement() const {
    return mAdvanceScheduleRequirement.load(std::memory_order_acquire);
  }
  /// [any] Samples, 0 at first.
  int32_t GetZeroJitterDelay() const { return mZeroJitterDelay.load(std::memory_order_acquire); }

  /// [any] The sink of writes, null when they go nowhere. Whoever wants to use it asks inside a Writing
  /// scope.
  Mlox_DM_GeneralDelivery* GetCurrentDelivery() const { return mState->GetCurrentDelivery(); }

  /// [main] Where buffered deliveries that are made from now on get their allocator; with null none can be
  /// made. The nodes pass on by this that their service is going, or that they have another one.
  void SetDeliveryService(Mlox_DM_Service* iServiceP) { mServiceP = iServiceP; }

  /// The scope of one use of the current delivery: of a write, or of a stop of playback. It announces the
  /// thread before it reads the pointer, so that a delivery that is let go meanwhile stays until the scope
  /// has ended.
  ///
  /// [any] Wait-free; scopes nest.
  class Writing {
   public:
    explicit Writing(const Mlox_DM_DeliveryBase& iBase) : mState(*iBase.mState) {
      mState.Enter();
      mDeliveryP = mState.GetCurrentDelivery();
    }
    ~Writing() { mState.Leave(); }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;

    /// The delivery that was current when the scope began, or null. Valid until the scope ends.
    Mlox_DM_GeneralDelivery* GetCurrentDelivery() const { return mDeliveryP; }

   private:
    // Before the announcement and after its end: a delivery found still in use goes to the delayed-deletion
    // pass, which looks at epochs alone.
    Sys_EpochGuard mEpochGuard;
    Mlox_DM_DeliveryState& mState;
    Mlox_DM_GeneralDelivery* mDeliveryP = nullptr;
  };

 private:
  Mlox_DM_Service* mServiceP;
  std::atomic<int32_t> mAdvanceScheduleRequirement{0};
  std::atomic<int32_t> mZeroJitterDelay{0};
  // The current and the buffered delivery lie in here: a delivery's last release may come from any thread
  // while this object dies, and touches nothing else of it.
  Cmn_AliasedRefCountPtr<Mlox_DM_DeliveryState> mState;
  std::unique_ptr<Mlox_DM_DirectDelivery> mDirectDeliveryP;
};
