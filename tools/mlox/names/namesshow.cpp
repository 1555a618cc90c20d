// SPDX-License-Identifier: MIT
#include "tools/mlox/names/namesshow.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "midixml/midinamedocumentparser.h"
#include "tools/mlox/names/documentfault.h"
#include "tools/mlox/terminaltext.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

using midixml::ChannelNameSet;
using midixml::Control;
using midixml::ControlNameList;
using midixml::kChannelCount;
using midixml::MIDIDeviceNames;
using midixml::MIDIMessage;
using midixml::Mode;
using midixml::NoteNameList;
using midixml::Patch;
using midixml::PatchBank;
using midixml::PatchNameList;

constexpr size_t kWidestCell = 40;
constexpr size_t kIndent = 4;
constexpr size_t kGap = 2;

class KeepingParser : public midixml::MIDINameDocumentParser {
 public:
  explicit KeepingParser(const std::string& iFile) : MIDINameDocumentParser("", iFile, 0) {}

  const std::vector<std::unique_ptr<MIDIDeviceNames>>& GetDevices() const { return mDevices; }

 protected:
  bool HandleDeviceNames(MIDIDeviceNames* iDeviceNamesP) override {
    mDevices.emplace_back(iDeviceNamesP);
    return true;
  }

 private:
  std::vector<std::unique_ptr<MIDIDeviceNames>> mDevices;
};

std::string Bytes(const MIDIMessage& iMessage) {
  std::string text;
  for (int index = 0; index < iMessage.GetLength(); ++index) {
    text += fmt::format("{}{:02X}", index == 0 ? "" : " ", iMessage.GetData()[index]);
  }
  return text;
}

// Prints short texts in as many columns as fit, filled from the top down.
void PrintColumns(const std::vector<std::string>& iCells, size_t iColumns) {
  if (iCells.empty()) return;
  size_t width = 0;
  for (const std::string& cell : iCells) width = std::max(width, ColumnsOf(cell));
  width = std::min(width, std::max<size_t>(8, std::min(kWidestCell, iColumns - std::min(iColumns, kIndent))));
  const size_t room = iColumns > kIndent ? iColumns - kIndent + kGap : 1;
  const size_t columns = std::clamp<size_t>(room / (width + kGap), 1, iCells.size());
  const size_t rows = (iCells.size() + columns - 1) / columns;
  for (size_t row = 0; row < rows; ++row) {
    std::string line(kIndent, ' ');
    for (size_t cell = row; cell < iCells.size(); cell += rows)
      line += FitColumns(iCells[cell], width) + "  ";
    line.erase(line.find_last_not_of(' ') + 1);
    fmt::print("{}\n", line);
  }
}

const char* TypeText(const Control& iControl) {
  static constexpr const char* kTexts[] = {"CC", "CC (14 bit)", "RPN", "NRPN"};
  return kTexts[iControl.mType];
}

class Printer {
 public:
  Printer(const ShowRequest& iRequest, size_t iColumns) : mRequest(iRequest), mColumns(iColumns) {}

  void Print(const MIDIDeviceNames& iDevice) {
    mDeviceP = &iDevice;
    PrintTitle();
    for (const auto& mode : iDevice.mModes) {
      if (!mRequest.mMode || mode.GetObject()->mName.View() == *mRequest.mMode) PrintMode(*mode.GetObject());
    }
    if (!mRequest.mMode && !mRequest.mChannel) PrintWhatNoModeGives();
  }

  /// Whether something that was asked for was there.
  bool FoundAny() const { return mFoundAny; }

 private:
  void PrintTitle() {
    std::string title = mDeviceP->mManufacturer.AsString();
    std::string_view separator = title.empty() ? "" : " ";
    for (const auto& model : mDeviceP->mModels) {
      title += separator;
      title += model.View();
      separator = ", ";
    }
    fmt::print("{}\n", title.empty() ? "A device without a name" : ForTerminal(title));
  }

  // A standard mode document has no modes at all, and some sets are only there to be chosen by name.
  void PrintWhatNoModeGives() {
    for (const auto& element : mDeviceP->mChannelNameSets) {
      const ChannelNameSet& set = *element.GetObject();
      if (IsGiven(set)) continue;
      fmt::print("\n  No channel: {}\n", ForTerminal(set.mName.View()));
      PrintContents(set);
    }
    if (!mDeviceP->mModes.empty()) return;
    for (const auto& list : mDeviceP->mNoteNameLists) PrintNotes(list.GetObject(), "  Notes");
    for (const auto& list : mDeviceP->mControlNameLists) PrintControls(list.GetObject(), "  Controllers");
  }

  bool IsGiven(const ChannelNameSet& iSet) const {
    const auto gives = [&iSet](const auto& iMode) {
      const auto& assigns = iMode.GetObject()->mChannelNameSets;
      return std::any_of(assigns.begin(), assigns.end(),
                         [&iSet](const auto& iAssign) { return iAssign.GetObject() == &iSet; });
    };
    return std::any_of(mDeviceP->mModes.begin(), mDeviceP->mModes.end(), gives);
  }

  void PrintMode(const Mode& iMode) {
    fmt::print("\nMode: {}{}\n", ForTerminal(iMode.mName.View()),
               iMode.mSupportsStandardDeviceMode ? " (a standard mode)" : "");
    if (iMode.mDeviceModeEnable.GetLength() > 0) fmt::print("  on:  {}\n", Bytes(iMode.mDeviceModeEnable));
    if (iMode.mDeviceModeDisable.GetLength() > 0) fmt::print("  off: {}\n", Bytes(iMode.mDeviceModeDisable));
    mFoundAny = mFoundAny || !mRequest.mChannel;
    std::set<const ChannelNameSet*> shown;
    for (int channel = 1; channel <= kChannelCount; ++channel) {
      const ChannelNameSet* setP = SetOf(iMode, channel);
      if (!setP || (mRequest.mChannel && channel != *mRequest.mChannel) || !shown.insert(setP).second)
        continue;
      mFoundAny = true;
      PrintSet(iMode, *setP);
    }
  }

  static const ChannelNameSet* SetOf(const Mode& iMode, int iChannel) {
    return iMode.mChannelNameSets[static_cast<size_t>(iChannel - 1)].GetObject();
  }

  void PrintSet(const Mode& iMode, const ChannelNameSet& iSet) {
    std::vector<int> channels;
    for (int channel = 1; channel <= kChannelCount; ++channel) {
      if (SetOf(iMode, channel) == &iSet) channels.push_back(channel);
    }
    fmt::print("\n  Channel {}: {}\n", ChannelsText(channels), ForTerminal(iSet.mName.View()));
    PrintContents(iSet);
  }

  void PrintContents(const ChannelNameSet& iSet) {
    for (const PatchBank& bank : iSet.mPatchBanks) PrintBank(bank);
    PrintNotes(iSet.mNoteNameList.GetObject(), "  Notes");
    PrintControls(iSet.mControlNameList.GetObject(), "  Controllers");
  }

  // The banks of a set that no mode gives get their lists when the set is chosen by its name.
  const PatchNameList* PatchesOf(const PatchBank& iBank) const {
    midixml::NamedRef<PatchNameList> reference = iBank.mPatchNameList;
    reference.Resolve(mDeviceP->mPatchNameLists.begin(), mDeviceP->mPatchNameLists.end());
    return reference.GetObject();
  }

  void PrintBank(const PatchBank& iBank) {
    const std::string select =
        iBank.mCommands.GetLength() == 0 ? "no select" : "select " + Bytes(iBank.mCommands);
    const PatchNameList* listP = PatchesOf(iBank);
    fmt::print("\n  Bank {}: {}, {}\n", ForTerminal(iBank.mName.View()), select,
               listP ? fmt::format("{} patches", listP->size()) : std::string("no patches"));
    if (!listP) return;
    std::vector<std::string> cells;
    for (const Patch& patch : *listP) {
      cells.push_back(ForTerminal(fmt::format("{} {}", patch.mNumber.View(), patch.mName.View())));
    }
    PrintColumns(cells, mColumns);
    PrintListsOfPatches(*listP);
  }

  void PrintListsOfPatches(const PatchNameList& iList) {
    std::set<const void*> shown;
    for (const Patch& patch : iList) {
      const NoteNameList* notesP = patch.mNoteNameList.GetObject();
      const ControlNameList* controlsP = patch.mControlNameList.GetObject();
      const std::string name = ForTerminal(patch.mName.View());
      if (notesP && shown.insert(notesP).second) PrintNotes(notesP, "  Notes of " + name);
      if (controlsP && shown.insert(controlsP).second) PrintControls(controlsP, "  Controllers of " + name);
    }
  }

  void PrintNotes(const NoteNameList* iListP, const std::string& iTitle) {
    if (!iListP || iListP->mNotes.empty()) return;
    fmt::print("\n{}: {}\n", iTitle, ForTerminal(iListP->mName.View()));
    std::vector<std::string> cells;
    for (const auto& note : iListP->mNotes) {
      cells.push_back(ForTerminal(fmt::format("{:3} {}", note.mNumber, note.mName.View())));
    }
    PrintColumns(cells, mColumns);
  }

  void PrintControls(const ControlNameList* iListP, const std::string& iTitle) {
    if (!iListP || iListP->empty()) return;
    fmt::print("\n{}: {}\n", iTitle, ForTerminal(iListP->mName.View()));
    std::vector<std::string> cells;
    for (const Control& control : *iListP) {
      cells.push_back(
          ForTerminal(fmt::format("{} {} {}", TypeText(control), control.mNumber, control.mName.View())));
    }
    PrintColumns(cells, mColumns);
  }

  const ShowRequest& mRequest;
  size_t mColumns;
  // The record at hand.
  const MIDIDeviceNames* mDeviceP = nullptr;
  bool mFoundAny = false;
};

}  // namespace

void ShowNames(const ShowRequest& iRequest) {
  KeepingParser parser(iRequest.mFile);
  try {
    parser.Parse();
  } catch (int) {
    throw ToolError(FaultText(iRequest.mFile, parser.GetFault()) + "; " + FaultAdvice(parser.GetFault()));
  }
  Printer printer(iRequest, TerminalColumns());
  for (size_t index = 0; index < parser.GetDevices().size(); ++index) {
    if (index > 0) fmt::print("\n");
    printer.Print(*parser.GetDevices()[index]);
  }
  if (printer.FoundAny()) return;
  if (iRequest.mMode || iRequest.mChannel) {
    throw ToolError(iRequest.mFile + ": there is no such mode, or it gives the channel no names");
  }
}

}  // namespace tool
