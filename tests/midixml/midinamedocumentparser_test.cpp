// SPDX-License-Identifier: MIT
#include "midixml/midinamedocumentparser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "midixml/midinameelements.h"
#include "tests/midixml/german_locale.h"
#include "tests/midixml/name_documents.h"

using midixml::Control;
using midixml::MIDIDeviceNames;

namespace {

using Bytes = std::vector<int>;

Test_ParsedNames Parse(const std::string& iDocument) { return Test_ParseNames(iDocument); }

int CodeOf(const std::string& iDocument) { return Parse(iDocument).mCode; }

// A device whose one set has one bank with this content.
std::string BankWith(const std::string& iContent) {
  return Test_Master("<ChannelNameSet Name='S'><PatchBank Name='B'>" + iContent +
                     "</PatchBank></ChannelNameSet>");
}

// A device with one list of one patch with this content.
std::string PatchWith(const std::string& iContent) {
  return Test_Master("<PatchNameList Name='L'><Patch Number='1' Name='P'>" + iContent +
                     "</Patch></PatchNameList>");
}

// A device with one list of one controller with this content.
std::string ControlWith(const std::string& iContent) {
  return Test_Master("<ControlNameList Name='C'><Control Number='1' Name='N'>" + iContent +
                     "</Control></ControlNameList>");
}

// What a bank's commands are made of.
Bytes BankCommands(const std::string& iCommands) {
  const Test_ParsedNames parsed = Parse(BankWith("<MIDICommands>" + iCommands + "</MIDICommands>"));
  EXPECT_EQ(parsed.mCode, 0) << iCommands;
  return parsed.mCode == 0 ? Test_Bytes(parsed.Bank().mCommands) : Bytes{};
}

// ---- the element table ----

TEST(MIDINameElements, RowsAreAsTheFormatHasThem) {
  const std::vector<std::string> tags = {"MIDINameDocument",
                                         "Author",
                                         "MasterDeviceNames",
                                         "SupportsStandardDeviceMode",
                                         "ExtendingDeviceNames",
                                         "Manufacturer",
                                         "Model",
                                         "Device",
                                         "StandardDeviceMode",
                                         "CustomDeviceMode",
                                         "DeviceModeEnable",
                                         "DeviceModeDisable",
                                         "ChannelNameSetAssignments",
                                         "ChannelNameSetAssign",
                                         "ChannelNameSet",
                                         "AvailableForChannels",
                                         "AvailableChannel",
                                         "PatchBank",
                                         "UsesPatchNameList",
                                         "PatchNameList",
                                         "Patch",
                                         "UsesNoteNameList",
                                         "NoteNameList",
                                         "NoteGroup",
                                         "Note",
                                         "UsesControlNameList",
                                         "ControlNameList",
                                         "Control",
                                         "Values",
                                         "UsesValueNameList",
                                         "ValueNameList",
                                         "Value",
                                         "MIDICommands",
                                         "PatchMIDICommands",
                                         "MIDIDelay",
                                         "NoteOn",
                                         "NoteOff",
                                         "PolyKeyPressure",
                                         "ControlChange",
                                         "ProgramChange",
                                         "ChannelKeyPressure",
                                         "PitchBendChange",
                                         "AllSoundOff",
                                         "ResetAllControllers",
                                         "LocalControl",
                                         "AllNotesOff",
                                         "OmniOff",
                                         "OmniOn",
                                         "MonoMode",
                                         "PolyMode",
                                         "SysEx",
                                         "SysExDeviceID",
                                         "SysExChannel"};
  ASSERT_EQ(tags.size(), 53u);
  for (size_t row = 0; row < tags.size(); ++row) {
    const midixml::XMLElementType& type = midixml::kMIDINameElements[row];
    EXPECT_EQ(type.id, static_cast<int>(row));
    EXPECT_EQ(type.name, tags[row]);
    int contentType = 0;
    if (row == 1 || row == 5 || row == 6 || row == 7) contentType = 1;
    if (row == 50) contentType = 6;
    EXPECT_EQ(type.contentType, contentType) << tags[row];
  }
  EXPECT_EQ(midixml::kMIDINameElements[53].id, -1);
  EXPECT_STREQ(midixml::kMIDINameElements[53].name, "");
  EXPECT_EQ(midixml::kMIDINameElements[53].contentType, 0);
}

// ---- document and device level ----

TEST(MIDINameDocument, HasNoDeviceAndNoAuthorWhenEmpty) {
  const Test_ParsedNames parsed = Parse("<MIDINameDocument/>");
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_EQ(parsed.mAuthor, "");
  EXPECT_TRUE(parsed.mDevices.empty());
}

TEST(Author, TextGoesToTheDocumentTrimmed) {
  EXPECT_EQ(Parse(Test_Document("<Author>Ann</Author>")).mAuthor, "Ann");
  EXPECT_EQ(Parse(Test_Document("<Author>Ann </Author>")).mAuthor, "An");
  EXPECT_EQ(Parse(Test_Document("<Author>A</Author><Author>B</Author>")).mAuthor, "B");
}

TEST(Author, StaysAfterALaterFault) {
  const Test_ParsedNames parsed = Parse(Test_Document("<Author>Ann</Author><Note/>"));
  EXPECT_EQ(parsed.mCode, 102);
  EXPECT_EQ(parsed.mAuthor, "Ann");
}

TEST(MasterDeviceNames, EachMakesARecordAndIsHandedOver) {
  const Test_ParsedNames parsed =
      Parse(Test_Document("<MasterDeviceNames><Model>a</Model></"
                          "MasterDeviceNames><MasterDeviceNames><Model>b</Model></MasterDeviceNames>"));
  EXPECT_EQ(parsed.mCode, 0);
  ASSERT_EQ(parsed.mDevices.size(), 2u);
  EXPECT_EQ(parsed.Device(0).mModels.at(0).View(), "a");
  EXPECT_EQ(parsed.Device(1).mModels.at(0).View(), "b");
}

TEST(ExtendingDeviceNames, MakesARecord) {
  const Test_ParsedNames parsed =
      Parse(Test_Document("<ExtendingDeviceNames><Manufacturer>M</Manufacturer></ExtendingDeviceNames>"));
  EXPECT_EQ(parsed.mCode, 0);
  ASSERT_EQ(parsed.mDevices.size(), 1u);
  EXPECT_EQ(parsed.Device().mManufacturer.View(), "M");
}

TEST(StandardDeviceMode, MakesARecordAndNoMode) {
  const Test_ParsedNames parsed = Parse(Test_Document("<StandardDeviceMode/>"));
  EXPECT_EQ(parsed.mCode, 0);
  ASSERT_EQ(parsed.mDevices.size(), 1u);
  EXPECT_TRUE(parsed.Device().mModes.empty());
}

TEST(DeviceElements, AllThreeKindsMayStandInOneDocument) {
  const Test_ParsedNames parsed =
      Parse(Test_Document("<StandardDeviceMode/><ExtendingDeviceNames/><MasterDeviceNames/>"));
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_EQ(parsed.mDevices.size(), 3u);
}

TEST(Manufacturer, TextIsTrimmedAndStored) {
  EXPECT_EQ(Parse(Test_Master("<Manufacturer>  Acme</Manufacturer>")).Device().mManufacturer.View(), "Acme");
  EXPECT_EQ(Parse(Test_Master("<Manufacturer>Acme </Manufacturer>")).Device().mManufacturer.View(), "Acm");
}

TEST(Model, EachTextIsAppended) {
  const Test_ParsedNames parsed = Parse(Test_Master("<Model>One</Model><Model>Two</Model><Model/>"));
  ASSERT_EQ(parsed.Device().mModels.size(), 3u);
  EXPECT_EQ(parsed.Device().mModels[0].View(), "One");
  EXPECT_EQ(parsed.Device().mModels[1].View(), "Two");
  EXPECT_TRUE(parsed.Device().mModels[2].IsEmpty());
}

TEST(Model, TextIsTrimmed) {
  EXPECT_EQ(Parse(Test_Master("<Model> One  </Model>")).Device().mModels.at(0).View(), "On");
}

TEST(Device, NameAndIDAreStoredAndTextIsDiscardedAtItsEnd) {
  const Test_ParsedNames parsed = Parse(Test_Master("<Device Name='D' UniqueID='77'>text</Device>"));
  EXPECT_EQ(parsed.Device().mDeviceName.View(), "D");
  EXPECT_EQ(parsed.Device().mUniqueID, 77);
  EXPECT_TRUE(parsed.Device().mManufacturer.IsEmpty());
  EXPECT_TRUE(parsed.Device().mModels.empty());
}

TEST(Device, BothAttributesAreOptional) {
  const Test_ParsedNames parsed = Parse(Test_Master("<Device/>"));
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_TRUE(parsed.Device().mDeviceName.IsEmpty());
  EXPECT_EQ(parsed.Device().mUniqueID, 0);
  EXPECT_EQ(CodeOf(Test_Master("<Device UniqueID='x'/>")), 103);
}

TEST(SupportsStandardDeviceMode, MakesAModeWithTheFlag) {
  const Test_ParsedNames parsed = Parse(Test_Master("<SupportsStandardDeviceMode Name='M'/>"));
  ASSERT_EQ(parsed.Device().mModes.size(), 1u);
  EXPECT_EQ(parsed.Mode().mName.View(), "M");
  EXPECT_TRUE(parsed.Mode().mSupportsStandardDeviceMode);
}

TEST(CustomDeviceMode, MakesAModeWithoutTheFlag) {
  const Test_ParsedNames parsed = Parse(Test_Master("<CustomDeviceMode Name='M'/>"));
  ASSERT_EQ(parsed.Device().mModes.size(), 1u);
  EXPECT_EQ(parsed.Mode().mName.View(), "M");
  EXPECT_FALSE(parsed.Mode().mSupportsStandardDeviceMode);
}

TEST(CustomDeviceMode, AnEmptyNameIsAllowed) {
  EXPECT_EQ(CodeOf(Test_Master("<CustomDeviceMode Name=''/>")), 0);
}

TEST(DeviceModeEnable, CommandsGoToTheModesEnableMessage) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<CustomDeviceMode Name='M'><DeviceModeEnable><MIDICommands><OmniOn/></MIDICommands></DeviceModeEnable>"
      "<DeviceModeDisable><MIDICommands><OmniOff/></MIDICommands></DeviceModeDisable></CustomDeviceMode>"));
  EXPECT_EQ(Test_Bytes(parsed.Mode().mDeviceModeEnable), (Bytes{0xB0, 0x7D, 0x00}));
  EXPECT_EQ(Test_Bytes(parsed.Mode().mDeviceModeDisable), (Bytes{0xB0, 0x7C, 0x00}));
}

TEST(StandardDeviceMode, ItsSwitchesGoToTheLastModeMadeAlsoOfAnEarlierRecord) {
  const Test_ParsedNames parsed = Parse(Test_Document(
      "<MasterDeviceNames><CustomDeviceMode Name='A'/><CustomDeviceMode Name='B'/></MasterDeviceNames>"
      "<StandardDeviceMode><DeviceModeEnable><MIDICommands><OmniOn/></MIDICommands></DeviceModeEnable>"
      "<ChannelNameSetAssignments><ChannelNameSetAssign Channel='3' NameSet='S'/></ChannelNameSetAssignments>"
      "</StandardDeviceMode>"));
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_EQ(parsed.Mode(0).mDeviceModeEnable.GetLength(), 0);
  EXPECT_EQ(Test_Bytes(parsed.Mode(1).mDeviceModeEnable), (Bytes{0xB0, 0x7D, 0x00}));
  EXPECT_EQ(parsed.Mode(1).mChannelNameSets[2].mName.View(), "S");
}

TEST(StandardDeviceMode, ItsSwitchesMayGoToAModeOfARefusedRecord) {
  const Test_TempFolder folder;
  Test_NamesParser parser(
      folder.MakeFile("d.midnam",
                      Test_Document("<MasterDeviceNames><CustomDeviceMode Name='A'/></MasterDeviceNames>"
                                    "<StandardDeviceMode><DeviceModeEnable><MIDICommands><SysEx>F0 01 02 03 "
                                    "04 05 06 07 08 F7</SysEx></MIDICommands></DeviceModeEnable>"
                                    "<ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' "
                                    "NameSet='S'/></ChannelNameSetAssignments></StandardDeviceMode>")),
      false);
  EXPECT_NO_THROW(parser.Parse());
  EXPECT_EQ(parser.mHanded, 2);
}

TEST(StandardDeviceMode, ItsSwitchesAreAContainmentFaultWithoutAnyMode) {
  for (const char* elementP :
       {"<DeviceModeEnable/>", "<DeviceModeDisable/>", "<ChannelNameSetAssignments/>"}) {
    EXPECT_EQ(CodeOf(Test_Document(std::string("<StandardDeviceMode>") + elementP + "</StandardDeviceMode>")),
              102);
  }
}

TEST(ChannelNameSetAssign, RowsAreOneLessThanTheChannel) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<CustomDeviceMode Name='M'><ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' NameSet='a'/>"
      "<ChannelNameSetAssign Channel='16' NameSet='b'/><ChannelNameSetAssign Channel='1' NameSet='c'/>"
      "</ChannelNameSetAssignments></CustomDeviceMode>"));
  EXPECT_EQ(parsed.Mode().mChannelNameSets[0].mName.View(), "c");
  EXPECT_EQ(parsed.Mode().mChannelNameSets[15].mName.View(), "b");
  EXPECT_TRUE(parsed.Mode().mChannelNameSets[1].mName.IsEmpty());
}

TEST(ChannelNameSetAssign, AnotherChannelOrNoneStoresNothingAndRaisesNoFault) {
  for (const char* channelP : {"Channel='17'", "Channel='0'", "Channel='-1'", ""}) {
    const Test_ParsedNames parsed = Parse(Test_Master(
        std::string("<CustomDeviceMode Name='M'><ChannelNameSetAssignments><ChannelNameSetAssign ") +
        channelP + " NameSet='x'/></ChannelNameSetAssignments></CustomDeviceMode>"));
    EXPECT_EQ(parsed.mCode, 0) << channelP;
    for (const auto& assign : parsed.Mode().mChannelNameSets) EXPECT_TRUE(assign.mName.IsEmpty()) << channelP;
  }
}

TEST(ChannelNameSetAssign, NameSetIsReadWhateverTheChannelIs) {
  const auto document = [](const std::string& iAttributes) {
    return Test_Master("<CustomDeviceMode Name='M'><ChannelNameSetAssignments><ChannelNameSetAssign " +
                       iAttributes + "/></ChannelNameSetAssignments></CustomDeviceMode>");
  };
  EXPECT_EQ(CodeOf(document("Channel='17'")), 8);
  EXPECT_EQ(CodeOf(document("Channel='x'")), 103);
  EXPECT_EQ(CodeOf(document("Channel='1'")), 8);
}

TEST(ChannelNameSetAssignments, OfAPatchGoToThatPatch) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<PatchNameList Name='L'><Patch Number='1' Name='P'><ChannelNameSetAssignments><ChannelNameSetAssign "
      "Channel='2' "
      "NameSet='s'/></ChannelNameSetAssignments></Patch><Patch Number='2' Name='Q'/></PatchNameList>"));
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_EQ(parsed.Patches()[0].mChannelNameSets[1].mName.View(), "s");
  EXPECT_TRUE(parsed.Patches()[0].mChannelNameSets[0].mName.IsEmpty());
  EXPECT_TRUE(parsed.Patches()[1].mChannelNameSets[1].mName.IsEmpty());
}

// ---- channel name sets ----

TEST(ChannelNameSet, IsNamedAndAdded) {
  const Test_ParsedNames parsed = Parse(Test_Master("<ChannelNameSet Name='S'/>"));
  ASSERT_EQ(parsed.Device().mChannelNameSets.size(), 1u);
  EXPECT_EQ(parsed.Set().mName.View(), "S");
  for (const bool available : parsed.Set().mAvailableForChannels) EXPECT_FALSE(available);
}

TEST(ChannelNameSet, MayStandInAStandardDeviceMode) {
  const Test_ParsedNames parsed =
      Parse(Test_Document("<StandardDeviceMode><ChannelNameSet Name='S'/></StandardDeviceMode>"));
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_EQ(parsed.Set().mName.View(), "S");
}

TEST(ChannelNameSet, AnEmptyNameReports206) {
  const Test_ParsedNames parsed = Parse(Test_Master("\n<ChannelNameSet Name=''/>"));
  EXPECT_EQ(parsed.mCode, 206);
  EXPECT_EQ(parsed.mFault.message, "channel name set string is empty");
  EXPECT_EQ(parsed.mFault.line, 2u);
  EXPECT_EQ(CodeOf(Test_Master("<ChannelNameSet/>")), 8);
}

std::vector<bool> AvailableAfter(const std::string& iElements) {
  const Test_ParsedNames parsed = Parse(Test_Master("<ChannelNameSet Name='S'><AvailableForChannels>" +
                                                    iElements + "</AvailableForChannels></ChannelNameSet>"));
  EXPECT_EQ(parsed.mCode, 0);
  const auto& flags = parsed.Set().mAvailableForChannels;
  return std::vector<bool>(flags.begin(), flags.end());
}

TEST(AvailableChannel, WithoutAvailableTheChannelIsAvailable) {
  const std::vector<bool> available = AvailableAfter("<AvailableChannel Channel='1'/>");
  EXPECT_TRUE(available[0]);
  EXPECT_FALSE(available[1]);
}

TEST(AvailableChannel, AvailableFalseEndsAsNotAvailable) {
  EXPECT_FALSE(AvailableAfter("<AvailableChannel Channel='1' Available='false'/>")[0]);
  EXPECT_FALSE(
      AvailableAfter("<AvailableChannel Channel='1'/><AvailableChannel Channel='1' Available='false'/>")[0]);
  EXPECT_TRUE(AvailableAfter("<AvailableChannel Channel='16' Available='true'/>")[15]);
}

TEST(AvailableChannel, AnotherChannelOrNoneStoresNothing) {
  for (const char* channelP : {"Channel='0'", "Channel='17'", "Channel='-3'", ""}) {
    const std::vector<bool> available = AvailableAfter(std::string("<AvailableChannel ") + channelP + "/>");
    EXPECT_EQ(available, std::vector<bool>(16, false)) << channelP;
  }
}

TEST(AvailableChannel, AvailableIsReadWhateverTheChannelIs) {
  EXPECT_EQ(
      CodeOf(Test_Master("<ChannelNameSet Name='S'><AvailableForChannels><AvailableChannel Channel='17' "
                         "Available='yes'/></AvailableForChannels></ChannelNameSet>")),
      105);
}

TEST(PatchBank, NameAndROMAreStored) {
  const Test_ParsedNames parsed =
      Parse(Test_Master("<ChannelNameSet Name='S'><PatchBank Name='A'/><PatchBank Name='B' "
                        "ROM='true'/><PatchBank Name='' ROM='false'/>"
                        "</ChannelNameSet>"));
  ASSERT_EQ(parsed.Set().mPatchBanks.size(), 3u);
  EXPECT_EQ(parsed.Bank(0).mName.View(), "A");
  EXPECT_FALSE(parsed.Bank(0).mROM);
  EXPECT_TRUE(parsed.Bank(1).mROM);
  EXPECT_TRUE(parsed.Bank(2).mName.IsEmpty());
  EXPECT_FALSE(parsed.Bank(2).mROM);
}

TEST(PatchBank, ROMIsExactlyTrueOrFalse) {
  EXPECT_EQ(CodeOf(Test_Master("<ChannelNameSet Name='S'><PatchBank Name='B' ROM='TRUE'/></ChannelNameSet>")),
            105);
}

TEST(UsesPatchNameList, NameIsStoredInTheBank) {
  const Test_ParsedNames parsed = Parse(BankWith("<UsesPatchNameList Name='L'/>"));
  EXPECT_EQ(parsed.Bank().mPatchNameList.mName.View(), "L");
}

TEST(UsesNoteNameList, NameIsStoredInTheSetOrThePatch) {
  EXPECT_EQ(Parse(Test_Master("<ChannelNameSet Name='S'><UsesNoteNameList Name='N'/></ChannelNameSet>"))
                .Set()
                .mNoteNameList.mName.View(),
            "N");
  EXPECT_EQ(Parse(PatchWith("<UsesNoteNameList Name='N'/>")).Patches()[0].mNoteNameList.mName.View(), "N");
}

TEST(UsesControlNameList, NameIsStoredInTheSetOrThePatch) {
  EXPECT_EQ(Parse(Test_Master("<ChannelNameSet Name='S'><UsesControlNameList Name='C'/></ChannelNameSet>"))
                .Set()
                .mControlNameList.mName.View(),
            "C");
  EXPECT_EQ(Parse(PatchWith("<UsesControlNameList Name='C'/>")).Patches()[0].mControlNameList.mName.View(),
            "C");
}

TEST(UsesNoteNameList, TheAttributeIsReadBeforeTheParentIsTested) {
  EXPECT_EQ(CodeOf("<UsesNoteNameList/>"), 8);
  EXPECT_EQ(CodeOf(Test_Master("<UsesNoteNameList/>")), 8);
  EXPECT_EQ(CodeOf(Test_Master("<UsesNoteNameList Name='N'/>")), 102);
  EXPECT_EQ(CodeOf("<UsesNoteNameList Name='N'/>"), 100);
}

TEST(UsesControlNameList, TheAttributeIsReadBeforeTheParentIsTested) {
  EXPECT_EQ(CodeOf("<UsesControlNameList/>"), 8);
  EXPECT_EQ(CodeOf(Test_Master("<UsesControlNameList/>")), 8);
  EXPECT_EQ(CodeOf(Test_Master("<UsesControlNameList Name='C'/>")), 102);
  EXPECT_EQ(CodeOf("<UsesControlNameList Name='C'/>"), 100);
}

TEST(UsesPatchNameList, TheParentIsTestedBeforeTheAttribute) {
  EXPECT_EQ(CodeOf("<UsesPatchNameList/>"), 100);
  EXPECT_EQ(CodeOf(Test_Master("<UsesPatchNameList/>")), 102);
  EXPECT_EQ(CodeOf(BankWith("<UsesPatchNameList/>")), 8);
}

// ---- lists ----

TEST(PatchNameList, GoesToTheDeviceOrTheMode) {
  for (const char* elementP : {"MasterDeviceNames", "ExtendingDeviceNames", "StandardDeviceMode"}) {
    const std::string element = elementP;
    const Test_ParsedNames parsed =
        Parse(Test_Document("<" + element + "><PatchNameList Name='L'/></" + element + ">"));
    EXPECT_EQ(parsed.mCode, 0) << element;
    EXPECT_EQ(parsed.Patches().mName.View(), "L") << element;
  }
  const Test_ParsedNames parsed =
      Parse(Test_Master("<CustomDeviceMode Name='M'><PatchNameList Name='L'/></CustomDeviceMode>"));
  EXPECT_TRUE(parsed.Device().mPatchNameLists.empty());
  EXPECT_EQ(parsed.Mode().mPatchNameLists.at(0).GetObject()->mName.View(), "L");
}

TEST(PatchNameList, InsideABankItMayHaveNoName) {
  const Test_ParsedNames parsed =
      Parse(BankWith("<PatchNameList><Patch Number='1' Name='P'/></PatchNameList>"));
  EXPECT_EQ(parsed.mCode, 0);
  ASSERT_NE(parsed.Bank().mPatchNameList.GetObject(), nullptr);
  EXPECT_TRUE(parsed.Bank().mPatchNameList.GetObject()->mName.IsEmpty());
  EXPECT_EQ(parsed.Bank().mPatchNameList.GetObject()->size(), 1u);
}

TEST(PatchNameList, ASecondOneInABankThrows201) {
  const Test_ParsedNames parsed = Parse(BankWith("<PatchNameList/><PatchNameList/>"));
  EXPECT_EQ(parsed.mCode, 201);
  EXPECT_EQ(parsed.mFault.message, "<patchBank> may only contain one <patchNameList>");
}

TEST(PatchNameList, WithoutANameItThrows8ExceptInABank) {
  EXPECT_EQ(CodeOf(Test_Master("<PatchNameList/>")), 8);
  EXPECT_EQ(CodeOf("<PatchNameList/>"), 8);
  EXPECT_EQ(CodeOf(Test_Document("<PatchNameList/>")), 8);
}

TEST(PatchNameList, AnEmptyNameGives206BeforeAWrongParent) {
  for (const std::string& document :
       {Test_Master("<PatchNameList Name=''/>"), std::string("<PatchNameList Name=''/>"),
        Test_Document("<PatchNameList Name=''/>"), BankWith("<PatchNameList Name=''/>")}) {
    const Test_ParsedNames parsed = Parse(document);
    EXPECT_EQ(parsed.mCode, 206) << document;
    EXPECT_EQ(parsed.mFault.message, "patch name list string is empty");
  }
}

TEST(NoteNameList, GoesToTheDeviceTheModeOrThePatch) {
  for (const char* elementP : {"MasterDeviceNames", "ExtendingDeviceNames", "StandardDeviceMode"}) {
    const std::string element = elementP;
    const Test_ParsedNames parsed =
        Parse(Test_Document("<" + element + "><NoteNameList Name='L'/></" + element + ">"));
    EXPECT_EQ(parsed.Notes().mName.View(), "L") << element;
  }
  EXPECT_EQ(Parse(Test_Master("<CustomDeviceMode Name='M'><NoteNameList Name='L'/></CustomDeviceMode>"))
                .Mode()
                .mNoteNameLists.at(0)
                .GetObject()
                ->mName.View(),
            "L");
  EXPECT_EQ(Parse(PatchWith("<NoteNameList Name='L'/>")).Patches()[0].mNoteNameList.GetObject()->mName.View(),
            "L");
}

TEST(NoteNameList, ASecondOneInAPatchThrows204) {
  const Test_ParsedNames parsed = Parse(PatchWith("<NoteNameList/><NoteNameList/>"));
  EXPECT_EQ(parsed.mCode, 204);
  EXPECT_EQ(parsed.mFault.message, "<patch> may only contain one <noteNameList>");
}

TEST(NoteNameList, MayHaveNoNameOrAnEmptyOne) {
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList/>")), 0);
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList Name=''/>")), 0);
  EXPECT_EQ(CodeOf(Test_Master("<PatchNameList Name='L'/><NoteNameList Name=''/>")), 0);
}

TEST(NoteNameList, WithANameItIsRefusedBehindAPatchListWithoutOne) {
  const std::string bank =
      "<ChannelNameSet Name='S'><PatchBank Name='B'><PatchNameList/></PatchBank></ChannelNameSet>";
  const Test_ParsedNames parsed = Parse(Test_Master(bank + "<NoteNameList Name='N'/>"));
  EXPECT_EQ(parsed.mCode, 206);
  EXPECT_EQ(parsed.mFault.message, "patch name list string is empty");
  EXPECT_EQ(CodeOf(Test_Master(bank + "<NoteNameList/>")), 0);
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList Name='N'/>" + bank)), 0);
  EXPECT_EQ(CodeOf(Test_Master(bank + "<PatchNameList Name='L'/><NoteNameList Name='N'/>")), 0);
}

TEST(NoteNameList, BeforeAnyPatchListTheTestPasses) {
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList Name='N'/>")), 0);
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList Name=''/>")), 0);
}

TEST(NoteNameList, APatchListOfARefusedRecordStillCountsAsTheLastOne) {
  const Test_TempFolder folder;
  Test_NamesParser parser(
      folder.MakeFile(
          "d.midnam",
          Test_Document("<MasterDeviceNames><ChannelNameSet Name='S'><PatchBank Name='B'><PatchNameList/>"
                        "</PatchBank></ChannelNameSet></MasterDeviceNames>"
                        "<MasterDeviceNames><NoteNameList Name='N'/></MasterDeviceNames>")),
      false);
  int code = 0;
  try {
    parser.Parse();
  } catch (int thrown) {
    code = thrown;
  }
  EXPECT_EQ(code, 206);
  EXPECT_EQ(parser.mHanded, 1);
}

TEST(NoteNameList, TheTestComesBeforeAWrongParent) {
  EXPECT_EQ(CodeOf(Test_Master(
                "<ChannelNameSet Name='S'><PatchBank Name='B'><PatchNameList/><NoteNameList Name='N'/>"
                "</PatchBank></ChannelNameSet>")),
            206);
  EXPECT_EQ(CodeOf(Test_Master("<ChannelNameSet Name='S'><PatchBank Name='B'><PatchNameList/><NoteNameList/>"
                               "</PatchBank></ChannelNameSet>")),
            102);
}

TEST(ControlNameList, GoesToTheDeviceTheModeOrThePatch) {
  for (const char* elementP : {"MasterDeviceNames", "ExtendingDeviceNames", "StandardDeviceMode"}) {
    const std::string element = elementP;
    const Test_ParsedNames parsed =
        Parse(Test_Document("<" + element + "><ControlNameList Name='L'/></" + element + ">"));
    EXPECT_EQ(parsed.Controls().mName.View(), "L") << element;
  }
  EXPECT_EQ(Parse(Test_Master("<CustomDeviceMode Name='M'><ControlNameList Name='L'/></CustomDeviceMode>"))
                .Mode()
                .mControlNameLists.at(0)
                .GetObject()
                ->mName.View(),
            "L");
  EXPECT_EQ(
      Parse(PatchWith("<ControlNameList Name='L'/>")).Patches()[0].mControlNameList.GetObject()->mName.View(),
      "L");
}

TEST(ControlNameList, ASecondOneInAPatchThrows205) {
  const Test_ParsedNames parsed = Parse(PatchWith("<ControlNameList/><ControlNameList/>"));
  EXPECT_EQ(parsed.mCode, 205);
  EXPECT_EQ(parsed.mFault.message, "<patch> may only contain one <controlNameList>");
}

TEST(ControlNameList, AnEmptyNameGives206BeforeAWrongParent) {
  for (const std::string& document :
       {Test_Master("<ControlNameList Name=''/>"), std::string("<ControlNameList Name=''/>"),
        BankWith("<ControlNameList Name=''/>")}) {
    const Test_ParsedNames parsed = Parse(document);
    EXPECT_EQ(parsed.mCode, 206) << document;
    EXPECT_EQ(parsed.mFault.message, "control name list string is empty");
  }
  EXPECT_EQ(CodeOf(Test_Master("<ControlNameList/>")), 0);
}

TEST(ValueNameList, GoesToTheDeviceOrTheMode) {
  for (const char* elementP : {"MasterDeviceNames", "ExtendingDeviceNames", "StandardDeviceMode"}) {
    const std::string element = elementP;
    const Test_ParsedNames parsed =
        Parse(Test_Document("<" + element + "><ValueNameList Name='L'/></" + element + ">"));
    EXPECT_EQ(parsed.Values().mName.View(), "L") << element;
  }
  EXPECT_EQ(Parse(Test_Master("<CustomDeviceMode Name='M'><ValueNameList Name='L'/></CustomDeviceMode>"))
                .Mode()
                .mValueNameLists.at(0)
                .GetObject()
                ->mName.View(),
            "L");
}

TEST(ValueNameList, AnEmptyNameGives206BeforeAWrongParent) {
  for (const std::string& document :
       {Test_Master("<ValueNameList Name=''/>"), std::string("<ValueNameList Name=''/>"),
        ControlWith("<Values Min='0' Max='1'><ValueNameList Name=''/></Values>")}) {
    const Test_ParsedNames parsed = Parse(document);
    EXPECT_EQ(parsed.mCode, 206) << document;
    EXPECT_EQ(parsed.mFault.message, "value name list string is empty");
  }
}

TEST(ValueNameList, InsideValuesItIsAContainmentFaultInEveryCase) {
  const Test_ParsedNames parsed =
      Parse(ControlWith("<Values Min='0' Max='1'><ValueNameList Name='V'/></Values>"));
  EXPECT_EQ(parsed.mCode, 102);
  EXPECT_EQ(parsed.mFault.message, "<ValueNameList> not allowed within <Values>");
  EXPECT_EQ(CodeOf(ControlWith("<Values Min='0' Max='1'><ValueNameList/></Values>")), 102);
}

// A second list in one controller is only reached by going on after the first one's fault.
TEST(ValueNameList, ASecondOneInAControlThrows207) {
  const Test_TempFolder folder;
  Test_NamesParser parser(
      folder.MakeFile("d.midnam", ControlWith("<Values Min='0' Max='1'><ValueNameList Name='V'/></Values>")));
  const auto code = [&] {
    try {
      parser.Parse();
    } catch (int thrown) {
      return thrown;
    }
    return 0;
  };
  EXPECT_EQ(code(), 102);
  parser.Reset(folder.MakeFile("e.midnam", "<ValueNameList Name='W'/>"));
  EXPECT_EQ(code(), 207);
  EXPECT_EQ(parser.GetFault().message, "<control> may only contain one <valueNameList>");
}

// ---- what lists hold ----

TEST(Patch, TextsAndProgramAreStored) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<PatchNameList Name='L'><Patch Number='A01' Name='Piano' ProgramChange='5'/><Patch Number='' Name=''/>"
      "</PatchNameList>"));
  ASSERT_EQ(parsed.Patches().size(), 2u);
  const midixml::Patch& patch = parsed.Patches()[0];
  EXPECT_EQ(patch.mNumber.View(), "A01");
  EXPECT_EQ(patch.mName.View(), "Piano");
  EXPECT_EQ(Test_Bytes(patch.mCommands), (Bytes{0xC0, 5}));
  EXPECT_EQ(parsed.Patches()[1].mCommands.GetLength(), 0);
  EXPECT_TRUE(parsed.Patches()[1].mNumber.IsEmpty());
}

TEST(Patch, WithoutNumberThrows8AndSoWithoutName) {
  const Test_ParsedNames parsed =
      Parse(Test_Master("<PatchNameList Name='L'><Patch Name='P'/></PatchNameList>"));
  EXPECT_EQ(parsed.mCode, 8);
  EXPECT_EQ(parsed.mFault.message, "<Patch> missing required attribute 'Number'");
  EXPECT_EQ(CodeOf(Test_Master("<PatchNameList Name='L'><Patch Number='1'/></PatchNameList>")), 8);
}

TEST(Patch, ProgramIsStoredInOneByteWithoutAMask) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<PatchNameList Name='L'><Patch Number='1' Name='P' ProgramChange='300'/></PatchNameList>"));
  EXPECT_EQ(Test_Bytes(parsed.Patches()[0].mCommands), (Bytes{0xC0, 44}));
  EXPECT_EQ(CodeOf(Test_Master(
                "<PatchNameList Name='L'><Patch Number='1' Name='P' ProgramChange='x'/></PatchNameList>")),
            103);
}

TEST(NoteGroup, TheListShowsItsGroupsByNameAndWithoutNotes) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<NoteNameList Name='N'><NoteGroup Name='Drums'><Note Number='36' Name='Kick'/></NoteGroup><NoteGroup/>"
      "<Note Number='60' Name='C'/></NoteNameList>"));
  EXPECT_EQ(parsed.mCode, 0);
  ASSERT_EQ(parsed.Notes().mGroups.size(), 2u);
  EXPECT_EQ(parsed.Notes().mGroups[0].mName.View(), "Drums");
  EXPECT_TRUE(parsed.Notes().mGroups[0].empty());
  EXPECT_TRUE(parsed.Notes().mGroups[1].mName.IsEmpty());
  ASSERT_EQ(parsed.Notes().mNotes.size(), 1u);
  EXPECT_EQ(parsed.Notes().mNotes[0].mNumber, 60);
}

TEST(Note, NumberIsStoredInEightBits) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<NoteNameList><Note Number='127' Name='a'/><Note Number='256' Name='b'/><Note Number='-1' Name='c'/>"
      "</NoteNameList>"));
  EXPECT_EQ(parsed.Notes().mNotes.at(0).mNumber, 127);
  EXPECT_EQ(parsed.Notes().mNotes.at(1).mNumber, 0);
  EXPECT_EQ(parsed.Notes().mNotes.at(2).mNumber, 255);
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList><Note Name='a'/></NoteNameList>")), 8);
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList><Note Number='1'/></NoteNameList>")), 8);
  EXPECT_EQ(CodeOf(Test_Master("<NoteNameList><Note Number='C3' Name='a'/></NoteNameList>")), 103);
}

TEST(Control, TypesAreComparedExactly) {
  const std::vector<std::pair<std::string, int>> types = {{"", 0},
                                                          {"Type='7bit'", Control::k7Bit},
                                                          {"Type='14bit'", Control::k14Bit},
                                                          {"Type='RPN'", Control::kRPN},
                                                          {"Type='NRPN'", Control::kNRPN}};
  for (const auto& [attribute, type] : types) {
    const Test_ParsedNames parsed = Parse(
        Test_Master("<ControlNameList><Control " + attribute + " Number='1' Name='N'/></ControlNameList>"));
    EXPECT_EQ(parsed.mCode, 0) << attribute;
    EXPECT_EQ(parsed.Controls()[0].mType, type) << attribute;
  }
  for (const char* typeP : {"7Bit", "rpn", "", " 7bit", "14"}) {
    EXPECT_EQ(CodeOf(Test_Master(std::string("<ControlNameList><Control Type='") + typeP +
                                 "' Number='1' Name='N'/></ControlNameList>")),
              208)
        << typeP;
  }
}

TEST(Control, AnUnknownTypeThrows208BeforeNumberIsRead) {
  const Test_ParsedNames parsed =
      Parse(Test_Master("<ControlNameList><Control Type='9bit'/></ControlNameList>"));
  EXPECT_EQ(parsed.mCode, 208);
  EXPECT_EQ(parsed.mFault.message, "unknown control type: 9bit");
  EXPECT_EQ(
      CodeOf(Test_Master("<ControlNameList><Control Type='9bit' Number='x' Name='N'/></ControlNameList>")),
      208);
}

TEST(Control, NumberIsStoredInSixteenBitsAndRangesStartAtZero) {
  const Test_ParsedNames parsed =
      Parse(Test_Master("<ControlNameList><Control Number='16383' Name='a'/><Control Number='65537' "
                        "Name='b'/></ControlNameList>"));
  EXPECT_EQ(parsed.Controls()[0].mNumber, 16383);
  EXPECT_EQ(parsed.Controls()[1].mNumber, 1);
  EXPECT_EQ(parsed.Controls()[0].mMin, 0.0f);
  EXPECT_EQ(parsed.Controls()[0].mMax, 0.0f);
  EXPECT_EQ(parsed.Controls()[0].mDefault, 0.0f);
}

TEST(Values, AreStoredInTheControl) {
  const Test_ParsedNames parsed = Parse(ControlWith("<Values Min='-1.5' Max='127' Default='64.25'/>"));
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_EQ(parsed.Controls()[0].mMin, -1.5f);
  EXPECT_EQ(parsed.Controls()[0].mMax, 127.0f);
  EXPECT_EQ(parsed.Controls()[0].mDefault, 64.25f);
  EXPECT_EQ(CodeOf(ControlWith("<Values Min='0'/>")), 8);
  EXPECT_EQ(CodeOf(ControlWith("<Values Max='0'/>")), 8);
  EXPECT_EQ(CodeOf(ControlWith("<Values Min='x'/>")), 104);
  EXPECT_EQ(CodeOf(ControlWith("<Values Min='0' Max='1' Default='x'/>")), 104);
}

TEST(Values, ReadAsInTheCLocaleUnderAGermanOne) {
  const Test_GermanLocale german;
  const Test_ParsedNames parsed = Parse(ControlWith("<Values Min='0.5' Max='1,5'/>"));
  EXPECT_EQ(parsed.Controls()[0].mMin, 0.5f);
  EXPECT_EQ(parsed.Controls()[0].mMax, 1.0f);
}

TEST(UsesValueNameList, NameIsStoredInTheControl) {
  const Test_ParsedNames parsed =
      Parse(ControlWith("<Values Min='0' Max='1'><UsesValueNameList Name='V'/></Values>"));
  EXPECT_EQ(parsed.Controls()[0].mValueNameList.mName.View(), "V");
  EXPECT_EQ(CodeOf(ControlWith("<Values Min='0' Max='1'><UsesValueNameList/></Values>")), 8);
}

TEST(Value, NumberIsStoredInSixteenBits) {
  const Test_ParsedNames parsed =
      Parse(Test_Master("<ValueNameList Name='V'><Value Number='300' Name='a'/><Value Number='65536' "
                        "Name='b'/></ValueNameList>"));
  EXPECT_EQ(parsed.Values()[0].mNumber, 300);
  EXPECT_EQ(parsed.Values()[0].mName.View(), "a");
  EXPECT_EQ(parsed.Values()[1].mNumber, 0);
  EXPECT_EQ(CodeOf(Test_Master("<ValueNameList Name='V'><Value Name='a'/></ValueNameList>")), 8);
  EXPECT_EQ(CodeOf(Test_Master("<ValueNameList Name='V'><Value Number='1'/></ValueNameList>")), 8);
}

// ---- commands ----

TEST(MIDICommands, EachElementAppendsItsBytes) {
  EXPECT_EQ(BankCommands("<MIDIDelay Milliseconds='100'/>"), (Bytes{0xFF, 0x00, 100}));
  EXPECT_EQ(BankCommands("<NoteOn Note='60' Velocity='99'/>"), (Bytes{0x90, 60, 99}));
  EXPECT_EQ(BankCommands("<NoteOff Note='60' Velocity='98'/>"), (Bytes{0x80, 60, 98}));
  EXPECT_EQ(BankCommands("<PolyKeyPressure Note='61' Pressure='7'/>"), (Bytes{0xA0, 61, 7}));
  EXPECT_EQ(BankCommands("<ControlChange Control='32' Value='5'/>"), (Bytes{0xB0, 32, 5}));
  EXPECT_EQ(BankCommands("<ProgramChange Number='9'/>"), (Bytes{0xC0, 9}));
  EXPECT_EQ(BankCommands("<ChannelKeyPressure Pressure='8'/>"), (Bytes{0xD0, 8}));
  EXPECT_EQ(BankCommands("<PitchBendChange Value='8192'/>"), (Bytes{0xE0, 0x00, 0x40}));
  EXPECT_EQ(BankCommands("<AllSoundOff/>"), (Bytes{0xB0, 0x78, 0x00}));
  EXPECT_EQ(BankCommands("<ResetAllControllers/>"), (Bytes{0xB0, 0x79, 0x00}));
  EXPECT_EQ(BankCommands("<LocalControl Value='off'/>"), (Bytes{0xB0, 0x7A, 0x00}));
  EXPECT_EQ(BankCommands("<LocalControl Value='on'/>"), (Bytes{0xB0, 0x7A, 0x7F}));
  EXPECT_EQ(BankCommands("<AllNotesOff/>"), (Bytes{0xB0, 0x7B, 0x00}));
  EXPECT_EQ(BankCommands("<OmniOff/>"), (Bytes{0xB0, 0x7C, 0x00}));
  EXPECT_EQ(BankCommands("<OmniOn/>"), (Bytes{0xB0, 0x7D, 0x00}));
  EXPECT_EQ(BankCommands("<MonoMode/>"), (Bytes{0xB0, 0x7E, 0x00}));
  EXPECT_EQ(BankCommands("<PolyMode/>"), (Bytes{0xB0, 0x7F, 0x00}));
  EXPECT_EQ(BankCommands("<SysEx>F0 43 10 F7</SysEx>"), (Bytes{0xF0, 0x43, 0x10, 0xF7}));
  EXPECT_EQ(BankCommands("<SysEx><SysExDeviceID Multiplier='1' Offset='2'/></SysEx>"),
            (Bytes{0xFF, 0x01, 1, 2}));
  EXPECT_EQ(BankCommands("<SysEx><SysExChannel Multiplier='3' Offset='4'/></SysEx>"),
            (Bytes{0xFF, 0x02, 3, 4}));
}

TEST(MIDICommands, ValuesGoIntoOneByteWithoutAMask) {
  EXPECT_EQ(BankCommands("<ControlChange Control='-1' Value='256'/>"), (Bytes{0xB0, 255, 0}));
  EXPECT_EQ(BankCommands("<ProgramChange Number='200'/>"), (Bytes{0xC0, 200}));
  EXPECT_EQ(BankCommands("<MIDIDelay Milliseconds='300'/>"), (Bytes{0xFF, 0x00, 44}));
}

TEST(PitchBendChange, ValueIsSplitIntoTwoTimesSevenBits) {
  EXPECT_EQ(BankCommands("<PitchBendChange Value='16383'/>"), (Bytes{0xE0, 0x7F, 0x7F}));
  EXPECT_EQ(BankCommands("<PitchBendChange Value='16384'/>"), (Bytes{0xE0, 0x00, 0x00}));
  EXPECT_EQ(BankCommands("<PitchBendChange Value='-1'/>"), (Bytes{0xE0, 0x7F, 0x7F}));
}

TEST(LocalControl, AnyOtherTextAppendsNothingAndDoesNotFail) {
  EXPECT_EQ(BankCommands("<LocalControl Value='maybe'/>"), Bytes{});
  EXPECT_EQ(BankCommands("<LocalControl Value='ON'/>"), Bytes{});
  EXPECT_EQ(BankCommands("<LocalControl Value=''/>"), Bytes{});
}

TEST(MIDICommands, RequiredAttributesThrow8) {
  for (const char* elementP :
       {"<MIDIDelay/>", "<NoteOn Note='1'/>", "<NoteOn Velocity='1'/>", "<NoteOff Note='1'/>",
        "<NoteOff Velocity='1'/>", "<PolyKeyPressure Note='1'/>", "<PolyKeyPressure Pressure='1'/>",
        "<ControlChange Control='1'/>", "<ControlChange Value='1'/>", "<ProgramChange/>",
        "<ChannelKeyPressure/>", "<PitchBendChange/>", "<LocalControl/>"}) {
    EXPECT_EQ(CodeOf(BankWith(std::string("<MIDICommands>") + elementP + "</MIDICommands>")), 8) << elementP;
  }
}

TEST(MIDICommands, AttributesThatAreNoNumbersThrow103) {
  for (const char* elementP : {"<MIDIDelay Milliseconds='x'/>", "<NoteOn Note='x' Velocity='1'/>",
                               "<ControlChange Control='1' Value=''/>", "<PitchBendChange Value='up'/>"}) {
    EXPECT_EQ(CodeOf(BankWith(std::string("<MIDICommands>") + elementP + "</MIDICommands>")), 103)
        << elementP;
  }
}

TEST(SysEx, ItsBytesGoBehindWhatTheSameCommandsAlreadyHold) {
  EXPECT_EQ(
      BankCommands(
          "<ControlChange Control='0' Value='1'/><SysEx>F0 43 10 F7</SysEx><ProgramChange Number='2'/>"),
      (Bytes{0xB0, 0, 1, 0xF0, 0x43, 0x10, 0xF7, 0xC0, 2}));
}

TEST(SysEx, PlaceholdersStandWhereTheyStandInTheText) {
  EXPECT_EQ(BankCommands("<SysEx>F0 41 <SysExDeviceID Multiplier='1' Offset='16'/> 42 F7</SysEx>"),
            (Bytes{0xF0, 0x41, 0xFF, 0x01, 1, 16, 0x42, 0xF7}));
}

TEST(SysEx, PlaceholdersWithoutAttributesHaveZeroes) {
  EXPECT_EQ(BankCommands("<SysEx><SysExDeviceID/><SysExChannel Offset='5'/></SysEx>"),
            (Bytes{0xFF, 0x01, 0, 0, 0xFF, 0x02, 0, 5}));
}

TEST(SysEx, EachPieceOfTextIsHandledByItself) {
  // Lines are pieces: what stops one piece doesn't stop the next.
  EXPECT_EQ(BankCommands("<SysEx>F0 zz 11\n22 33</SysEx>"), (Bytes{0xF0, 0x22, 0x33}));
}

TEST(SysEx, ANumberAboveTwoDigitsThrows106) {
  const Test_ParsedNames parsed = Parse(BankWith("<MIDICommands><SysEx>F0 1234 F7</SysEx></MIDICommands>"));
  EXPECT_EQ(parsed.mCode, 106);
  EXPECT_EQ(parsed.mFault.message, "invalid hex byte: 1234");
  EXPECT_EQ(CodeOf(BankWith("<MIDICommands><SysEx>-1</SysEx></MIDICommands>")), 106);
}

TEST(SysEx, BehindAFaultNoFurtherPieceOfTheTextIsRead) {
  // Text of two bytes a character comes in pieces of a kilobyte, all within one piece of the file.
  const std::string narrow =
      BankWith("<MIDICommands><SysEx>1234 " + std::string(3000, ' ') + "5678</SysEx></MIDICommands>");
  std::string wide = "\xFF\xFE";
  for (const char character : narrow) wide += {character, '\0'};
  const Test_ParsedNames parsed = Parse(wide);
  EXPECT_EQ(parsed.mCode, 106);
  EXPECT_EQ(parsed.mFault.message, "invalid hex byte: 1234");
}

TEST(SysEx, ALongMessageOfManyPiecesIsWhole) {
  // One digit a byte, so that none is cut where a piece of the file ends.
  std::string text = "<SysEx>";
  for (int index = 0; index < 60000; ++index) text += index % 16 == 15 ? "F\n" : "F ";
  const Bytes bytes = BankCommands(text + "</SysEx>");
  EXPECT_EQ(bytes.size(), 60000u);
  EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0x0F), 60000);
}

TEST(SysEx, AByteThatAPieceOfTheFileCutsBecomesTwo) {
  const std::string end =
      "</MIDICommands></PatchBank></ChannelNameSet></MasterDeviceNames></MIDINameDocument>";
  std::string document = BankWith("<MIDICommands><SysEx>");
  document.resize(document.find("<SysEx>") + 7);
  document.resize(16383, ' ');
  const Test_ParsedNames parsed = Parse(document + "7F</SysEx>" + end);
  ASSERT_EQ(parsed.mCode, 0);
  EXPECT_EQ(Test_Bytes(parsed.Bank().mCommands), (Bytes{0x07, 0x0F}));
}

TEST(PatchMIDICommands, GoToThePatch) {
  const Test_ParsedNames parsed =
      Parse(PatchWith("<PatchMIDICommands><ControlChange Control='0' Value='1'/><ProgramChange "
                      "Number='2'/></PatchMIDICommands>"));
  EXPECT_EQ(Test_Bytes(parsed.Patches()[0].mCommands), (Bytes{0xB0, 0, 1, 0xC0, 2}));
}

TEST(PatchMIDICommands, StandBehindTheProgramOfTheAttribute) {
  const Test_ParsedNames parsed = Parse(Test_Master(
      "<PatchNameList Name='L'><Patch Number='1' Name='P' ProgramChange='7'><PatchMIDICommands><OmniOn/>"
      "</PatchMIDICommands></Patch></PatchNameList>"));
  EXPECT_EQ(Test_Bytes(parsed.Patches()[0].mCommands), (Bytes{0xC0, 7, 0xB0, 0x7D, 0x00}));
}

TEST(PatchMIDICommands, HoldNoSysEx) {
  EXPECT_EQ(CodeOf(PatchWith("<PatchMIDICommands><SysEx>F0</SysEx></PatchMIDICommands>")), 102);
}

// ---- which fault wins ----

TEST(FaultOrder, TheParentComesBeforeTheAttributes) {
  EXPECT_EQ(CodeOf(Test_Master("<Patch/>")), 102);
  EXPECT_EQ(CodeOf(Test_Master("<Control Type='9bit'/>")), 102);
  EXPECT_EQ(CodeOf(Test_Master("<ControlChange Control='x'/>")), 102);
  EXPECT_EQ(CodeOf("<ChannelNameSet Name=''/>"), 100);
}

TEST(FaultOrder, TheFirstInTheDocumentWinsOverWhatIsMalformedBehindIt) {
  const Test_ParsedNames parsed = Parse("<MIDINameDocument>\n<Patch/>\n</Wrong>");
  EXPECT_EQ(parsed.mCode, 102);
  EXPECT_EQ(parsed.mFault.code, 102);
  EXPECT_EQ(parsed.mFault.line, 2u);
  EXPECT_EQ(CodeOf("<MIDINameDocument></Wrong><Patch/>"), 7);
}

TEST(FaultOrder, AttributesComeInTheOrderOfTheirRow) {
  EXPECT_EQ(CodeOf(Test_Master("<ControlNameList><Control Number='x'/></ControlNameList>")), 103);
  EXPECT_EQ(CodeOf(ControlWith("<Values Max='x'/>")), 8);
  EXPECT_EQ(CodeOf(BankWith("<MIDICommands><NoteOn Velocity='x'/></MIDICommands>")), 8);
  EXPECT_EQ(CodeOf(BankWith("<MIDICommands><NoteOn Note='x'/></MIDICommands>")), 103);
  EXPECT_EQ(CodeOf(Test_Master("<ChannelNameSet Name='S'><PatchBank ROM='x'/></ChannelNameSet>")), 8);
}

// ---- what is read past ----

TEST(Reading, UnknownElementsAndAttributesChangeNothing) {
  const Test_ParsedNames parsed = Parse(
      "<?xml version='1.0'?><MIDINameDocument Version='99' "
      "x='y'><Unknown><Patch/></Unknown><MasterDeviceNames z='1'>"
      "<Model a='b'>M</Model></MasterDeviceNames></MIDINameDocument>");
  EXPECT_EQ(parsed.mCode, 0);
  EXPECT_EQ(parsed.Device().mModels.at(0).View(), "M");
}

// What a document of one author, one model, one bank with a message and one patch reads as.
std::string Essence(const std::string& iDocument) {
  const Test_ParsedNames parsed = Parse(iDocument);
  if (parsed.mCode != 0) return "code " + std::to_string(parsed.mCode);
  std::string text = parsed.mAuthor + "|" + std::string(parsed.Device().mModels.at(0).View()) + "|";
  for (const int byte : Test_Bytes(parsed.Bank().mCommands)) text += std::to_string(byte) + " ";
  const midixml::Patch& patch = parsed.Patches().at(0);
  return text + "|" + patch.mName.AsString() + " " + patch.mNumber.AsString();
}

std::string OddDocument(const std::string& iPrologue, const std::string& iAuthor, const std::string& iModel,
                        const std::string& iBytes, const std::string& iPatch) {
  return iPrologue + "<MIDINameDocument><Author>" + iAuthor + "</Author><MasterDeviceNames><Model>" + iModel +
         "</Model><ChannelNameSet Name='S'><PatchBank Name='B'><MIDICommands><SysEx>" + iBytes +
         "</SysEx></MIDICommands></PatchBank></ChannelNameSet><PatchNameList Name='L'>" + iPatch +
         "</PatchNameList></MasterDeviceNames></MIDINameDocument>";
}

TEST(Reading, ADocumentWrittenInOddWaysReadsAsThePlainOne) {
  const std::string plain =
      OddDocument("", "Ann & Bob", "X<1>", "F0 01 F7", "<Patch Number='7' Name='\xC3\xA4'/>");
  // A bare & and < are no XML: the plain text is what the odd ways below stand for.
  EXPECT_EQ(Essence(plain), "code 7");
  const std::string expected = "Ann & Bob|X<1>|240 1 247 |\xC3\xA4 7";
  const std::string patch = "<Patch Number='7' Name='\xC3\xA4'/>";
  EXPECT_EQ(Essence(OddDocument("\xEF\xBB\xBF", "Ann &amp; Bob", "X&lt;1>", "F0 01 F7", patch)), expected);
  EXPECT_EQ(Essence(OddDocument("", "Ann <![CDATA[& B]]>ob", "<![CDATA[X<1>]]>", "<![CDATA[F0 01 ]]>F7",
                                "<Patch\nName = \"&#xE4;\"\tNumber='&#55;'></Patch >")),
            expected);
  EXPECT_EQ(
      Essence(OddDocument("<?xml version='1.0'?><!-- c -->", "Ann<!-- c --> &#38; Bob", "X&lt;<?pi x?>1>",
                          "F0<!-- F1 --> 01\r\n\tF7", "text<!-- <Patch/> -->" + patch)),
      expected);
  EXPECT_EQ(Essence(OddDocument("<!DOCTYPE MIDINameDocument [<!ENTITY b '&#38;amp; Bob'><!ENTITY f 'F0 01'>"
                                "<!ATTLIST Patch Number CDATA '7'>]>",
                                "Ann &b;", "X&lt;1>", "&f; F7", "<Patch Name='&#228;'/>")),
            expected);
  EXPECT_EQ(Essence(OddDocument("<?xml version='1.0' encoding='ISO-8859-1'?>", "Ann &amp; Bob", "X&lt;1&gt;",
                                "F0 01 F7", "<Patch Number='7' Name='\xE4'/>")),
            expected);
}

TEST(Reading, ADocumentTypeElsewhereIsNotFetched) {
  EXPECT_EQ(CodeOf("<!DOCTYPE MIDINameDocument PUBLIC '-//x//y' 'http://nowhere.invalid/z.dtd'>" +
                   Test_Master("<Model>&unknown;</Model>")),
            0);
  EXPECT_EQ(CodeOf(Test_Master("<Model>&unknown;</Model>")), 7);
}

TEST(Reading, EncodingsThatExpatDoesNotKnowThrow7) {
  EXPECT_EQ(CodeOf("<?xml version='1.0' encoding='windows-1252'?><MIDINameDocument/>"), 7);
  EXPECT_EQ(CodeOf("<?xml version='1.0' encoding='Shift_JIS'?><MIDINameDocument/>"), 7);
  EXPECT_EQ(CodeOf(Test_Document("<Author>\xE4</Author>")), 7);
}

TEST(Reading, ADocumentCutAnywhereThrows7) {
  const std::string document = Test_Master("<Model>M</Model>");
  for (size_t length = 0; length < document.size(); ++length) {
    EXPECT_EQ(CodeOf(document.substr(0, length)), 7) << length;
  }
}

TEST(Reading, TagsAndAttributeNamesAreCaseSensitive) {
  EXPECT_EQ(CodeOf("<midiNameDocument><Patch/></midiNameDocument>"), 0);
  EXPECT_EQ(CodeOf(Test_Master("<PatchNameList name='L'/>")), 8);
}

TEST(Reading, ARecordWhoseElementDidNotEndIsLost) {
  const Test_ParsedNames parsed = Parse(
      Test_Document("<MasterDeviceNames/><MasterDeviceNames><Model>M</Model><Patch/></MasterDeviceNames>"));
  EXPECT_EQ(parsed.mCode, 102);
  EXPECT_EQ(parsed.mDevices.size(), 1u);
}

TEST(HandleDeviceNames, GetsARecordWhoseReferencesAreResolved) {
  class Parser : public midixml::MIDINameDocumentParser {
   public:
    using MIDINameDocumentParser::MIDINameDocumentParser;
    bool mIsResolved = false;

   protected:
    bool HandleDeviceNames(midixml::MIDIDeviceNames* iDeviceNamesP) override {
      mIsResolved = iDeviceNamesP->mModes.at(0).GetObject()->mChannelNameSets[0].GetObject() != nullptr;
      return false;
    }
  };
  const Test_MemoryFile file(
      Test_Master("<CustomDeviceMode Name='M'><ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' "
                  "NameSet='S'/></ChannelNameSetAssignments></CustomDeviceMode><ChannelNameSet Name='S'/>"));
  Parser parser("", file.Path(), 0);
  parser.Parse();
  EXPECT_TRUE(parser.mIsResolved);
}

TEST(Reading, RefusedRecordsAreDestroyedAndTheParserGoesOn) {
  const Test_TempFolder folder;
  Test_NamesParser parser(
      folder.MakeFile("d.midnam", Test_Document("<MasterDeviceNames><PatchNameList Name='L'/>"
                                                "</MasterDeviceNames><ExtendingDeviceNames/>")),
      false);
  parser.Parse();
  EXPECT_EQ(parser.mHanded, 2);
}

TEST(Reading, AParserLeftAsItIsRefusesEveryRecord) {
  const Test_TempFolder folder;
  midixml::MIDINameDocumentParser parser("MIDINameDocument", folder.MakeFile("d.midnam", Test_Master("")), 0);
  EXPECT_NO_THROW(parser.Parse());
}

TEST(Reading, AfterAFaultTheRootOfTheNextDocumentHasAParent) {
  const Test_TempFolder folder;
  Test_NamesParser parser(folder.MakeFile("bad.midnam", Test_Master("<Patch/>")));
  EXPECT_THROW(parser.Parse(), int);
  parser.Reset(folder.MakeFile("good.midnam", Test_Master("")));
  try {
    parser.Parse();
    FAIL() << "the root had no parent";
  } catch (int code) {
    EXPECT_EQ(code, 102);
  }
}

TEST(Reading, AfterAFaultElementsThatFitWhereItHappenedGoToTheUnfinishedRecord) {
  const Test_TempFolder folder;
  Test_NamesParser parser(
      folder.MakeFile("bad.midnam", Test_Master("<PatchNameList Name='L'><Note/></PatchNameList>")));
  EXPECT_THROW(parser.Parse(), int);
  parser.Reset(folder.MakeFile("good.midnam", "<Patch Number='1' Name='P' ProgramChange='1'/>"));
  EXPECT_NO_THROW(parser.Parse());
  EXPECT_EQ(parser.mHanded, 0);
}

// The codes of documents that one parser reads one after the other.
std::vector<int> CodesInARow(const std::vector<std::string>& iDocuments) {
  Test_NamesParser parser("");
  std::vector<int> codes;
  for (const std::string& document : iDocuments) {
    const Test_MemoryFile file(document);
    parser.Reset(file.Path());
    try {
      parser.Parse();
      codes.push_back(0);
    } catch (int code) {
      codes.push_back(code);
    }
  }
  EXPECT_EQ(parser.mHanded, 0);
  return codes;
}

TEST(Reading, BehindAListThatWasRefusedInsideAnotherTheOuterOneIsStillThere) {
  using Codes = std::vector<int>;
  const std::string begin = "<MIDINameDocument><MasterDeviceNames>";
  EXPECT_EQ(CodesInARow({begin + "<NoteNameList><NoteNameList/>", "<Note Number='1' Name='n'/>",
                         "<NoteGroup><Note Number='1' Name='n'/></NoteGroup>"}),
            (Codes{102, 0, 0}));
  EXPECT_EQ(CodesInARow({begin + "<ControlNameList><ControlNameList/>",
                         "<Control Number='1' Name='c'><Note/></Control>", "<Values Min='0' Max='1'/>"}),
            (Codes{102, 102, 0}));
  EXPECT_EQ(CodesInARow({begin + "<ValueNameList><ValueNameList Name=''/>", "<Value Number='1' Name='v'/>"}),
            (Codes{206, 0}));
  EXPECT_EQ(CodesInARow({begin + "<PatchNameList Name='a'><PatchNameList Name='b'/>",
                         "<Patch Number='1' Name='P'><PatchNameList Name='c'/></Patch>",
                         "<PatchMIDICommands><OmniOn/></PatchMIDICommands>"}),
            (Codes{102, 102, 0}));
}

TEST(Reading, AFaultAtEveryPlaceOfADocumentLeavesAParserThatCanGo) {
  const std::string document = Test_Document(
      "<Author>A</Author><MasterDeviceNames><Manufacturer>M</Manufacturer><Model>X</Model><CustomDeviceMode "
      "Name='m'>"
      "<ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' NameSet='S'/></ChannelNameSetAssignments>"
      "<PatchNameList Name='own'><Patch Number='1' Name='P'><NoteNameList><NoteGroup Name='g'><Note "
      "Number='1' "
      "Name='n'/></NoteGroup></NoteNameList><PatchMIDICommands><NoteOn Note='1' "
      "Velocity='2'/></PatchMIDICommands>"
      "</Patch></PatchNameList></CustomDeviceMode><ChannelNameSet Name='S'><PatchBank "
      "Name='B'><MIDICommands><SysEx>F0 "
      "01 02 03 04 05 06 07 08 09 F7</SysEx></MIDICommands><PatchNameList/></PatchBank></ChannelNameSet>"
      "<ControlNameList><Control Number='1' Name='c'><Values Min='0' Max='1'/></Control></ControlNameList>"
      "</MasterDeviceNames>");
  const Test_MemoryFile whole(document);
  for (size_t cut = 0; cut < document.size(); ++cut) {
    const Test_MemoryFile begun(document.substr(0, cut));
    Test_NamesParser parser(begun.Path(), cut % 2 == 0);
    EXPECT_THROW(parser.Parse(), int) << cut;
    parser.Reset(whole.Path());
    if (cut % 3 == 0) continue;
    try {
      parser.Parse();
    } catch (int) {
    }
  }
}

}  // namespace
