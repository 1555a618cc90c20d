// SPDX-License-Identifier: MIT
#include "tools/mlox/names/namescheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>

#include "midixml/midinamedocumentparser.h"
#include "midixml/mlox_devicetypesparser.h"
#include "tools/mlox/names/documentfault.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

using midixml::ChannelNameSet;
using midixml::kChannelCount;
using midixml::MIDIDeviceNames;
using midixml::Mode;
using midixml::PatchBank;

// Finds what a device record promises and can't keep.
class RecordChecker {
 public:
  RecordChecker(const MIDIDeviceNames& iDevice, std::vector<std::string>& ioWarnings)
      : mDevice(iDevice), mWarnings(ioWarnings) {}

  void Check() {
    if (mDevice.mModels.empty() && !mDevice.mModes.empty()) Warn("a device without a Model is never found");
    for (const auto& list : mDevice.mPatchNameLists) mPatchLists.insert(list.GetObject()->mName.View());
    for (const auto& mode : mDevice.mModes) CheckMode(*mode.GetObject());
    for (const auto& set : mDevice.mChannelNameSets) CheckSet(*set.GetObject());
  }

 private:
  void Warn(const std::string& iText) { mWarnings.push_back(iText); }

  void CheckMode(const Mode& iMode) {
    std::map<std::string_view, std::vector<int>> missing;
    for (int channel = 0; channel < kChannelCount; ++channel) {
      const auto& assign = iMode.mChannelNameSets[static_cast<size_t>(channel)];
      if (assign.GetObject()) mAssigned.insert(assign.GetObject());
      if (assign.IsUnresolved()) missing[assign.mName.View()].push_back(channel + 1);
    }
    for (const auto& [name, channels] : missing) {
      Warn(fmt::format("mode \"{}\", channel {}: there is no channel name set \"{}\"", iMode.mName.View(),
                       ChannelsText(channels), name));
    }
  }

  void CheckSet(const ChannelNameSet& iSet) {
    const bool assigned = mAssigned.count(&iSet) != 0;
    if (!assigned && !mDevice.mModes.empty()) {
      Warn(fmt::format("channel name set \"{}\": no mode gives it to a channel", iSet.mName.View()));
    }
    for (const PatchBank& bank : iSet.mPatchBanks) CheckBank(iSet, bank, assigned);
  }

  void CheckBank(const ChannelNameSet& iSet, const PatchBank& iBank, bool iAssigned) {
    const std::string where =
        fmt::format("channel name set \"{}\", bank \"{}\":", iSet.mName.View(), iBank.mName.View());
    const auto& reference = iBank.mPatchNameList;
    // A set that is only chosen by name finds its lists then, among those of the device.
    const bool found =
        reference.GetObject() || (!iAssigned && mPatchLists.count(reference.mName.View()) != 0);
    if (!found && reference.mName.IsEmpty()) Warn(where + " it has no patches");
    if (!found && !reference.mName.IsEmpty()) {
      Warn(fmt::format("{} there is no patch name list \"{}\"", where, reference.mName.View()));
    }
    const int length = iBank.mCommands.GetLength();
    if (length != 0 && length != 3 && length != 6) {
      Warn(fmt::format(
          "{} {} bytes select it, so its patches are neither counted nor found; one or two controllers "
          "would do",
          where, length));
    }
  }

  const MIDIDeviceNames& mDevice;
  std::vector<std::string>& mWarnings;
  std::set<const ChannelNameSet*> mAssigned;
  std::set<std::string_view> mPatchLists;
};

class CheckingParser : public midixml::MIDINameDocumentParser {
 public:
  CheckingParser(const std::string& iFile, std::vector<std::string>& ioWarnings)
      : MIDINameDocumentParser("", iFile, 0), mWarnings(ioWarnings) {}

 protected:
  bool HandleDeviceNames(MIDIDeviceNames* iDeviceNamesP) override {
    RecordChecker(*iDeviceNamesP, mWarnings).Check();
    return false;
  }

 private:
  std::vector<std::string>& mWarnings;
};

struct Totals {
  int mGood = 0;
  int mFaulty = 0;
  int mWarnings = 0;
};

// What came of one document.
struct Checked {
  std::string mFile;
  std::optional<midixml::XMLFault> mFault;
  std::vector<std::string> mWarnings;
};

void Run(midixml::MIDIXMLParser& ioParser, Checked& ioChecked) {
  try {
    ioParser.Parse();
  } catch (int) {
    // What was noticed before a fault is of no use until the fault is mended.
    ioChecked.mWarnings.clear();
    ioChecked.mFault = ioParser.GetFault();
  }
}

// Letter case doesn't count, as in the library's own scan.
bool HasExtension(const std::string& iFile, std::string_view iExtension) {
  std::string extension = fs::path(iFile).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char iC) { return iC >= 'A' && iC <= 'Z' ? static_cast<char>(iC - 'A' + 'a') : iC; });
  return extension == iExtension;
}

Checked CheckFile(const std::string& iFile) {
  Checked checked{iFile, {}, {}};
  if (HasExtension(iFile, ".middev")) {
    Mlox_DeviceTypesParser parser("", iFile.c_str(), 0);
    Run(parser, checked);
  } else {
    CheckingParser parser(iFile, checked.mWarnings);
    Run(parser, checked);
  }
  return checked;
}

// The documents in a folder and its sub-folders, in order of their paths. A sub-folder that can't be read
// gives none; the folder that was asked for must be one that can.
std::vector<std::string> DocumentsIn(const std::string& iFolder) {
  std::vector<std::string> files;
  std::error_code error;
  const fs::directory_iterator asked(iFolder, error);
  if (error) throw ToolError(fmt::format("{}: cannot read the folder: {}", iFolder, error.message()));
  fs::recursive_directory_iterator entry(iFolder, fs::directory_options::skip_permission_denied, error);
  for (const fs::recursive_directory_iterator end; !error && entry != end; entry.increment(error)) {
    const std::string path = entry->path().string();
    const bool isDocument = HasExtension(path, ".midnam") || HasExtension(path, ".middev");
    std::error_code statusError;
    if (isDocument && entry->is_regular_file(statusError)) files.push_back(path);
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Calls iTake with each document that the paths name, one after the other.
void ForEachDocument(const std::vector<std::string>& iPaths,
                     const std::function<void(const std::string&)>& iTake) {
  for (const std::string& path : iPaths) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      iTake(path);
      continue;
    }
    for (const std::string& file : DocumentsIn(path)) iTake(file);
  }
}

void Print(const Checked& iChecked) {
  const std::string& file = iChecked.mFile;
  if (iChecked.mFault) {
    fmt::print("{}; {}\n", ForTerminal(FaultText(file, *iChecked.mFault)), FaultAdvice(*iChecked.mFault));
  } else {
    fmt::print("{}: ok\n", ForTerminal(file));
  }
  for (const std::string& warning : iChecked.mWarnings) {
    fmt::print("{}: warning: {}\n", ForTerminal(file), ForTerminal(warning));
  }
}

void WriteFault(TreeWriter& ioWriter, const midixml::XMLFault& iFault) {
  ioWriter.BeginObject();
  ioWriter.Key("advice");
  ioWriter.Text(FaultAdvice(iFault));
  ioWriter.Key("code");
  ioWriter.Number(iFault.code);
  ioWriter.Key("line");
  iFault.line == 0 ? ioWriter.Null() : ioWriter.Number(static_cast<int64_t>(iFault.line));
  ioWriter.Key("text");
  ioWriter.Text(iFault.message);
  ioWriter.EndObject();
}

void Write(TreeWriter& ioWriter, const Checked& iChecked) {
  ioWriter.BeginObject();
  ioWriter.Key("fault");
  if (iChecked.mFault) {
    WriteFault(ioWriter, *iChecked.mFault);
  } else {
    ioWriter.Null();
  }
  ioWriter.Key("ok");
  ioWriter.Bool(!iChecked.mFault);
  ioWriter.Key("path");
  ioWriter.Text(iChecked.mFile);
  ioWriter.Key("warnings");
  ioWriter.BeginList();
  for (const std::string& warning : iChecked.mWarnings) ioWriter.Text(warning);
  ioWriter.EndList();
  ioWriter.EndObject();
}

void Write(TreeWriter& ioWriter, const Totals& iTotals) {
  ioWriter.BeginObject();
  ioWriter.Key("faulty");
  ioWriter.Number(iTotals.mFaulty);
  ioWriter.Key("good");
  ioWriter.Number(iTotals.mGood);
  ioWriter.Key("warnings");
  ioWriter.Number(iTotals.mWarnings);
  ioWriter.EndObject();
}

void Count(const Checked& iChecked, Totals& ioTotals) {
  ++(iChecked.mFault ? ioTotals.mFaulty : ioTotals.mGood);
  ioTotals.mWarnings += static_cast<int>(iChecked.mWarnings.size());
}

Totals CheckAndPrint(const std::vector<std::string>& iPaths) {
  Totals totals;
  ForEachDocument(iPaths, [&](const std::string& iFile) {
    const Checked checked = CheckFile(iFile);
    Print(checked);
    Count(checked, totals);
  });
  fmt::print("{} good, {} with a fault, {} warnings\n", totals.mGood, totals.mFaulty, totals.mWarnings);
  return totals;
}

Totals CheckAndPrintJson(const std::vector<std::string>& iPaths) {
  Totals totals;
  JsonWriter json;
  json.BeginObject();
  json.Key("documents");
  json.BeginList();
  ForEachDocument(iPaths, [&](const std::string& iFile) {
    const Checked checked = CheckFile(iFile);
    Write(json, checked);
    Count(checked, totals);
  });
  json.EndList();
  json.Key("totals");
  Write(json, totals);
  json.EndObject();
  fmt::print("{}\n", json.GetText());
  return totals;
}

}  // namespace

void CheckNames(const CheckRequest& iRequest) {
  const Totals totals = iRequest.mJson ? CheckAndPrintJson(iRequest.mPaths) : CheckAndPrint(iRequest.mPaths);
  if (totals.mFaulty != 0) {
    throw ToolError(
        fmt::format("{} of {} documents can't be used", totals.mFaulty, totals.mGood + totals.mFaulty));
  }
}

}  // namespace tool
