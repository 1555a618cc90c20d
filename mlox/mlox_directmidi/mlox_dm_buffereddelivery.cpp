// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery.h"

#include <algorithm>
#include <new>
#include <utility>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_realtimescope.h"
#include "diagnostics/cmn_traceassert.h"
#include "diagnostics/quiltracelibrary.h"
#include "mlox/mlox_directmidi/mlox_dm_queuedevent.h"
#include "mlox/mlox_directmidi/mlox_dm_retireddelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_buffereddelivery";
constexpr uint32_t kTraceCategory = 0x2000F27;
constexpr int kEventSize = static_cast<int>(sizeof(Mlox_DM_QueuedEvent));

// How far a clear pulls, in samples. A small constant on purpose and not the largest time: the drain ends at
// the first event beyond it, and what lies there is dropped without being freed.
constexpr int64_t kLastSampleDrained = 0x3FFFE;

// One record for the blocks of all buffered deliveries.
Mem2_MasterAllocator::Statistics sStatistics{"Mlox_DM_BufferedDelivery", {}};

Mdie_Timestamp StampOf(uint64_t iSampleTime) {
  return Mdie_Timestamp(Time_Sample(static_cast<int64_t>(iSampleTime)));
}

uint64_t TimeOf(const Mdie_Timestamp& iTimestamp) {
  return static_cast<uint64_t>(iTimestamp.AsSample().AsInt64());
}

// Counts the thread into the semaphore for its lifetime, whichever way the scope ends.
class InsideScope {
 public:
  explicit InsideScope(Sys_AtomicInt32& ioSemaphore)
      : mSemaphore(ioSemaphore), mCount(ioSemaphore.Increment()) {}
  ~InsideScope() { mSemaphore.Decrement(); }
  InsideScope(const InsideScope&) = delete;
  InsideScope& operator=(const InsideScope&) = delete;

  bool IsAlone() const { return mCount == 1; }

 private:
  Sys_AtomicInt32& mSemaphore;
  const int32_t mCount;
};

}  // namespace

// ---- lifetime ----

Mlox_DM_BufferedDelivery::Mlox_DM_BufferedDelivery(Mem2_MasterAllocator* iAllocatorP,
                                                   Mlox_DM_BufferedDelivery_Owner* iOwnerP,
                                                   std::vector<Mlox_OutputContextRef> iOutputContexts,
                                                   Cmn_AliasedRefCountPtr<Mlox_DM_DeliveryState> iState)
    : mOutputContexts(std::move(iOutputContexts)),
      mEventQueueImmediate(gPSAtomicStructures->NewFifoQueue(0, 0)),
      // Held as what it is: its TakeIn is no operation of the interface.
      mEventQueueTimestamped(static_cast<Mlox_DM_SortedEventQueueImpl*>(
          NewSortedEventQueue(static_cast<int32_t>(mOutputContexts.size())))),
      mMessageP(std::make_unique<Mlox_DM_DeliveryMessage>()),
      mAllocatorP(iAllocatorP),
      mOwnerP(iOwnerP),
      mState(std::move(iState)) {}

Mlox_DM_BufferedDelivery::~Mlox_DM_BufferedDelivery() {
  const Cmn_NoThrowScope noThrow;
  Clear(EClear::kForGood);
  CMN_ASSERT_FROM(kAssertSource, !IsMessageHeld(), "mMessageP->GetInterfaceRefCount() == 0");
  mMessageP.reset();
  const SPSAtomicElementBase* const junk = mEventQueueImmediate->TakeAll();
  CMN_ASSERT_FROM(kAssertSource, junk == nullptr, "!eventQueueImmediateJunk");
  for (const SPSAtomicElementBase* leftP = junk; leftP != nullptr; leftP = leftP->GetNextInChain()) {
    CountAsAbandoned(*static_cast<const Mlox_DM_QueuedEvent*>(leftP));
  }
  mEventQueueImmediate.reset();
  mEventQueueTimestamped.reset();
}

void Mlox_DM_BufferedDelivery::ReclaimMemory() {
  if (Mlox_DM_BufferedDelivery_Owner* const ownerP = mOwnerP.load(std::memory_order_seq_cst)) {
    ownerP->BufferedDeliveryReleased();
  }
  if (!mState) {
    delete this;
    return;
  }
  // Ours outlives this object, which may be gone before the call returns.
  const Cmn_AliasedRefCountPtr<Mlox_DM_DeliveryState> state = mState;
  state->RemoveBufferedDelivery(this);
  Mlox_DM_RetiredDelivery::LetGo(std::unique_ptr<Mlox_DM_GeneralDelivery>(this), *state);
}

// ---- IQCFUnknown ----

int32_t Mlox_DM_BufferedDelivery::QueryInterface(const _qcfUID& iUID, void** oResultP) {
  return GetControllingUnknown()->QueryInterface(iUID, oResultP);
}

uint32_t Mlox_DM_BufferedDelivery::AddRef() { return GetControllingUnknown()->AddRef(); }

uint32_t Mlox_DM_BufferedDelivery::Release() { return GetControllingUnknown()->Release(); }

int32_t Mlox_DM_BufferedDelivery::InternalQueryInterface(const _qcfUID& iUID, void** oResultP) {
  if (oResultP == nullptr) return CQCFUnknown::InternalQueryInterface(iUID, oResultP);
  *oResultP = nullptr;
  if (iUID != IDirectMIDIBufferedDelivery::kUID && iUID != IQCFUnknown::kUID) return kQCF_NoInterface;
  IDirectMIDIBufferedDelivery* const deliveryP = this;
  deliveryP->AddRef();
  *oResultP = deliveryP;
  return kQCF_Ok;
}

// ---- [any] writing and clearing ----

void Mlox_DM_BufferedDelivery::WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                                          int16_t iChannel, const Mlox_OutputContextRef& iContext) {
  void* const blockP = mAllocatorP->Alloc(kEventSize, &sStatistics);
  QUIL_TRACE(kTraceCategory, "Mlox_DM_BufferedDelivery alloc %p %d", blockP, kEventSize);
  if (blockP == nullptr) return;
  auto* const elementP = new (blockP) Mlox_DM_QueuedEvent;
  // A long sysex is copied deep here, on the writer's thread.
  elementP->mTimedEvent.mEvent = iEvent;
  elementP->mTimedEvent.mTimestamp = iTimestamp;
  elementP->mChannel = iChannel;
  if (iTimestamp.IsImmediate()) {
    mEventQueueImmediate->Push(elementP);
    return;
  }
  mEventQueueTimestamped->AddEvent(elementP, FindQueueTimestampedIndex(iContext, *elementP));
}

int32_t Mlox_DM_BufferedDelivery::FindQueueTimestampedIndex(const Mlox_OutputContextRef& iContext,
                                                            const Mlox_DM_QueuedEvent& iEvent) {
  const auto it = std::find(mOutputContexts.begin(), mOutputContexts.end(), iContext);
  // The event of such a write is not queued and its block is not freed. The context that isn't known says
  // that the writer is wrong about the order of its stream, and nothing here can put that right.
  if (it == mOutputContexts.end()) CountAsAbandoned(iEvent);
  CMN_TRACEASSERT(kAssertSource, it != mOutputContexts.end(), "it != mOutputContexts.end()");
  return static_cast<int32_t>(it - mOutputContexts.begin());
}

void Mlox_DM_BufferedDelivery::CountAsAbandoned(const Mlox_DM_QueuedEvent& iEvent) {
  iEvent.mTimedEvent.mEvent.CountBlockAsAbandoned();
  mAllocatorP->CountAbandoned(1, kEventSize);
}

void Mlox_DM_BufferedDelivery::ClearQueues() { Clear(EClear::kWhilePlaying); }

void Mlox_DM_BufferedDelivery::Clear(EClear iHow) {
  const Cmn_NoThrowScope noThrow;
  const InsideScope inside(mGetMessageSemaphore);
  // While the plug-in holds the message it reads the event behind it, which a drain would free.
  if (inside.IsAlone() && (!IsMessageHeld() || iHow == EClear::kForGood)) Drain();
  // Also when another thread is in a pull: that race is left open on purpose, and costs no more than an event
  // that is dropped and yet delivered.
  mAllocatorP->CountAbandoned(static_cast<uint64_t>(mEventQueueTimestamped->ClearEvents()), kEventSize);
}

void Mlox_DM_BufferedDelivery::Drain() {
  // The reference is that of the handing out, so the drain's net is zero also when somebody holds the
  // message.
  while (IDirectMIDIMessage* const messageP = GetNextMessageInSampleRangeSafe(0, kLastSampleDrained)) {
    messageP->Release();
  }
}

// ---- [audio] ----

IDirectMIDIMessage* Mlox_DM_BufferedDelivery::GetNextMessageInSampleRange(
    int64_t iStartSample, int64_t iEndSample) MLOX_NONBLOCKING {
  const Cmn_RealTimeScope realTime;
  const InsideScope inside(mGetMessageSemaphore);
  return inside.IsAlone() ? GetNextMessageInSampleRangeSafe(iStartSample, iEndSample) : nullptr;
}

IDirectMIDIMessage* Mlox_DM_BufferedDelivery::GetNextMessageInSampleRangeSafe(int64_t iStartSample,
                                                                              int64_t iEndSample) {
  CMN_ASSERT_FROM(kAssertSource, mGetMessageSemaphore.Get() != 0, "mGetMessageSemaphore.Get() != 0");
  // The transport jumped back. Otherwise the time stays, even when it lies before the block.
  if (mLastSampleTime > static_cast<uint64_t>(iEndSample))
    mLastSampleTime = static_cast<uint64_t>(iStartSample);
  if (!SettleOnEvent() || !StampForBlock(iStartSample, iEndSample)) {
    // The block ends here. What has piled up behind waiting heads is put in order now, a block's worth at a
    // time: the pull that finds a head due must not pay for all that came while it waited.
    mEventQueueTimestamped->TakeIn();
    return nullptr;
  }

  mLastSampleTime = TimeOf(mPeekEventP->mTimedEvent.mTimestamp);
  CMN_ASSERT_FROM(kAssertSource, !IsMessageHeld(), "mMessageP->GetInterfaceRefCount() == 0");
  mMessageP->Set(&mPeekEventP->mTimedEvent, mPeekMessageIndex, mPeekEventP->mChannel);
  mMessageP->AddRef();
  return mMessageP.get();
}

// Finds the event and the message of this pull; false when both sources are exhausted. Immediate events come
// first; those that are written while timed ones are read wait for the next block.
bool Mlox_DM_BufferedDelivery::SettleOnEvent() {
  // The event of the pull before lives until this moment: its message could be read until now.
  AdvancePeekMessage();
  if (mPeekEventP != nullptr) return true;
  for (;;) {
    AdvancePeekEvent();
    if (mPeekEventP != nullptr) return true;
    if (!mPeekingImmediate) {
      mPeekingImmediate = true;
      return false;
    }
    mPeekingImmediate = false;
  }
}

// Gives the event the time at which it is delivered; false when it isn't due in this block. Times are
// compared unsigned, while the merge compares them signed: a negative time comes out first and counts as not
// yet due, so it holds back all others until the queues are cleared.
//
// This runs for every message of an event. From the second one on the event is no head any more, and
// RemoveHeadEvent reports that: kept on purpose, the report is its only effect.
bool Mlox_DM_BufferedDelivery::StampForBlock(int64_t iStartSample, int64_t iEndSample) {
  Mdie_Timestamp& stamp = mPeekEventP->mTimedEvent.mTimestamp;
  if (stamp.IsImmediate()) {
    stamp = StampOf(mLastSampleTime);
    return true;
  }
  const uint64_t time = TimeOf(stamp);
  const bool isLate = time < static_cast<uint64_t>(iStartSample);
  if (!isLate && time > static_cast<uint64_t>(iEndSample)) {
    PutPeekEventBack();
    return false;
  }
  // Late events are never dropped. They take the time of the message before, so that none takes the times of
  // a run back behind that. (A jump back does, and a stop behind the last sample that a clear drains.)
  stamp = StampOf(isLate ? mLastSampleTime : time);
  TakePeekEventOutOfMerge();
  return true;
}

// The event stays a head of the sorted queue, to be found again. A later message of an event is in no queue,
// and so its remaining messages and its block are lost: the transport jumped back between two messages of one
// event.
void Mlox_DM_BufferedDelivery::PutPeekEventBack() {
  if (mPeekMessageIndex > 0 && mPeekEventIsOurs) CountAsAbandoned(*mPeekEventP);
  mPeekingImmediate = true;
  mPeekEventP = nullptr;
  mPeekEventIsOurs = true;
}

void Mlox_DM_BufferedDelivery::TakePeekEventOutOfMerge() {
  const bool wasHead = mEventQueueTimestamped->RemoveHeadEvent(mPeekEventP);
  // Dropped by a clear since we looked at it. The clear has counted it as never to be freed, and we keep to
  // that.
  if (!wasHead && mPeekMessageIndex == 0) mPeekEventIsOurs = false;
}

void Mlox_DM_BufferedDelivery::AdvancePeekMessage() {
  if (mPeekEventP == nullptr) return;
  ++mPeekMessageIndex;
  if (mPeekMessageIndex >= mPeekEventP->mTimedEvent.mEvent.GetNumMessages()) AdvancePeekEvent();
}

void Mlox_DM_BufferedDelivery::AdvancePeekEvent() {
  for (;;) {
    FreePeekEvent();
    mPeekMessageIndex = 0;
    mPeekEventP = mPeekingImmediate ? static_cast<Mlox_DM_QueuedEvent*>(mEventQueueImmediate->Pop())
                                    : mEventQueueTimestamped->PeekNextEvent();
    if (mPeekEventP == nullptr || mPeekEventP->mTimedEvent.mEvent.GetNumMessages() != 0) return;
    // Nothing to hear: the plug-in never sees such an event.
    if (!mPeekingImmediate) TakePeekEventOutOfMerge();
  }
}

void Mlox_DM_BufferedDelivery::FreePeekEvent() {
  if (mPeekEventP == nullptr) return;
  if (mPeekEventIsOurs) {
    QUIL_TRACE(kTraceCategory, "Mlox_DM_BufferedDelivery free %p", static_cast<void*>(mPeekEventP));
    mPeekEventP->~Mlox_DM_QueuedEvent();  // a long sysex gives its block back too
    mAllocatorP->Free(mPeekEventP, &sStatistics);
  }
  mPeekEventP = nullptr;
  mPeekEventIsOurs = true;
  mMessageP->Set(nullptr, 0, 0);
}
