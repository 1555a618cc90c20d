// SPDX-License-Identifier: MIT
#include "midixml/asciicase.h"

#include <algorithm>

namespace midixml {

namespace {

char Fold(char iCharacter) {
  return iCharacter >= 'A' && iCharacter <= 'Z' ? static_cast<char>(iCharacter - 'A' + 'a') : iCharacter;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view iLeft, std::string_view iRight) {
  const auto same = [](char iA, char iB) { return Fold(iA) == Fold(iB); };
  return std::equal(iLeft.begin(), iLeft.end(), iRight.begin(), iRight.end(), same);
}

}  // namespace midixml
