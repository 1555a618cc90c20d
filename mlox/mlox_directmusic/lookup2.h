// SPDX-License-Identifier: MIT
/// \file
/// A hash of bytes whose values are kept in databases.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The 32-bit lookup2 hash: golden ratio 0x9E3779B9, twelve bytes a round, the length mixed into the third
/// word of the last. The same on every platform and in every version: identities of endpoints are made of it.
/// [any]
std::uint32_t Lookup2(std::string_view iBytes, std::uint32_t iInitialValue);
