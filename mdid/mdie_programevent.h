// SPDX-License-Identifier: MIT
/// \file
/// The choice of a bank and a program.
#pragma once

#include <cstdint>

#include "mdid/mdie_event.h"

/// A bank and a program, of which each of three parts (bank MSB, bank LSB, program) is sent only if it is
/// enabled.
///
/// The flags in the stored words mean disabled, so that a default-constructed event, program byte 0x80 and
/// bank word 0xC000, sends nothing. Storing a number enables nothing: only the three `Set...Enable` change
/// the flags.
class MLOX_EXPORT Mdie_ProgramEvent : public Mdie_Event {
 public:
  /// `iProgram` and `iBank` are the raw words with their flags.
  explicit Mdie_ProgramEvent(unsigned char iProgram = 0x80, std::uint16_t iBank = 0xC000)
      : Mdie_Event(kProgram) {
    SetFullProgram(iProgram);
    SetFullBank(iBank);
    CMN_ASSERT_FROM(kMdie_EventAssertSource, mU.mBase.mType == kProgram, "mU.mBase.mType == kProgram");
  }

  /// The program byte, raw: bits 0 to 6 the program, bit 7 set if it is disabled.
  unsigned char GetFullProgram() const { return mU.mProgram.mProgram; }
  void SetFullProgram(unsigned char iProgram) { mU.mProgram.mProgram = iProgram; }
  /// The bank word, raw: bits 0 to 6 the LSB, 7 to 13 the MSB, 14 and 15 set if LSB or MSB are disabled.
  std::uint16_t GetFullBank() const { return mU.mProgram.mBank; }
  void SetFullBank(std::uint16_t iBank) { mU.mProgram.mBank = iBank; }

  /// The program, 0 to 127.
  signed char GetProgram() const { return static_cast<signed char>(mU.mProgram.mProgram & 0x7F); }
  /// Keeps the flag in bit 7, drops the old number and ORs the new one in. The number isn't masked: a
  /// negative one is reported, and its bit 7 then sets the flag.
  void SetProgram(signed char iProgramNumber) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iProgramNumber >= 0, "iProgramNumber >= 0");
    mU.mProgram.mProgram = static_cast<unsigned char>((mU.mProgram.mProgram & 0x80) |
                                                      static_cast<unsigned char>(iProgramNumber));
  }

  /// The bank, 0 to 16383: MSB times 128 plus LSB.
  int GetBank() const { return mU.mProgram.mBank & 0x3FFF; }
  /// Keeps the flags in bits 14 and 15, drops the old number and ORs the new one in, unmasked as in
  /// `SetProgram`.
  void SetBank(int iBankNumber) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iBankNumber >= 0, "iBankNumber >= 0");
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iBankNumber < 16384, "iBankNumber < 16384");
    mU.mProgram.mBank =
        static_cast<std::uint16_t>((mU.mProgram.mBank & 0xC000) | static_cast<std::uint16_t>(iBankNumber));
  }

  /// The low seven bits of the bank, 0 to 127.
  signed char GetLSBBank() const { return static_cast<signed char>(mU.mProgram.mBank & 0x7F); }
  /// Replaces bits 0 to 6 and no others, whatever the number.
  void SetLSBBank(signed char iLSBNumber) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iLSBNumber >= 0, "iLSBNumber >= 0");
    mU.mProgram.mBank = static_cast<std::uint16_t>((mU.mProgram.mBank & ~0x007F) | (iLSBNumber & 0x7F));
  }

  /// The high seven bits of the bank, 0 to 127.
  signed char GetMSBBank() const { return static_cast<signed char>((mU.mProgram.mBank >> 7) & 0x7F); }
  /// Replaces bits 7 to 13 and no others, whatever the number.
  void SetMSBBank(signed char iMSBNumber) {
    CMN_ASSERT_FROM(kMdie_EventAssertSource, iMSBNumber >= 0, "iMSBNumber >= 0");
    mU.mProgram.mBank =
        static_cast<std::uint16_t>((mU.mProgram.mBank & ~0x3F80) | ((iMSBNumber & 0x7F) << 7));
  }

  bool IsProgramEnabled() const { return (mU.mProgram.mProgram & 0x80) == 0; }
  void SetProgramEnable(bool iEnable) {
    const int kept = mU.mProgram.mProgram & 0x7F;
    mU.mProgram.mProgram = static_cast<unsigned char>(iEnable ? kept : kept | 0x80);
  }
  bool IsLSBBankEnabled() const { return (mU.mProgram.mBank & 0x4000) == 0; }
  void SetLSBBankEnable(bool iEnable) { SetBankFlag(0x4000, !iEnable); }
  bool IsMSBBankEnabled() const { return (mU.mProgram.mBank & 0x8000) == 0; }
  void SetMSBBankEnable(bool iEnable) { SetBankFlag(0x8000, !iEnable); }

 private:
  void SetBankFlag(int iFlag, bool iSet) {
    const int kept = mU.mProgram.mBank & ~iFlag;
    mU.mProgram.mBank = static_cast<std::uint16_t>(iSet ? kept | iFlag : kept);
  }
};
static_assert(kMdie_IsEventView<Mdie_ProgramEvent>);
