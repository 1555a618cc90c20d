// SPDX-License-Identifier: MIT
#include "cmn/sys_clock.h"

#include <atomic>

#if defined(__linux__)
#include <ctime>
#else
#include <chrono>
#endif

namespace {

constinit std::atomic<Sys_Clock::Source> sSource{nullptr};

#if defined(__linux__)
// The steady clock's own source, asked for directly: every message on its way reads it twice.
std::int64_t ReadSystem() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1'000;
}
#else
std::int64_t ReadSystem() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}
#endif

}  // namespace

std::int64_t Sys_Clock::Microseconds() {
  if (const Source source = sSource.load(std::memory_order_acquire)) return source();
  return ReadSystem();
}

void Sys_Clock::SetSourceForTest(Source iSource) noexcept {
  sSource.store(iSource, std::memory_order_release);
}
