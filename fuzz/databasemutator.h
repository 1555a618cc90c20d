// SPDX-License-Identifier: MIT
/// \file
/// Changes a database by what SQL can do to it, so that what comes of it is a well-formed file with contents
/// that no studio would write. Changes of single bytes hardly ever get past the file's own structure.
#pragma once

#include <cstddef>
#include <cstdint>

/// Makes one change in the database of these bytes.
/// \param ioDataP the bytes, with room for iMaxSize
/// \param iSeed chooses the change; the same seed makes the same change
/// \returns the new size; 0, with the bytes as they were, when they make no database or the change doesn't
/// fit
std::size_t Fuzz_MutateDatabase(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize,
                                unsigned int iSeed);
