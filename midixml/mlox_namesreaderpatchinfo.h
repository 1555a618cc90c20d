// SPDX-License-Identifier: MIT
/// \file
/// What a names reader tells about a patch's bank.
#pragma once

#include <string>

#include "mdid/mlox_patchinfo.h"
#include "midixml/patchbank.h"

/// Tells how to select one bank of a name document.
class Mlox_NamesReaderPatchInfo final : public Mlox_PatchInfo {
 public:
  /// The value of a bank number that there is none of.
  static constexpr unsigned char kNoBank = 128;

  /// Reads the bank's commands. The bank may go away afterwards.
  explicit Mlox_NamesReaderPatchInfo(const midixml::PatchBank& iBank);

  bool HasBankSelect() const override { return mHasBankSelect; }
  unsigned char GetMSBBank() const override { return mMSBBank; }
  unsigned char GetLSBBank() const override { return mLSBBank; }
  /// The bank's name with "###pnlName###" behind it and nothing more: who shows the name cuts there.
  std::string GetBankName() const override { return mBankName; }

 private:
  void ReadCommands(const midixml::MIDIMessage& iCommands);

  bool mHasBankSelect;
  unsigned char mMSBBank = kNoBank;
  unsigned char mLSBBank = kNoBank;
  std::string mBankName;
};
