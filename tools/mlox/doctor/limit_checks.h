// SPDX-License-Identifier: MIT
/// \file
/// What the kernel grants to threads that must not be late.
#pragma once

#include "tools/mlox/doctor/finding.h"
#include "tools/mlox/doctor/machine.h"

namespace tool {

/// Real-time scheduling, which audio threads of applications and JACK's threads ask for.
Finding CheckRealtimePriority(const Machine& iMachine);
/// The nice value that the threads ask for on which what arrives is handed on.
Finding CheckReceivePriority(const Machine& iMachine);
/// Memory that stays in place, which the library's pools ask for.
Finding CheckLockedMemory(const Machine& iMachine);

}  // namespace tool
