// SPDX-License-Identifier: MIT
/// \file
/// Delivery through lock-free queues, from any number of writers to one real-time reader.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/cmn_export.h"
#include "cmn/cmn_nonblocking.h"
#include "cmn/cqcfunknown.h"
#include "cmn/mem2_masterallocator.h"
#include "cmn/ps_atomicstructures.h"
#include "cmn/sys_atomicint32.h"
#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverymessage.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverystate.h"
#include "mlox/mlox_directmidi/mlox_dm_generaldelivery.h"
#include "mlox/mlox_outputcontextref.h"

struct Mlox_DM_QueuedEvent;
class Mlox_DM_SortedEventQueueImpl;

/// Stores what is written to a plug-in's outputs until the plug-in pulls it, once per audio block.
///
/// Immediate events wait in one FIFO. Timed events wait in a sorted queue with one stream for each known
/// output context. There is no mutex and no wait: the FIFOs take all traffic from writers to the reader, and
/// mGetMessageSemaphore, which is a try-lock in spite of its name, admits one thread at a time to the
/// reader's state. Who comes second doesn't wait: a pull gets null, a clear skips its drain.
class MLOX_EXPORT Mlox_DM_BufferedDelivery final : public IDirectMIDIBufferedDelivery,
                                                   public CQCFUnknown,
                                                   public Mlox_DM_GeneralDelivery {
 public:
  /// [any but real-time] Stream i of the sorted queue takes the timed events of context i. The allocator
  /// isn't owned and must outlive this object. iOwnerP isn't owned and may be null. iState is what the node
  /// that makes this delivery shares with it, null for a delivery without a node.
  Mlox_DM_BufferedDelivery(Mem2_MasterAllocator* iAllocatorP, Mlox_DM_BufferedDelivery_Owner* iOwnerP,
                           std::vector<Mlox_OutputContextRef> iOutputContexts,
                           Cmn_AliasedRefCountPtr<Mlox_DM_DeliveryState> iState = nullptr);

  /// Clears the queues. Reports a message that is still held, and immediate events that the clear left: those
  /// that wait while the last pull stood among timed events, and those that a writer adds meanwhile. They
  /// stay allocated.
  ~Mlox_DM_BufferedDelivery() override;

  Mlox_DM_BufferedDelivery(const Mlox_DM_BufferedDelivery&) = delete;
  Mlox_DM_BufferedDelivery& operator=(const Mlox_DM_BufferedDelivery&) = delete;

  int32_t QueryInterface(const _qcfUID& iUID, void** oResultP) override;
  uint32_t AddRef() override;
  uint32_t Release() override;

  IDirectMIDIMessage* GetNextMessageInSampleRange(int64_t iStartSample,
                                                  int64_t iEndSample) MLOX_NONBLOCKING override;

  /// Copies the event into a block of the allocator and queues it. An event for which there is no block is
  /// lost. A timed event through a context without a stream is reported and not queued; its block stays
  /// allocated.
  void WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent, int16_t iChannel,
                  const Mlox_OutputContextRef& iContext) override;

  /// Frees what is queued up to sample 262142 and drops all timed events behind that, which stay allocated.
  /// When another thread is in a pull, or the plug-in holds a message, it drops the timed events alone, and
  /// the immediate ones survive. They survive as well where the last pull stood among timed events: the clear
  /// goes on from there and ends with them. Of a stream that a pull is just putting in order, what that pull
  /// has in hand stays. [any]
  void ClearQueues();

  /// [main] The owner dies before this delivery.
  void ClearOwner() { mOwnerP.store(nullptr, std::memory_order_seq_cst); }
  /// [any] Whether somebody is told of the last release.
  bool HasOwner() const { return mOwnerP.load(std::memory_order_seq_cst) != nullptr; }

 private:
  // Bytes, of the processors that we care about.
  static constexpr std::size_t kCacheLine = 64;

  enum class EClear { kWhilePlaying, kForGood };

  void ReclaimMemory() override;
  int32_t InternalQueryInterface(const _qcfUID& iUID, void** oResultP) override;

  int32_t FindQueueTimestampedIndex(const Mlox_OutputContextRef& iContext, const Mlox_DM_QueuedEvent& iEvent);
  // An event that will never be destroyed: its block, and that of a long sysex, which is another pool's.
  void CountAsAbandoned(const Mlox_DM_QueuedEvent& iEvent);
  IDirectMIDIMessage* GetNextMessageInSampleRangeSafe(int64_t iStartSample, int64_t iEndSample);
  bool SettleOnEvent();
  bool StampForBlock(int64_t iStartSample, int64_t iEndSample);
  void AdvancePeekEvent();
  void AdvancePeekMessage();
  void FreePeekEvent();
  // The plain count: the message's own inquiry would change it twice to say the same.
  bool IsMessageHeld() const { return mMessageP->CQCFUnknown::GetInterfaceRefCount() != 0; }
  void PutPeekEventBack();
  void TakePeekEventOutOfMerge();
  void Clear(EClear iHow);
  void Drain();

  // What the reader changes with every message lies in lines of its own. Writers read the others with every
  // event: each would otherwise wait for the other's core.
  alignas(kCacheLine) Sys_AtomicInt32 mGetMessageSemaphore;

  alignas(kCacheLine) const std::vector<Mlox_OutputContextRef> mOutputContexts;
  std::unique_ptr<SPSAtomicQueue> mEventQueueImmediate;
  std::unique_ptr<Mlox_DM_SortedEventQueueImpl> mEventQueueTimestamped;

  // The reader's state, admitted by mGetMessageSemaphore.
  alignas(kCacheLine) Mlox_DM_QueuedEvent* mPeekEventP = nullptr;
  int32_t mPeekMessageIndex = 0;
  uint64_t mLastSampleTime = 0;

  alignas(kCacheLine) std::unique_ptr<Mlox_DM_DeliveryMessage> mMessageP;
  Mem2_MasterAllocator* const mAllocatorP;
  std::atomic<Mlox_DM_BufferedDelivery_Owner*> mOwnerP;

  // The reader's state too. mPeekEventIsOurs: false when a ClearEvents dropped the event while it was being
  // peeked at; such an event is never freed.
  alignas(kCacheLine) bool mPeekingImmediate = true;
  bool mPeekEventIsOurs = true;

  const Cmn_AliasedRefCountPtr<Mlox_DM_DeliveryState> mState;
};
