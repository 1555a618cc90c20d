// SPDX-License-Identifier: MIT
/// \file
/// A counted object with a name.
#pragma once

#include "midixml/sharedstring.h"

namespace midixml {

/// The base of the lists, sets and modes of the name model: counted, and found by its name.
class MLOX_EXPORT MIDINameObj : public SharedObject {
 public:
  ~MIDINameObj() override;

  SharedString mName;
};

}  // namespace midixml
