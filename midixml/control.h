// SPDX-License-Identifier: MIT
/// \file
/// One controller of an instrument.
#pragma once

#include <cstdint>

#include "midixml/namedref.h"
#include "midixml/valuenamelist.h"

namespace midixml {

/// One controller: what kind it is, its number, its name and its range.
struct Control {
  /// The values of mType.
  enum EType : int8_t { k7Bit = 0, k14Bit = 1, kRPN = 2, kNRPN = 3 };

  int8_t mType = k7Bit;
  uint16_t mNumber = 0;
  SharedString mName;
  float mMin = 0;
  float mMax = 0;
  float mDefault = 0;
  NamedRef<ValueNameList> mValueNameList;
};

}  // namespace midixml
