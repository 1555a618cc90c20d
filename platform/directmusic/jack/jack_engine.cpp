// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_engine.h"

#include <jack/jack.h>

#include <algorithm>
#include <chrono>

#include "cmn/sys_clock.h"
#include "platform/directmusic/jack/jack_patience.h"

namespace {

constexpr std::int64_t kMicrosecondsASecond = 1'000'000;
constexpr std::chrono::milliseconds kRemovePatience{1000};
constexpr std::chrono::microseconds kStep{500};

}  // namespace

// ---- the session's thread ----

void Platform_JackEngine::Reset(std::uint32_t iRate, std::uint32_t iFrames) {
  mFreewheels.store(false);
  SetRate(iRate);
  mFrames.store(iFrames);
  mWasFreewheel = false;
  mLastEnd = 0;
}

void Platform_JackEngine::SetRate(std::uint32_t iRate) { mRate.store(std::max<std::uint32_t>(iRate, 1)); }

bool Platform_JackEngine::Add(Platform_JackWay* iWayP) {
  for (std::size_t i = 0; i < kMostWays; ++i) {
    if (mWays[i].load() == nullptr) {
      mWays[i].store(iWayP);
      mWaysInUse.store(std::max(mWaysInUse.load(), i + 1));
      return true;
    }
  }
  return false;
}

bool Platform_JackEngine::Remove(Platform_JackWay* iWayP) {
  for (std::atomic<Platform_JackWay*>& way : mWays) {
    if (way.load() == iWayP) {
      way.store(nullptr);
    }
  }
  return WaitForEnd();
}

bool Platform_JackEngine::WaitForEnd() const {
  const std::uint64_t cycle = mCycles.load();
  return cycle % 2 == 0 ||
         Platform_JackWaitFor(kRemovePatience, kStep, [&] { return mCycles.load() != cycle; });
}

void Platform_JackEngine::Clear() {
  for (std::atomic<Platform_JackWay*>& way : mWays) {
    way.store(nullptr);
  }
  mWaysInUse.store(0);
  // A thread that the server's end took away in the middle of its callback left the count odd.
  mCycles.store(0);
}

void Platform_JackEngine::WaitForCycles(int iCount, std::chrono::milliseconds iPatience,
                                        const std::atomic<bool>& iIsOver) const {
  const std::uint64_t wanted = mCycles.load() + 2 * static_cast<std::uint64_t>(iCount) + 1;
  static_cast<void>(
      Platform_JackWaitFor(iPatience, kStep, [&] { return mCycles.load() >= wanted || iIsOver.load(); }));
}

std::int64_t Platform_JackEngine::PeriodMicroseconds() const {
  const std::int64_t rate = mRate.load(std::memory_order_relaxed);
  return (mFrames.load(std::memory_order_relaxed) * kMicrosecondsASecond + rate - 1) / rate;
}

// ---- the process callback ----

void Platform_JackEngine::Process(jack_client_t* iClientP, std::uint32_t iFrames) noexcept {
  mCycles.fetch_add(1);
  mFrames.store(iFrames, std::memory_order_relaxed);
  const Platform_JackCycle cycle = CycleOf(iClientP, iFrames);
  const std::size_t count = mWaysInUse.load();
  for (std::size_t i = 0; i < count; ++i) {
    Platform_JackWay* const way = mWays[i].load();
    void* const buffer = way != nullptr ? jack_port_get_buffer(way->mPortP, iFrames) : nullptr;
    if (buffer != nullptr) {
      way->Process(buffer, cycle);
    }
  }
  mCycles.fetch_add(1);
}

Platform_JackCycle Platform_JackEngine::CycleOf(jack_client_t* iClientP, std::uint32_t iFrames) noexcept {
  if (mFreewheels.load(std::memory_order_relaxed)) {
    return FreewheelCycle(iFrames);
  }
  mWasFreewheel = false;
  jack_nframes_t frames = 0;
  jack_time_t start = 0;
  jack_time_t next = 0;
  float period = 0;
  Platform_JackCycle cycle;
  cycle.mFrames = iFrames;
  const bool isKnown = jack_get_cycle_times(iClientP, &frames, &start, &next, &period) == 0 && next > start;
  if (isKnown) {
    const std::int64_t offset = mClockOffset.load(std::memory_order_relaxed);
    cycle.mStart = static_cast<std::int64_t>(start) + offset;
    cycle.mEnd = static_cast<std::int64_t>(next) + offset;
  } else {
    cycle.mStart = Sys_Clock::Microseconds();
    cycle.mEnd = cycle.mStart + std::max<std::int64_t>(PeriodMicroseconds(), 1);
  }
  mLastEnd = cycle.mEnd;
  return cycle;
}

// A server that runs free takes cycles as fast as it can: time goes by frames from where it was.
Platform_JackCycle Platform_JackEngine::FreewheelCycle(std::uint32_t iFrames) noexcept {
  if (!mWasFreewheel) {
    mWasFreewheel = true;
    mFreeFrames = 0;
    mFreeSince = mLastEnd != 0 ? mLastEnd : Sys_Clock::Microseconds();
  }
  const std::uint64_t rate = mRate.load(std::memory_order_relaxed);
  const auto timeOf = [&](std::uint64_t iFrame) {
    return mFreeSince + static_cast<std::int64_t>(iFrame * kMicrosecondsASecond / rate);
  };
  Platform_JackCycle cycle;
  cycle.mFrames = iFrames;
  cycle.mStart = timeOf(mFreeFrames);
  mFreeFrames += iFrames;
  cycle.mEnd = std::max(timeOf(mFreeFrames), cycle.mStart + 1);
  return cycle;
}
