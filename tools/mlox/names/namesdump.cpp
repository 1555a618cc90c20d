// SPDX-License-Identifier: MIT
#include "tools/mlox/names/namesdump.h"

#include <fmt/format.h>

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "midixml/midinamedocumentparser.h"
#include "tools/mlox/names/documentfault.h"
#include "tools/mlox/tool_error.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

using midixml::ChannelNameSet;
using midixml::Control;
using midixml::ControlNameList;
using midixml::kChannelCount;
using midixml::MIDIDeviceNames;
using midixml::MIDIMessage;
using midixml::Mode;
using midixml::NamedRef;
using midixml::NoteNameList;
using midixml::Patch;
using midixml::PatchBank;
using midixml::PatchNameList;
using midixml::ValueNameList;

std::string Hex(const MIDIMessage& iMessage) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(static_cast<size_t>(iMessage.GetLength()) * 2);
  for (int index = 0; index < iMessage.GetLength(); ++index) {
    text += kDigits[iMessage.GetData()[index] >> 4];
    text += kDigits[iMessage.GetData()[index] & 0x0F];
  }
  return text;
}

size_t Entries(const NoteNameList& iList) { return iList.mNotes.size(); }
template <class List>
size_t Entries(const List& iList) {
  return iList.size();
}

// Writes one device record. Keys come in sorted order.
class DeviceWriter {
 public:
  DeviceWriter(TreeWriter& ioWriter, const MIDIDeviceNames& iDevice) : mWriter(ioWriter), mDevice(iDevice) {
    NotePlaces();
  }

  void Write() {
    mWriter.BeginObject();
    WriteAll("channelNameSets", mDevice.mChannelNameSets);
    WriteAll("controlNameLists", mDevice.mControlNameLists);
    WriteText("deviceName", mDevice.mDeviceName.View());
    WriteText("manufacturer", mDevice.mManufacturer.View());
    mWriter.Key("models");
    mWriter.BeginList();
    for (const auto& model : mDevice.mModels) mWriter.Text(model.View());
    mWriter.EndList();
    WriteAll("modes", mDevice.mModes);
    WriteAll("noteNameLists", mDevice.mNoteNameLists);
    WriteAll("patchNameLists", mDevice.mPatchNameLists);
    mWriter.Key("uniqueID");
    mWriter.Number(mDevice.mUniqueID);
    WriteAll("valueNameLists", mDevice.mValueNameLists);
    mWriter.EndObject();
  }

 private:
  // ---- where lists stand ----

  template <class T>
  void NotePlaces(const std::vector<NamedRef<T>>& iLists, const std::string& iPlace) {
    for (size_t index = 0; index < iLists.size(); ++index) {
      mPlaces.emplace(iLists[index].GetObject(), fmt::format("{}[{}]", iPlace, index));
    }
  }

  template <class Owner>
  void NotePlacesIn(const Owner& iOwner, const std::string& iPlace) {
    NotePlaces(iOwner.mPatchNameLists, iPlace);
    NotePlaces(iOwner.mNoteNameLists, iPlace);
    NotePlaces(iOwner.mControlNameLists, iPlace);
    NotePlaces(iOwner.mValueNameLists, iPlace);
  }

  void NotePlaces() {
    NotePlacesIn(mDevice, "device");
    for (size_t index = 0; index < mDevice.mModes.size(); ++index) {
      NotePlacesIn(*mDevice.mModes[index].GetObject(), fmt::format("mode[{}]", index));
    }
  }

  // ---- pieces ----

  void WriteText(std::string_view iKey, std::string_view iText) {
    mWriter.Key(iKey);
    mWriter.Text(iText);
  }

  template <class T>
  void WriteAll(std::string_view iKey, const std::vector<NamedRef<T>>& iElements) {
    mWriter.Key(iKey);
    mWriter.BeginList();
    for (const NamedRef<T>& element : iElements) WriteObject(*element.GetObject());
    mWriter.EndList();
  }

  template <class T>
  void WriteRef(std::string_view iKey, const NamedRef<T>& iRef) {
    mWriter.Key(iKey);
    const T* objectP = iRef.GetObject();
    if (!objectP && iRef.mName.IsEmpty()) {
      mWriter.Null();
      return;
    }
    const auto place = mPlaces.find(objectP);
    const bool isInline = objectP && place == mPlaces.end();
    mWriter.BeginObject();
    WriteText("asked", iRef.mName.View());
    mWriter.Key("from");
    if (!objectP) {
      mWriter.Null();
    } else {
      mWriter.Text(isInline ? std::string_view("inline") : std::string_view(place->second));
    }
    if (isInline) {
      mWriter.Key("object");
      WriteObject(*objectP);
    }
    mWriter.Key("resolved");
    objectP ? mWriter.Text(objectP->mName.View()) : mWriter.Null();
    mWriter.Key("size");
    objectP ? mWriter.Number(static_cast<int64_t>(Entries(*objectP))) : mWriter.Null();
    mWriter.EndObject();
  }

  template <class Entry>
  void WritePairs(std::string_view iKey, const std::vector<Entry>& iEntries) {
    mWriter.Key(iKey);
    mWriter.BeginList();
    for (const Entry& entry : iEntries) {
      mWriter.BeginList();
      mWriter.Number(entry.mNumber);
      mWriter.Text(entry.mName.View());
      mWriter.EndList();
    }
    mWriter.EndList();
  }

  // ---- objects ----

  void WriteObject(const Mode& iMode) {
    mWriter.BeginObject();
    mWriter.Key("assigned");
    mWriter.BeginList();
    for (const auto& assign : iMode.mChannelNameSets) mWriter.Text(assign.mName.View());
    mWriter.EndList();
    WriteAll("controlNameLists", iMode.mControlNameLists);
    WriteText("disable", Hex(iMode.mDeviceModeDisable));
    WriteText("enable", Hex(iMode.mDeviceModeEnable));
    WriteText("name", iMode.mName.View());
    WriteAll("noteNameLists", iMode.mNoteNameLists);
    WriteAll("patchNameLists", iMode.mPatchNameLists);
    mWriter.Key("resolved");
    mWriter.BeginList();
    for (const auto& assign : iMode.mChannelNameSets) {
      const ChannelNameSet* setP = assign.GetObject();
      setP ? mWriter.Text(setP->mName.View()) : mWriter.Null();
    }
    mWriter.EndList();
    mWriter.Key("standard");
    mWriter.Bool(iMode.mSupportsStandardDeviceMode);
    WriteAll("valueNameLists", iMode.mValueNameLists);
    mWriter.EndObject();
  }

  void WriteObject(const ChannelNameSet& iSet) {
    mWriter.BeginObject();
    mWriter.Key("availableForChannels");
    mWriter.BeginList();
    for (const bool available : iSet.mAvailableForChannels) mWriter.Bool(available);
    mWriter.EndList();
    mWriter.Key("banks");
    mWriter.BeginList();
    for (const PatchBank& bank : iSet.mPatchBanks) WriteBank(bank);
    mWriter.EndList();
    WriteRef("controlNameList", iSet.mControlNameList);
    WriteText("name", iSet.mName.View());
    WriteRef("noteNameList", iSet.mNoteNameList);
    mWriter.EndObject();
  }

  void WriteBank(const PatchBank& iBank) {
    mWriter.BeginObject();
    WriteText("commands", Hex(iBank.mCommands));
    WriteText("name", iBank.mName.View());
    WriteRef("patchNameList", iBank.mPatchNameList);
    mWriter.Key("rom");
    mWriter.Bool(iBank.mROM);
    mWriter.EndObject();
  }

  void WriteObject(const PatchNameList& iList) {
    mWriter.BeginObject();
    WriteText("name", iList.mName.View());
    mWriter.Key("patches");
    mWriter.BeginList();
    for (const Patch& patch : iList) WritePatch(patch);
    mWriter.EndList();
    mWriter.EndObject();
  }

  void WritePatch(const Patch& iPatch) {
    mWriter.BeginObject();
    WriteSets(iPatch);
    WriteText("commands", Hex(iPatch.mCommands));
    WriteRef("controlNameList", iPatch.mControlNameList);
    WriteText("name", iPatch.mName.View());
    WriteRef("noteNameList", iPatch.mNoteNameList);
    WriteText("number", iPatch.mNumber.View());
    mWriter.EndObject();
  }

  void WriteSets(const Patch& iPatch) {
    bool any = false;
    for (int channel = 0; channel < kChannelCount; ++channel) {
      any = any || !iPatch.mChannelNameSets[channel].mName.IsEmpty();
    }
    mWriter.Key("channelNameSets");
    mWriter.BeginList();
    for (int channel = 0; any && channel < kChannelCount; ++channel) {
      mWriter.Text(iPatch.mChannelNameSets[channel].mName.View());
    }
    mWriter.EndList();
  }

  void WriteObject(const NoteNameList& iList) {
    mWriter.BeginObject();
    mWriter.Key("groups");
    mWriter.BeginList();
    for (const auto& group : iList.mGroups) {
      mWriter.BeginObject();
      WriteText("name", group.mName.View());
      mWriter.Key("notes");
      mWriter.Number(static_cast<int64_t>(group.size()));
      mWriter.EndObject();
    }
    mWriter.EndList();
    WriteText("name", iList.mName.View());
    WritePairs("notes", iList.mNotes);
    mWriter.EndObject();
  }

  void WriteObject(const ControlNameList& iList) {
    mWriter.BeginObject();
    mWriter.Key("controls");
    mWriter.BeginList();
    for (const Control& control : iList) WriteControl(control);
    mWriter.EndList();
    WriteText("name", iList.mName.View());
    mWriter.EndObject();
  }

  void WriteControl(const Control& iControl) {
    mWriter.BeginObject();
    mWriter.Key("default");
    mWriter.Float(iControl.mDefault);
    mWriter.Key("max");
    mWriter.Float(iControl.mMax);
    mWriter.Key("min");
    mWriter.Float(iControl.mMin);
    WriteText("name", iControl.mName.View());
    mWriter.Key("number");
    mWriter.Number(iControl.mNumber);
    mWriter.Key("type");
    mWriter.Number(iControl.mType);
    WriteRef("valueNameList", iControl.mValueNameList);
    mWriter.EndObject();
  }

  void WriteObject(const ValueNameList& iList) {
    mWriter.BeginObject();
    WriteText("name", iList.mName.View());
    WritePairs("values", iList);
    mWriter.EndObject();
  }

  TreeWriter& mWriter;
  const MIDIDeviceNames& mDevice;
  std::unordered_map<const void*, std::string> mPlaces;
};

// Notes every record as it comes, since a later element may still change it, and keeps them all.
class DumpParser : public midixml::MIDINameDocumentParser {
 public:
  DumpParser(const std::string& iFile, TreeWriter& ioDevices)
      : MIDINameDocumentParser("", iFile, 0), mDevices(ioDevices) {}

  std::string_view GetAuthor() const {
    return GetDocument() ? GetDocument()->mAuthor.View() : std::string_view();
  }

 protected:
  bool HandleDeviceNames(MIDIDeviceNames* iDeviceNamesP) override {
    mKept.emplace_back(iDeviceNamesP);
    DeviceWriter(mDevices, *iDeviceNamesP).Write();
    return true;
  }

 private:
  TreeWriter& mDevices;
  std::vector<std::unique_ptr<MIDIDeviceNames>> mKept;
};

}  // namespace

void DumpNames(const std::string& iFile, bool iJson) {
  const std::unique_ptr<TreeWriter> writer = MakeTreeWriter(iJson);
  const std::unique_ptr<TreeWriter> devices = writer->MakeForPart(0);
  DumpParser parser(iFile, *devices);
  int code = 0;
  devices->BeginList();
  try {
    parser.Parse();
  } catch (int thrown) {
    code = thrown;
  }
  devices->EndList();

  writer->BeginObject();
  writer->Key("author");
  writer->Text(parser.GetAuthor());
  writer->Key("code");
  writer->Number(code);
  writer->Key("devices");
  writer->Part(*devices);
  writer->EndObject();
  fmt::print("{}{}", writer->GetText(), iJson ? "\n" : "");
  if (code != 0) throw ToolError(FaultText(iFile, parser.GetFault()));
}

}  // namespace tool
