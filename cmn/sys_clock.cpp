// SPDX-License-Identifier: MIT
#include "cmn/sys_clock.h"

#include <atomic>
#include <chrono>

namespace {
constinit std::atomic<Sys_Clock::Source> sSource{nullptr};
}

std::int64_t Sys_Clock::Microseconds() {
  if (const Source source = sSource.load(std::memory_order_acquire)) return source();
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

void Sys_Clock::SetSourceForTest(Source iSource) noexcept {
  sSource.store(iSource, std::memory_order_release);
}
