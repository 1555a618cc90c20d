// SPDX-License-Identifier: MIT
/// \file
/// The clock of everything that isn't counted in samples.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

/// The system's clock.
class MLOX_EXPORT Sys_Clock {
 public:
  /// A replacement for the clock; tests set it.
  using Source = std::int64_t (*)();

  /// Microseconds since an arbitrary start. Never runs backwards. [any] Wait-free, no system call into the
  /// kernel where the platform offers one without.
  static std::int64_t Microseconds();

  /// Test seam: every reading comes from iSource until it is set to null again. [any]
  static void SetSourceForTest(Source iSource) noexcept;
};
