// SPDX-License-Identifier: MIT
/// \file
/// The name of one note.
#pragma once

#include <cstdint>

#include "midixml/sharedstring.h"

namespace midixml {

/// One note and its name.
struct Note {
  uint8_t mNumber = 0;
  SharedString mName;
};

}  // namespace midixml
