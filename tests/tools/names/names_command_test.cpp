// SPDX-License-Identifier: MIT
#include "tools/mlox/names/names_command.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/tool_error.h"

namespace {

const char* const kDocument =
    "<MIDINameDocument><Author>Ann</Author><MasterDeviceNames><Manufacturer>Acme</Manufacturer><Model>One</"
    "Model>"
    "<Device Name='D' UniqueID='7'/>"
    "<CustomDeviceMode Name='M'><DeviceModeEnable><MIDICommands><OmniOn/></MIDICommands></DeviceModeEnable>"
    "<ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' NameSet='S'/></ChannelNameSetAssignments>"
    "<ControlNameList Name='C'><Control Type='RPN' Number='1' Name='bend'><Values Min='0' Max='24.5'>"
    "<UsesValueNameList Name='none'/></Values></Control></ControlNameList></CustomDeviceMode>"
    "<ChannelNameSet Name='S'><AvailableForChannels><AvailableChannel Channel='2'/></AvailableForChannels>"
    "<UsesControlNameList Name='C'/>"
    "<PatchBank Name='B' ROM='true'><MIDICommands><ControlChange Control='0' Value='5'/></MIDICommands>"
    "<UsesPatchNameList Name='L'/></PatchBank>"
    "<PatchBank Name='E'><PatchNameList><Patch Number='9' Name='in' "
    "ProgramChange='8'/></PatchNameList></PatchBank>"
    "</ChannelNameSet>"
    "<PatchNameList Name='L'><Patch Number='1' Name='P' ProgramChange='3'><NoteNameList><NoteGroup Name='g'>"
    "<Note Number='1' Name='lost'/></NoteGroup><Note Number='60' "
    "Name='C'/></NoteNameList></Patch></PatchNameList>"
    "<ValueNameList Name='V'><Value Number='2' Name='two'/></ValueNameList>"
    "</MasterDeviceNames></MIDINameDocument>";

struct Outcome {
  std::string mOutput;
  std::string mError;
};

class NamesCommandTest : public testing::Test {
 protected:
  Outcome Run(const std::vector<std::string>& iArguments) {
    CLI::App app("test", "mlox");
    tool::RegisterNames(app);
    tool::RegisterDeviceTypes(app);
    std::vector<std::string> reversed(iArguments.rbegin(), iArguments.rend());
    Outcome outcome;
    testing::internal::CaptureStdout();
    try {
      app.parse(reversed);
    } catch (const tool::ToolError& error) {
      outcome.mError = error.what();
    } catch (const CLI::ParseError& error) {
      outcome.mError = std::string("usage: ") + error.what();
    }
    std::fflush(stdout);
    outcome.mOutput = testing::internal::GetCapturedStdout();
    return outcome;
  }

  Test_TempFolder mFolder;
  Test_Environment mColumns{"COLUMNS", "60"};
  std::string mFile = mFolder.MakeFile("d.midnam", kDocument);
};

// ---- dump ----

TEST_F(NamesCommandTest, DumpWritesEveryKey) {
  const Outcome outcome = Run({"names", "dump", mFile, "--json"});
  EXPECT_EQ(outcome.mError, "");
  EXPECT_EQ(
      outcome.mOutput,
      R"({"author": "Ann", "code": 0, "devices": [{"channelNameSets": [{"availableForChannels": [false, true, false, )"
      R"(false, false, false, false, false, false, false, false, false, false, false, false, false], "banks": )"
      R"([{"commands": "b00005", "name": "B", "patchNameList": {"asked": "L", "from": "device[0]", "resolved": "L", )"
      R"("size": 1}, "rom": true}, {"commands": "", "name": "E", "patchNameList": {"asked": "", "from": "inline", )"
      R"("object": {"name": "", "patches": [{"channelNameSets": [], "commands": "c008", "controlNameList": null, )"
      R"("name": "in", "noteNameList": null, "number": "9"}]}, "resolved": "", "size": 1}, "rom": false}], )"
      R"("controlNameList": {"asked": "C", "from": "mode[0][0]", "resolved": "C", "size": 1}, "name": "S", )"
      R"("noteNameList": null}], "controlNameLists": [], "deviceName": "D", "manufacturer": "Acme", "models": ["One"], )"
      R"("modes": [{"assigned": ["S", "", "", "", "", "", "", "", "", "", "", "", "", "", "", ""], )"
      R"("controlNameLists": [{"controls": [{"default": 0.0, "max": 24.5, "min": 0.0, "name": "bend", "number": 1, )"
      R"("type": 2, "valueNameList": {"asked": "none", "from": null, "resolved": null, "size": null}}], "name": "C"}], )"
      R"("disable": "", "enable": "b07d00", "name": "M", "noteNameLists": [], "patchNameLists": [], "resolved": ["S", )"
      R"(null, null, null, null, null, null, null, null, null, null, null, null, null, null, null], "standard": false, )"
      R"("valueNameLists": []}], "noteNameLists": [], "patchNameLists": [{"name": "L", "patches": [{"channelNameSets": )"
      R"([], "commands": "c003", "controlNameList": null, "name": "P", "noteNameList": {"asked": "", "from": "inline", )"
      R"("object": {"groups": [{"name": "g", "notes": 0}], "name": "", "notes": [[60, "C"]]}, "resolved": "", "size": )"
      R"(1}, "number": "1"}]}], "uniqueID": 7, "valueNameLists": [{"name": "V", "values": [[2, "two"]]}]}]})"
      "\n");
}

TEST_F(NamesCommandTest, DumpAfterAFaultTellsFileLineCodeAndMeaning) {
  const std::string bad =
      mFolder.MakeFile("bad.midnam", "<MIDINameDocument>\n<Author>Ann</Author>\n<Patch/>");
  const Outcome outcome = Run({"names", "dump", bad, "--json"});
  EXPECT_EQ(outcome.mOutput, "{\"author\": \"Ann\", \"code\": 102, \"devices\": []}\n");
  EXPECT_EQ(outcome.mError, bad + ":3: code 102: <Patch> not allowed within <MIDINameDocument>");
}

TEST_F(NamesCommandTest, DumpOfAFileThatIsNotThereHasNoAuthor) {
  const Outcome outcome = Run({"names", "dump", mFolder / "nothing", "--json"});
  EXPECT_EQ(outcome.mOutput, "{\"author\": \"\", \"code\": 5, \"devices\": []}\n");
  EXPECT_EQ(outcome.mError,
            (mFolder / "nothing") + ": code 5: couldn't open '" + (mFolder / "nothing") + "'");
}

TEST_F(NamesCommandTest, DumpNotesARecordAsItIsWhenItIsHandedOver) {
  const std::string file = mFolder.MakeFile("later.midnam",
                                            "<MIDINameDocument><MasterDeviceNames><CustomDeviceMode "
                                            "Name='m'/></MasterDeviceNames><StandardDeviceMode>"
                                            "<ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' "
                                            "NameSet='late'/></ChannelNameSetAssignments>"
                                            "</StandardDeviceMode></MIDINameDocument>");
  EXPECT_EQ(Run({"names", "dump", file, "--json"}).mOutput.find("late"), std::string::npos);
}

TEST_F(NamesCommandTest, DumpWithoutJsonIsAnOutline) {
  const std::string output = Run({"names", "dump", mFile}).mOutput;
  EXPECT_NE(output.find("author: Ann\n"), std::string::npos);
  EXPECT_NE(output.find("name: bend\n"), std::string::npos);
}

// ---- count ----

std::vector<std::string> CountArguments(const std::string& iFile, const std::string& iModel,
                                        const std::string& iChannel) {
  return {"names", "count",  iFile, "--manufacturer", "acme",   "--model",
          iModel,  "--mode", "",    "--channel",      iChannel, "--json"};
}

TEST_F(NamesCommandTest, CountWritesEveryKey) {
  const Outcome outcome = Run(CountArguments(mFile, "one", "1"));
  EXPECT_EQ(outcome.mError, "");
  EXPECT_EQ(
      outcome.mOutput,
      R"({"bankNames": ["S"], "channelNameSetName": "S", "count": 2, "patchInfo": [[true, 5, 128, )"
      R"("B###pnlName###"], [false, 128, 128, "E###pnlName###"]], "patchInfoPastEnd": null, "patchNames": )"
      R"({"-,-,8": "in", "-,5,3": "P", "-,5,8": "in", "5,-,3": "P", "5,-,8": "in", "5,5,8": "in"}, )"
      R"("readBankNames": 1, "thrown": 0})"
      "\n");
}

TEST_F(NamesCommandTest, CountOfABankOfTwoControllersTriesItsNumbersAndTheirNeighbours) {
  const std::string file = mFolder.MakeFile(
      "two.midnam",
      "<MIDINameDocument><MasterDeviceNames><Manufacturer>Acme</Manufacturer><Model>One</"
      "Model><CustomDeviceMode Name='M'>"
      "<ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' NameSet='S'/></ChannelNameSetAssignments>"
      "</CustomDeviceMode><ChannelNameSet Name='S'><PatchBank Name='B'><MIDICommands><ControlChange "
      "Control='0' Value='1'/>"
      "<ControlChange Control='32' Value='2'/></MIDICommands><UsesPatchNameList Name='L'/></PatchBank>"
      "<PatchBank Name='H'><MIDICommands><ControlChange Control='0' Value='200'/></MIDICommands></PatchBank>"
      "</ChannelNameSet><PatchNameList Name='L'><Patch Number='1' Name='P' "
      "ProgramChange='127'/></PatchNameList>"
      "</MasterDeviceNames></MIDINameDocument>");
  EXPECT_NE(Run(CountArguments(file, "one", "1")).mOutput.find(R"("patchNames": {"1,2,127": "P"})"),
            std::string::npos);
}

TEST_F(NamesCommandTest, CountGivesCodesAndSaysWhatTheyMean) {
  const auto empty = [](int iCode, int iThrown) {
    const std::string code = std::to_string(iCode);
    return R"({"bankNames": [], "channelNameSetName": "", "count": )" + code +
           R"(, "patchInfo": [], "patchInfoPastEnd": null, "patchNames": {}, "readBankNames": )" + code +
           R"(, "thrown": )" + std::to_string(iThrown) + "}\n";
  };
  EXPECT_EQ(Run(CountArguments(mFile, "two", "1")).mOutput, empty(-1, 0));
  EXPECT_EQ(Run(CountArguments(mFolder / "nothing", "one", "1")).mOutput, empty(-2, 0));
  EXPECT_EQ(Run(CountArguments(mFile, "one", "17")).mOutput, empty(-4, 0));
  EXPECT_EQ(Run(CountArguments(mFile, "one", "0")).mOutput, empty(-4, 0));
  EXPECT_EQ(Run(CountArguments(mFile, "one", "-2147483648")).mOutput, empty(-4, 0));
  EXPECT_EQ(Run(CountArguments(mFile, "one", "2")).mOutput, empty(-5, 0));
  EXPECT_EQ(Run(CountArguments("", "one", "1")).mOutput, empty(-6, 0));
  const Outcome thrown = Run(CountArguments(mFolder.MakeFile("bad.midnam", "<"), "one", "1"));
  EXPECT_EQ(thrown.mOutput, empty(-8, 7));
  EXPECT_EQ(thrown.mError,
            (mFolder / "bad.midnam") + ": a document has a fault; mlox names check tells where");
}

TEST_F(NamesCommandTest, CountTakesOverridesOfBanks) {
  const std::string extension = mFolder.MakeFile("ext.midnam",
                                                 "<MIDINameDocument><ExtendingDeviceNames><Manufacturer>Acme<"
                                                 "/Manufacturer><Model>One</Model><PatchNameList Name='X'>"
                                                 "<Patch Number='1' Name='x' ProgramChange='1'/><Patch "
                                                 "Number='2' Name='y' ProgramChange='2'/></PatchNameList>"
                                                 "</ExtendingDeviceNames></MIDINameDocument>");
  std::vector<std::string> arguments = CountArguments(mFile, "one", "1");
  for (const char* bankP : {"other", "B"})
    arguments.insert(arguments.end(), {"--bank", bankP, extension, "X"});
  EXPECT_NE(Run(arguments).mOutput.find("\"count\": 3,"), std::string::npos);
}

// ---- scan ----

TEST_F(NamesCommandTest, ScanListsTheDocumentsOfAFolder) {
  mFolder.MakeFile("sub/e.MIDNAM");
  mFolder.MakeFile("sub/t.middev");
  EXPECT_EQ(Run({"names", "scan", mFolder.Path(), "--json"}).mOutput,
            "{\"count\": 2, \"names\": [\"d\", \"sub\\\\e\"]}\n");
  EXPECT_EQ(Run({"names", "scan", mFolder.Path(), "--folder", "sub", "--json"}).mOutput,
            "{\"count\": 3, \"names\": [\"sub\\\\e\", \"d\", \"sub\\\\e\"]}\n");
  EXPECT_EQ(Run({"names", "scan", mFolder.Path(), "--devtypes", "--json"}).mOutput,
            "{\"count\": 1, \"names\": [\"sub\\\\t\"]}\n");
  EXPECT_EQ(Run({"names", "scan", mFolder.Path()}).mOutput, "d\nsub\\e\n");
}

TEST_F(NamesCommandTest, ScanTakesItsFolderFromTheEnvironment) {
  const Test_Environment base("MLOX_PATCH_NAMES_DIR", mFolder.Path());
  EXPECT_EQ(Run({"names", "scan"}).mOutput, "d\n");
}

// ---- devtypes ----

TEST_F(NamesCommandTest, DeviceTypesWritesEveryKey) {
  const std::string file = mFolder.MakeFile(
      "t.middev",
      "<MIDIDeviceTypes><Author>Ann</Author><MIDIDeviceType Manufacturer='Acme' Model='One' Image='i' "
      "CanRoute='FALSE'>"
      "<InquiryResponse/><DeviceID/><MIDIPortGroup><MIDIIn/><MIDIOut/></MIDIPortGroup><Receives/><Transmits/>"
      "</MIDIDeviceType></MIDIDeviceTypes>");
  EXPECT_EQ(
      Run({"devtypes", file, "--json"}).mOutput,
      R"({"author": "Ann", "code": 0, "deviceTypes": [{"canRoute": false, "deviceIDs": [[0, 0]], "image": "i", )"
      R"("inquiryResponses": [[0, 0, 0, 0, 0, 0, 0]], "isDrumMachine": true, "isEffectUnit": true, "isMixer": true, )"
      R"("isSampler": true, "manufacturer": "Acme", "model": "One", "portGroups": [{"name": "", "ports": )"
      R"([{"inName": "", "outName": ""}]}], "receives": [[16, true, true, true, true, true, true, false]], )"
      R"("supportsGeneralMIDI": true, "supportsMMC": true, "transmits": [[16, true, true, true, true, true, true]]}], )"
      R"("handed": 1})"
      "\n");
}

TEST_F(NamesCommandTest, DeviceTypesOfADocumentWithAFaultAreEmpty) {
  const std::string bad = mFolder.MakeFile("bad.middev", "<Author/>");
  const Outcome outcome = Run({"devtypes", bad, "--json"});
  EXPECT_EQ(outcome.mOutput, "{\"author\": \"\", \"code\": 100, \"deviceTypes\": [], \"handed\": 0}\n");
  EXPECT_EQ(outcome.mError, bad + ":1: code 100: Author is not a valid top-level element");
}

// ---- show ----

TEST_F(NamesCommandTest, ShowPrintsTables) {
  EXPECT_EQ(Run({"names", "show", mFile}).mOutput,
            "Acme One\n\nMode: M\n  on:  B0 7D 00\n\n  Channel 1: S\n\n  Bank B: select B0 00 05, 1 "
            "patches\n    1 P\n\n"
            "  Notes of P: \n     60 C\n\n  Bank E: no select, 1 patches\n    9 in\n\n  Controllers: C\n    "
            "RPN 1 bend\n");
}

TEST_F(NamesCommandTest, ShowFillsColumnsFromTheTopDownWithinTheTerminal) {
  std::string document =
      "<MIDINameDocument><MasterDeviceNames><CustomDeviceMode "
      "Name='M'><ChannelNameSetAssignments><ChannelNameSetAssign "
      "Channel='1' NameSet='S'/></ChannelNameSetAssignments></CustomDeviceMode><ChannelNameSet "
      "Name='S'><PatchBank "
      "Name='B'><PatchNameList>";
  for (int patch = 1; patch <= 5; ++patch) {
    document += "<Patch Number='" + std::to_string(patch) + "' Name='a name of some length'/>";
  }
  const std::string output =
      Run({"names", "show",
           mFolder.MakeFile("wide.midnam",
                            document + "</PatchNameList></PatchBank></ChannelNameSet></MasterDeviceNames>"
                                       "</MIDINameDocument>")})
          .mOutput;
  EXPECT_NE(output.find("    1 a name of some length  4 a name of some length\n"
                        "    2 a name of some length  5 a name of some length\n"
                        "    3 a name of some length\n"),
            std::string::npos)
      << output;
}

TEST_F(NamesCommandTest, ShowPrintsAlsoWhatNoModeGivesToAChannel) {
  const std::string standard =
      mFolder.MakeFile("standard.midnam",
                       "<MIDINameDocument><StandardDeviceMode><ChannelNameSet Name='GM'><PatchBank "
                       "Name='B'><UsesPatchNameList "
                       "Name='L'/></PatchBank></ChannelNameSet><PatchNameList Name='L'><Patch Number='1' "
                       "Name='Piano'/></PatchNameList><NoteNameList Name='Drums'><Note Number='36' "
                       "Name='Kick'/></NoteNameList><ControlNameList Name='C'><Control Number='7' "
                       "Name='Volume'/></ControlNameList></StandardDeviceMode></MIDINameDocument>");
  EXPECT_EQ(Run({"names", "show", standard}).mOutput,
            "A device without a name\n\n  No channel: GM\n\n  Bank B: no select, 1 patches\n    1 Piano\n\n"
            "  Notes: Drums\n     36 Kick\n\n  Controllers: C\n    CC 7 Volume\n");
}

TEST_F(NamesCommandTest, ShowPrintsTheControllersOfAPatch) {
  const std::string file = mFolder.MakeFile(
      "controllers.midnam",
      "<MIDINameDocument><MasterDeviceNames><Model>X</Model><CustomDeviceMode "
      "Name='M'><ChannelNameSetAssignments><ChannelNameSetAssign Channel='1' NameSet='S'/>"
      "</ChannelNameSetAssignments></CustomDeviceMode><ChannelNameSet Name='S'><PatchBank "
      "Name='B'><PatchNameList><Patch Number='1' Name='P'><ControlNameList><Control Number='1' Name='Wheel'/>"
      "</ControlNameList></Patch></PatchNameList></PatchBank></ChannelNameSet></MasterDeviceNames>"
      "</MIDINameDocument>");
  EXPECT_EQ(Run({"names", "show", file}).mOutput,
            "X\n\nMode: M\n\n  Channel 1: S\n\n  Bank B: no select, 1 patches\n    1 P\n\n"
            "  Controllers of P: \n    CC 1 Wheel\n");
}

TEST_F(NamesCommandTest, ShowOfWhatIsNotThereIsAnError) {
  const std::string text = mFile + ": there is no such mode, or it gives the channel no names";
  EXPECT_EQ(Run({"names", "show", mFile, "--mode", "X"}).mError, text);
  EXPECT_EQ(Run({"names", "show", mFile, "--channel", "2"}).mError, text);
  EXPECT_EQ(Run({"names", "show", mFile, "--mode", "M", "--channel", "1"}).mError, "");
  EXPECT_EQ(Run({"names", "show", mFile, "--channel", "17"}).mError.substr(0, 6), "usage:");
}

// ---- check ----

TEST_F(NamesCommandTest, CheckSaysOkOrWhereAndWhatToChange) {
  const std::string bad =
      mFolder.MakeFile("e/bad.midnam", "<MIDINameDocument>\n<MasterDeviceNames>\n<PatchNameList/>");
  mFolder.MakeFile("e/types.MIDDEV", "<MIDIDeviceTypes/>");
  mFolder.MakeFile("e/readme.txt", "no document");
  const Outcome outcome = Run({"names", "check", mFile, mFolder / "e"});
  EXPECT_EQ(outcome.mOutput,
            mFile + ": ok\n" + bad +
                ":3: code 8: <PatchNameList> missing required attribute 'Name'; add the attribute to this "
                "element\n" +
                (mFolder / "e/types.MIDDEV") + ": ok\n2 good, 1 with a fault, 0 warnings\n");
  EXPECT_EQ(outcome.mError, "1 of 3 documents can't be used");
}

TEST_F(NamesCommandTest, CheckIsOneLineOfJsonForPrograms) {
  const std::string bad =
      mFolder.MakeFile("e/bad.midnam", "<MIDINameDocument>\n<MasterDeviceNames>\n<PatchNameList/>");
  const std::string warned =
      mFolder.MakeFile("e/warned.midnam",
                       "<MIDINameDocument><MasterDeviceNames><CustomDeviceMode Name='M'/>"
                       "</MasterDeviceNames></MIDINameDocument>");
  const Outcome outcome = Run({"names", "check", mFile, mFolder / "e", mFolder / "gone", "--json"});
  EXPECT_EQ(outcome.mOutput,
            R"({"documents": [{"fault": null, "ok": true, "path": ")" + mFile +
                R"(", "warnings": []}, {"fault": {"advice": "add the attribute to this element", "code": 8, )"
                R"("line": 3, "text": "<PatchNameList> missing required attribute 'Name'"}, "ok": false, )"
                R"("path": ")" +
                bad + R"(", "warnings": []}, {"fault": null, "ok": true, "path": ")" + warned +
                R"(", "warnings": ["a device without a Model is never found"]}, {"fault": {"advice": )"
                R"("check the path, and that you may read the file", "code": 5, "line": null, "text": )"
                R"("couldn't open ')" +
                (mFolder / "gone") + R"('"}, "ok": false, "path": ")" + (mFolder / "gone") +
                R"(", "warnings": []}], "totals": {"faulty": 2, "good": 2, "warnings": 1}})"
                "\n");
  EXPECT_EQ(outcome.mError, "2 of 4 documents can't be used");
  EXPECT_EQ(Run({"names", "check", "--json", mFile}).mError, "");
}

TEST_F(NamesCommandTest, CheckWarnsOfBanksThatCanNeverBeChosenOrCounted) {
  const std::string file = mFolder.MakeFile(
      "w.midnam",
      "<MIDINameDocument><MasterDeviceNames><CustomDeviceMode Name='M'><ChannelNameSetAssignments>"
      "<ChannelNameSetAssign Channel='1' NameSet='S'/><ChannelNameSetAssign Channel='3' NameSet='gone'/>"
      "<ChannelNameSetAssign Channel='4' NameSet='gone'/></ChannelNameSetAssignments></CustomDeviceMode>"
      "<ChannelNameSet Name='S'><PatchBank Name='A'><UsesPatchNameList Name='gone'/></PatchBank><PatchBank "
      "Name='B'/>"
      "<PatchBank Name='C'><MIDICommands><ProgramChange Number='1'/></MIDICommands><UsesPatchNameList "
      "Name='L'/>"
      "</PatchBank></ChannelNameSet><ChannelNameSet Name='T'><PatchBank Name='D'><UsesPatchNameList "
      "Name='L'/></PatchBank>"
      "</ChannelNameSet><PatchNameList Name='L'/></MasterDeviceNames></MIDINameDocument>");
  const Outcome outcome = Run({"names", "check", file});
  EXPECT_EQ(outcome.mError, "");
  const std::string warning = file + ": warning: ";
  EXPECT_EQ(
      outcome.mOutput,
      file + ": ok\n" + warning + "a device without a Model is never found\n" + warning +
          "mode \"M\", channel 3-4: there is no channel name set \"gone\"\n" + warning +
          "channel name set \"S\", bank \"A\": there is no patch name list \"gone\"\n" + warning +
          "channel name set \"S\", bank \"B\": it has no patches\n" + warning +
          "channel name set \"S\", bank \"C\": 2 bytes select it, so its patches are neither counted nor "
          "found; one or "
          "two controllers would do\n" +
          warning +
          "channel name set \"T\": no mode gives it to a channel\n1 good, 0 with a fault, 6 warnings\n");
}

TEST_F(NamesCommandTest, CheckTellsOfAFaultBeforeItWarnsOfAnything) {
  const std::string file = mFolder.MakeFile(
      "f.midnam",
      "<MIDINameDocument><MasterDeviceNames><CustomDeviceMode Name='M'/></MasterDeviceNames><Patch/>");
  const Outcome outcome = Run({"names", "check", file});
  EXPECT_EQ(outcome.mOutput.find("warning: "), std::string::npos) << outcome.mOutput;
  EXPECT_NE(outcome.mOutput.find("1 with a fault, 0 warnings\n"), std::string::npos) << outcome.mOutput;
}

TEST_F(NamesCommandTest, CheckOfAFolderThatCannotBeReadIsAnError) {
  mFolder.MakeFolder("closed");
  ASSERT_EQ(chmod((mFolder / "closed").c_str(), 0), 0);
  // The superuser may read all: then another user's rights are what counts.
  const bool isRoot = geteuid() == 0;
  ASSERT_TRUE(!isRoot || seteuid(65534) == 0);
  const Outcome outcome = Run({"names", "check", mFolder / "closed"});
  ASSERT_TRUE(!isRoot || seteuid(0) == 0);
  ASSERT_EQ(chmod((mFolder / "closed").c_str(), 0700), 0);
  EXPECT_EQ(outcome.mOutput, "");
  EXPECT_EQ(outcome.mError, (mFolder / "closed") + ": cannot read the folder: Permission denied");
}

TEST_F(NamesCommandTest, CheckGivesAdviceForEveryCode) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<", "code 7: parsing error; make the document well-formed XML"},
      {"<Patch/>", "code 100: Patch is not a valid top-level element; put this element inside"},
      {"<MIDINameDocument><Patch/>",
       "code 102: <Patch> not allowed within <MIDINameDocument>; move or remove"},
      {"<MIDINameDocument><MasterDeviceNames><Device UniqueID='x'/>",
       "code 103: 'Device' element contains invalid integer 'x' attribute 'UniqueID'; write a plain number"},
      {"<MIDINameDocument><MasterDeviceNames><ControlNameList><Control Number='1' Name='n'><Values Min='x'/>",
       "code 104: 'Values' element contains invalid integer 'x' attribute 'Min'; write a plain number"},
      {"<MIDINameDocument><MasterDeviceNames><ChannelNameSet Name='S'><PatchBank Name='B' ROM='x'/>",
       "code 105: invalid boolean 'x'; write true or false"},
      {"<MIDINameDocument><MasterDeviceNames><ChannelNameSet Name='S'><PatchBank "
       "Name='B'><MIDICommands><SysEx>999</SysEx>",
       "code 106: invalid hex byte: 999; write each byte"},
      {"<MIDINameDocument><MasterDeviceNames><ChannelNameSet Name='S'><PatchBank "
       "Name='B'><PatchNameList/><PatchNameList/>",
       "code 201: <patchBank> may only contain one <patchNameList>; leave one"},
      {"<MIDINameDocument><MasterDeviceNames><PatchNameList Name='L'><Patch Number='1' "
       "Name='P'><NoteNameList/>"
       "<NoteNameList/>",
       "code 204: <patch> may only contain one <noteNameList>; leave one"},
      {"<MIDINameDocument><MasterDeviceNames><PatchNameList Name='L'><Patch Number='1' "
       "Name='P'><ControlNameList/>"
       "<ControlNameList/>",
       "code 205: <patch> may only contain one <controlNameList>; leave one"},
      {"<MIDINameDocument><MasterDeviceNames><PatchNameList Name=''/>",
       "code 206: patch name list string is empty; give every patch name list a name"},
      {"<MIDINameDocument><MasterDeviceNames><ValueNameList Name=''/>",
       "code 206: value name list string is empty; write a name"},
      {"<MIDINameDocument><MasterDeviceNames><ControlNameList><Control Type='x' Number='1' Name='n'/>",
       "code 208: unknown control type: x; write 7bit"}};
  for (const auto& [document, expected] : cases) {
    const std::string file = mFolder.MakeFile("case.midnam", document);
    EXPECT_NE(Run({"names", "check", file}).mOutput.find(file + ":1: " + expected), std::string::npos)
        << expected;
  }
  EXPECT_NE(Run({"names", "check", mFolder / "gone"}).mOutput.find("code 5"), std::string::npos);
}

TEST_F(NamesCommandTest, UsageIsAnError) {
  EXPECT_EQ(Run({"names"}).mError.substr(0, 6), "usage:");
  EXPECT_EQ(Run({"names", "dump"}).mError.substr(0, 6), "usage:");
  EXPECT_EQ(Run({"names", "count", mFile}).mError.substr(0, 6), "usage:");
  EXPECT_EQ(Run({"devtypes"}).mError.substr(0, 6), "usage:");
}

}  // namespace
