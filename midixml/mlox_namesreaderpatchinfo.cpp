// SPDX-License-Identifier: MIT
#include "midixml/mlox_namesreaderpatchinfo.h"

namespace {

constexpr unsigned char kBankMSBController = 0;
constexpr unsigned char kBankLSBController = 32;

bool IsController(unsigned char iStatus) { return (iStatus & 0xF0) == 0xB0; }

}  // namespace

Mlox_NamesReaderPatchInfo::Mlox_NamesReaderPatchInfo(const midixml::PatchBank& iBank)
    : mHasBankSelect(iBank.mCommands.GetLength() == 3 || iBank.mCommands.GetLength() == 6),
      mBankName(iBank.mName.AsString() + "###pnlName###") {
  ReadCommands(iBank.mCommands);
}

void Mlox_NamesReaderPatchInfo::ReadCommands(const midixml::MIDIMessage& iCommands) {
  const unsigned char* bytesP = iCommands.GetData();
  if (iCommands.GetLength() >= 3 && IsController(bytesP[0])) {
    if (bytesP[1] == kBankMSBController) mMSBBank = bytesP[2];
    if (bytesP[1] == kBankLSBController) mLSBBank = bytesP[2];
  }
  if (iCommands.GetLength() < 6 || !IsController(bytesP[3])) return;
  // The second message counts as the LSB, also when it names controller 0. That is settled.
  if (bytesP[4] == kBankMSBController || bytesP[4] == kBankLSBController) mLSBBank = bytesP[5];
}
