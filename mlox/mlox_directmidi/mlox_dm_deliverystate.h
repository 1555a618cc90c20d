// SPDX-License-Identifier: MIT
/// \file
/// What a delivery base and its buffered deliveries share.
#pragma once

#include <atomic>
#include <cstdint>

#include "cmn/sys_delayeddeleterefcntobj.h"
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery_owner.h"

class Mlox_DM_BufferedDelivery;
class Mlox_DM_GeneralDelivery;

/// Where the writes of one node go, who is inside, and which buffered deliveries live.
///
/// A node and a buffered delivery can each outlive the other, and a delivery's last release may come from any
/// thread, at the very moment in which the node dies on the main thread. So what the release has to touch
/// lies here, in an object that both hold, and neither ever waits for the other. Its own deletion is a
/// delayed one: a client may release its node inside the very write that it is called from.
///
/// A: Enter and the reads and writes of the current delivery are sequentially consistent, as is
/// IsAnyoneInside. Whoever lets a delivery go takes it away first and asks second; whoever uses one enters
/// first and reads second. So either the user doesn't see the delivery or the other side sees the user.
class Mlox_DM_DeliveryState final : public Sys_DelayedDeleteRefCntObj, public Mlox_DM_BufferedDelivery_Owner {
 public:
  Mlox_DM_DeliveryState() = default;
  ~Mlox_DM_DeliveryState() override;

  Mlox_DM_DeliveryState(const Mlox_DM_DeliveryState&) = delete;
  Mlox_DM_DeliveryState& operator=(const Mlox_DM_DeliveryState&) = delete;

  /// [any] Announces a thread that is about to read the current delivery. Wait-free.
  void Enter() { mInside.fetch_add(1, std::memory_order_seq_cst); }
  /// [any] Ends what Enter began.
  void Leave() { mInside.fetch_sub(1, std::memory_order_seq_cst); }
  /// [any] Whether a thread is between Enter and Leave.
  bool IsAnyoneInside() const { return mInside.load(std::memory_order_seq_cst) != 0; }

  /// [any] The sink of writes, or null. It stays alive until Leave if Enter came first.
  Mlox_DM_GeneralDelivery* GetCurrentDelivery() const {
    return mCurrentDeliveryP.load(std::memory_order_seq_cst);
  }
  /// [any] Where writes that begin from now on go, null for nowhere.
  void SetCurrentDelivery(Mlox_DM_GeneralDelivery* iDeliveryP) {
    mCurrentDeliveryP.store(iDeliveryP, std::memory_order_seq_cst);
  }

  /// [any] The most recent buffered delivery, or null.
  Mlox_DM_BufferedDelivery* GetBufferedDelivery() const {
    return mBufferedDeliveryP.load(std::memory_order_acquire);
  }

  /// [one thread at a time for each node] Makes iDeliveryP the most recent buffered delivery and enters it
  /// among the living.
  void AddBufferedDelivery(Mlox_DM_BufferedDelivery* iDeliveryP);
  /// [any] Takes a dying delivery off the list of the living. It does so before it asks IsAnyoneInside.
  void RemoveBufferedDelivery(const Mlox_DM_BufferedDelivery* iDeliveryP);
  /// [main] The node dies: clears the owner of every living delivery.
  void ClearOwners();

  /// Forgets the most recent buffered delivery and the current one, whichever they are. [any]
  void BufferedDeliveryReleased() override;

 private:
  /// A place in the list of the living. Places are added by one thread at a time, the main thread or that of
  /// a client which sets a delivery inside its own call; they are used again, and freed with this object.
  struct Place {
    std::atomic<Mlox_DM_BufferedDelivery*> mDeliveryP{nullptr};
    Place* mNextP = nullptr;
  };

  std::atomic<Mlox_DM_BufferedDelivery*> mBufferedDeliveryP{nullptr};
  std::atomic<Mlox_DM_GeneralDelivery*> mCurrentDeliveryP{nullptr};
  std::atomic<int32_t> mInside{0};
  std::atomic<Place*> mPlacesP{nullptr};
};
