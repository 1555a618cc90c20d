// SPDX-License-Identifier: MIT
/// \file
/// What a plug-in host tells about one plug-in instance.
#pragma once

#include <cstdint>

/// A plug-in instance as its host names it. The host's own structure has more members behind these; the
/// library reads these three, as an opaque key, and nothing else.
struct SFicPlugInSpec {
  uint32_t mTag = 0;
  uint64_t mIdHigh = 0;
  uint64_t mIdLow = 0;
};
