// SPDX-License-Identifier: MIT
#include "midixml/sharedobject.h"

namespace midixml {

SharedObject::~SharedObject() = default;

}  // namespace midixml
