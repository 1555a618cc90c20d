// SPDX-License-Identifier: MIT
/// \file
/// Comparing text without regard to letter case.
#pragma once

#include <string_view>

namespace midixml {

/// Whether two texts are equal when the letters A to Z count as a to z. No other letter is folded, whatever
/// the locale: the same names match on every machine.
bool EqualsIgnoringCase(std::string_view iLeft, std::string_view iRight);

}  // namespace midixml
