// SPDX-License-Identifier: MIT
#include "tools/mlox/names/namescheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <system_error>

#include "midixml/midinamedocumentparser.h"
#include "midixml/mlox_devicetypesparser.h"
#include "tools/mlox/names/documentfault.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

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

void Run(midixml::MIDIXMLParser& ioParser, const std::string& iFile, std::vector<std::string>& ioWarnings,
         Totals& ioTotals) {
  try {
    ioParser.Parse();
    ++ioTotals.mGood;
    fmt::print("{}: ok\n", ForTerminal(iFile));
  } catch (int) {
    ++ioTotals.mFaulty;
    // What was noticed before a fault is of no use until the fault is mended.
    ioWarnings.clear();
    const midixml::XMLFault& fault = ioParser.GetFault();
    fmt::print("{}; {}\n", ForTerminal(FaultText(iFile, fault)), FaultAdvice(fault));
  }
  for (const std::string& warning : ioWarnings) {
    fmt::print("{}: warning: {}\n", ForTerminal(iFile), ForTerminal(warning));
  }
  ioTotals.mWarnings += static_cast<int>(ioWarnings.size());
}

// Letter case doesn't count, as in the library's own scan.
bool HasExtension(const std::string& iFile, std::string_view iExtension) {
  std::string extension = fs::path(iFile).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char iC) { return iC >= 'A' && iC <= 'Z' ? static_cast<char>(iC - 'A' + 'a') : iC; });
  return extension == iExtension;
}

void CheckFile(const std::string& iFile, Totals& ioTotals) {
  std::vector<std::string> warnings;
  if (HasExtension(iFile, ".middev")) {
    Mlox_DeviceTypesParser parser("", iFile.c_str(), 0);
    Run(parser, iFile, warnings, ioTotals);
    return;
  }
  CheckingParser parser(iFile, warnings);
  Run(parser, iFile, warnings, ioTotals);
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

}  // namespace

void CheckNames(const std::vector<std::string>& iPaths) {
  Totals totals;
  for (const std::string& path : iPaths) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      CheckFile(path, totals);
      continue;
    }
    for (const std::string& file : DocumentsIn(path)) CheckFile(file, totals);
  }
  fmt::print("{} good, {} with a fault, {} warnings\n", totals.mGood, totals.mFaulty, totals.mWarnings);
  if (totals.mFaulty != 0) {
    throw ToolError(
        fmt::format("{} of {} documents can't be used", totals.mFaulty, totals.mGood + totals.mFaulty));
  }
}

}  // namespace tool
