// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/outputpatches.h"

#include <fmt/format.h>

#include <functional>
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
#include "tools/mlox/treewriter.h"

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
std::string WithoutMark(std::string iName) {
  const std::size_t mark = iName.find("###");
  if (mark != std::string::npos) iName.resize(mark);
  return iName;
}

std::string SelectText(const Bank& iBank) {
  std::string text;
  if (iBank.mMSB < kNoBankNumber) text += fmt::format("  controller 0 = {}", iBank.mMSB);
  if (iBank.mLSB < kNoBankNumber) text += fmt::format("  controller 32 = {}", iBank.mLSB);
  return text;
}

/// Calls iTake with each program of the bank that has a name, and the name.
void ForEachProgram(Mlox_Output& ioOutput, const Bank& iBank,
                    const std::function<void(int, const std::string&)>& iTake) {
  for (int program = 0; program < 128; ++program) {
    std::string name;
    if (ioOutput.GetPatchName(&name, EventFor(iBank, program))) iTake(program, name);
  }
}

void PrintChannel(Mlox_Output& ioOutput, int iChannel, int iCount) {
  if (iCount <= 0) return;
  fmt::print("channel {}: {} patches\n", iChannel, iCount);
  for (const Bank& bank : BanksOf(ioOutput, iCount)) {
    fmt::print("  {}{}\n", ForTerminal(WithoutMark(bank.mName)), SelectText(bank));
    ForEachProgram(ioOutput, bank, [](int iProgram, const std::string& iName) {
      fmt::print("    {:>3}  {}\n", iProgram, ForTerminal(iName));
    });
  }
}

void WriteBankNumber(TreeWriter& ioWriter, const char* iKey, int iNumber) {
  ioWriter.Key(iKey);
  iNumber < kNoBankNumber ? ioWriter.Number(iNumber) : ioWriter.Null();
}

void WriteBank(TreeWriter& ioWriter, Mlox_Output& ioOutput, const Bank& iBank) {
  ioWriter.BeginObject();
  WriteBankNumber(ioWriter, "lsb", iBank.mLSB);
  WriteBankNumber(ioWriter, "msb", iBank.mMSB);
  ioWriter.Key("name");
  ioWriter.Text(WithoutMark(iBank.mName));
  ioWriter.Key("programs");
  ioWriter.BeginList();
  ForEachProgram(ioOutput, iBank, [&](int iProgram, const std::string& iName) {
    ioWriter.BeginObject();
    ioWriter.Key("name");
    ioWriter.Text(iName);
    ioWriter.Key("number");
    ioWriter.Number(iProgram);
    ioWriter.EndObject();
  });
  ioWriter.EndList();
  ioWriter.EndObject();
}

void WriteChannel(TreeWriter& ioWriter, Mlox_Output& ioOutput, int iChannel, int iCount) {
  ioWriter.BeginObject();
  ioWriter.Key("banks");
  ioWriter.BeginList();
  for (const Bank& bank : BanksOf(ioOutput, iCount)) WriteBank(ioWriter, ioOutput, bank);
  ioWriter.EndList();
  ioWriter.Key("channel");
  ioWriter.Number(iChannel);
  ioWriter.Key("count");
  ioWriter.Number(iCount);
  ioWriter.EndObject();
}

/// Calls iTake with each channel that was asked for and that the device has: its output, its number and the
/// count of its patches, below 0 if something is wrong. How many such channels there are.
int ForEachChannel(Mlox_Device& ioDevice, int iChannel,
                   const std::function<void(Mlox_Output&, int, int)>& iTake) {
  int channels = 0;
  for (int channel = 1; channel <= 16; ++channel) {
    if (iChannel != 0 && channel != iChannel) continue;
    Mlox_Output* const outputP = ioDevice.GetOutputForChannel(static_cast<short>(channel - 1));
    if (outputP == nullptr) continue;
    ++channels;
    iTake(*outputP, channel, outputP->GetNumberOfPatches());
  }
  return channels;
}

/// Why no patch was shown of the channel, or of any if it is 0. \param iChannels  how many were asked
std::string WhyNone(int iChannel, int iChannels) {
  if (iChannels > 0) return "no names for its patches; mlox studio set gives it a name document";
  if (iChannel == 0) return "listens on no channel";
  return fmt::format("does not listen on channel {}", iChannel);
}

}  // namespace

void ShowOutputPatches(const OutputPatchesRequest& iRequest) {
  const PortSession session;
  Mlox_Device& device = FindOutput(session, iRequest.mOutput);
  std::string fault;
  int shown = 0;
  JsonWriter json;
  json.BeginObject();
  json.Key("channels");
  json.BeginList();
  const auto show = [&](Mlox_Output& ioOutput, int iChannel, int iCount) {
    if (iRequest.mJson) {
      WriteChannel(json, ioOutput, iChannel, iCount);
    } else {
      PrintChannel(ioOutput, iChannel, iCount);
    }
    if (iCount > 0) ++shown;
    if (iCount < 0) fault = fmt::format("channel {}: {}", iChannel, CountCodeText(iCount));
  };
  const int channels = ForEachChannel(device, iRequest.mChannel, show);
  json.EndList();
  json.Key("output");
  json.Text(device.GetName());
  json.EndObject();
  if (iRequest.mJson) fmt::print("{}\n", json.GetText());
  const std::string name = ForTerminal(device.GetName());
  if (!fault.empty()) throw ToolError(fmt::format("{}: {}", name, fault));
  if (shown == 0) throw ToolError(fmt::format("{}: {}", name, WhyNone(iRequest.mChannel, channels)));
}

}  // namespace tool
