// SPDX-License-Identifier: MIT
/// \file
/// Memory by the page, and memory that stays in place.
#pragma once

#include <cstddef>

#include "cmn/cmn_export.h"

/// iSize zeroed bytes that begin on a page, or null; a size of 0 gives null. The caller frees them with
/// PSUtil_PageAlignedFree. [any but real-time]
MLOX_EXPORT void* PSUtil_PageAlignedAlloc(std::size_t iSize);

/// Frees a block of PSUtil_PageAlignedAlloc; null is ignored. [any but real-time]
MLOX_EXPORT void PSUtil_PageAlignedFree(void* iBlockP);

/// Keeps the pages of a range in memory until they are unlocked or freed. False if the system refuses; the
/// range is usable all the same. [any but real-time]
MLOX_EXPORT bool PSUtil_VMLock(void* iBlockP, std::size_t iSize);

/// Takes PSUtil_VMLock back. False if the system refuses. [any but real-time]
MLOX_EXPORT bool PSUtil_VMUnlock(void* iBlockP, std::size_t iSize);

/// Bytes of physical memory. [any but real-time]
MLOX_EXPORT std::size_t PSUtil_MemoryOfMachine();
