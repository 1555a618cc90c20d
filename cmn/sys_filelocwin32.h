// SPDX-License-Identifier: MIT
/// \file
/// The implementation from which the system makes a location of a full path.
#pragma once

#include "cmn/sys_filelocposix.h"

/// The name stands for the platform's implementation: stored paths are turned into locations through it
/// everywhere.
using Sys_FileLocWin32 = Sys_FileLocPosix;
