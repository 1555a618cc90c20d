// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/lookup2.h"

namespace {

constexpr std::uint32_t kGoldenRatio = 0x9E3779B9;
constexpr std::size_t kRoundSize = 12;

struct State {
  std::uint32_t mA;
  std::uint32_t mB;
  std::uint32_t mC;
};

void Mix(State& s) {
  s.mA = (s.mA - s.mB - s.mC) ^ (s.mC >> 13U);
  s.mB = (s.mB - s.mC - s.mA) ^ (s.mA << 8U);
  s.mC = (s.mC - s.mA - s.mB) ^ (s.mB >> 13U);
  s.mA = (s.mA - s.mB - s.mC) ^ (s.mC >> 12U);
  s.mB = (s.mB - s.mC - s.mA) ^ (s.mA << 16U);
  s.mC = (s.mC - s.mA - s.mB) ^ (s.mB >> 5U);
  s.mA = (s.mA - s.mB - s.mC) ^ (s.mC >> 3U);
  s.mB = (s.mB - s.mC - s.mA) ^ (s.mA << 10U);
  s.mC = (s.mC - s.mA - s.mB) ^ (s.mB >> 15U);
}

// Up to iCount bytes from iAt on as one word, the first byte lowest. Bytes count as unsigned.
std::uint32_t Word(std::string_view iBytes, std::size_t iAt, std::size_t iCount) {
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < iCount && iAt + i < iBytes.size(); ++i) {
    word |= std::uint32_t{static_cast<unsigned char>(iBytes[iAt + i])} << (8U * i);
  }
  return word;
}

}  // namespace

std::uint32_t Lookup2(std::string_view iBytes, std::uint32_t iInitialValue) {
  State state{kGoldenRatio, kGoldenRatio, iInitialValue};
  std::size_t at = 0;
  for (; iBytes.size() - at >= kRoundSize; at += kRoundSize) {
    state.mA += Word(iBytes, at, 4);
    state.mB += Word(iBytes, at + 4, 4);
    state.mC += Word(iBytes, at + 8, 4);
    Mix(state);
  }
  // What is left is below twelve bytes. The lowest byte of the third word is the length's.
  state.mA += Word(iBytes, at, 4);
  state.mB += Word(iBytes, at + 4, 4);
  state.mC += static_cast<std::uint32_t>(iBytes.size()) + (Word(iBytes, at + 8, 3) << 8U);
  Mix(state);
  return state.mC;
}
