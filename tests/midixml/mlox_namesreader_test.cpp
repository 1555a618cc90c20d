// SPDX-License-Identifier: MIT
#include "midixml/mlox_namesreader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cmn/sys_filelocposix.h"
#include "mdid/mdie_programevent.h"
#include "midixml/mlox_namesreaderpatchinfo.h"
#include "midixml/mlox_standardmodeparserimpl.h"
#include "tests/midixml/name_documents.h"
#include "tests/support/test_environment.h"

namespace {

using Names = std::vector<std::string>;

Sys_FileLoc At(const std::string& iPath) {
  return Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cUnknown));
}

std::string Controls(const std::vector<std::pair<int, int>>& iControls) {
  std::string text = "<MIDICommands>";
  for (const auto& [control, value] : iControls) {
    text +=
        "<ControlChange Control='" + std::to_string(control) + "' Value='" + std::to_string(value) + "'/>";
  }
  return text + "</MIDICommands>";
}

std::string Bank(const std::string& iName, const std::string& iList, const std::string& iCommands = "") {
  return "<PatchBank Name='" + iName + "'>" + iCommands + "<UsesPatchNameList Name='" + iList +
         "'/></PatchBank>";
}

// A list of patches, called after the list and their number, that programs from 0 on select.
std::string List(const std::string& iName, int iCount) {
  std::string text = "<PatchNameList Name='" + iName + "'>";
  for (int program = 0; program < iCount; ++program) {
    text += "<Patch Number='" + std::to_string(program + 1) + "' Name='" + iName + std::to_string(program) +
            "' ProgramChange='" + std::to_string(program) + "'/>";
  }
  return text + "</PatchNameList>";
}

std::string Mode(const std::string& iName, const std::string& iSet, int iChannel = 1,
                 const std::string& iContent = "") {
  return "<CustomDeviceMode Name='" + iName + "'><ChannelNameSetAssignments><ChannelNameSetAssign Channel='" +
         std::to_string(iChannel) + "' NameSet='" + iSet + "'/></ChannelNameSetAssignments>" + iContent +
         "</CustomDeviceMode>";
}

std::string Set(const std::string& iName, const std::string& iBanks) {
  return "<ChannelNameSet Name='" + iName + "'>" + iBanks + "</ChannelNameSet>";
}

std::string Device(const std::string& iContent) {
  return "<MasterDeviceNames><Manufacturer>Acme</Manufacturer><Model>One</Model>" + iContent +
         "</MasterDeviceNames>";
}

Mdie_ProgramEvent Event(std::optional<int> iMSB, std::optional<int> iLSB, int iProgram) {
  Mdie_ProgramEvent event;
  event.SetProgramEnable(true);
  event.SetProgram(static_cast<signed char>(iProgram));
  if (iMSB) {
    event.SetMSBBankEnable(true);
    event.SetMSBBank(static_cast<signed char>(*iMSB));
  }
  if (iLSB) {
    event.SetLSBBankEnable(true);
    event.SetLSBBank(static_cast<signed char>(*iLSB));
  }
  return event;
}

class NamesReaderTest : public testing::Test {
 protected:
  void MakeMaster(const std::string& iDevices) { mFolder.MakeFile("master.midnam", Test_Document(iDevices)); }

  // Adds an override whose document has one device with these lists.
  void AddOverride(const std::string& iBank, const std::string& iFile, const std::string& iList) {
    mOverrides.push_back(std::make_unique<Mlox_PatchNameBankInfo>(
        Mlox_PatchNameBankInfo{iBank, iFile.empty() ? Sys_FileLoc() : At(mFolder / iFile), iList}));
    mBanks.PushBack(mOverrides.back().get());
  }

  int Count(int iChannel = 0) {
    return mReader.CountPatches(At(mFolder / "master.midnam"), mBanks, mMode, mNameSet, iChannel,
                                mManufacturer, mModel);
  }
  int ReadBanks(int iChannel = 0) {
    return mReader.ReadBankNames(At(mFolder / "master.midnam"), mBanks, mMode, mNameSet, iChannel,
                                 mManufacturer, mModel);
  }
  int Thrown() {
    try {
      Count();
    } catch (int code) {
      return code;
    }
    return 0;
  }

  std::string NameOf(const Mdie_ProgramEvent& iEvent) {
    std::string name = "unchanged";
    return mReader.GetPatchName(iEvent, &name) ? name : "(" + name + ")";
  }
  // "MSB LSB select name" of the bank of a patch.
  std::string InfoOf(int iIndex) {
    const Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> info = mReader.GetPatchInfo(iIndex);
    if (!info) return "none";
    return std::to_string(info->GetMSBBank()) + " " + std::to_string(info->GetLSBBank()) + " " +
           (info->HasBankSelect() ? "select " : "- ") + info->GetBankName();
  }

  Test_TempFolder mFolder;
  Test_Environment mBase{"MLOX_PATCH_NAMES_DIR", mFolder / "nothing"};
  std::vector<std::unique_ptr<Mlox_PatchNameBankInfo>> mOverrides;
  Cmn_PolyVector<Mlox_PatchNameBankInfo*> mBanks;
  std::string mMode;
  std::string mNameSet;
  std::string mManufacturer = "Acme";
  std::string mModel = "One";
  Mlox_NamesReader mReader;
};

// ---- before any load ----

TEST_F(NamesReaderTest, BeforeAnyLoadThereIsNothingToAnswerFrom) {
  EXPECT_EQ(mReader.GetBankName(0), "");
  EXPECT_EQ(mReader.GetChannelNameSetName(), "");
  EXPECT_FALSE(mReader.GetPatchInfo(0));
  EXPECT_EQ(NameOf(Event({}, {}, 0)), "(unchanged)");
}

// ---- Load, step by step ----

TEST_F(NamesReaderTest, Step1NoFileGivesMinus6) {
  EXPECT_EQ(mReader.CountPatches(Sys_FileLoc(), mBanks, "", "", 0, "", ""), -6);
  EXPECT_EQ(mReader.ReadBankNames(Sys_FileLoc(), mBanks, "", "", 0, "", ""), -6);
}

TEST_F(NamesReaderTest, Step1AFileThatIsNotThereGivesMinus2) {
  EXPECT_EQ(Count(), -2);
  EXPECT_EQ(ReadBanks(), -2);
}

TEST_F(NamesReaderTest, Step1AChannelAbove15OrBelow0GivesMinus4AlsoWithoutAFile) {
  for (int channel : {16, 127, -1, -128}) {
    EXPECT_EQ(Count(channel), -4) << channel;
    EXPECT_EQ(ReadBanks(channel), -4) << channel;
    EXPECT_EQ(mReader.CountPatches(Sys_FileLoc(), mBanks, "", "", channel, "", ""), -4);
  }
}

TEST_F(NamesReaderTest, Step3AFaultOfTheMasterPassesThrough) {
  mFolder.MakeFile("master.midnam", "<MIDINameDocument><Patch/></MIDINameDocument>");
  EXPECT_EQ(Thrown(), 102);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "");
  EXPECT_FALSE(mReader.GetPatchInfo(0));
}

TEST_F(NamesReaderTest, Step3AFolderGivenAsAFileIsOnlineAndEndsInCode6) {
  mFolder.MakeFolder("master.midnam");
  EXPECT_EQ(Thrown(), 6);
}

TEST_F(NamesReaderTest, Step3APathWithASlashAtItsEndIsStripped) {
  MakeMaster(Device(Mode("M", "S") + Set("S", "")));
  const Sys_FileLoc file(
      std::make_shared<Sys_FileLocPosix>(mFolder / "master.midnam", Sys_FileType::cFolder));
  EXPECT_EQ(mReader.CountPatches(file, mBanks, "", "", 0, "", ""), 0);
}

TEST_F(NamesReaderTest, Step4ADocumentWhoseOnlyDeviceIsRefusedGivesMinus1) {
  MakeMaster(Device(Mode("M", "S") + Set("S", "")));
  mModel = "Two";
  EXPECT_EQ(Count(), -1);
  mModel = "One";
  mManufacturer = "Other";
  EXPECT_EQ(Count(), -1);
  mManufacturer = "";
  EXPECT_EQ(Count(), 0);
}

TEST_F(NamesReaderTest, Step6WithoutAModeNameTheFirstModeIsTaken) {
  MakeMaster(Device(Mode("A", "S") + Mode("B", "T") + Set("S", "") + Set("T", "")));
  EXPECT_EQ(Count(), 0);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "S");
}

TEST_F(NamesReaderTest, Step6AModeNameTakesTheFirstModeOfThatName) {
  MakeMaster(Device(Mode("A", "S") + Mode("B", "T") + Mode("B", "S") + Set("S", "") + Set("T", "")));
  mMode = "B";
  EXPECT_EQ(Count(), 0);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "T");
}

TEST_F(NamesReaderTest, Step6AnUnknownModeNameGivesMinus5UnlessThereIsOneModeOnly) {
  MakeMaster(Device(Mode("A", "S") + Mode("B", "S") + Set("S", "")));
  mMode = "C";
  EXPECT_EQ(Count(), -5);
  mMode = "b";
  EXPECT_EQ(Count(), -5) << "letter case counts";
  MakeMaster(Device(Mode("A", "S") + Set("S", "")));
  EXPECT_EQ(Count(), 0);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "S");
}

TEST_F(NamesReaderTest, Step7NoModeOrNoSetForTheChannelGivesMinus5) {
  MakeMaster(Device(Set("S", "")));
  EXPECT_EQ(Count(), -5);
  MakeMaster(Device(Mode("M", "S", 2) + Set("S", "")));
  EXPECT_EQ(Count(0), -5);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "");
  EXPECT_EQ(Count(1), 0);
  MakeMaster(Device(Mode("M", "T") + Set("S", "")));
  EXPECT_EQ(Count(), -5) << "a set that isn't there";
}

TEST_F(NamesReaderTest, Step7TheLastChannelIs15) {
  MakeMaster(Device(Mode("M", "S", 16) + Set("S", "")));
  EXPECT_EQ(Count(15), 0);
}

// ---- overrides of banks ----

TEST_F(NamesReaderTest, Step8ASingleOverrideChangesNothingAndItsFileIsStillParsed) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3)));
  mFolder.MakeFile("ext.midnam", Test_Document(Device(List("X", 7))));
  AddOverride("B", "ext.midnam", "X");
  EXPECT_EQ(Count(), 3);
  mFolder.MakeFile("ext.midnam", "no document");
  EXPECT_EQ(Thrown(), 7);
}

TEST_F(NamesReaderTest, Step8TheEntryBehindTheParsedOneIsUsed) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L") + Bank("B", "L")) + List("L", 3)));
  mFolder.MakeFile("first.midnam", Test_Document(Device(List("X", 7) + List("Y", 20))));
  mFolder.MakeFile("second.midnam", Test_Document(Device(List("X", 100) + List("Y", 100))));
  AddOverride("A", "first.midnam", "X");
  AddOverride("B", "second.midnam", "Y");
  // The first file is parsed, and bank B takes its list Y. The second file is parsed for nothing.
  EXPECT_EQ(Count(), 3 + 20);
}

TEST_F(NamesReaderTest, Step8EveryBankOfTheNameIsGivenTheList) {
  MakeMaster(
      Device(Mode("M", "S") + Set("S", Bank("B", "L") + Bank("b", "L") + Bank("B", "L")) + List("L", 3)));
  mFolder.MakeFile("first.midnam", Test_Document(Device(List("Y", 20))));
  AddOverride("none", "first.midnam", "");
  AddOverride("B", "first.midnam", "Y");
  EXPECT_EQ(Count(), 20 + 3 + 20);
  EXPECT_EQ(NameOf(Event({}, {}, 19)), "Y19") << "the lists outlive the extension's record";
}

TEST_F(NamesReaderTest, Step8AListThatTheExtensionLacksLeavesTheBankWithoutAny) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3)));
  mFolder.MakeFile("first.midnam", Test_Document(Device("")));
  AddOverride("none", "first.midnam", "");
  AddOverride("B", "first.midnam", "Y");
  EXPECT_EQ(Count(), 0);
}

TEST_F(NamesReaderTest, Step8AnExtensionWithoutAMatchingRecordIsSkipped) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3)));
  mFolder.MakeFile("first.midnam",
                   Test_Document("<MasterDeviceNames><Manufacturer>Other</Manufacturer><Model>One</Model>" +
                                 List("Y", 20) + "</MasterDeviceNames>"));
  AddOverride("none", "first.midnam", "");
  AddOverride("B", "first.midnam", "Y");
  EXPECT_EQ(Count(), 3);
}

TEST_F(NamesReaderTest, Step8AFileThatIsNotThereThrows5AndEndsTheLoad) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3)));
  AddOverride("B", "nothing.midnam", "X");
  EXPECT_EQ(Thrown(), 5);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "");
  EXPECT_FALSE(mReader.GetPatchInfo(0));
  EXPECT_EQ(NameOf(Event({}, {}, 0)), "(unchanged)");
}

TEST_F(NamesReaderTest, Step8AnEntryWithoutAFileParsesTheOneBeforeAgain) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3) + List("Z", 9)));
  AddOverride("none", "", "");
  AddOverride("B", "", "Z");
  EXPECT_EQ(Count(), 9);
}

// ---- a set chosen by name ----

TEST_F(NamesReaderTest, Step10WithoutASetNameTheModesSetIsUsed) {
  MakeMaster(Device(Mode("M", "T") + Set("S", "") + Set("T", "")));
  EXPECT_EQ(Count(), 0);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "T");
}

TEST_F(NamesReaderTest, Step11ASetNameTakesTheFirstSetOfThatName) {
  MakeMaster(Device(Mode("M", "S") + Set("S", "") + Set("T", Bank("B", "L")) + Set("T", "") + List("L", 3)));
  mNameSet = "T";
  EXPECT_EQ(Count(), 3);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "T");
}

TEST_F(NamesReaderTest, Step11AnUnknownSetNameKeepsTheModesSet) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3)));
  mNameSet = "t";
  EXPECT_EQ(Count(), 3);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "S");
}

TEST_F(NamesReaderTest, Step12ASetThatNoModeAssignsTakesItsListsFromTheDevice) {
  const std::string inMode = List("onlyInMode", 50);
  MakeMaster(Device(Mode("M", "S", 1, inMode) + Set("S", "") +
                    Set("T", Bank("A", "L") + Bank("B", "onlyInMode") + Bank("C", "L")) + List("L", 3) +
                    List("L", 100)));
  mNameSet = "T";
  EXPECT_EQ(Count(), 3 + 3);
}

TEST_F(NamesReaderTest, Step12ABankLeftWithoutAListIsLookedUpAlsoForAnUnknownSetName) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3) + List("Y", 20)));
  mFolder.MakeFile("first.midnam", Test_Document(Device("")));
  AddOverride("none", "first.midnam", "");
  AddOverride("B", "first.midnam", "Y");
  EXPECT_EQ(Count(), 0);
  mNameSet = "unknown";
  EXPECT_EQ(Count(), 20);
}

TEST_F(NamesReaderTest, Step12TheAcceptedRecordIsUsedAlsoWhenALaterOneWasRefused) {
  MakeMaster(Device(Mode("M", "S") + Set("S", "") + Set("T", Bank("A", "L")) + List("L", 3)) +
             "<MasterDeviceNames><Model>Other</Model>" + List("L", 99) + "</MasterDeviceNames>");
  mNameSet = "T";
  EXPECT_EQ(Count(), 3);
}

// ---- standard modes ----

class NamesReaderDeathTest : public NamesReaderTest {};

TEST_F(NamesReaderDeathTest, Step5AStandardModeThatLeavesTheChannelOpenReadsAllDocuments) {
  MakeMaster(Device("<SupportsStandardDeviceMode Name='GM'/>" + Mode("M", "S") + Set("S", "")));
  const Test_Environment base("MLOX_PATCH_NAMES_DIR", mFolder.Path());
  const auto loadedWith = [this](const std::string& iMode) {
    mMode = iMode;
    Count();
    return Mlox_StandardModeParserImpl::Instance().IsLoaded();
  };
  EXPECT_EXIT(std::_Exit(loadedWith("GM") ? 0 : 1), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(std::_Exit(loadedWith("M") ? 0 : 1), testing::ExitedWithCode(1), "");
  EXPECT_EXIT(std::_Exit(loadedWith("") ? 0 : 1), testing::ExitedWithCode(1), "");
}

TEST_F(NamesReaderDeathTest, Step5OtherModesAndChannelsThatHaveASetReadNoDocuments) {
  MakeMaster(Device("<CustomDeviceMode Name='M'/><SupportsStandardDeviceMode Name='GM'/>") +
             "<StandardDeviceMode><ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' NameSet='S'/>"
             "</ChannelNameSetAssignments></StandardDeviceMode>");
  const Test_Environment base("MLOX_PATCH_NAMES_DIR", mFolder.Path());
  const auto loadedWith = [this](const std::string& iMode, int iChannel) {
    mMode = iMode;
    Count(iChannel);
    return Mlox_StandardModeParserImpl::Instance().IsLoaded();
  };
  EXPECT_EXIT(std::_Exit(loadedWith("M", 0) ? 0 : 1), testing::ExitedWithCode(1), "") << "no standard mode";
  EXPECT_EXIT(std::_Exit(loadedWith("GM", 0) ? 0 : 1), testing::ExitedWithCode(1), "")
      << "the channel has a name";
  EXPECT_EXIT(std::_Exit(loadedWith("GM", 1) ? 0 : 1), testing::ExitedWithCode(0), "");
}

// ---- ReadBankNames ----

TEST_F(NamesReaderTest, BankNamesAreTheChannelNameSetsOfTheDevice) {
  MakeMaster(Device(Mode("M", "T") + Set("S", "") + Set("T", "") + Set("S", "")));
  EXPECT_EQ(ReadBanks(), 3);
  EXPECT_EQ(mReader.GetBankName(0), "S");
  EXPECT_EQ(mReader.GetBankName(1), "T");
  EXPECT_EQ(mReader.GetBankName(2), "S");
  EXPECT_EQ(mReader.GetBankName(3), "");
  EXPECT_EQ(mReader.GetBankName(-1), "");
}

TEST_F(NamesReaderTest, ASecondReadReplacesTheBankNamesAndAFailedOneKeepsThem) {
  MakeMaster(Device(Mode("M", "S") + Set("S", "") + Set("T", "")));
  EXPECT_EQ(ReadBanks(), 2);
  mModel = "Two";
  EXPECT_EQ(ReadBanks(), -1);
  EXPECT_EQ(mReader.GetBankName(1), "T");
  mModel = "One";
  MakeMaster(Device(Mode("M", "S") + Set("S", "")));
  EXPECT_EQ(ReadBanks(), 1);
  EXPECT_EQ(mReader.GetBankName(1), "");
}

TEST_F(NamesReaderTest, AFailedLoadLeavesNothingOfTheOneBefore) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3)));
  EXPECT_EQ(Count(), 3);
  mModel = "Other";
  EXPECT_EQ(Count(), -1);
  EXPECT_FALSE(mReader.GetPatchInfo(0));
  EXPECT_EQ(NameOf(Event({}, {}, 0)), "(unchanged)");
  EXPECT_EQ(mReader.GetChannelNameSetName(), "");
}

TEST_F(NamesReaderTest, AChangedFileIsSeenAtTheNextCount) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 3)));
  EXPECT_EQ(Count(), 3);
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("B", "L")) + List("L", 5)));
  EXPECT_FALSE(mReader.GetPatchInfo(3));
  EXPECT_EQ(Count(), 5);
  EXPECT_TRUE(mReader.GetPatchInfo(3));
}

// ---- CountPatches ----

TEST_F(NamesReaderTest, BanksOfNothingOneOrTwoControllersAreCounted) {
  MakeMaster(Device(Mode("M", "S") +
                    Set("S", Bank("A", "L", "") + Bank("B", "L", Controls({{0, 1}})) +
                                 Bank("C", "L", Controls({{0, 1}, {32, 2}})) +
                                 Bank("D", "L", Controls({{0, 1}, {32, 2}, {1, 3}})) +
                                 Bank("E", "L", "<MIDICommands><ProgramChange Number='1'/></MIDICommands>") +
                                 Bank("F", "nothing") + Bank("G", "L", "<MIDICommands/>")) +
                    List("L", 10)));
  EXPECT_EQ(Count(), 40);
}

TEST_F(NamesReaderTest, AListInsideABankIsCounted) {
  MakeMaster(Device(
      Mode("M", "S") +
      Set("S",
          "<PatchBank Name='B'><PatchNameList><Patch Number='1' Name='P'/></PatchNameList></PatchBank>")));
  EXPECT_EQ(Count(), 1);
}

// ---- GetPatchInfo ----

TEST_F(NamesReaderTest, PatchInfoDescribesTheBankThatTheIndexFallsInto) {
  MakeMaster(
      Device(Mode("M", "S") +
             Set("S", Bank("A", "L", Controls({{0, 5}})) +
                          Bank("skip", "L", "<MIDICommands><ProgramChange Number='1'/></MIDICommands>") +
                          Bank("B", "K", Controls({{0, 6}, {32, 7}}))) +
             List("L", 5) + List("K", 2)));
  EXPECT_EQ(Count(), 7);
  EXPECT_EQ(InfoOf(0), "5 128 select A###pnlName###");
  EXPECT_EQ(InfoOf(4), "5 128 select A###pnlName###");
  EXPECT_EQ(InfoOf(5), "6 7 select B###pnlName###");
  EXPECT_EQ(InfoOf(6), "6 7 select B###pnlName###");
  EXPECT_EQ(InfoOf(7), "none");
  EXPECT_EQ(InfoOf(2147483647), "none");
}

TEST_F(NamesReaderTest, AListOf5InABankOfOneController) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L", Controls({{32, 9}}))) + List("L", 5)));
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(InfoOf(4), "128 9 select A###pnlName###");
  EXPECT_EQ(InfoOf(5), "none");
}

TEST_F(NamesReaderTest, AnIndexBelow0DescribesTheFirstCountedBank) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L") + Bank("B", "L")) + List("L", 5)));
  EXPECT_EQ(Count(), 10);
  EXPECT_EQ(InfoOf(-1), "128 128 - A###pnlName###");
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("E", "empty") + Bank("B", "L")) + List("L", 5) +
                    List("empty", 0)));
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(InfoOf(-1), "128 128 - E###pnlName###");
  EXPECT_EQ(InfoOf(0), "128 128 - B###pnlName###");
}

TEST_F(NamesReaderTest, PatchInfoOutlivesTheReaderAndItsFiles) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L", Controls({{0, 3}}))) + List("L", 1)));
  Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> info;
  {
    Mlox_NamesReader reader;
    EXPECT_EQ(reader.CountPatches(At(mFolder / "master.midnam"), mBanks, "", "", 0, "", ""), 1);
    info = reader.GetPatchInfo(0);
  }
  const Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> copy = info;
  info = nullptr;
  EXPECT_EQ(copy->GetMSBBank(), 3);
  EXPECT_EQ(copy->GetBankName(), "A###pnlName###");
}

std::string InfoOfBytes(const std::vector<uint8_t>& iBytes) {
  midixml::PatchBank bank;
  bank.mName = "B";
  bank.mCommands.Set(static_cast<int32_t>(iBytes.size()), iBytes.data());
  const Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> info(new Mlox_NamesReaderPatchInfo(bank));
  return std::to_string(info->GetMSBBank()) + " " + std::to_string(info->GetLSBBank()) + " " +
         (info->HasBankSelect() ? "select" : "-");
}

TEST(NamesReaderPatchInfo, OneControllerIsMSBOrLSB) {
  EXPECT_EQ(InfoOfBytes({0xB0, 0, 5}), "5 128 select");
  EXPECT_EQ(InfoOfBytes({0xB0, 32, 5}), "128 5 select");
  EXPECT_EQ(InfoOfBytes({0xB0, 7, 5}), "128 128 select");
  EXPECT_EQ(InfoOfBytes({0xBF, 0, 5}), "5 128 select");
  EXPECT_EQ(InfoOfBytes({0x90, 0, 5}), "128 128 select");
}

TEST(NamesReaderPatchInfo, TheSecondOfTwoControllersCountsAsLSBAlsoWhenItNamesController0) {
  EXPECT_EQ(InfoOfBytes({0xB0, 0, 1, 0xB0, 32, 2}), "1 2 select");
  EXPECT_EQ(InfoOfBytes({0xB0, 0, 1, 0xB0, 0, 2}), "1 2 select");
  EXPECT_EQ(InfoOfBytes({0xB0, 32, 1, 0xB0, 0, 2}), "128 2 select");
  EXPECT_EQ(InfoOfBytes({0xB0, 32, 1, 0xB0, 7, 2}), "128 1 select");
  EXPECT_EQ(InfoOfBytes({0xB0, 0, 1, 0x90, 0, 2}), "1 128 select");
}

TEST(NamesReaderPatchInfo, OtherLengthsAreNoBankSelectAndStillRead) {
  EXPECT_EQ(InfoOfBytes({}), "128 128 -");
  EXPECT_EQ(InfoOfBytes({0xC0, 1}), "128 128 -");
  EXPECT_EQ(InfoOfBytes({0xB0, 0, 1, 0xC0}), "1 128 -");
  EXPECT_EQ(InfoOfBytes({0xB0, 0, 1, 0xB0, 32, 2, 0xB0, 0, 9}), "1 2 -");
}

// ---- GetPatchName ----

TEST_F(NamesReaderTest, NoNameForAnEventWithoutAProgramAndWithoutAPlaceForIt) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L")) + List("L", 5)));
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(NameOf(Mdie_ProgramEvent()), "(unchanged)");
  EXPECT_FALSE(mReader.GetPatchName(Event({}, {}, 0), nullptr));
  EXPECT_EQ(NameOf(Event({}, {}, 4)), "L4");
  EXPECT_EQ(NameOf(Event({}, {}, 5)), "(unchanged)");
}

TEST_F(NamesReaderTest, ABankWithNoCommandsFitsEveryEvent) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L")) + List("L", 5)));
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(NameOf(Event({}, {}, 2)), "L2");
  EXPECT_EQ(NameOf(Event(1, {}, 2)), "L2");
  EXPECT_EQ(NameOf(Event({}, 1, 2)), "L2");
  EXPECT_EQ(NameOf(Event(1, 2, 2)), "L2");
}

TEST_F(NamesReaderTest, ABankOfTwoControllersFitsBothNumbersAndNothingLess) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L", Controls({{0, 5}, {32, 6}}))) + List("L", 5)));
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(NameOf(Event(5, 6, 1)), "L1");
  EXPECT_EQ(NameOf(Event(6, 5, 1)), "(unchanged)");
  EXPECT_EQ(NameOf(Event(5, {}, 1)), "(unchanged)");
  EXPECT_EQ(NameOf(Event({}, 6, 1)), "(unchanged)");
  EXPECT_EQ(NameOf(Event({}, {}, 1)), "(unchanged)");
}

TEST_F(NamesReaderTest, ABankOfOneControllerFitsOneNumberWhicheverItIs) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L", Controls({{0, 5}}))) + List("L", 5)));
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(NameOf(Event(5, {}, 1)), "L1");
  EXPECT_EQ(NameOf(Event({}, 5, 1)), "L1");
  EXPECT_EQ(NameOf(Event(5, 5, 1)), "(unchanged)");
  EXPECT_EQ(NameOf(Event({}, {}, 1)), "(unchanged)");
  EXPECT_EQ(NameOf(Event(4, {}, 1)), "(unchanged)");
}

TEST_F(NamesReaderTest, ABankOfOneProgramChangeIsNotCountedAndNeverFits) {
  MakeMaster(Device(Mode("M", "S") +
                    Set("S", Bank("A", "L", "<MIDICommands><ProgramChange Number='5'/></MIDICommands>")) +
                    List("L", 5)));
  EXPECT_EQ(Count(), 0);
  EXPECT_EQ(NameOf(Event({}, {}, 1)), "(unchanged)");
  EXPECT_EQ(NameOf(Event(5, {}, 1)), "(unchanged)");
}

TEST_F(NamesReaderTest, ABankWithoutAHitDoesNotEndTheSearch) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "short") + Bank("B", "nothing") + Bank("C", "L")) +
                    List("short", 2) + List("L", 5)));
  EXPECT_EQ(Count(), 7);
  EXPECT_EQ(NameOf(Event({}, {}, 1)), "short1");
  EXPECT_EQ(NameOf(Event({}, {}, 4)), "L4");
}

TEST_F(NamesReaderTest, OnlyPatchCommandsOfTwoBytesAreMatchedByTheirSecondByte) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L")) +
                    "<PatchNameList Name='L'>"
                    "<Patch Number='1' Name='three'><PatchMIDICommands><ControlChange Control='7' "
                    "Value='7'/></PatchMIDICommands></Patch>"
                    "<Patch Number='2' Name='none'/>"
                    "<Patch Number='3' Name='pressure'><PatchMIDICommands><ChannelKeyPressure "
                    "Pressure='7'/></PatchMIDICommands></Patch>"
                    "<Patch Number='4' Name='program' ProgramChange='7'/></PatchNameList>"));
  EXPECT_EQ(Count(), 4);
  // Any command of two bytes does, whatever its first one is.
  EXPECT_EQ(NameOf(Event({}, {}, 7)), "pressure");
}

TEST_F(NamesReaderTest, TheFirstOfTwoPatchesWithOneProgramWins) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L")) +
                    "<PatchNameList Name='L'><Patch Number='1' Name='first' ProgramChange='3'/>"
                    "<Patch Number='2' Name='second' ProgramChange='3'/></PatchNameList>"));
  EXPECT_EQ(Count(), 2);
  EXPECT_EQ(NameOf(Event({}, {}, 3)), "first");
}

TEST_F(NamesReaderTest, AProgramAbove127IsNeverMatched) {
  MakeMaster(
      Device(Mode("M", "S") + Set("S", Bank("A", "L")) +
             "<PatchNameList Name='L'><Patch Number='1' Name='high' ProgramChange='200'/></PatchNameList>"));
  EXPECT_EQ(Count(), 1);
  EXPECT_EQ(NameOf(Event({}, {}, 72)), "(unchanged)");
}

TEST_F(NamesReaderTest, ReadersAreIndependentOfEachOther) {
  MakeMaster(Device(Mode("M", "S") + Set("S", Bank("A", "L")) + List("L", 5)));
  Mlox_NamesReader other;
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(other.GetChannelNameSetName(), "");
  EXPECT_EQ(other.CountPatches(At(mFolder / "nothing"), mBanks, "", "", 0, "", ""), -2);
  EXPECT_EQ(mReader.GetChannelNameSetName(), "S");
}

}  // namespace
