// SPDX-License-Identifier: MIT
#include "platform/directmusic/windows_events.h"

#if !defined(_WIN32)

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "platform/directmusic/eventsource.h"
#include "platform/directmusic/eventwaitset.h"

namespace {

// A handle is a place in a table that lives as long as the process, with the generation of its use. So a
// SetEvent that comes while the thread it wakes closes the handle finds either the object, kept alive by its
// own count, or a later generation, and does nothing.
struct EventSlot {
  // Generation in the upper 32 bits; below it whether the slot is used, whether its handle is open, and how
  // many calls are inside. Calls enter while the handle is open; the last one out behind a closed handle
  // frees the slot.
  std::atomic<std::uint64_t> mState{0};
  std::atomic<int> mDescriptor{-1};
  std::atomic<bool> mManualReset{false};

  // What the event stands on besides, and how often that was changed: a wait looks at the number first.
  std::atomic<std::uint32_t> mChanges{0};
  int mAttached = -1;  // these two under AttachmentsMutex
  std::shared_ptr<Platform_EventSource> mSource;
};

constexpr std::uint32_t kSlots = 4096;
constexpr std::uint64_t kGeneration = std::uint64_t{1} << 32;
constexpr std::uint64_t kOpen = std::uint64_t{1} << 31;
constexpr std::uint64_t kUsed = std::uint64_t{1} << 30;
constexpr std::uint64_t kCallsMask = kUsed - 1;
constexpr std::uint64_t kLowMask = kGeneration - 1;

EventSlot* Slots() {
  // Reachable for ever: ports may be signalled while the process ends.
  static EventSlot* const sSlots = new EventSlot[kSlots];
  return sSlots;
}

HANDLE MakeHandle(std::uint32_t iIndex, std::uint64_t iState) {
  const auto generation = static_cast<std::uintptr_t>(iState >> 32);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number in a pointer's clothes
  return reinterpret_cast<HANDLE>((generation << 16) | (iIndex + 1));
}

EventSlot* SlotOf(HANDLE iHandle) {
  const auto index = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(iHandle) & 0xFFFF);
  return index == 0 || index > kSlots ? nullptr : Slots() + (index - 1);
}

bool IsOpen(HANDLE iHandle, const EventSlot& iSlot, std::uint64_t iState) {
  return (iState & kOpen) != 0 && MakeHandle(static_cast<std::uint32_t>(&iSlot - Slots()), iState) == iHandle;
}

// Null when the handle's use is over.
const EventSlot* OpenSlot(HANDLE iHandle) {
  const EventSlot* const slot = SlotOf(iHandle);
  return slot != nullptr && IsOpen(iHandle, *slot, slot->mState.load()) ? slot : nullptr;
}

// Held while an event changes what it stands on, and while a wait tells the kernel what its events stand on:
// whoever takes a descriptor away and then closes it knows that no wait takes up the number afterwards, which
// may be a stranger's by then. Never destroyed: events outlive static objects.
std::mutex& AttachmentsMutex() {
  static std::mutex* const sMutexP = new std::mutex;
  return *sMutexP;
}

// Puts this in the place of what the event stood on.
void Attach(EventSlot& ioSlot, HANDLE iEvent, int iDescriptor,
            std::shared_ptr<Platform_EventSource> iSource) {
  const std::lock_guard lock(AttachmentsMutex());
  if (ioSlot.mSource != nullptr) {
    ioSlot.mSource->SetEventHandle(nullptr);
  }
  if (iSource != nullptr) {
    iSource->SetEventHandle(iEvent);
  }
  ioSlot.mAttached = iDescriptor;
  ioSlot.mSource.swap(iSource);
  ioSlot.mChanges.fetch_add(1);
}

// Holds a slot for the time of one call; null when the handle's use is over.
class HeldSlot {
 public:
  explicit HeldSlot(HANDLE iHandle) {
    EventSlot* const slot = SlotOf(iHandle);
    if (slot == nullptr) {
      return;
    }
    std::uint64_t state = slot->mState.load();
    while (IsOpen(iHandle, *slot, state)) {
      if (slot->mState.compare_exchange_weak(state, state + 1)) {
        mSlotP = slot;
        return;
      }
    }
  }
  ~HeldSlot() {
    if (mSlotP == nullptr) {
      return;
    }
    const std::uint64_t state = mSlotP->mState.fetch_sub(1) - 1;
    if ((state & (kOpen | kCallsMask)) == 0) {
      Free(state);
    }
  }
  HeldSlot(const HeldSlot&) = delete;
  HeldSlot& operator=(const HeldSlot&) = delete;

  EventSlot* Get() const { return mSlotP; }

  // Lets no further call in; true for the one call that closed the handle.
  bool CloseHandle() const { return mSlotP != nullptr && (mSlotP->mState.fetch_and(~kOpen) & kOpen) != 0; }

 private:
  void Free(std::uint64_t iState) const {
    ::close(mSlotP->mDescriptor.exchange(-1));
    Attach(*mSlotP, nullptr, -1, nullptr);
    mSlotP->mState.store((iState & ~kLowMask) + kGeneration);
  }

  EventSlot* mSlotP = nullptr;
};

void Signal(const EventSlot& iSlot) {
  const std::uint64_t one = 1;
  while (::write(iSlot.mDescriptor.load(), &one, sizeof(one)) < 0 && errno == EINTR) {
  }
}

void Drain(const EventSlot& iSlot) {
  std::uint64_t count = 0;
  while (::read(iSlot.mDescriptor.load(), &count, sizeof(count)) < 0 && errno == EINTR) {
  }
}

// The wait that an automatic-reset event ends resets it.
void Consume(HANDLE iEvent) {
  const HeldSlot held(iEvent);
  if (held.Get() != nullptr && !held.Get()->mManualReset.load()) {
    Drain(*held.Get());
  }
}

// ---- waiting ----

constexpr std::chrono::milliseconds kPauseAfterFailure{10};

// What the calling thread waited for last. Threads wait for the same events again and again, so the kernel
// keeps the list and only what has changed is told anew.
class ThreadWait {
 public:
  bool Refresh(DWORD iCount, const HANDLE* iEvents);
  Platform_EventWaitSet& Set() { return mSet; }

 private:
  bool IsCurrent(DWORD iCount, const HANDLE* iEvents) const;
  bool FillAnew(DWORD iCount, const HANDLE* iEvents, bool& oIsFilled);

  std::vector<HANDLE> mEvents;
  std::vector<std::uint32_t> mChanges;
  Platform_EventWaitSet mSet;
};

static_assert(Platform_EventWaitSet::kMost == MAXIMUM_WAIT_OBJECTS);

bool ThreadWait::IsCurrent(DWORD iCount, const HANDLE* iEvents) const {
  if (iCount != mEvents.size()) {
    return false;
  }
  for (DWORD i = 0; i < iCount; ++i) {
    const EventSlot* const slot = iEvents[i] == mEvents[i] ? OpenSlot(iEvents[i]) : nullptr;
    if (slot == nullptr || slot->mChanges.load() != mChanges[i]) {
      return false;
    }
  }
  return true;
}

// False when a handle is closed.
bool ThreadWait::FillAnew(DWORD iCount, const HANDLE* iEvents, bool& oIsFilled) {
  // Those that are held are let go behind the lock: the last to let go of a closed one takes it too.
  std::vector<std::unique_ptr<HeldSlot>> heldSlots;
  std::vector<Platform_EventWaitSet::Member> members;
  const std::lock_guard lock(AttachmentsMutex());
  for (DWORD i = 0; i < iCount; ++i) {
    heldSlots.push_back(std::make_unique<HeldSlot>(iEvents[i]));
    const EventSlot* const slot = heldSlots.back()->Get();
    if (slot == nullptr) {
      return false;
    }
    mEvents.push_back(iEvents[i]);
    mChanges.push_back(slot->mChanges.load());
    members.push_back({slot->mDescriptor.load(), slot->mAttached, slot->mSource});
  }
  oIsFilled = mSet.Fill(std::move(members));
  return true;
}

// False when a handle is closed or the kernel refuses.
bool ThreadWait::Refresh(DWORD iCount, const HANDLE* iEvents) {
  if (IsCurrent(iCount, iEvents)) {
    return true;
  }
  mEvents.clear();
  mChanges.clear();
  bool isFilled = false;
  const bool isEachOpen = FillAnew(iCount, iEvents, isFilled);
  if (isEachOpen && isFilled) {
    return true;
  }
  mEvents.clear();
  if (isEachOpen) {
    // No descriptor is left: whoever waits in a loop shall not spin meanwhile.
    std::this_thread::sleep_for(kPauseAfterFailure);
  }
  return false;
}

}  // namespace

HANDLE CreateEventW(void* /*iSecurity*/, BOOL iManualReset, BOOL iInitialState, const OLECHAR* /*iName*/) {
  const int descriptor = ::eventfd(iInitialState != FALSE ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (descriptor < 0) {
    return nullptr;
  }
  for (std::uint32_t i = 0; i < kSlots; ++i) {
    EventSlot& slot = Slots()[i];
    std::uint64_t state = slot.mState.load();
    if ((state & kLowMask) != 0 || !slot.mState.compare_exchange_strong(state, state | kUsed)) {
      continue;
    }
    slot.mDescriptor.store(descriptor);
    slot.mManualReset.store(iManualReset != FALSE);
    slot.mState.store(state | kUsed | kOpen);
    return MakeHandle(i, state);
  }
  ::close(descriptor);
  return nullptr;
}

BOOL SetEvent(HANDLE iEvent) {
  const HeldSlot held(iEvent);
  if (held.Get() == nullptr) {
    return FALSE;
  }
  Signal(*held.Get());
  return TRUE;
}

BOOL ResetEvent(HANDLE iEvent) {
  const HeldSlot held(iEvent);
  if (held.Get() == nullptr) {
    return FALSE;
  }
  Drain(*held.Get());
  return TRUE;
}

BOOL CloseHandle(HANDLE iEvent) {
  const HeldSlot held(iEvent);
  return held.CloseHandle() ? TRUE : FALSE;
}

void Platform_SetEventDescriptor(HANDLE iEvent, int iDescriptor) {
  const HeldSlot held(iEvent);
  if (held.Get() == nullptr) {
    return;
  }
  Attach(*held.Get(), iEvent, iDescriptor, nullptr);
  // A wait under way looks at its list anew only when something wakes it.
  Signal(*held.Get());
}

void Platform_SetEventSource(HANDLE iEvent, std::shared_ptr<Platform_EventSource> iSourceP) {
  const HeldSlot held(iEvent);
  if (held.Get() == nullptr) {
    return;
  }
  Attach(*held.Get(), iEvent, -1, std::move(iSourceP));
  Signal(*held.Get());
}

void Platform_EventSource::Signal() const {
  const HANDLE event = mEvent.load();
  // Let go behind the lock: the last to let go of a closed handle takes its source off, which may be this
  // one.
  const HeldSlot held(event);
  if (held.Get() == nullptr) {
    return;
  }
  const std::lock_guard lock(mSignalling);
  if (mEvent.load() == event) {
    ::Signal(*held.Get());
  }
}

void Platform_EventSource::SetEventHandle(HANDLE iEvent) {
  const std::lock_guard lock(mSignalling);
  mEvent.store(iEvent);
}

DWORD MsgWaitForMultipleObjects(DWORD iCount, const HANDLE* iEvents, BOOL iWaitAll, DWORD iMilliseconds,
                                DWORD /*iWakeMask*/) {
  if (iCount == 0 || iCount > MAXIMUM_WAIT_OBJECTS || iEvents == nullptr || iWaitAll != FALSE) {
    return WAIT_FAILED;
  }
  using Clock = std::chrono::steady_clock;
  static thread_local ThreadWait sWait;
  const bool forever = iMilliseconds == INFINITE;
  const Clock::time_point end =
      forever ? Clock::time_point::max() : Clock::now() + std::chrono::milliseconds(iMilliseconds);
  for (;;) {
    if (!sWait.Refresh(iCount, iEvents)) {
      return WAIT_FAILED;
    }
    const std::int64_t left =
        forever ? -1 : std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    std::size_t index = 0;
    switch (sWait.Set().Wait(forever ? -1 : static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX)),
                             index)) {
      case Platform_EventWaitSet::Outcome::kSignalled:
        Consume(iEvents[index]);
        return WAIT_OBJECT_0 + static_cast<DWORD>(index);
      case Platform_EventWaitSet::Outcome::kStandsOn:
        return WAIT_OBJECT_0 + static_cast<DWORD>(index);
      case Platform_EventWaitSet::Outcome::kFailed:
        return WAIT_FAILED;
      case Platform_EventWaitSet::Outcome::kNothing:
        break;
    }
    if (!forever && left <= 0) {
      return WAIT_TIMEOUT;
    }
  }
}

#endif
