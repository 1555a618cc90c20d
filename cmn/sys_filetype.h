// SPDX-License-Identifier: MIT
/// \file
/// What kind of thing a location names.
#pragma once

#include <compare>
#include <cstdint>

/// A kind of file, as a plain value. Only folders are told from the rest here.
class Sys_FileType {
 public:
  /// A folder.
  static const Sys_FileType cFolder;
  /// Anything else, and what isn't there.
  static const Sys_FileType cUnknown;

  /// The kind that this code stands for.
  constexpr explicit Sys_FileType(std::uint32_t iCode) : mCode(iCode) {}
  /// Compares the codes.
  constexpr bool operator==(const Sys_FileType&) const = default;

 private:
  std::uint32_t mCode;
};

inline constexpr Sys_FileType Sys_FileType::cFolder{0x666F6C64};   // "fold"
inline constexpr Sys_FileType Sys_FileType::cUnknown{0x3F3F3F3F};  // "????"
