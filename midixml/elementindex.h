// SPDX-License-Identifier: MIT
/// \file
/// Finding the row of a tag.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "midixml/xmlelement.h"

namespace midixml {

/// An index over an element table. Its answer is the first row with a name, as a walk from the top would give
/// it.
class ElementIndex {
 public:
  /// Reads the table up to its closing row. The table must outlive the index.
  explicit ElementIndex(const XMLElementType* iTableP);

  /// The first row with exactly this name, or null.
  const XMLElementType* Find(const char* iNameP) const;

 private:
  size_t SlotOf(const char* iNameP) const;

  const XMLElementType* mTableP;
  // Row numbers by hash, with open addressing; -1 is free. The size is a power of two, at least twice the
  // rows.
  std::vector<int32_t> mSlots;
};

}  // namespace midixml
