// SPDX-License-Identifier: MIT
#include "tools/mlox/names/namescount.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "cmn/cmn_polyvector.h"
#include "mdid/mdie_programevent.h"
#include "midixml/mlox_namesreader.h"
#include "tools/mlox/names/filelocation.h"
#include "tools/mlox/tool_error.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

// An output reports any fault of a document as this.
constexpr int kDocumentFault = -8;
constexpr int kHighestData = 127;

// A bank number to ask for, or none of it.
using BankNumber = std::optional<int>;
using BankNumbers = std::pair<BankNumber, BankNumber>;

struct Answers {
  int mReadBankNames = 0;
  int mCount = 0;
  int mThrown = 0;
};

std::string KeyText(const BankNumber& iNumber) { return iNumber ? fmt::format("{}", *iNumber) : "-"; }

bool CanBeSent(const BankNumber& iNumber) { return !iNumber || *iNumber <= kHighestData; }

// The bank numbers worth asking for: those that some bank answers to, and their neighbours that none should.
std::set<BankNumbers> BankNumbersToTry(const midixml::ChannelNameSet* iSetP) {
  std::set<BankNumbers> pairs = {{std::nullopt, std::nullopt}};
  if (!iSetP) return pairs;
  for (const midixml::PatchBank& bank : iSetP->mPatchBanks) {
    const uint8_t* bytesP = bank.mCommands.GetData();
    std::vector<BankNumbers> candidates;
    if (bank.mCommands.GetLength() == 3) {
      const BankNumber value = bytesP[2];
      candidates = {{value, std::nullopt}, {std::nullopt, value}, {value, value}};
    } else if (bank.mCommands.GetLength() == 6) {
      const BankNumber first = bytesP[2];
      const BankNumber second = bytesP[5];
      candidates = {{first, second},
                    {first, std::nullopt},
                    {std::nullopt, second},
                    {std::nullopt, first},
                    {second, std::nullopt}};
    }
    for (const BankNumbers& candidate : candidates) {
      if (CanBeSent(candidate.first) && CanBeSent(candidate.second)) pairs.insert(candidate);
    }
  }
  return pairs;
}

Mdie_ProgramEvent MakeEvent(const BankNumbers& iBank, int iProgram) {
  Mdie_ProgramEvent event;
  event.SetProgramEnable(true);
  event.SetProgram(static_cast<signed char>(iProgram));
  if (iBank.first) {
    event.SetMSBBankEnable(true);
    event.SetMSBBank(static_cast<signed char>(*iBank.first));
  }
  if (iBank.second) {
    event.SetLSBBankEnable(true);
    event.SetLSBBank(static_cast<signed char>(*iBank.second));
  }
  return event;
}

void WritePatchInfo(TreeWriter& ioWriter, const Mlox_PatchInfo* iInfoP) {
  if (!iInfoP) {
    ioWriter.Null();
    return;
  }
  ioWriter.BeginList();
  ioWriter.Bool(iInfoP->HasBankSelect());
  ioWriter.Number(iInfoP->GetMSBBank());
  ioWriter.Number(iInfoP->GetLSBBank());
  ioWriter.Text(iInfoP->GetBankName());
  ioWriter.EndList();
}

void WritePatchNames(TreeWriter& ioWriter, const Mlox_NamesReader& iReader) {
  std::map<std::string, std::string> names;
  for (const BankNumbers& bank : BankNumbersToTry(iReader.GetChannelNameSet())) {
    for (int program = 0; program <= kHighestData; ++program) {
      std::string name;
      if (!iReader.GetPatchName(MakeEvent(bank, program), &name)) continue;
      names[fmt::format("{},{},{}", KeyText(bank.first), KeyText(bank.second), program)] = name;
    }
  }
  ioWriter.BeginObject();
  for (const auto& [key, name] : names) {
    ioWriter.Key(key);
    ioWriter.Text(name);
  }
  ioWriter.EndObject();
}

void WriteAnswers(TreeWriter& ioWriter, const Mlox_NamesReader& iReader, const Answers& iAnswers) {
  ioWriter.BeginObject();
  ioWriter.Key("bankNames");
  ioWriter.BeginList();
  for (int index = 0; index < iAnswers.mReadBankNames; ++index) ioWriter.Text(iReader.GetBankName(index));
  ioWriter.EndList();
  ioWriter.Key("channelNameSetName");
  ioWriter.Text(iReader.GetChannelNameSetName());
  ioWriter.Key("count");
  ioWriter.Number(iAnswers.mCount);
  ioWriter.Key("patchInfo");
  ioWriter.BeginList();
  for (int index = 0; index < iAnswers.mCount; ++index)
    WritePatchInfo(ioWriter, iReader.GetPatchInfo(index).get());
  ioWriter.EndList();
  ioWriter.Key("patchInfoPastEnd");
  WritePatchInfo(ioWriter, iReader.GetPatchInfo(std::max(iAnswers.mCount, 0)).get());
  ioWriter.Key("patchNames");
  WritePatchNames(ioWriter, iReader);
  ioWriter.Key("readBankNames");
  ioWriter.Number(iAnswers.mReadBankNames);
  ioWriter.Key("thrown");
  ioWriter.Number(iAnswers.mThrown);
  ioWriter.EndObject();
}

}  // namespace

const char* CountCodeText(int iCode) {
  switch (iCode) {
    case -1:
      return "no device in the document fits the manufacturer and model";
    case -2:
      return "the file isn't there";
    case -4:
      return "a channel is from 1 to 16";
    case -5:
      return "there is no such mode, or it gives the channel no channel name set";
    case -6:
      return "no file was named";
    default:
      return "a document has a fault; mlox names check tells where";
  }
}

void CountNames(const CountRequest& iRequest) {
  std::vector<Mlox_PatchNameBankInfo> overrides;
  for (const auto& [bank, file, list] : iRequest.mBanks) overrides.push_back({bank, FileAt(file), list});
  Cmn_PolyVector<Mlox_PatchNameBankInfo*> banks;
  for (Mlox_PatchNameBankInfo& info : overrides) banks.PushBack(&info);

  // Whatever number was given: only those from 1 are of channels.
  const int channel = iRequest.mChannel < 1 ? -1 : iRequest.mChannel - 1;
  Mlox_NamesReader reader;
  Answers answers;
  const auto ask = [&](auto iOperation) {
    try {
      return (reader.*iOperation)(FileAt(iRequest.mFile), banks, iRequest.mMode, iRequest.mNameSet, channel,
                                  iRequest.mManufacturer, iRequest.mModel);
    } catch (int code) {
      answers.mThrown = code;
      return kDocumentFault;
    }
  };
  answers.mReadBankNames = ask(&Mlox_NamesReader::ReadBankNames);
  answers.mCount = ask(&Mlox_NamesReader::CountPatches);

  const std::unique_ptr<TreeWriter> writer = MakeTreeWriter(iRequest.mJson);
  WriteAnswers(*writer, reader, answers);
  fmt::print("{}{}", writer->GetText(), iRequest.mJson ? "\n" : "");
  if (answers.mCount < 0)
    throw ToolError(fmt::format("{}: {}", iRequest.mFile, CountCodeText(answers.mCount)));
}

}  // namespace tool
