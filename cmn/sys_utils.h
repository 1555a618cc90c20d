// SPDX-License-Identifier: MIT
/// \file
/// Sleeping and the debug log.
#pragma once

#include <cstdint>
#include <string>

#include "cmn/cmn_export.h"

/// Sleeping and the debug log.
class MLOX_EXPORT Sys_Utils {
 public:
  /// A replacement for Sleep; tests set it.
  using Sleeper = void (*)(std::int64_t iMilliseconds);
  /// A replacement for the debug log; tests set it. The line comes without its end of line.
  using Logger = void (*)(const std::string& iLine);

  /// Suspends the calling thread for at least iMilliseconds; 0 or less returns at once. [any but real-time]
  static void Sleep(std::int64_t iMilliseconds);

  /// Writes one line to the debug log. One end of line is added, or kept if the text brings it. The log is
  /// the file that MLOX_DEBUG_LOG names, appended to ("-": standard error); with the variable unset nothing
  /// is written. [any but real-time]
  static void DebugString(const std::string& iText);

  /// Test seam: Sleep calls iSleeper instead, until it is set to null again. [any]
  static void SetSleeperForTest(Sleeper iSleeper) noexcept;
  /// Test seam: DebugString calls iLogger instead, until it is set to null again. [any]
  static void SetLoggerForTest(Logger iLogger) noexcept;
};
