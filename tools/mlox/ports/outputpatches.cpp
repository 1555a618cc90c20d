// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/outputpatches.h"

#include <fmt/format.h>

#include <tuple>
#include <vector>

#include "mdid/mdie_programevent.h"
#include "mdid/mlox_patchinfo.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_output.h"
#include "tools/mlox/names/namescount.h"
#include "tools/mlox/ports/portnames.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

constexpr int kNoBankNumber = 128;

/// How a bank is chosen, and its name as the library has it.
struct Bank {
  int mMSB = kNoBankNumber;
  int mLSB = kNoBankNumber;
  std::string mName;

  bool operator==(const Bank&) const = default;
};

/// The banks behind the patches that the output has counted, each once.
std::vector<Bank> BanksOf(Mlox_Output& ioOutput, int iCount) {
  std::vector<Bank> banks;
  for (int i = 0; i < iCount; ++i) {
    const Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> info = ioOutput.GetPatchInfo(i);
    if (!info) continue;
    const Bank bank{info->GetMSBBank(), info->GetLSBBank(), info->GetBankName()};
    if (banks.empty() || !(banks.back() == bank)) banks.push_back(bank);
  }
  return banks;
}

Mdie_ProgramEvent EventFor(const Bank& iBank, int iProgram) {
  Mdie_ProgramEvent event;
  event.SetProgram(static_cast<signed char>(iProgram));
  event.SetProgramEnable(true);
  if (iBank.mMSB < kNoBankNumber) {
    event.SetMSBBank(static_cast<signed char>(iBank.mMSB));
    event.SetMSBBankEnable(true);
  }
  if (iBank.mLSB < kNoBankNumber) {
    event.SetLSBBank(static_cast<signed char>(iBank.mLSB));
    event.SetLSBBankEnable(true);
  }
  return event;
}

/// The library marks bank names of its own making with a text behind them.
std::string ShownName(std::string iName) {
  const std::size_t mark = iName.find("###");
  if (mark != std::string::npos) iName.resize(mark);
  return ForTerminal(iName);
}

std::string SelectText(const Bank& iBank) {
  std::string text;
  if (iBank.mMSB < kNoBankNumber) text += fmt::format("  controller 0 = {}", iBank.mMSB);
  if (iBank.mLSB < kNoBankNumber) text += fmt::format("  controller 32 = {}", iBank.mLSB);
  return text;
}

void PrintBank(Mlox_Output& ioOutput, const Bank& iBank) {
  fmt::print("  {}{}\n", ShownName(iBank.mName), SelectText(iBank));
  for (int program = 0; program < 128; ++program) {
    std::string name;
    if (ioOutput.GetPatchName(&name, EventFor(iBank, program))) {
      fmt::print("    {:>3}  {}\n", program, ForTerminal(name));
    }
  }
}

/// The count; below 0 what went wrong.
int PrintChannel(Mlox_Output& ioOutput, int iChannel) {
  const int count = ioOutput.GetNumberOfPatches();
  if (count <= 0) return count;
  fmt::print("channel {}: {} patches\n", iChannel, count);
  for (const Bank& bank : BanksOf(ioOutput, count)) PrintBank(ioOutput, bank);
  return count;
}

}  // namespace

void ShowOutputPatches(const OutputPatchesRequest& iRequest) {
  const PortSession session;
  Mlox_Device& device = FindOutput(session, iRequest.mOutput);
  std::string fault;
  int shown = 0;
  for (int channel = 1; channel <= 16; ++channel) {
    if (iRequest.mChannel != 0 && channel != iRequest.mChannel) continue;
    Mlox_Output* const outputP = device.GetOutputForChannel(static_cast<short>(channel - 1));
    if (outputP == nullptr) continue;
    const int count = PrintChannel(*outputP, channel);
    if (count > 0) ++shown;
    if (count < 0) fault = fmt::format("channel {}: {}", channel, CountCodeText(count));
  }
  const std::string name = ForTerminal(device.GetName());
  if (!fault.empty()) throw ToolError(fmt::format("{}: {}", name, fault));
  if (shown == 0) {
    throw ToolError(
        fmt::format("{}: no names for its patches; mlox studio set gives it a name document", name));
  }
}

}  // namespace tool
