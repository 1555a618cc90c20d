// SPDX-License-Identifier: MIT
/// \file
/// Visibility of the classes that applications and plug-ins reach. Everything else stays hidden.
#pragma once

#if defined(_WIN32)
#if defined(MLOX_BUILDING_LIBRARY)
#define MLOX_EXPORT __declspec(dllexport)
#else
#define MLOX_EXPORT __declspec(dllimport)
#endif
#else
/// Marks a class or function as part of the library's binary interface.
#define MLOX_EXPORT __attribute__((visibility("default")))
#endif
