// SPDX-License-Identifier: MIT
// Raw bytes through the length of messages and the state of system exclusive streams, beside models of both
// that are written another way: a table and a machine that looks at one byte after the other.
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "mlox/mlox_mididata.h"

namespace {

// Lengths of 0x80 to 0xFF by high nibble, and of 0xF0 to 0xFF by low one.
int LengthOf(std::uint8_t iStatus) {
  static const char* const kByHigh = "33332233";  // the last one, 0xF0, is looked up below
  static const char* const kSystem = "0232111011111111";
  if (iStatus < 0x80) return 0;
  return (iStatus < 0xF0 ? kByHigh[(iStatus >> 4) - 8] : kSystem[iStatus & 0x0F]) - '0';
}

void CheckLengths(const std::vector<std::uint8_t>& iBytes, std::uint8_t iRunning) {
  unsigned char running = iRunning;
  for (const std::uint8_t byte : iBytes) {
    const unsigned char before = running;
    const int length = Mlox_GetMIDIMessageLength(byte, &running);
    if (byte >= 0x80) {
      Fuzz_Require(length == LengthOf(byte) && running == byte, "a status has its length and is remembered");
      Fuzz_Require(Mlox_GetMIDIMessageLength(byte, nullptr) == length, "the length needs no memory");
    } else {
      const int whole = LengthOf(before);
      Fuzz_Require(length == (whole == 0 ? 0 : whole - 1), "a data byte stands for the running status");
      Fuzz_Require(running == before, "a data byte leaves the running status");
      Fuzz_Require(Mlox_GetMIDIMessageLength(byte, nullptr) == 0, "a data byte alone has no length");
    }
  }
}

// The class of a piece, read byte by byte. oNext: the state for the piece behind it.
int ModelPiece(const std::vector<std::uint8_t>& iPiece, int iState, int& oNext) {
  const bool known = iState >= 0 && iState <= 4;
  const bool open = iState == 2 || iState == 3;
  oNext = open ? iState : 0;
  if (!known || iPiece.empty()) return 0;
  oNext = 0;
  int piece = 0;
  for (std::size_t i = 0; i < iPiece.size(); ++i) {
    const std::uint8_t byte = iPiece[i];
    if (i == 0) {
      if (byte == 0xF0 && !open) piece = 2;
      if (byte != 0xF0 && open) piece = 3;
      if (piece == 0) return 0;
    }
    if (byte == 0xF7) return piece == 2 ? 1 : 4;
  }
  oNext = piece;
  return piece;
}

int CheckPiece(const std::vector<std::uint8_t>& iPiece, int iState) {
  Mlox_MidiData data;
  data.mData = iPiece.data();
  data.mLength = static_cast<std::uint32_t>(iPiece.size());
  const int next = Mlox_SetSysexState(&data, static_cast<Mlox_MidiData::ESysexState>(iState));
  int modelNext = 0;
  const int modelPiece = ModelPiece(iPiece, iState, modelNext);
  Fuzz_Require(data.mSysexState == modelPiece, "the class of a piece");
  Fuzz_Require(next == modelNext, "the state for the next piece");
  Fuzz_Require(next == 0 || next == 2 || next == 3, "a returned state is none or in progress");
  return next;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iDataP, std::size_t iSize) {
  Fuzz_Input input(iDataP, iSize);
  const std::uint8_t running = input.Byte();
  int state = input.Byte();
  if (state == 0xFF) state = input.Int32();
  while (!input.IsEmpty()) {
    const std::vector<std::uint8_t> piece = input.Bytes(input.Byte());
    CheckLengths(piece, running);
    state = CheckPiece(piece, state);
  }
  return 0;
}
