// SPDX-License-Identifier: MIT
/// \file
/// A number that several threads raise and none lowers.
#pragma once

#include <atomic>

/// Raises a number to a value, if it isn't as high yet. Whatever several threads write in whatever order, the
/// highest value stays. [any] Lock-free.
template <class T>
void Cmn_RaiseTo(std::atomic<T>& ioNumber, T iAtLeast) noexcept {
  T before = ioNumber.load();
  while (before < iAtLeast && !ioNumber.compare_exchange_weak(before, iAtLeast)) {
  }
}
