// SPDX-License-Identifier: MIT
/// \file
/// The one place where the library's version is written. CMake reads it from here.
#pragma once

/// Major version: the binary interface. A change of a slot, a size or an exported name raises it.
#define CMN_VERSION_MAJOR 1
/// Minor version: additions that leave every existing binary working.
#define CMN_VERSION_MINOR 0
/// Patch version: corrections.
#define CMN_VERSION_PATCH 0
