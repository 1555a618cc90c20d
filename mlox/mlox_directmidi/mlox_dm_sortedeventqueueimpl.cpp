// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl.h"

#include <limits>
#include <new>
#include <stdexcept>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_realtimescope.h"
#include "diagnostics/cmn_traceassert.h"
#include "mlox/mlox_directmidi/mlox_dm_queuedevent.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl";

std::size_t CheckedCount(std::size_t iQueueCount) {
  // A vector would say it in its own words, which differ between standard libraries.
  constexpr std::size_t kLimit = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
  if (iQueueCount > kLimit / sizeof(void*)) throw std::length_error("vector<T> too long");
  return iQueueCount;
}

// Of events that no queue holds any more and nobody will destroy.
int32_t CountDropped(const SPSAtomicElementBase* iChainP) {
  int32_t count = 0;
  for (; iChainP != nullptr; iChainP = iChainP->GetNextInChain()) {
    static_cast<const Mlox_DM_QueuedEvent*>(iChainP)->mTimedEvent.mEvent.CountBlockAsAbandoned();
    ++count;
  }
  return count;
}

// The writer's core has the next event of this stream in its cache. Fetched now, it is here when this one is
// done. The link of an event that was taken out still says where that was; it may be stale, and nothing but
// the address is used. A short message lies in the first line; that of a sysex comes when it is read.
void PrefetchBehind(const Mlox_DM_QueuedEvent& iEvent) {
  const auto* const nextP = static_cast<const Mlox_DM_QueuedEvent*>(iEvent.GetNextInChain());
  if (nextP == nullptr) return;  // the last one: there is nothing behind it, and no address to count from
  __builtin_prefetch(nextP);
  __builtin_prefetch(&nextP->mChannel);
}

}  // namespace

Mlox_DM_SortedEventQueue* NewSortedEventQueue(int32_t iQueueCount) {
  // Widened with its sign: a negative count is a huge one.
  const auto count = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(iQueueCount));
  try {
    return new Mlox_DM_SortedEventQueueImpl(count);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// ---- lifetime ----

Mlox_DM_SortedEventQueueImpl::Mlox_DM_SortedEventQueueImpl(std::size_t iQueueCount)
    : mEventQueues(CheckedCount(iQueueCount)), mQueueHeads(iQueueCount) {
  for (auto& queueP : mEventQueues) {
    queueP.reset(gPSAtomicStructures->NewFifoQueue(0, 0));
    if (queueP == nullptr) throw std::bad_alloc();
  }
}

Mlox_DM_SortedEventQueueImpl::~Mlox_DM_SortedEventQueueImpl() {
  const Cmn_NoThrowScope noThrow;
  for (auto& queueP : mEventQueues) {
    const SPSAtomicElementBase* const junk = queueP->TakeAll();
    CMN_TRACEASSERT(kAssertSource, junk == nullptr, "!junk");
    queueP.reset();
  }
}

// ---- [audio] ----

Mlox_DM_QueuedEvent* Mlox_DM_SortedEventQueueImpl::PeekNextEvent() {
  Mlox_DM_QueuedEvent* bestP = nullptr;
  for (std::size_t i = 0; i < mQueueHeads.size(); ++i) {
    // Looked at once and kept: a ClearEvents meanwhile may empty the place, and the answer must be one of the
    // events that were compared.
    Mlox_DM_QueuedEvent* const headP = RefillHead(i);
    if (headP == nullptr) continue;
    // Signed, and strictly less: of equal times the lowest stream wins.
    if (bestP == nullptr || headP->mTimedEvent.mTimestamp < bestP->mTimedEvent.mTimestamp) bestP = headP;
  }
  return bestP;
}

Mlox_DM_QueuedEvent* Mlox_DM_SortedEventQueueImpl::RefillHead(std::size_t iIndex) {
  std::atomic<Mlox_DM_QueuedEvent*>& head = mQueueHeads[iIndex].mEventP;
  // A stream with a waiting head isn't touched: at most one event of each stream is outside its FIFO.
  if (Mlox_DM_QueuedEvent* const waitingP = head.load(std::memory_order_relaxed)) return waitingP;
  auto* const poppedP = static_cast<Mlox_DM_QueuedEvent*>(mEventQueues[iIndex]->Pop());
  if (poppedP == nullptr) return nullptr;
  // Released for a clear on another thread, which asks the event that it takes away what it holds.
  head.store(poppedP, std::memory_order_release);
  PrefetchBehind(*poppedP);
  return poppedP;
}

bool Mlox_DM_SortedEventQueueImpl::RemoveHeadEvent(Mlox_DM_QueuedEvent* iEventP) {
  bool found = false;
  for (Head& head : mQueueHeads) {
    Mlox_DM_QueuedEvent* expectedP = head.mEventP.load(std::memory_order_relaxed);
    if (expectedP != iEventP) continue;
    // Exchanged and not stored: either we take the event or a ClearEvents meanwhile drops it, never both.
    found = head.mEventP.compare_exchange_strong(expectedP, nullptr, std::memory_order_relaxed);
    break;
  }
  CMN_TRACEASSERT(kAssertSource, found, "it != end(mQueueHeads)");
  return found;
}

void Mlox_DM_SortedEventQueueImpl::TakeIn() {
  for (const auto& queueP : mEventQueues) queueP->TakeIn();
}

// ---- [any] ----

void Mlox_DM_SortedEventQueueImpl::AddEvent(Mlox_DM_QueuedEvent* inElement, int32_t inQueueIndex) {
  if (!CMN_TRACEASSERT(kAssertSource, inElement != nullptr, "inElement")) return;
  // A negative index is a huge one.
  const auto index = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(inQueueIndex));
  if (!CMN_TRACEASSERT(kAssertSource, index < mEventQueues.size(), "inQueueIndex < mEventQueues.size()"))
    return;
  mEventQueues[index]->Push(inElement);
}

int32_t Mlox_DM_SortedEventQueueImpl::ClearEvents() {
  // The events go back to no allocator: whoever wants them freed pulls them first. What becomes of them after
  // the reader had a look at one cannot be known here.
  int32_t dropped = 0;
  for (std::size_t i = 0; i < mEventQueues.size(); ++i) {
    if (const auto* const headP = mQueueHeads[i].mEventP.exchange(nullptr, std::memory_order_acquire)) {
      headP->mTimedEvent.mEvent.CountBlockAsAbandoned();
      ++dropped;
    }
    dropped += CountDropped(mEventQueues[i]->TakeAll());
  }
  return dropped;
}
