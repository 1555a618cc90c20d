// SPDX-License-Identifier: MIT
#include "midixml/elementindex.h"

#include <cstring>

namespace midixml {

namespace {

constexpr int32_t kFree = -1;

size_t Hash(const char* iNameP) {
  const size_t length = std::strlen(iNameP);
  if (length == 0) return 0;
  const auto at = [iNameP](size_t iIndex) {
    return static_cast<size_t>(static_cast<unsigned char>(iNameP[iIndex]));
  };
  return length * 37 + at(0) * 7 + at(length / 2) * 101 + at(length - 1) * 13;
}

}  // namespace

ElementIndex::ElementIndex(const XMLElementType* iTableP) : mTableP(iTableP) {
  size_t rows = 0;
  while (iTableP[rows].name[0] != '\0') ++rows;
  size_t slots = 16;
  while (slots < 2 * rows) slots *= 2;
  mSlots.assign(slots, kFree);
  for (size_t row = 0; row < rows; ++row) {
    int32_t& slot = mSlots[SlotOf(iTableP[row].name)];
    if (slot == kFree) slot = static_cast<int32_t>(row);
  }
}

// The slot of a name: the one that holds it, or the free one where it would go.
size_t ElementIndex::SlotOf(const char* iNameP) const {
  const size_t mask = mSlots.size() - 1;
  size_t slot = Hash(iNameP) & mask;
  while (mSlots[slot] != kFree && std::strcmp(mTableP[mSlots[slot]].name, iNameP) != 0)
    slot = (slot + 1) & mask;
  return slot;
}

const XMLElementType* ElementIndex::Find(const char* iNameP) const {
  const int32_t row = mSlots[SlotOf(iNameP)];
  return row == kFree ? nullptr : &mTableP[row];
}

}  // namespace midixml
