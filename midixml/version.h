// SPDX-License-Identifier: MIT
/// \file
/// A version as an attribute gives it.
#pragma once

#include <cstdint>

namespace midixml {

/// A version such as 1.2.3; what is not given is 0.
struct Version {
  uint8_t major = 0;
  uint8_t minor = 0;
  uint8_t bugfix = 0;
};

}  // namespace midixml
