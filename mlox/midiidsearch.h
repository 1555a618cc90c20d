// SPDX-License-Identifier: MIT
/// \file
/// The search that both mappers of integer ids make in their lists.
#pragma once

#include <algorithm>
#include <cstdint>
#include <tuple>
#include <vector>

/// The position of an entry in a list that is sorted by index and then by channel, both signed; 0, where the
/// none entry stands, if it isn't there. Logarithmic in the list's size.
/// \tparam Entry    has a constructor from an index and a channel, and the members mIndex and mChannel
/// \param iChannel  0 to 15, or -1 for a common entry
template <class Entry>
int Mlox_PositionOfEntry(const std::vector<Entry>& iList, std::int32_t iIndex, std::int16_t iChannel) {
  const auto key = [](const Entry& iEntry) { return std::tuple(iEntry.mIndex, iEntry.mChannel); };
  const Entry wanted{iIndex, iChannel};
  const auto found =
      std::lower_bound(iList.begin(), iList.end(), wanted,
                       [&key](const Entry& iLeft, const Entry& iRight) { return key(iLeft) < key(iRight); });
  if (found == iList.end() || key(*found) != key(wanted)) return 0;
  return static_cast<int>(found - iList.begin());
}
