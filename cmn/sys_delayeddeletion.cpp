// SPDX-License-Identifier: MIT
#include "cmn/sys_delayeddeletion.h"

#include "cmn/cmn_raiseto.h"
#include "cmn/cmn_threadlocal.h"
#include "cmn/ps_atomicfifo.h"
#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletionobject.h"

// How it works. The epoch is a number that each pass advances. A guard writes the epoch that it found into a
// free slot and only then may its thread read pointers; retirement notes the epoch after the object has
// become unreachable. So a thread that can hold the object has a slot with an epoch not above the object's,
// and the pass spares what any slot could hold. Slot, epoch and retirement are sequentially consistent:
// either the pass sees the slot, or the thread sees that the pointer is gone. A guard that read the epoch
// long before it wrote its slot only spares too much.
//
// An object can be on the list already when its last reference goes: it had none, somebody took one back, no
// pass has been since. Between that count of 0 and the end of Retire the pass would find it without
// references while the releasing thread is still inside it. So a release is a stay too: it enters a guard,
// notes the epoch in the object, and only then counts down. A release that begins after the pass has looked
// at the slots notes the epoch that the pass made, so the pass spares that one too. Held by
// Sys_DelayedDeletionTest.APassInTheMiddleOfAReleaseSparesTheObject and
// Sys_DelayedDeletionTest.AReleaseThatBeginsInTheMiddleOfAPassSparesTheObject.
namespace {

constexpr std::size_t kSlots = 128;
constexpr std::size_t kProbes = 8;
constexpr int kNoSlot = -1;
constexpr std::uint64_t kFree = 0;

struct alignas(64) Slot {
  std::atomic<std::uint64_t> mEpoch{kFree};
};

constinit Slot sSlots[kSlots];
// Guards that found no slot. While there is one, nothing is deleted.
constinit std::atomic<std::uint32_t> sGuardsWithoutSlot{0};
constinit std::atomic<std::uint64_t> sEpoch{1};
constinit PSAtomicFifo<> sRetired;
constinit std::atomic<std::size_t> sPendingCount{0};
constinit std::atomic<bool> sIsPassRunning{false};

CMN_THREAD_LOCAL int sGuardDepth = 0;
CMN_THREAD_LOCAL int sGuardSlot = kNoSlot;

// Threads start their search far from each other, so that each finds its own line free at once.
std::size_t FirstSlotOfThread() noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(&sGuardDepth);
  return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15ULL) >> 48);
}

int ClaimSlot() noexcept {
  const std::size_t first = FirstSlotOfThread();
  const std::uint64_t epoch = sEpoch.load();
  for (std::size_t probe = 0; probe < kProbes; ++probe) {
    const std::size_t index = (first + probe) % kSlots;
    std::uint64_t expected = kFree;
    if (sSlots[index].mEpoch.compare_exchange_strong(expected, epoch)) return static_cast<int>(index);
  }
  sGuardsWithoutSlot.fetch_add(1);
  return kNoSlot;
}

void FreeSlot(int iSlot) noexcept {
  if (iSlot == kNoSlot) {
    sGuardsWithoutSlot.fetch_sub(1);
  } else {
    sSlots[static_cast<std::size_t>(iSlot)].mEpoch.store(kFree, std::memory_order_release);
  }
}

// No thread holds anything that was retired below this epoch, and none that enters later can: iPassEpoch is
// what it will find.
std::uint64_t LowestHeldEpoch(std::uint64_t iPassEpoch) noexcept {
  if (sGuardsWithoutSlot.load() != 0) return 0;
  std::uint64_t lowest = iPassEpoch;
  for (const Slot& slot : sSlots) {
    const std::uint64_t epoch = slot.mEpoch.load();
    if (epoch != kFree && epoch < lowest) lowest = epoch;
  }
  return lowest;
}

}  // namespace

Sys_EpochGuard::Sys_EpochGuard() noexcept {
  if (sGuardDepth++ == 0) sGuardSlot = ClaimSlot();
}

Sys_EpochGuard::~Sys_EpochGuard() {
  if (--sGuardDepth == 0) FreeSlot(sGuardSlot);
}

void Sys_DelayedDeletion::NoteRelease(const Sys_DelayedDeletionObject& iObject) noexcept {
  // Never downwards: a thread that read the epoch long ago must not undo what another one has noted since.
  Cmn_RaiseTo(iObject.mRetireEpoch, sEpoch.load());
}

void Sys_DelayedDeletion::Retire(Sys_DelayedDeletionObject* iObjectP) noexcept {
  iObjectP->mRetireTime.store(Sys_Clock::Microseconds());
  NoteRelease(*iObjectP);
  if (iObjectP->mIsListed.exchange(true)) return;
  sPendingCount.fetch_add(1);
  sRetired.Push(iObjectP);
}

std::size_t Sys_DelayedDeletion::RunPass() {
  if (sIsPassRunning.exchange(true)) return 0;
  std::size_t deleted = 0;
  SPSAtomicElementBase* nextP = sRetired.TakeAll();
  if (nextP == nullptr) {
    // The usual case, and a frequent one. An epoch need only pass while something is listed.
    sIsPassRunning.store(false);
    return 0;
  }
  const std::uint64_t lowestHeld = LowestHeldEpoch(sEpoch.fetch_add(1) + 1);
  const std::int64_t now = Sys_Clock::Microseconds();
  while (nextP != nullptr) {
    auto* objectP = static_cast<Sys_DelayedDeletionObject*>(nextP);
    nextP = nextP->GetNextInChain();
    if (objectP->HasReferences()) {
      sPendingCount.fetch_sub(1);
      objectP->mIsListed.store(false);
      // The last reference may have gone between the question and the unmarking, and its release have seen
      // the mark: then it's up to us to list the object again.
      if (!objectP->HasReferences() && !objectP->mIsListed.exchange(true)) {
        sPendingCount.fetch_add(1);
        sRetired.Push(objectP);
      }
      continue;
    }
    const bool isHeld = objectP->mRetireEpoch.load() >= lowestHeld;
    const bool isYoung = now - objectP->mRetireTime.load() < kMinimumAge;
    if (isHeld || isYoung) {
      sRetired.Push(objectP);
      continue;
    }
    sPendingCount.fetch_sub(1);
    delete objectP;
    ++deleted;
  }
  sIsPassRunning.store(false);
  return deleted;
}

std::size_t Sys_DelayedDeletion::PendingCount() noexcept { return sPendingCount.load(); }
