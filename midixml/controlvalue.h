// SPDX-License-Identifier: MIT
/// \file
/// The name of one value of a controller.
#pragma once

#include <cstdint>

#include "midixml/sharedstring.h"

namespace midixml {

/// One value of a controller and its name.
struct ControlValue {
  uint16_t mNumber = 0;
  SharedString mName;
};

}  // namespace midixml
