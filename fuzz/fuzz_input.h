// SPDX-License-Identifier: MIT
/// \file
/// What the fuzz targets share: taking numbers and bytes off the input, and stopping at a broken promise.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

/// Stops the run, which keeps the input, when a promise doesn't hold.
inline void Fuzz_Require(bool iHolds, const char* iPromiseP) {
  if (iHolds) return;
  std::fprintf(stderr, "broken promise: %s\n", iPromiseP);
  std::abort();
}

/// Takes the input apart from its front. Past its end numbers are 0 and runs of bytes are short.
class Fuzz_Input {
 public:
  Fuzz_Input(const std::uint8_t* iDataP, std::size_t iSize) : mDataP(iDataP), mLeft(iSize) {}

  bool IsEmpty() const { return mLeft == 0; }

  std::uint8_t Byte() {
    if (mLeft == 0) return 0;
    --mLeft;
    return *mDataP++;
  }

  std::int32_t Int32() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = (value << 8) | Byte();
    return static_cast<std::int32_t>(value);
  }

  /// Up to iCount bytes.
  std::vector<unsigned char> Bytes(std::size_t iCount) {
    const std::size_t count = std::min(iCount, mLeft);
    std::vector<unsigned char> bytes(mDataP, mDataP + count);
    mDataP += count;
    mLeft -= count;
    return bytes;
  }

 private:
  const std::uint8_t* mDataP;
  std::size_t mLeft;
};
