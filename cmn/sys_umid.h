// SPDX-License-Identifier: MIT
/// \file
/// Identifiers that no two calls, processes or machines share.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

#include "cmn/cmn_export.h"

/// A 128-bit identifier that is made, never assigned. A plain value.
class MLOX_EXPORT Sys_Umid {
 public:
  /// The nil value.
  constexpr Sys_Umid() = default;

  /// A new value, unlike any other. [any], except real-time threads.
  static Sys_Umid Create();

  /// 32 hexadecimal digits, capital letters.
  [[nodiscard]] std::string AsString() const;

  /// Compares the values.
  auto operator<=>(const Sys_Umid&) const = default;

 private:
  std::array<std::uint32_t, 4> mWords{};
};
