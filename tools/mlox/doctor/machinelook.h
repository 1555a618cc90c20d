// SPDX-License-Identifier: MIT
/// \file
/// This machine.
#pragma once

#include "tools/mlox/doctor/machine.h"

namespace tool {

/// Looks at everything that the checks ask of. Changes nothing on the machine: makes no file, loads no
/// module, starts no server. What may hang is given kLookSeconds each. To be called while this process has
/// one thread.
Machine LookAtMachine();

}  // namespace tool
