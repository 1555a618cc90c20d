// SPDX-License-Identifier: MIT
/// \file
/// A 128-bit identifier.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>

/// Four 32-bit words, compared whole. A plain value: it is stored in songs and presets as it stands.
class Sys_UUID {
 public:
  /// The nil value.
  constexpr Sys_UUID() = default;
  /// The identifier made of these words, first to fourth.
  constexpr Sys_UUID(std::uint32_t iFirst, std::uint32_t iSecond, std::uint32_t iThird, std::uint32_t iFourth)
      : mWords{iFirst, iSecond, iThird, iFourth} {}

  /// The nil value, all words 0: "no plug-in".
  static constexpr Sys_UUID NoID() { return Sys_UUID(); }

  /// One of the words, 0 to 3.
  [[nodiscard]] constexpr std::uint32_t GetWord(std::size_t iIndex) const { return mWords[iIndex & 3U]; }

  /// Compares the words from the first to the fourth.
  constexpr auto operator<=>(const Sys_UUID&) const = default;

 private:
  std::array<std::uint32_t, 4> mWords{};
};
