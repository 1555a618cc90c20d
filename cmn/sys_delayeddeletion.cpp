// SPDX-License-Identifier: MIT
#include "cmn/sys_delayeddeletion.h"

#include <cstddef>
#include <map>
#include <new>
#include <utility>

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
//
// Passes are frequent and most find nothing to do, so one looks at an object only if it is new or if what
// held it back at the last look may be over. Both time and epoch of an object only rise while it is listed,
// unless the clock steps back: until the noted ones are reached it can't have become due.
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

// Objects that a pass has looked at and left on the list, by what it noted of them. Equal ones stand in order
// of retirement.
using ObjectsByTime = std::multimap<std::int64_t, Sys_DelayedDeletionObject*>;
using ObjectsByEpoch = std::multimap<std::uint64_t, Sys_DelayedDeletionObject*>;

// Of the running pass.
struct Waiting {
  bool IsEmpty() const noexcept { return mYoung.empty() && mHeld.empty(); }

  ObjectsByTime mYoung;
  ObjectsByEpoch mHeld;  // old enough when it was looked at
  std::int64_t mLastPass = 0;
};

Waiting& GetWaiting() {
  // Never ended: exit handlers run passes too. Made without allocating.
  alignas(Waiting) static std::byte sPlace[sizeof(Waiting)];
  static Waiting& sWaiting = *new (sPlace) Waiting;
  return sWaiting;
}

// What the running pass knows of the others.
struct Present {
  std::uint64_t mLowestHeld = 0;
  std::int64_t mNow = 0;
};

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

// Leaves an object on the list until what is noted is over. Never deletes: false.
template <class Objects>
bool Keep(Objects& ioObjects, typename Objects::key_type iNoted,
          Sys_DelayedDeletionObject* iObjectP) noexcept {
  try {
    ioObjects.emplace_hint(ioObjects.end(), iNoted, iObjectP);
  } catch (const std::bad_alloc&) {
    sRetired.Push(iObjectP);  // the next pass looks at it as at a new one
  }
  return false;
}

// Calls iLookAt for each object that was noted with less than iLimit, the least first; returns how many were
// deleted. What it keeps is noted with no less than the limit, so this ends.
template <class Objects, class LookAt>
std::size_t LookAtThoseBelow(Objects& ioObjects, typename Objects::key_type iLimit, const LookAt& iLookAt) {
  std::size_t deleted = 0;
  while (!ioObjects.empty() && ioObjects.begin()->first < iLimit) {
    Sys_DelayedDeletionObject* objectP = ioObjects.begin()->second;
    ioObjects.erase(ioObjects.begin());
    deleted += iLookAt(objectP) ? 1 : 0;
  }
  return deleted;
}

// The same for each object of a chain.
template <class LookAt>
std::size_t LookAtChain(SPSAtomicElementBase* iFirstP, const LookAt& iLookAt) {
  std::size_t deleted = 0;
  while (iFirstP != nullptr) {
    auto* objectP = static_cast<Sys_DelayedDeletionObject*>(iFirstP);
    iFirstP = iFirstP->GetNextInChain();
    deleted += iLookAt(objectP) ? 1 : 0;
  }
  return deleted;
}

// The clock has stepped back, so an object may have been retired anew with an earlier time than is noted:
// for the next pass everything counts as new.
void ForgetWhatIsNoted(Waiting& ioWaiting) noexcept {
  for (const auto& [epoch, objectP] : ioWaiting.mHeld) sRetired.Push(objectP);
  for (const auto& [time, objectP] : ioWaiting.mYoung) sRetired.Push(objectP);
  ioWaiting.mHeld.clear();
  ioWaiting.mYoung.clear();
}

// The work of a pass; returns how many objects were deleted.
template <class LookAt>
std::size_t LookAtWhatMayBeDue(Waiting& ioWaiting, const LookAt& iLookAt) {
  SPSAtomicElementBase* newP = sRetired.TakeAll();
  // The usual case, and a frequent one. An epoch need only pass while something is listed.
  if (newP == nullptr && ioWaiting.IsEmpty()) return 0;
  // The time is asked for after the slots, and the objects after both.
  Present present;
  present.mLowestHeld = LowestHeldEpoch(sEpoch.fetch_add(1) + 1);
  present.mNow = Sys_Clock::Microseconds();
  if (present.mNow < std::exchange(ioWaiting.mLastPass, present.mNow)) ForgetWhatIsNoted(ioWaiting);
  const auto lookAt = [&](Sys_DelayedDeletionObject* iObjectP) { return iLookAt(iObjectP, present); };
  const std::int64_t youngFrom = present.mNow - Sys_DelayedDeletion::kMinimumAge + 1;
  std::size_t deleted = LookAtThoseBelow(ioWaiting.mHeld, present.mLowestHeld, lookAt);
  deleted += LookAtThoseBelow(ioWaiting.mYoung, youngFrom, lookAt);
  deleted += LookAtChain(newP, lookAt);
  return deleted;
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
  // Deletes an object, takes it off the list, or keeps it there; true if it was deleted.
  const auto lookAt = [](Sys_DelayedDeletionObject* iObjectP, const Present& iPresent) {
    if (iObjectP->HasReferences()) {
      sPendingCount.fetch_sub(1);
      iObjectP->mIsListed.store(false);
      // The last reference may have gone between the question and the unmarking, and its release have seen
      // the mark: then it's up to us to list the object again.
      if (!iObjectP->HasReferences() && !iObjectP->mIsListed.exchange(true)) {
        sPendingCount.fetch_add(1);
        sRetired.Push(iObjectP);
      }
      return false;
    }
    const std::uint64_t epoch = iObjectP->mRetireEpoch.load();
    const std::int64_t time = iObjectP->mRetireTime.load();
    if (iPresent.mNow - time < kMinimumAge) return Keep(GetWaiting().mYoung, time, iObjectP);
    if (epoch >= iPresent.mLowestHeld) return Keep(GetWaiting().mHeld, epoch, iObjectP);
    sPendingCount.fetch_sub(1);
    delete iObjectP;
    return true;
  };
  const std::size_t deleted = LookAtWhatMayBeDue(GetWaiting(), lookAt);
  sIsPassRunning.store(false);
  return deleted;
}

std::size_t Sys_DelayedDeletion::PendingCount() noexcept { return sPendingCount.load(); }
