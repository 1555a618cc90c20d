// SPDX-License-Identifier: MIT
#include "fuzz/documentgrammars.h"

namespace {

using Words = std::vector<std::string_view>;

const Words kMessages = {"MIDIDelay",          "NoteOn",          "NoteOff",       "PolyKeyPressure",
                         "ControlChange",      "ControlChange",   "ControlChange", "ProgramChange",
                         "ChannelKeyPressure", "PitchBendChange", "AllSoundOff",   "ResetAllControllers",
                         "LocalControl",       "AllNotesOff",     "OmniOff",       "OmniOn",
                         "MonoMode",           "PolyMode"};

Words And(Words iFirst, const Words& iSecond) {
  iFirst.insert(iFirst.end(), iSecond.begin(), iSecond.end());
  return iFirst;
}

std::vector<Fuzz_ElementRule> DeviceRules() {
  const Words lists = {"PatchNameList", "NoteNameList", "ControlNameList", "ValueNameList"};
  return {
      {"MIDINameDocument", {}, {"Author", "MasterDeviceNames", "ExtendingDeviceNames", "StandardDeviceMode"}},
      {"Author", {}, {}},
      {"MasterDeviceNames",
       {},
       And({"Manufacturer", "Model", "Device", "SupportsStandardDeviceMode", "CustomDeviceMode",
            "ChannelNameSet"},
           lists)},
      {"ExtendingDeviceNames", {}, And({"Manufacturer", "Model", "Device"}, lists)},
      {"StandardDeviceMode",
       {},
       And({"DeviceModeEnable", "DeviceModeDisable", "ChannelNameSetAssignments", "ChannelNameSet"}, lists)},
      {"Manufacturer", {}, {}},
      {"Model", {}, {}},
      {"Device", {"Name", "UniqueID"}, {}},
      {"SupportsStandardDeviceMode", {"Name"}, {}},
      {"CustomDeviceMode",
       {"Name"},
       And({"DeviceModeEnable", "DeviceModeDisable", "ChannelNameSetAssignments"}, lists)},
      {"DeviceModeEnable", {}, {"MIDICommands"}},
      {"DeviceModeDisable", {}, {"MIDICommands"}},
      {"ChannelNameSetAssignments", {}, {"ChannelNameSetAssign"}},
      {"ChannelNameSetAssign", {"Channel", "NameSet"}, {}},
      {"ChannelNameSet",
       {"Name"},
       {"AvailableForChannels", "PatchBank", "UsesNoteNameList", "UsesControlNameList"}},
      {"AvailableForChannels", {}, {"AvailableChannel"}},
      {"AvailableChannel", {"Channel", "Available"}, {}},
      {"PatchBank", {"Name", "ROM"}, {"MIDICommands", "UsesPatchNameList", "PatchNameList"}}};
}

std::vector<Fuzz_ElementRule> ListRules() {
  return {{"UsesPatchNameList", {"Name"}, {}},
          {"PatchNameList", {"Name"}, {"Patch"}},
          {"Patch",
           {"Number", "Name", "ProgramChange"},
           {"PatchMIDICommands", "ChannelNameSetAssignments", "UsesNoteNameList", "NoteNameList",
            "UsesControlNameList", "ControlNameList"}},
          {"UsesNoteNameList", {"Name"}, {}},
          {"NoteNameList", {"Name"}, {"NoteGroup", "Note"}},
          {"NoteGroup", {"Name"}, {"Note"}},
          {"Note", {"Number", "Name"}, {}},
          {"UsesControlNameList", {"Name"}, {}},
          {"ControlNameList", {"Name"}, {"Control"}},
          {"Control", {"Type", "Number", "Name"}, {"Values"}},
          {"Values", {"Min", "Max", "Default"}, {"UsesValueNameList", "ValueNameList"}},
          {"UsesValueNameList", {"Name"}, {}},
          {"ValueNameList", {"Name"}, {"Value"}},
          {"Value", {"Number", "Name"}, {}}};
}

std::vector<Fuzz_ElementRule> CommandRules() {
  return {{"MIDICommands", {}, And({"SysEx"}, kMessages)},
          {"PatchMIDICommands", {}, kMessages},
          {"MIDIDelay", {"Milliseconds"}, {}},
          {"NoteOn", {"Note", "Velocity"}, {}},
          {"NoteOff", {"Note", "Velocity"}, {}},
          {"PolyKeyPressure", {"Note", "Pressure"}, {}},
          {"ControlChange", {"Control", "Value"}, {}},
          {"ProgramChange", {"Number"}, {}},
          {"ChannelKeyPressure", {"Pressure"}, {}},
          {"PitchBendChange", {"Value"}, {}},
          {"AllSoundOff", {}, {}},
          {"ResetAllControllers", {}, {}},
          {"LocalControl", {"Value"}, {}},
          {"AllNotesOff", {}, {}},
          {"OmniOff", {}, {}},
          {"OmniOn", {}, {}},
          {"MonoMode", {}, {}},
          {"PolyMode", {}, {}},
          {"SysEx", {}, {"SysExDeviceID", "SysExChannel"}},
          {"SysExDeviceID", {"Multiplier", "Offset"}, {}},
          {"SysExChannel", {"Multiplier", "Offset"}, {}}};
}

std::vector<Fuzz_ElementRule> NameRules() {
  std::vector<Fuzz_ElementRule> rules = DeviceRules();
  for (const auto& more : {ListRules(), CommandRules()}) rules.insert(rules.end(), more.begin(), more.end());
  return rules;
}

}  // namespace

const Fuzz_Grammar& Fuzz_NamesGrammar() {
  // Numbers and short names mostly, so that most elements are taken and many references find something.
  static const Fuzz_Grammar sGrammar = {
      NameRules(),
      {"1",     "2",    "3",    "16",    "0",       "5",    "32",    "127", "128",   "A",
       "B",     "1",    "2",    "17",    "255",     "256",  "-1",    "on",  "65535", "99999999999999999999",
       "0x7F",  "1.5",  "1e39", "nan",   "",        "7bit", "14bit", "RPN", "NRPN",  "true",
       "false", "9bit", "TRUE", "&amp;", "\xC3\xA4"},
      {"F0 7E 7F F7", "a", " b ", "<!-- c -->", "<![CDATA[F0 01]]>", "&#65;", "100", "\n", "zz",
       "<Unknown>a</Unknown>", "&e;", "<?pi?>"}};
  return sGrammar;
}

const Fuzz_Grammar& Fuzz_DeviceTypesGrammar() {
  static const Fuzz_Grammar sGrammar = {
      {{"MIDIDeviceTypes", {}, {"Author", "MIDIDeviceType", "MIDIDeviceType"}},
       {"Author", {}, {}},
       {"MIDIDeviceType",
        {"Manufacturer", "Model", "Image", "CanRoute", "IsDrumMachine", "IsEffectUnit", "IsMixer",
         "IsSampler", "SupportsGeneralMIDI", "SupportsMMC"},
        {"InquiryResponse", "DeviceID", "MIDIPortGroup", "Receives", "Transmits"}},
       {"InquiryResponse", {}, {}},
       {"DeviceID", {}, {}},
       {"MIDIPortGroup", {}, {"MIDIIn", "MIDIOut"}},
       {"MIDIIn", {}, {}},
       {"MIDIOut", {}, {}},
       {"Receives", {}, {}},
       {"Transmits", {}, {}}},
      {"true", "false", "FALSE", "no", "", "M"},
      {"a", " b ", "<!-- c -->", "<![CDATA[d]]>", "<Unknown>a</Unknown>"}};
  return sGrammar;
}
