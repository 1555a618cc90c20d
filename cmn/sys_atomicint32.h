// SPDX-License-Identifier: MIT
/// \file
/// A 32-bit count that threads share.
#pragma once

#include <atomic>
#include <cstdint>

/// A 32-bit count that threads share, used as a gate: count yourself in, look at a flag, count yourself out.
/// That pattern needs one total order over count and flag, so every operation is sequentially consistent.
/// [any] Wait-free.
class Sys_AtomicInt32 {
 public:
  explicit Sys_AtomicInt32(std::int32_t iValue = 0) noexcept : mValue(iValue) {}
  Sys_AtomicInt32(const Sys_AtomicInt32&) = delete;
  Sys_AtomicInt32& operator=(const Sys_AtomicInt32&) = delete;

  /// Adds 1 and returns the new value.
  std::int32_t Increment() noexcept { return mValue.fetch_add(1) + 1; }
  /// Subtracts 1 and returns the new value.
  std::int32_t Decrement() noexcept { return mValue.fetch_sub(1) - 1; }
  /// The value now.
  std::int32_t Get() const noexcept { return mValue.load(); }

 private:
  std::atomic<std::int32_t> mValue;
};
