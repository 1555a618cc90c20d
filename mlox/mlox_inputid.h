// SPDX-License-Identifier: MIT
/// \file
/// The small numeric identity of an input.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"

/// Names an input across services. A plain value. {-1, -1} marks an id that hasn't been read yet.
struct MLOX_EXPORT Mlox_InputID {
  /// {0, 0}.
  constexpr Mlox_InputID() = default;
  /// Both numbers, in the order of the fields.
  constexpr Mlox_InputID(int iServiceIndex, int iInputNumber)
      : mServiceIndex(iServiceIndex), mInputNumber(iInputNumber) {}

  std::int32_t mServiceIndex = 0;  ///< 1-based index of the service, in order of installation.
  std::int32_t mInputNumber = 0;   ///< The input's number within that service.

  /// Compares both numbers.
  friend constexpr bool operator==(const Mlox_InputID& iLeft, const Mlox_InputID& iRight) {
    return iLeft.mServiceIndex == iRight.mServiceIndex && iLeft.mInputNumber == iRight.mInputNumber;
  }
  friend constexpr bool operator!=(const Mlox_InputID& iLeft, const Mlox_InputID& iRight) {
    return !(iLeft == iRight);
  }
  /// Orders by the input's number first, and only then by the service. Both signed.
  friend constexpr bool operator<(const Mlox_InputID& iLeft, const Mlox_InputID& iRight) {
    if (iLeft.mInputNumber != iRight.mInputNumber) return iLeft.mInputNumber < iRight.mInputNumber;
    return iLeft.mServiceIndex < iRight.mServiceIndex;
  }
};
