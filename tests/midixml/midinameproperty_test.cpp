// SPDX-License-Identifier: MIT
// Documents at random are read, written again from what was read, and read once more: both readings must be
// equal. The writer here knows the format from its own side, and so is a second opinion about the reader.
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "tests/midixml/name_documents.h"

namespace {

using midixml::Control;
using midixml::ControlNameList;
using midixml::MIDIDeviceNames;
using midixml::MIDIMessage;
using midixml::NamedRef;
using midixml::NoteNameList;
using midixml::Patch;
using midixml::PatchBank;
using midixml::PatchNameList;
using midixml::ValueNameList;

std::string Escaped(std::string_view iText) {
  std::string text;
  for (const char character : iText) {
    switch (character) {
      case '<':
        text += "&lt;";
        break;
      case '&':
        text += "&amp;";
        break;
      case '"':
        text += "&quot;";
        break;
      case '\n':
        text += "&#10;";
        break;
      case '\t':
        text += "&#9;";
        break;
      default:
        text += character;
    }
  }
  return text;
}

std::string Attribute(const char* iNameP, std::string_view iValue) {
  return std::string(" ") + iNameP + "=\"" + Escaped(iValue) + "\"";
}

std::string Number(const char* iNameP, long long iValue) { return Attribute(iNameP, std::to_string(iValue)); }

std::string Float(const char* iNameP, float iValue) {
  std::ostringstream text;
  text.precision(9);
  text << iValue;
  return Attribute(iNameP, text.str());
}

// ---- model to document ----

// Any bytes, in the one element that takes any.
std::string AsSysEx(const MIDIMessage& iMessage) {
  if (iMessage.GetLength() == 0) return "";
  std::ostringstream text;
  text << "<MIDICommands><SysEx>" << std::hex;
  // The unknown element marks the places that Aligned looks for.
  for (int index = 0; index < iMessage.GetLength(); ++index) {
    text << "<SysExEnd/>" << int{iMessage.GetData()[index]};
  }
  text << "</SysEx></MIDICommands>";
  return text.str();
}

// A byte whose two digits lie on both sides of a border between pieces of the file would be read as two. A
// blank in the mark before it moves it away.
std::string Aligned(std::string iDocument) {
  static const std::string sMark = "<SysExEnd/>";
  for (size_t at = iDocument.find(sMark); at != std::string::npos; at = iDocument.find(sMark, at + 1)) {
    if ((at + sMark.size() + 1) % 16384 == 0) iDocument.insert(at + sMark.size() - 2, " ");
  }
  return iDocument;
}

// A patch takes messages only, so its bytes are taken apart again.
std::string AsMessages(const MIDIMessage& iMessage) {
  std::string text;
  const uint8_t* bytesP = iMessage.GetData();
  for (int at = 0; at < iMessage.GetLength();) {
    const uint8_t* messageP = bytesP + at;
    switch (messageP[0]) {
      case 0xFF:
        text += "<MIDIDelay" + Number("Milliseconds", messageP[2]) + "/>";
        at += 3;
        break;
      case 0x90:
        text += "<NoteOn" + Number("Note", messageP[1]) + Number("Velocity", messageP[2]) + "/>";
        at += 3;
        break;
      case 0xB0:
        text += "<ControlChange" + Number("Control", messageP[1]) + Number("Value", messageP[2]) + "/>";
        at += 3;
        break;
      case 0xC0:
        text += "<ProgramChange" + Number("Number", messageP[1]) + "/>";
        at += 2;
        break;
      default:
        ADD_FAILURE() << "a message that no test document has: " << int{messageP[0]};
        return text;
    }
  }
  return text.empty() ? text : "<PatchMIDICommands>" + text + "</PatchMIDICommands>";
}

std::string OptionalName(std::string_view iName) { return iName.empty() ? "" : Attribute("Name", iName); }

std::string Write(const NoteNameList& iList) {
  std::string text = "<NoteNameList" + OptionalName(iList.mName.View()) + ">";
  for (const auto& group : iList.mGroups) text += "<NoteGroup" + OptionalName(group.mName.View()) + "/>";
  for (const auto& note : iList.mNotes)
    text += "<Note" + Number("Number", note.mNumber) + Attribute("Name", note.mName.View()) + "/>";
  return text + "</NoteNameList>";
}

std::string Write(const ValueNameList& iList) {
  std::string text = "<ValueNameList" + OptionalName(iList.mName.View()) + ">";
  for (const auto& value : iList)
    text += "<Value" + Number("Number", value.mNumber) + Attribute("Name", value.mName.View()) + "/>";
  return text + "</ValueNameList>";
}

std::string Write(const ControlNameList& iList) {
  static const char* const kTypes[] = {"7bit", "14bit", "RPN", "NRPN"};
  std::string text = "<ControlNameList" + OptionalName(iList.mName.View()) + ">";
  for (const Control& control : iList) {
    text += "<Control" + Attribute("Type", kTypes[control.mType]) + Number("Number", control.mNumber) +
            Attribute("Name", control.mName.View()) + "><Values" + Float("Min", control.mMin) +
            Float("Max", control.mMax) + Float("Default", control.mDefault) + ">";
    if (!control.mValueNameList.mName.IsEmpty()) {
      text += "<UsesValueNameList" + Attribute("Name", control.mValueNameList.mName.View()) + "/>";
    }
    text += "</Values></Control>";
  }
  return text + "</ControlNameList>";
}

std::string Write(const PatchNameList& iList);

// A reference by name, or the list itself where it stands in its owner.
template <class T>
std::string WriteRef(const char* iElementP, const NamedRef<T>& iRef) {
  if (!iRef.mName.IsEmpty())
    return std::string("<") + iElementP + Attribute("Name", iRef.mName.View()) + "/>";
  return iRef.GetObject() ? Write(*iRef.GetObject()) : "";
}

std::string Write(const Patch& iPatch) {
  std::string text =
      "<Patch" + Attribute("Number", iPatch.mNumber.View()) + Attribute("Name", iPatch.mName.View()) + ">";
  text += AsMessages(iPatch.mCommands);
  std::string assigns;
  for (int channel = 0; channel < 16; ++channel) {
    const auto& assign = iPatch.mChannelNameSets[channel];
    if (assign.mName.IsEmpty()) continue;
    assigns += "<ChannelNameSetAssign" + Number("Channel", channel + 1) +
               Attribute("NameSet", assign.mName.View()) + "/>";
  }
  if (!assigns.empty()) text += "<ChannelNameSetAssignments>" + assigns + "</ChannelNameSetAssignments>";
  text += WriteRef("UsesNoteNameList", iPatch.mNoteNameList) +
          WriteRef("UsesControlNameList", iPatch.mControlNameList);
  return text + "</Patch>";
}

std::string Write(const PatchNameList& iList) {
  std::string text = "<PatchNameList" + OptionalName(iList.mName.View()) + ">";
  for (const Patch& patch : iList) text += Write(patch);
  return text + "</PatchNameList>";
}

template <class Owner>
std::string WriteLists(const Owner& iOwner) {
  std::string text;
  for (const auto& list : iOwner.mNoteNameLists) text += Write(*list.GetObject());
  for (const auto& list : iOwner.mPatchNameLists) text += Write(*list.GetObject());
  for (const auto& list : iOwner.mControlNameLists) text += Write(*list.GetObject());
  for (const auto& list : iOwner.mValueNameLists) text += Write(*list.GetObject());
  return text;
}

std::string Write(const MIDIDeviceNames& iDevice) {
  std::string text =
      "<MasterDeviceNames><Manufacturer>" + Escaped(iDevice.mManufacturer.View()) + "</Manufacturer>";
  for (const auto& model : iDevice.mModels) text += "<Model>" + Escaped(model.View()) + "</Model>";
  text += "<Device" + Attribute("Name", iDevice.mDeviceName.View()) + Number("UniqueID", iDevice.mUniqueID) +
          "/>";
  for (const auto& element : iDevice.mModes) {
    const midixml::Mode& mode = *element.GetObject();
    const char* tagP = mode.mSupportsStandardDeviceMode ? "SupportsStandardDeviceMode" : "CustomDeviceMode";
    text += std::string("<") + tagP + Attribute("Name", mode.mName.View()) + ">";
    if (!mode.mSupportsStandardDeviceMode) {
      text += "<DeviceModeEnable>" + AsSysEx(mode.mDeviceModeEnable) +
              "</DeviceModeEnable><DeviceModeDisable>" + AsSysEx(mode.mDeviceModeDisable) +
              "</DeviceModeDisable><ChannelNameSetAssignments>";
      for (size_t channel = 0; channel < 16; ++channel) {
        const auto& assign = mode.mChannelNameSets[channel];
        text += "<ChannelNameSetAssign" + Number("Channel", static_cast<int>(channel) + 1) +
                Attribute("NameSet", assign.mName.View()) + "/>";
      }
      text += "</ChannelNameSetAssignments>" + WriteLists(mode);
    }
    text += std::string("</") + tagP + ">";
  }
  for (const auto& element : iDevice.mChannelNameSets) {
    const midixml::ChannelNameSet& set = *element.GetObject();
    text += "<ChannelNameSet" + Attribute("Name", set.mName.View()) + "><AvailableForChannels>";
    for (size_t channel = 0; channel < 16; ++channel) {
      text += "<AvailableChannel" + Number("Channel", static_cast<int>(channel) + 1) +
              Attribute("Available", set.mAvailableForChannels[channel] ? "true" : "false") + "/>";
    }
    text += "</AvailableForChannels>" + WriteRef("UsesNoteNameList", set.mNoteNameList) +
            WriteRef("UsesControlNameList", set.mControlNameList);
    for (const PatchBank& bank : set.mPatchBanks) {
      text += "<PatchBank" + Attribute("Name", bank.mName.View()) +
              Attribute("ROM", bank.mROM ? "true" : "false") + ">" + AsSysEx(bank.mCommands) +
              WriteRef("UsesPatchNameList", bank.mPatchNameList) + "</PatchBank>";
    }
    text += "</ChannelNameSet>";
  }
  return text + WriteLists(iDevice) + "</MasterDeviceNames>";
}

// Every field and where each reference leads, with the elements in order. It is the document again, and
// behind each reference by name what it found.
class Dump {
 public:
  explicit Dump(const Test_ParsedNames& iParsed) {
    mText = std::to_string(iParsed.mCode) + "|" + iParsed.mAuthor + "\n";
    for (const auto& device : iParsed.mDevices) {
      mText += Write(*device) + "\n";
      Found(*device);
    }
  }
  std::string mText;

 private:
  template <class T>
  void FoundOne(const NamedRef<T>& iRef) {
    mText += iRef.mName.AsString() + "->" + (iRef.GetObject() ? Write(*iRef.GetObject()) : "nothing") + "\n";
  }
  template <class Owner>
  void FoundIn(const Owner& iOwner) {
    for (const auto& list : iOwner.mPatchNameLists) {
      for (const Patch& patch : *list.GetObject()) {
        FoundOne(patch.mNoteNameList);
        FoundOne(patch.mControlNameList);
      }
    }
    for (const auto& list : iOwner.mControlNameLists) {
      for (const Control& control : *list.GetObject()) FoundOne(control.mValueNameList);
    }
  }
  void Found(const MIDIDeviceNames& iDevice) {
    for (const auto& set : iDevice.mChannelNameSets) {
      for (const PatchBank& bank : set.GetObject()->mPatchBanks) FoundOne(bank.mPatchNameList);
      FoundOne(set.GetObject()->mNoteNameList);
      FoundOne(set.GetObject()->mControlNameList);
    }
    for (const auto& mode : iDevice.mModes) {
      for (const auto& assign : mode.GetObject()->mChannelNameSets) {
        mText += assign.GetObject() ? assign.GetObject()->mName.AsString() : "nothing";
      }
      FoundIn(*mode.GetObject());
    }
    FoundIn(iDevice);
  }
};

// ---- documents at random ----

class Generator {
 public:
  explicit Generator(unsigned iSeed) : mRandom(iSeed) {}

  std::string Document() {
    std::string text = "<?xml version='1.0'?>\n<MIDINameDocument><Author>" + Escaped(Word()) + "</Author>";
    Repeat(3, [&] { text += Device(); });
    return text + "</MIDINameDocument>";
  }

 private:
  unsigned Below(unsigned iCount) { return static_cast<unsigned>(mRandom()) % iCount; }
  bool Chance(unsigned iOneIn) { return Below(iOneIn) == 0; }
  template <class Action>
  void Repeat(unsigned iUpTo, Action iAction) {
    for (unsigned count = Below(iUpTo + 1); count > 0; --count) iAction();
  }

  std::string Word() {
    static const char* const kWords[] = {"Piano",      "Bass & Drums",
                                         "<Lead>",     "Fl\xC3\xBCgel",
                                         "\"quoted\"", "a  b",
                                         "x",          "\xE3\x83\x94\xE3\x82\xA2\xE3\x83\x8E",
                                         "100%",       "long name that goes on and on"};
    return kWords[Below(10)];
  }
  // Few names, so that references meet lists.
  std::string Ref() { return std::string(1, static_cast<char>('A' + Below(6))); }
  std::string Name() { return Attribute("Name", Word()); }

  std::string Messages() {
    std::string text;
    Repeat(4, [&] {
      const unsigned kind = Below(4);
      if (kind == 0)
        text += "<ControlChange" + Number("Control", Below(128)) + Number("Value", Below(128)) + "/>";
      if (kind == 1) text += "<ProgramChange" + Number("Number", Below(128)) + "/>";
      if (kind == 2) text += "<NoteOn" + Number("Note", Below(128)) + Number("Velocity", Below(128)) + "/>";
      if (kind == 3) text += "<MIDIDelay" + Number("Milliseconds", Below(256)) + "/>";
    });
    return text;
  }
  std::string Commands() {
    if (Chance(3)) return "";
    std::string text = "<MIDICommands>" + Messages();
    if (Chance(3))
      text += "<SysEx>F0 43 <SysExDeviceID Multiplier='1' Offset='2'/>10 4C<SysExChannel/>F7</SysEx>";
    if (Chance(3)) text += "<OmniOff/><PolyMode/><LocalControl Value='off'/><PitchBendChange Value='1234'/>";
    return text + "</MIDICommands>";
  }
  std::string NoteList(const std::string& iName) {
    std::string text = "<NoteNameList" + iName + ">";
    Repeat(2, [&] { text += "<NoteGroup" + Name() + "><Note Number='1' Name='lost'/></NoteGroup>"; });
    Repeat(5, [&] { text += "<Note" + Number("Number", Below(300)) + Name() + "/>"; });
    return text + "</NoteNameList>";
  }
  std::string ControlList(const std::string& iName) {
    static const char* const kTypes[] = {"", " Type='7bit'", " Type='14bit'", " Type='RPN'", " Type='NRPN'"};
    std::string text = "<ControlNameList" + iName + ">";
    Repeat(4, [&] {
      text += std::string("<Control") + kTypes[Below(5)] + Number("Number", Below(20000)) + Name() + ">";
      if (Chance(2)) {
        text += "<Values Min='-0." + std::to_string(Below(1000)) + "' Max='" + std::to_string(Below(99999)) +
                "e-3'>";
        if (Chance(2)) text += "<UsesValueNameList" + Attribute("Name", Ref()) + "/>";
        text += "</Values>";
      }
      text += "</Control>";
    });
    return text + "</ControlNameList>";
  }
  std::string ValueList() {
    std::string text = "<ValueNameList" + Attribute("Name", Ref()) + ">";
    Repeat(4, [&] { text += "<Value" + Number("Number", Below(70000)) + Name() + "/>"; });
    return text + "</ValueNameList>";
  }
  std::string PatchList(const std::string& iName) {
    std::string text = "<PatchNameList" + iName + ">";
    Repeat(6, [&] {
      text += "<Patch" + Attribute("Number", Word()) + Name();
      if (Chance(2)) text += Number("ProgramChange", Below(128));
      text += ">";
      if (Chance(3)) text += "<PatchMIDICommands>" + Messages() + "</PatchMIDICommands>";
      if (Chance(4)) {
        text += "<ChannelNameSetAssignments><ChannelNameSetAssign" + Number("Channel", 1 + Below(17)) +
                Attribute("NameSet", Ref()) + "/></ChannelNameSetAssignments>";
      }
      if (Chance(3)) text += Chance(2) ? NoteList("") : "<UsesNoteNameList" + Attribute("Name", Ref()) + "/>";
      if (Chance(3))
        text += Chance(2) ? ControlList("") : "<UsesControlNameList" + Attribute("Name", Ref()) + "/>";
      text += "</Patch>";
    });
    return text + "</PatchNameList>";
  }
  std::string Lists() {
    std::string text;
    Repeat(3, [&] { text += PatchList(Attribute("Name", Ref())); });
    Repeat(3, [&] { text += NoteList(""); });
    Repeat(3, [&] { text += ControlList(Attribute("Name", Ref())); });
    Repeat(3, [&] { text += ValueList(); });
    return text;
  }
  std::string Device() {
    std::string text = "<MasterDeviceNames><Manufacturer>" + Escaped(Word()) + "</Manufacturer>";
    Repeat(3, [&] { text += "<Model>" + Escaped(Word()) + "</Model>"; });
    text += "<Device" + Name() + Number("UniqueID", Below(100000)) + "/>";
    Repeat(3, [&] {
      if (Chance(4)) {
        text += "<SupportsStandardDeviceMode" + Name() + "/>";
        return;
      }
      text += "<CustomDeviceMode" + Name() + "><DeviceModeEnable>" + Commands() + "</DeviceModeEnable>";
      text += "<ChannelNameSetAssignments>";
      Repeat(16, [&] {
        text += "<ChannelNameSetAssign" + Number("Channel", Below(18)) + Attribute("NameSet", Ref()) + "/>";
      });
      text += "</ChannelNameSetAssignments>" + Lists() + "</CustomDeviceMode>";
    });
    text += Lists();
    Repeat(4, [&] {
      text += "<ChannelNameSet" + Attribute("Name", Ref()) + "><AvailableForChannels>";
      Repeat(5, [&] { text += "<AvailableChannel" + Number("Channel", Below(18)) + "/>"; });
      text += "</AvailableForChannels><UsesNoteNameList" + Attribute("Name", Ref()) +
              "/><UsesControlNameList" + Attribute("Name", Ref()) + "/>";
      Repeat(5, [&] {
        text += "<PatchBank" + Name() + (Chance(2) ? " ROM='true'" : "") + ">" + Commands();
        if (!Chance(4))
          text += Chance(4) ? PatchList("") : "<UsesPatchNameList" + Attribute("Name", Ref()) + "/>";
        text += "</PatchBank>";
      });
      text += "</ChannelNameSet>";
    });
    return text + "</MasterDeviceNames>";
  }

  std::mt19937 mRandom;
};

TEST(NameModel, WhatWasReadCanBeWrittenAndReadAgain) {
  for (unsigned seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE(seed);
    const Test_ParsedNames first = Test_ParseNames(Generator(seed).Document());
    ASSERT_EQ(first.mCode, 0) << first.mFault.message;
    std::string again = "<MIDINameDocument><Author>" + Escaped(first.mAuthor) + "</Author>";
    for (const auto& device : first.mDevices) again += Write(*device);
    const Test_ParsedNames second = Test_ParseNames(Aligned(again + "</MIDINameDocument>"));
    ASSERT_EQ(second.mCode, 0) << second.mFault.message;
    ASSERT_EQ(Dump(second).mText, Dump(first).mText);
  }
}

}  // namespace
