// SPDX-License-Identifier: MIT
#include "platform/directmusic/windows_events.h"

#if !defined(_WIN32)

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>

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
  std::atomic<int> mAttached{-1};
  std::atomic<bool> mManualReset{false};
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

// Holds a slot for the time of one call; null when the handle's use is over.
class HeldSlot {
 public:
  explicit HeldSlot(HANDLE iHandle) {
    const auto index = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(iHandle) & 0xFFFF);
    if (index == 0 || index > kSlots) {
      return;
    }
    EventSlot* const slot = Slots() + (index - 1);
    std::uint64_t state = slot->mState.load();
    while ((state & kOpen) != 0 && MakeHandle(index - 1, state) == iHandle) {
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
    mSlotP->mAttached.store(-1);
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

// Two descriptors an event: its own and the one it stands on.
struct WaitList {
  std::array<pollfd, MAXIMUM_WAIT_OBJECTS * 2> mPolls{};
  nfds_t mCount = 0;
};

bool FillWaitList(DWORD iCount, const HANDLE* iEvents, WaitList& oList) {
  oList.mCount = 0;
  for (DWORD i = 0; i < iCount; ++i) {
    const HeldSlot held(iEvents[i]);
    if (held.Get() == nullptr) {
      return false;
    }
    oList.mPolls[oList.mCount++] = {held.Get()->mDescriptor.load(), POLLIN, 0};
    oList.mPolls[oList.mCount++] = {held.Get()->mAttached.load(), POLLIN, 0};
  }
  return true;
}

constexpr DWORD kNone = 0xFFFFFFFFu;

// The first event that is ready, looking first behind the one that this thread was served last.
DWORD Serve(DWORD iCount, const HANDLE* iEvents, const WaitList& iList) {
  static thread_local DWORD sServedLast = 0;
  for (DWORD step = 1; step <= iCount; ++step) {
    const DWORD index = (sServedLast + step) % iCount;
    const bool signalled = iList.mPolls[index * 2].revents != 0;
    if (!signalled && (iList.mPolls[index * 2 + 1].revents & (POLLIN | POLLERR | POLLHUP)) == 0) {
      continue;
    }
    const HeldSlot held(iEvents[index]);
    if (signalled && held.Get() != nullptr && !held.Get()->mManualReset.load()) {
      Drain(*held.Get());
    }
    sServedLast = index;
    return index;
  }
  return kNone;
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
  held.Get()->mAttached.store(iDescriptor);
  // A wait under way looks at its list anew only when something wakes it.
  Signal(*held.Get());
}

DWORD MsgWaitForMultipleObjects(DWORD iCount, const HANDLE* iEvents, BOOL iWaitAll, DWORD iMilliseconds,
                                DWORD /*iWakeMask*/) {
  if (iCount == 0 || iCount > MAXIMUM_WAIT_OBJECTS || iEvents == nullptr || iWaitAll != FALSE) {
    return WAIT_FAILED;
  }
  using Clock = std::chrono::steady_clock;
  const bool forever = iMilliseconds == INFINITE;
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(forever ? 0 : iMilliseconds);
  WaitList list;
  for (;;) {
    if (!FillWaitList(iCount, iEvents, list)) {
      return WAIT_FAILED;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    const int timeout = forever ? -1 : static_cast<int>(left > 0 ? left : 0);
    const int ready = ::poll(list.mPolls.data(), list.mCount, timeout);
    if (ready < 0 && errno != EINTR) {
      return WAIT_FAILED;
    }
    const DWORD served = ready > 0 ? Serve(iCount, iEvents, list) : kNone;
    if (served != kNone) {
      return WAIT_OBJECT_0 + served;
    }
    if (ready == 0 && !forever) {
      return WAIT_TIMEOUT;
    }
  }
}

#endif
