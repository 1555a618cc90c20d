// SPDX-License-Identifier: MIT
/// \file
/// Named pairs of ports inside the process, for tests and first steps.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"

#if !defined(_WIN32)

/// Named pairs of ports, the same for every instance of the driver. What is sent to a pair's output arrives
/// at its input at the time it was sent for. The first pairs are those of MLOX_LOOPBACK_PORTS (names, comma
/// between), or else one pair "mlox loopback". [any thread]
class MLOX_EXPORT Platform_LoopbackPorts {
 public:
  /// Plugs a pair in; one that is there stays as it is.
  static void Plug(const std::string& iName);
  /// Pulls a pair out: what waits in it is gone.
  static void Unplug(const std::string& iName);
  static std::vector<std::string> Names();
  /// Lets each byte take so many microseconds on the way through a pair that is plugged in, as on a wire: 320
  /// is MIDI's speed, 0 takes no time. A message arrives when its last byte has passed.
  static void SetPace(const std::string& iName, std::int64_t iMicrosecondsPerByte);
};

#endif
