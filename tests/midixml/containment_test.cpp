// SPDX-License-Identifier: MIT
// Every element of both formats in every parent and as the root, with all of its attributes and with none.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "midixml/mlox_devicetypesparser.h"
#include "tests/midixml/name_documents.h"

namespace {

// What decides the code of an element.
enum class EOrder {
  kParentFirst,  // the parent is tested, then required attributes
  kNameFirst     // the required Name is looked for, then the parent is tested
};

struct Rule {
  std::string mTag;
  std::vector<std::string> mParents;  // "" is the top of the document
  std::string mAttributes;            // all of them, valid
  bool mHasRequired;
  EOrder mOrder = EOrder::kParentFirst;
  // Parents in which no attribute is required although it is elsewhere.
  std::vector<std::string> mNothingRequiredIn = {};
};

using Strings = std::vector<std::string>;

const Strings kDeviceElements = {"MasterDeviceNames", "ExtendingDeviceNames", "StandardDeviceMode"};
const Strings kCommandLists = {"MIDICommands", "PatchMIDICommands"};

Strings Plus(Strings iStrings, const Strings& iMore) {
  iStrings.insert(iStrings.end(), iMore.begin(), iMore.end());
  return iStrings;
}

const std::vector<Rule>& NameRules() {
  static const std::vector<Rule> sRules = {
      {"MIDINameDocument", {""}, "", false},
      {"Author", {"MIDINameDocument"}, "", false},
      {"MasterDeviceNames", {"MIDINameDocument"}, "", false},
      {"SupportsStandardDeviceMode", {"MasterDeviceNames"}, "Name='n'", true},
      {"ExtendingDeviceNames", {"MIDINameDocument"}, "", false},
      {"Manufacturer", {"MasterDeviceNames", "ExtendingDeviceNames"}, "", false},
      {"Model", {"MasterDeviceNames", "ExtendingDeviceNames"}, "", false},
      {"Device", {"MasterDeviceNames", "ExtendingDeviceNames"}, "Name='n' UniqueID='1'", false},
      {"StandardDeviceMode", {"MIDINameDocument"}, "", false},
      {"CustomDeviceMode", {"MasterDeviceNames"}, "Name='n'", true},
      {"DeviceModeEnable", {"StandardDeviceMode", "CustomDeviceMode"}, "", false},
      {"DeviceModeDisable", {"StandardDeviceMode", "CustomDeviceMode"}, "", false},
      {"ChannelNameSetAssignments", {"StandardDeviceMode", "CustomDeviceMode", "Patch"}, "", false},
      {"ChannelNameSetAssign", {"ChannelNameSetAssignments"}, "Channel='1' NameSet='n'", true},
      {"ChannelNameSet", {"MasterDeviceNames", "StandardDeviceMode"}, "Name='n'", true},
      {"AvailableForChannels", {"ChannelNameSet"}, "", false},
      {"AvailableChannel", {"AvailableForChannels"}, "Channel='1' Available='true'", false},
      {"PatchBank", {"ChannelNameSet"}, "Name='n' ROM='true'", true},
      {"UsesPatchNameList", {"PatchBank"}, "Name='n'", true},
      {"PatchNameList",
       Plus(kDeviceElements, {"CustomDeviceMode", "PatchBank"}),
       "Name='n'",
       true,
       EOrder::kNameFirst,
       {"PatchBank"}},
      {"Patch", {"PatchNameList"}, "Number='1' Name='n' ProgramChange='0'", true},
      {"UsesNoteNameList", {"ChannelNameSet", "Patch"}, "Name='n'", true, EOrder::kNameFirst},
      {"NoteNameList", Plus(kDeviceElements, {"CustomDeviceMode", "Patch"}), "Name='n'", false},
      {"NoteGroup", {"NoteNameList"}, "Name='n'", false},
      {"Note", {"NoteNameList", "NoteGroup"}, "Number='1' Name='n'", true},
      {"UsesControlNameList", {"ChannelNameSet", "Patch"}, "Name='n'", true, EOrder::kNameFirst},
      {"ControlNameList", Plus(kDeviceElements, {"CustomDeviceMode", "Patch"}), "Name='n'", false},
      {"Control", {"ControlNameList"}, "Type='7bit' Number='1' Name='n'", true},
      {"Values", {"Control"}, "Min='0' Max='1' Default='0'", true},
      {"UsesValueNameList", {"Values"}, "Name='n'", true},
      // Not in Values, although it is stored there.
      {"ValueNameList", Plus(kDeviceElements, {"CustomDeviceMode"}), "Name='n'", false},
      {"Value", {"ValueNameList"}, "Number='1' Name='n'", true},
      {"MIDICommands", {"DeviceModeEnable", "DeviceModeDisable", "PatchBank"}, "", false},
      {"PatchMIDICommands", {"Patch"}, "", false},
      {"MIDIDelay", kCommandLists, "Milliseconds='1'", true},
      {"NoteOn", kCommandLists, "Note='1' Velocity='1'", true},
      {"NoteOff", kCommandLists, "Note='1' Velocity='1'", true},
      {"PolyKeyPressure", kCommandLists, "Note='1' Pressure='1'", true},
      {"ControlChange", kCommandLists, "Control='1' Value='1'", true},
      {"ProgramChange", kCommandLists, "Number='1'", true},
      {"ChannelKeyPressure", kCommandLists, "Pressure='1'", true},
      {"PitchBendChange", kCommandLists, "Value='1'", true},
      {"AllSoundOff", kCommandLists, "", false},
      {"ResetAllControllers", kCommandLists, "", false},
      {"LocalControl", kCommandLists, "Value='on'", true},
      {"AllNotesOff", kCommandLists, "", false},
      {"OmniOff", kCommandLists, "", false},
      {"OmniOn", kCommandLists, "", false},
      {"MonoMode", kCommandLists, "", false},
      {"PolyMode", kCommandLists, "", false},
      {"SysEx", {"MIDICommands"}, "", false},
      {"SysExDeviceID", {"SysEx"}, "Multiplier='1' Offset='1'", false},
      {"SysExChannel", {"SysEx"}, "Multiplier='1' Offset='1'", false},
  };
  return sRules;
}

const std::vector<Rule>& DeviceTypeRules() {
  static const std::vector<Rule> sRules = {
      {"MIDIDeviceTypes", {""}, "", false},
      {"Author", {"MIDIDeviceTypes"}, "", false},
      {"MIDIDeviceType", {"MIDIDeviceTypes"}, "Manufacturer='a' Model='b' Image='c' CanRoute='true'", false},
      {"InquiryResponse", {"MIDIDeviceType"}, "", false},
      {"DeviceID", {"MIDIDeviceType"}, "", false},
      {"MIDIPortGroup", {"MIDIDeviceType"}, "", false},
      {"MIDIIn", {"MIDIPortGroup"}, "", false},
      {"MIDIOut", {"MIDIPortGroup"}, "", false},
      {"Receives", {"MIDIDeviceType"}, "", false},
      {"Transmits", {"MIDIDeviceType"}, "", false},
  };
  return sRules;
}

bool Has(const Strings& iStrings, const std::string& iText) {
  return std::find(iStrings.begin(), iStrings.end(), iText) != iStrings.end();
}

// What the rules say about an element in a parent.
int ExpectedCode(const Rule& iRule, const std::string& iParent, bool iWithAttributes) {
  const bool lacksRequired =
      !iWithAttributes && iRule.mHasRequired && !Has(iRule.mNothingRequiredIn, iParent);
  if (iRule.mOrder == EOrder::kNameFirst && lacksRequired) return 8;
  if (!Has(iRule.mParents, iParent)) return iParent.empty() ? 100 : 102;
  return lacksRequired ? 8 : 0;
}

const Rule& RuleOf(const std::vector<Rule>& iRules, const std::string& iTag) {
  return *std::find_if(iRules.begin(), iRules.end(), [&](const Rule& iRule) { return iRule.mTag == iTag; });
}

// Opens and closes an element inside the first parents that the rules allow, up to the top.
std::string Wrapped(const std::vector<Rule>& iRules, const std::string& iTag, std::string iContent) {
  std::string tag = iTag;
  while (!tag.empty()) {
    const Rule& rule = RuleOf(iRules, tag);
    std::string open = "<" + tag + " " + rule.mAttributes + ">";
    // Its switches and assignments go to the last mode made, so there must be one.
    if (tag == "StandardDeviceMode") {
      open = "<MasterDeviceNames><CustomDeviceMode Name='m'/></MasterDeviceNames>" + open;
    }
    iContent = open + iContent + "</" + tag + ">";
    tag = rule.mParents.front();
  }
  return iContent;
}

std::string DocumentFor(const std::vector<Rule>& iRules, const Rule& iRule, const std::string& iParent,
                        bool iWithAttributes) {
  const std::string element = "<" + iRule.mTag + (iWithAttributes ? " " + iRule.mAttributes : "") + "/>";
  return iParent.empty() ? element : Wrapped(iRules, iParent, element);
}

template <class ParseCode>
void CheckAll(const std::vector<Rule>& iRules, ParseCode iParse) {
  Strings parents = {""};
  for (const Rule& rule : iRules) parents.push_back(rule.mTag);
  for (const Rule& rule : iRules) {
    for (const std::string& parent : parents) {
      for (const bool withAttributes : {true, false}) {
        const std::string document = DocumentFor(iRules, rule, parent, withAttributes);
        EXPECT_EQ(iParse(document), ExpectedCode(rule, parent, withAttributes)) << document;
      }
    }
  }
}

TEST(Containment, EveryElementOfNameDocumentsInEveryParent) {
  ASSERT_EQ(NameRules().size(), 53u);
  CheckAll(NameRules(), [](const std::string& iDocument) { return Test_ParseNames(iDocument).mCode; });
}

TEST(Containment, EveryElementOfDeviceTypeDocumentsInEveryParent) {
  ASSERT_EQ(DeviceTypeRules().size(), 10u);
  CheckAll(DeviceTypeRules(), [](const std::string& iDocument) {
    const Test_MemoryFile file(iDocument);
    Mlox_DeviceTypesParser parser("", file.Path().c_str(), 0);
    try {
      parser.Parse();
    } catch (int code) {
      return code;
    }
    return 0;
  });
}

// Whether an element may stand under a parent must not hang on its attributes alone: the empty names that are
// faults.
TEST(Containment, EmptyNamesAreFaultsOfTheirOwn) {
  const std::map<std::string, int> expected = {{"ChannelNameSet", 206},
                                               {"PatchNameList", 206},
                                               {"ControlNameList", 206},
                                               {"ValueNameList", 206},
                                               {"NoteNameList", 0},
                                               {"PatchBank", 0},
                                               {"CustomDeviceMode", 0},
                                               {"SupportsStandardDeviceMode", 0},
                                               {"UsesPatchNameList", 0},
                                               {"UsesNoteNameList", 0},
                                               {"UsesControlNameList", 0},
                                               {"UsesValueNameList", 0},
                                               {"NoteGroup", 0}};
  for (const auto& [tag, code] : expected) {
    const Rule& rule = RuleOf(NameRules(), tag);
    const std::string document = Wrapped(NameRules(), rule.mParents.front(), "<" + tag + " Name=''/>");
    EXPECT_EQ(Test_ParseNames(document).mCode, code) << document;
  }
}

}  // namespace
