// SPDX-License-Identifier: MIT
// The subcommands about MIDI ports as their users run them, over loopback ports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "cmn/sys_clock.h"
#include "tests/integration/command_fixture.h"
#include "tests/support/sanitizers.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr char kSong[] = "/usr/share/games/openttd/baseset/openmsx/tttheme2.mid";

const std::string kPorts =
    "export MLOX_MIDI_DRIVERS=loopback MLOX_LOOPBACK_PORTS=Red,Reel,Blue MLOX_STUDIO_DB=$PWD/studio.db\n";

/// Three loopback ports, and a studio of the test's own.
class PortsCommand : public Test_Command {
 protected:
  using Result = Test_CommandResult;

  Result Ports(const std::string& iScript) const { return Shell(kPorts + iScript); }
  json ListJson(const std::string& iOptions = {}) const {
    const Result result = Ports("$MLOX list --json " + iOptions);
    EXPECT_EQ(result.mStatus, 0) << result.mError;
    return json::parse(result.mOutput);
  }
};

TEST_F(PortsCommand, ListShowsOutputsThenInputsInTheOrderOfTheirIndex) {
  const json list = ListJson();
  for (const char* const kind : {"outputs", "inputs"}) {
    ASSERT_EQ(list[kind].size(), 3u);
    EXPECT_EQ(list[kind][0]["name"], "Red");
    EXPECT_EQ(list[kind][1]["name"], "Reel");
    EXPECT_EQ(list[kind][2]["name"], "Blue");
    const json& red = list[kind][0];
    EXPECT_EQ(red["channels"].size(), 16u);
    EXPECT_EQ(red["driver"], "loopback");
    EXPECT_EQ(red["service"], "hardware");
    EXPECT_EQ(red["virtual"], true);
    EXPECT_EQ(red["external"], false);
    EXPECT_EQ(red["plug_in"], false);
    EXPECT_EQ(red["online"], true);
    EXPECT_THAT(red["id"].get<std::string>(), MatchesRegex("1:[0-9a-f]+"));
  }
}

TEST_F(PortsCommand, ListGivesTheSameIdsInEveryRun) { EXPECT_EQ(ListJson(), ListJson()); }

TEST_F(PortsCommand, ListShowsTheIntegersOfEveryChannelAndOfEveryInputAsAWhole) {
  const json list = ListJson();
  std::vector<int> outputIds;
  std::vector<int> inputIds;
  for (const json& row : list["outputs"]) {
    for (const json& id : row["integer_ids"]) outputIds.push_back(id);
  }
  for (const json& row : list["inputs"]) {
    for (const json& id : row["integer_ids"]) inputIds.push_back(id);
  }
  ASSERT_EQ(outputIds.size(), 3u * 16);
  ASSERT_EQ(inputIds.size(), 3u * 17);
  for (std::size_t i = 0; i < inputIds.size(); ++i) EXPECT_EQ(inputIds[i], static_cast<int>(i) + 1);
  for (std::size_t i = 0; i < outputIds.size(); ++i) EXPECT_EQ(outputIds[i], static_cast<int>(i) + 1);
}

TEST_F(PortsCommand, AnIntegerNamesTheOutputOrInputItStandsFor) {
  // 17 is the first channel of the second output, and the last one of the first input.
  const Result result = Ports(
      "$MLOX watch --for 0.2 --follow id:18 && $MLOX send id:33 90 3c 64 && "
      "$MLOX monitor id:18 --for 0.1 && $MLOX latency --out id:17 --in id:18 --count 2");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, HasSubstr("found    output  Reel\n"));
  EXPECT_EQ(Ports(std::string("$MLOX play ") + kSong + " --to id:17 --back id:18 --seconds 1").mStatus, 0);
  ExpectOneLineWith(Ports("$MLOX names patches id:17"), 1, "no names for its patches");
}

TEST_F(PortsCommand, AnIntegerThatStandsForNothingIsAnErrorWithTheRangeThatThereIs) {
  ExpectOneLineWith(Ports("$MLOX send id:49 90 3c 64"), 1,
                    "id:49: no output has this id; ids go from 1 to 48 now, see mlox list");
  ExpectOneLineWith(Ports("$MLOX send id:0 90 3c 64"), 1, "id:0: no output has this id");
  ExpectOneLineWith(Ports("$MLOX monitor id:52 --for 0.1"), 1,
                    "id:52: no input has this id; ids go from 1 to 51");
  ExpectOneLineWith(Ports("MLOX_MIDI_DRIVERS=none $MLOX send id:1 90 3c 64"), 1, "id:1: there is no output");
  ExpectOneLineWith(Ports("$MLOX send id:x 90 3c 64"), 1, "no output has this name or id");
}

TEST_F(PortsCommand, AnExactNameWinsOverAnInteger) {
  const Result result = Ports("MLOX_LOOPBACK_PORTS=id:1,id:9 $MLOX monitor id:9 --for 0.1");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
}

TEST_F(PortsCommand, ListIsATableForPeople) {
  const Result result = Ports("$MLOX list");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_THAT(result.mOutput, AllOf(HasSubstr("channels"), HasSubstr("1-16"), HasSubstr("loopback"),
                                    HasSubstr("Red\n"), HasSubstr("output"), HasSubstr("input")));
  EXPECT_EQ(result.mError, "");
}

/// What stands below a head of a table, with direction and name before it: "output Red 1-16".
std::vector<std::string> ColumnOf(const std::string& iTable, const std::string& iHead) {
  std::istringstream lines(iTable);
  std::string head;
  std::getline(lines, head);
  const auto cell = [&](const std::string& iLine, const std::string& iName) {
    const std::size_t begin = head.find(iName);
    if (begin == std::string::npos || begin > iLine.size()) return std::string("?");
    // Two blanks at least stand between columns; the name is the last one.
    return iLine.substr(begin, iLine.find("  ", begin) - begin);
  };
  std::vector<std::string> cells;
  for (std::string line; std::getline(lines, line);) {
    cells.push_back(line.substr(0, line.find(' ')) + " " + cell(line, "name") + " " + cell(line, iHead));
  }
  return cells;
}

TEST_F(PortsCommand, ListShowsTheIntegersOfARowInAColumnOfTheirOwn) {
  // Of Reel and Blue every channel; of the external device in Red's place channels 2 to 4 of its output, and
  // no channel of its input, which has the integer of an input as a whole; of what isn't listed none.
  const Result result = Ports(
      "$MLOX list >list; $MLOX studio add S >guid; $MLOX studio wire S Red\n"
      "$MLOX studio set S --receive 2-4 --transmit none; $MLOX studio add New >guid; $MLOX list --all");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(ColumnOf(result.mOutput, "id:N"),
              ElementsAre("output Reel 1-16", "output Blue 17-32", "output S 33-35", "input Reel 1-17",
                          "input Blue 18-34", "input S 35", "output Red -", "output New -", "input Red -",
                          "input New -"));
}

TEST_F(PortsCommand, ListShowsKindDriverServiceAndWhetherItIsThereInColumns) {
  const Result result = Ports(
      "MLOX_LOOPBACK_PORTS=Green $MLOX list >list; export MLOX_LOOPBACK_PORTS=Red,Blue; $MLOX list >list\n"
      "$MLOX studio add S >guid; $MLOX studio wire S Red; $MLOX studio add New >guid; $MLOX list --all");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  // Red is there, with S in its place.
  EXPECT_THAT(
      ColumnOf(result.mOutput, "kind"),
      ElementsAre("output Blue virtual", "output S external", "input Blue virtual", "input S external",
                  "output Green virtual", "output Red virtual", "output New external", "input Green virtual",
                  "input Red virtual", "input New external"));
  EXPECT_THAT(
      ColumnOf(result.mOutput, "online"),
      ElementsAre("output Blue yes", "output S yes", "input Blue yes", "input S yes", "output Green no",
                  "output Red yes", "output New no", "input Green no", "input Red yes", "input New no"));
  EXPECT_THAT(ColumnOf(result.mOutput, "driver"),
              ElementsAre("output Blue loopback", "output S -", "input Blue loopback", "input S -",
                          "output Green loopback", "output Red loopback", "output New -",
                          "input Green loopback", "input Red loopback", "input New -"));
  EXPECT_THAT(ColumnOf(result.mOutput, "service"),
              AllOf(testing::SizeIs(10), testing::Each(testing::EndsWith(" hardware"))));
}

TEST_F(PortsCommand, ListShowsTheOneIntegerOfAnOutputWithoutChannelsAndItNamesTheOutput) {
  const Result result = Ports(
      "$MLOX list >list; $MLOX studio add S >guid; $MLOX studio wire S Red\n"
      "$MLOX studio set S --receive none; $MLOX list");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(ColumnOf(result.mOutput, "id:N"),
              ElementsAre("output Reel 1-16", "output Blue 17-32", "output S 33", "input Reel 1-17",
                          "input Blue 18-34", "input S 35-51"));
  const json output = ListJson()["outputs"][2];
  EXPECT_EQ(output["channels"], json::array());
  EXPECT_EQ(output["integer_ids"], json::array({33}));
  ExpectOneLineWith(Ports("$MLOX names patches id:33"), 1, "mlox: S: listens on no channel");
}

TEST_F(PortsCommand, ListTellsProgramsWhatIsExternal) {
  const Result made = Ports("$MLOX list >list; $MLOX studio add S >guid; $MLOX studio wire S Red");
  ASSERT_EQ(made.mStatus, 0) << made.mError;
  const json list = ListJson();
  for (const char* const kind : {"outputs", "inputs"}) {
    ASSERT_EQ(list[kind].size(), 3u);
    for (const json& row : list[kind]) EXPECT_EQ(row["external"], row["name"] == "S") << row;
  }
}

TEST_F(PortsCommand, ListTellsIntegersAndChannelsApart) {
  const Result result = Ports(
      "export MLOX_LOOPBACK_PORTS=Red; $MLOX list >list; $MLOX studio add S >guid; $MLOX studio wire S Red\n"
      "$MLOX studio set S --receive 3 --transmit 1-15; $MLOX list");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(ColumnOf(result.mOutput, "id:N"), ElementsAre("output S 1", "input S 1-16"));
  EXPECT_THAT(ColumnOf(result.mOutput, "channels"), ElementsAre("output S 3", "input S 1-15"));
}

TEST_F(PortsCommand, ListAllAddsWhatOnlyTheDatabaseKnows) {
  const Result before = Ports("MLOX_LOOPBACK_PORTS=Green $MLOX list && $MLOX studio add Strings");
  ASSERT_EQ(before.mStatus, 0) << before.mError;
  EXPECT_EQ(ListJson()["outputs"].size(), 3u);
  const json outputs = ListJson("--all")["outputs"];
  ASSERT_EQ(outputs.size(), 5u);
  EXPECT_EQ(outputs[3]["name"], "Green");
  EXPECT_EQ(outputs[3]["online"], false);
  EXPECT_EQ(outputs[4]["name"], "Strings");
  EXPECT_EQ(outputs[4]["external"], true);
}

TEST_F(PortsCommand, ListAllGivesWhatIsntThereTheIdThatItHadAndWillHave) {
  const Result before = Ports("MLOX_LOOPBACK_PORTS=Green $MLOX list --json; $MLOX studio add New >guid");
  ASSERT_EQ(before.mStatus, 0) << before.mError;
  const json then = json::parse(before.mOutput);
  const json now = ListJson("--all");
  for (const char* const kind : {"outputs", "inputs"}) {
    ASSERT_EQ(now[kind].size(), 5u);
    EXPECT_EQ(now[kind][3]["name"], "Green");
    EXPECT_EQ(now[kind][3]["online"], false);
    EXPECT_EQ(now[kind][3]["id"], then[kind][0]["id"]);
    EXPECT_TRUE(now[kind][3]["integer_ids"].empty());
    EXPECT_EQ(now[kind][4]["name"], "New");
    EXPECT_EQ(now[kind][4]["online"], false);
    EXPECT_THAT(now[kind][4]["id"].get<std::string>(), MatchesRegex("1:[0-9a-f]+"));
  }
}

TEST_F(PortsCommand, ListAllShowsAPortThatAnExternalDeviceStandsForOnceAndOnline) {
  const json before = ListJson();
  ASSERT_EQ(Ports("$MLOX studio add Strings >guid; $MLOX studio wire Strings Blue").mStatus, 0);
  const json after = ListJson("--all");
  for (const char* const kind : {"outputs", "inputs"}) {
    const auto count = [&](const char* iName, bool iIsOnline) {
      return std::count_if(after[kind].begin(), after[kind].end(), [&](const json& iRow) {
        return iRow["name"] == iName && iRow["online"] == iIsOnline;
      });
    };
    EXPECT_EQ(count("Blue", true), 1);
    EXPECT_EQ(count("Blue", false), 0);
    EXPECT_EQ(count("Strings", true), 1);
    ASSERT_EQ(after[kind].size(), 4u);
    EXPECT_EQ(after[kind][3]["name"], "Blue");
    EXPECT_EQ(after[kind][3]["id"], before[kind][2]["id"]);
  }
}

TEST_F(PortsCommand, ListSaysSoWhenThereIsNothing) {
  const Result result = Ports("MLOX_MIDI_DRIVERS=none $MLOX list");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_THAT(result.mOutput, StartsWith("There are no MIDI ports."));
}

TEST_F(PortsCommand, SendTakesWholeMessagesOnly) {
  ExpectOneLineWith(Ports("$MLOX send Red 90 3c"), 2, "byte 1 (90): this message is cut short");
  ExpectOneLineWith(Ports("$MLOX send Red zz"), 2, "'zz' is no hexadecimal byte");
  ExpectOneLineWith(Ports("$MLOX send Red"), 2, "either BYTES or --sysex FILE");
  EXPECT_EQ(Ports("$MLOX send Red 90 3c 64 f8 f0 7e f7").mStatus, 0);
}

TEST_F(PortsCommand, SendNamesTheCandidatesOfAnAmbiguousOutput) {
  ExpectOneLineWith(Ports("$MLOX send Re 90 3c 64"), 1, "several outputs fit");
  ExpectOneLineWith(Ports("$MLOX send Green 90 3c 64"), 1,
                    "no output has this name or id; there are \"Red\"");
}

TEST_F(PortsCommand, SendTakesSystemExclusiveMessagesFromAFile) {
  const Result result = Ports(
      "printf '\\360\\001\\002\\367' >a.syx; printf '\\220\\074\\144' >b.syx; printf '\\360\\001' >c.syx\n"
      "$MLOX send Red --sysex a.syx");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  ExpectOneLineWith(Ports("$MLOX send Red --sysex b.syx"), 1, "something else than system exclusive");
  ExpectOneLineWith(Ports("$MLOX send Red --sysex c.syx"), 1, "c.syx: byte 1 (f0)");
  ExpectOneLineWith(Ports("$MLOX send Red --sysex none.syx"), 1, "none.syx: cannot read");
}

/// The numbers that a bar has shown, without those that came twice running.
std::vector<int> PercentsOf(const std::string& iShown) {
  std::vector<int> percents;
  for (std::size_t at = iShown.find("] "); at != std::string::npos; at = iShown.find("] ", at + 1))
    percents.push_back(std::stoi(iShown.substr(at + 2)));
  return percents;
}

TEST_F(PortsCommand, SendDrawsItsProgressOnATerminal) {
  // 4,802 bytes take the wire 1.5 s: one message at its pace, and many that are written at once.
  for (const char* const content : {"'\\360'; head -c 4800 /dev/zero; printf '\\367'",
                                    "''; for i in $(seq 240); do printf '\\360%018d\\367' 0; done"}) {
    SCOPED_TRACE(content);
    ASSERT_EQ(Shell(std::string("{ printf ") + content + "; } >a.syx").mStatus, 0);
    const Result result = ShellOnTerminal(kPorts + "$MLOX send Red --sysex a.syx");
    EXPECT_EQ(result.mStatus, 0);
    EXPECT_THAT(result.mError, testing::EndsWith("\r\x1b[K"));
    const std::vector<int> percents = PercentsOf(result.mError);
    ASSERT_FALSE(percents.empty());
    EXPECT_LT(percents.front(), 10);
    EXPECT_THAT(percents, testing::Contains(AllOf(testing::Gt(10), testing::Lt(45))));
    EXPECT_EQ(percents.back(), 100);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end())) << testing::PrintToString(percents);
  }
}

TEST_F(PortsCommand, SendDrawsNoProgressOfWhatIsSoonOut) {
  const Result result = ShellOnTerminal(kPorts + "$MLOX send Red 90 3c 64");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mError, "");
}

TEST_F(PortsCommand, SendNamesTheFileThatHoldsNothingToSend) {
  ExpectOneLineWith(Ports("mkdir folder; $MLOX send Red --sysex folder"), 1,
                    "mlox: folder: cannot read: Is a directory");
  ExpectOneLineWith(Ports(": >empty.syx; $MLOX send Red --sysex empty.syx"), 1, "mlox: empty.syx: is empty");
}

TEST_F(PortsCommand, SendReadsNoMoreOfAFileThanItTakes) {
  // Reading on would end in bad_alloc. A checker takes far more addresses by itself.
  const std::string limit = TEST_HAS_MEMORY_OR_THREAD_CHECKER != 0 ? "" : "ulimit -S -v $((400 * 1024)); ";
  ExpectOneLineWith(Ports(limit + "timeout 60 $MLOX send Red --sysex /dev/zero"), 1,
                    "/dev/zero: larger than 67108864 bytes");
}

TEST_F(PortsCommand, SendRefusesAChannelThatTheOutputDoesNotListenOn) {
  ExpectOneLineWith(
      Ports("$MLOX list >list; $MLOX studio set Red --receive 2 >list 2>err || $MLOX studio show >list\n"
            "$MLOX studio add S >g; $MLOX studio wire S Blue; $MLOX studio set S --receive 2\n"
            "$MLOX send S 90 3c 64"),
      1, "S: does not listen on channel 1");
}

TEST_F(PortsCommand, ADatabaseThatIsHeldForAMomentIsWaitedFor) {
  const Result result = Ports(
      "$MLOX list >list && $MLOX studio add Strings >guid\n"
      "flock -x studio.db.lock sleep 1 & sleep 0.3\n"
      "$MLOX studio wire Strings Blue && $MLOX send Strings 90 3c 64");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
}

// Ten seconds through the one port that is there when none is asked for, as tools/demo.sh plays them.
TEST_F(PortsCommand, EveryByteOfTenSecondsOfASongThatPlaySendsComesBack) {
  const Result result =
      Shell(std::string("MLOX_MIDI_DRIVERS=loopback MLOX_STUDIO_DB=$PWD/studio.db $MLOX play ") + kSong +
            " --to 'mlox loopback' --back 'mlox loopback' --seconds 10");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, HasSubstr("every byte came back"));
  EXPECT_EQ(result.mError, "");
}

TEST_F(PortsCommand, PlayDrawsItsProgressOnATerminal) {
  const Result result = ShellOnTerminal(kPorts + "$MLOX play " + kSong + " --to Red --seconds 2");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_THAT(result.mError, AllOf(HasSubstr("\r[####################"), testing::EndsWith("\r\x1b[K")));
}

TEST_F(PortsCommand, PlayTellsWhenNothingComesBack) {
  ExpectOneLineWith(Ports(std::string("$MLOX play ") + kSong + " --to Red --back Blue --seconds 1"), 1,
                    "0 came back");
}

// A note of running status behind a gap is sent on whole, and an undone quarter frame not at all: as many
// bytes as the song has, but others.
TEST_F(PortsCommand, PlayTellsWhichByteCameBackAsAnother) {
  const Result result = Ports(
      "printf 'MThd\\0\\0\\0\\6\\0\\0\\0\\1\\0\\140MTrk\\0\\0\\0\\26' >a.mid\n"
      "printf '\\0\\220<d\\12\\367\\2=d\\12\\367\\2\\361\\366\\12\\200<@\\0\\377/\\0' >>a.mid\n"
      "$MLOX play a.mid --to Red --back Red");
  ExpectOneLineWith(result, 1, "byte 4 of 10 came back as 90, not 3d");
}

TEST_F(PortsCommand, PlaySucceedsWhenOnlyWhatTheOutputHasNoChannelForIsLeftOut) {
  // A note-on each on channels 3, 2 and 16.
  const Result result = Ports(
      "printf 'MThd\\0\\0\\0\\6\\0\\0\\0\\1\\0\\140' >a.mid\n"
      "printf 'MTrk\\0\\0\\0\\20\\0\\222<d\\0\\221=d\\0\\237>d\\0\\377/\\0' >>a.mid\n"
      "$MLOX list >list; $MLOX studio add S >guid; $MLOX studio wire S Blue; $MLOX studio set S --receive 2\n"
      "$MLOX play a.mid --to S");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mOutput,
            "2 messages were left out: the output doesn't listen on their channels\n1 messages played\n");
  EXPECT_EQ(result.mError, "");
}

TEST_F(PortsCommand, HelpTellsHowLongAnIntegerHolds) {
  EXPECT_THAT(Mlox("send --help").mOutput,
              HasSubstr("which hold until something changes: a port comes\nor goes, or channels are set"));
}

TEST_F(PortsCommand, HelpOfPlayTellsThatWhatTheOutputHasNoChannelForIsLeftOut) {
  EXPECT_THAT(
      Mlox("play --help").mOutput,
      HasSubstr("Messages on channels that the\n"
                "output doesn't listen on are left out and counted; the exit status is 0 all the same."));
}

TEST_F(PortsCommand, PlayRefusesWhatIsNoSong) {
  ExpectOneLineWith(Ports("echo nothing >x.mid; $MLOX play x.mid --to Red"), 1, "x.mid");
}

TEST_F(PortsCommand, PlayTurnsNotesOffOnCtrlC) {
  const Result result = Ports(std::string("$MLOX play ") + kSong +
                              " --to Red & child=$!; sleep 2; kill -INT $child; wait $child");
  EXPECT_EQ(result.mStatus, 1);
  EXPECT_EQ(result.mError, "mlox: interrupted; every note is off\n");
}

TEST_F(PortsCommand, MonitorEndsAfterItsTimeAndRefusesUnknownInputs) {
  const Result result = Ports("$MLOX monitor Red --for 0.2 --json");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_EQ(result.mOutput, "");
  ExpectOneLineWith(Ports("$MLOX monitor Green --for 1"), 1, "no input has this name or id");
}

TEST_F(PortsCommand, ATimeIsANumberOfSecondsAbove0) {
  for (const std::string time : {"nan", "inf", "-inf", "0", "-1", "1e999", "x", "1s"}) {
    const std::string fault = "--for: '" + time + "' is no number of seconds above 0";
    ExpectOneLineWith(Ports("timeout 20 $MLOX monitor Red --for " + time), 2, fault);
    ExpectOneLineWith(Ports("timeout 20 $MLOX watch --for " + time), 2, fault);
    ExpectOneLineWith(Ports(std::string("timeout 20 $MLOX play ") + kSong + " --to Red --seconds " + time), 2,
                      "--seconds: '" + time + "' is no number of seconds above 0");
  }
}

TEST_F(PortsCommand, WatchEndsAtOnceWhenNobodyTakesItsOutput) {
  ExpectOneLineWith(Ports("timeout 20 $MLOX watch --follow Red >/dev/full"), 1,
                    "standard output: cannot write: No space left on device");
}

TEST_F(PortsCommand, WatchNamesTheCandidatesOfAnAmbiguousPort) {
  ExpectOneLineWith(Ports("$MLOX watch --for 0.2 --follow Re"), 1,
                    "Re: several ports fit, name one by its id: output \"Red\" (");
  const Result unknown = Ports("$MLOX watch --for 0.2 --follow nope");
  ExpectOneLineWith(unknown, 1, "nope: no output or input has this name or id; there are output \"Red\" (");
  EXPECT_THAT(unknown.mError, HasSubstr(", input \"Blue\" ("));
}

// Outputs have 1 to 16, 17 to 32 and 33 to 48; inputs, which have one more each, 1 to 17, 18 to 34 and 35
// to 51.
TEST_F(PortsCommand, WatchFollowsTheOutputOrInputThatAnIntegerStandsFor) {
  const auto found = [&](const std::string& iText) {
    const Result result = Ports("$MLOX watch --for 0.2 --follow " + iText + " | grep -o 'found.*'");
    EXPECT_EQ(result.mStatus, 0) << result.mError;
    return result.mOutput;
  };
  EXPECT_EQ(found("id:49"), "found    input   Blue\n") << "no output has it";
  EXPECT_EQ(found("id:16"), "found    output  Red\n");
  EXPECT_EQ(found("id:18"), "found    output  Reel\n");
  EXPECT_EQ(found("id:48"), "found    output  Blue\n");
  // With one integer for its input, the external device leaves 48 to the outputs, where it is the last one.
  ASSERT_EQ(
      Ports("$MLOX studio add S >guid; $MLOX studio wire S Blue; $MLOX studio set S --transmit none").mStatus,
      0);
  EXPECT_EQ(found("id:48"), "found    output  S\n");
}

TEST_F(PortsCommand, WatchFollowsNoIntegerThatAnOutputAndAnInputOfTwoNamesHave) {
  const json list = ListJson();
  const auto id = [&](const char* iKind, std::size_t iIndex) {
    return list[iKind][iIndex]["id"].get<std::string>();
  };
  ExpectOneLineWith(Ports("$MLOX watch --for 0.2 --follow id:17"), 1,
                    "id:17: several ports fit, name one by its id: output \"Reel\" (" + id("outputs", 1) +
                        "), input \"Red\" (" + id("inputs", 0) + ")\n");
  ExpectOneLineWith(Ports("$MLOX watch --for 0.2 --follow id:34"), 1,
                    "id:34: several ports fit, name one by its id: output \"Blue\" (" + id("outputs", 2) +
                        "), input \"Reel\" (" + id("inputs", 1) + ")\n");
}

TEST_F(PortsCommand, WatchTellsWhichIntegersThereAreWhenNobodyHasOne) {
  for (const std::string id : {"id:0", "id:52", "id:2147483647"}) {
    ExpectOneLineWith(Ports("$MLOX watch --for 0.2 --follow " + id), 1,
                      id + ": no output or input has this id; outputs' go up to 48 now and inputs' up to 51");
  }
  ExpectOneLineWith(Ports("MLOX_MIDI_DRIVERS=none $MLOX watch --for 0.2 --follow id:1"), 1,
                    "id:1: there is no output or input");
}

TEST_F(PortsCommand, HelpOfWatchTellsWhatAnIntegerNames) {
  EXPECT_THAT(Mlox("watch --help").mOutput,
              AllOf(HasSubstr("An integer of an output and an input of two names is an error."),
                    HasSubstr("are numbered each from 1")));
}

TEST_F(PortsCommand, LatencyDrawsAHistogramAndAPicture) {
  const Result result = Ports("$MLOX latency --out Red --in Red --count 50 --svg times.svg && cat times.svg");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, AllOf(HasSubstr("50 messages: p50 "), HasSubstr("<svg "), HasSubstr("</svg>")));
}

TEST_F(PortsCommand, LatencyTellsWhenNothingComesBackAndLeavesNoPicture) {
  ExpectOneLineWith(Ports("$MLOX latency --out Red --in Blue --count 5 --svg times.svg"), 1,
                    "message 1 of 5 didn't come back");
  EXPECT_THAT(Names(), Not(testing::Contains("times.svg")));
}

TEST_F(PortsCommand, LatencyLeavesNoPictureWhenItsFiguresCannotBeWritten) {
  ExpectOneLineWith(Ports("$MLOX latency --out Red --in Red --count 5 --svg times.svg >/dev/full"), 1,
                    "standard output: cannot write: No space left on device");
  EXPECT_THAT(Names(), Not(testing::Contains("times.svg")));
}

TEST_F(PortsCommand, LatencyIsMeasuredOnAChannelThatTheOutputListensOn) {
  const Result result = Ports(
      "$MLOX list >list; $MLOX studio add S >g; $MLOX studio wire S Blue; $MLOX studio set S --receive 2-4\n"
      "$MLOX latency --out S --in S --count 3");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, HasSubstr("3 messages: p50 "));
  ExpectOneLineWith(Ports("$MLOX studio set S --receive none && $MLOX latency --out S --in S --count 3"), 1,
                    "S: listens on no channel");
}

TEST_F(PortsCommand, SendTakesANoteOnOfVelocity0) {
  const Result result = Ports("MLOX_ASSERT=abort $MLOX send Red 90 3c 00");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mError, "");
}

TEST_F(PortsCommand, StudioPutsAnExternalDeviceInThePlaceOfItsPort) {
  const Result result = Ports(
      "$MLOX list >list; $MLOX studio add Strings --manufacturer Acme --model S1 >guid\n"
      "$MLOX studio wire Strings Blue && $MLOX studio rename Strings Cellos && $MLOX list");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, AllOf(HasSubstr("Cellos"), Not(HasSubstr("Blue")), Not(HasSubstr("Strings"))));
  const Result back = Ports("$MLOX studio unwire Cellos Blue && $MLOX studio remove Cellos && $MLOX list");
  EXPECT_EQ(back.mStatus, 0) << back.mError;
  EXPECT_THAT(back.mOutput, AllOf(Not(HasSubstr("Cellos")), HasSubstr("Blue")));
}

TEST_F(PortsCommand, StudioUnwireTakesBothHalvesOfAPortWhereOneNameHasThem) {
  ASSERT_EQ(Ports("$MLOX list >list; $MLOX studio add S >guid; $MLOX studio wire S Blue").mStatus, 0);
  const auto wires = [&] {
    std::vector<std::string> rows;
    for (const json& row : json::parse(Ports("$MLOX studio show --json").mOutput)) {
      for (std::size_t i = 0; i < row["wires"].size(); ++i) rows.push_back(row["name"]);
    }
    return rows;
  };
  EXPECT_THAT(wires(), testing::UnorderedElementsAre("Blue", "Blue", "S", "S"));
  const Result result = Ports("$MLOX studio unwire S Blue");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(wires(), ElementsAre());
  const json list = ListJson();
  for (const char* const kind : {"outputs", "inputs"}) {
    ASSERT_EQ(list[kind].size(), 3u);
    for (const json& row : list[kind]) EXPECT_NE(row["name"], "S");
  }
}

/// An external device with something of everything, and its ports.
const std::string kFullDevice = R"(: >a.midnam; : >b.midnam; $MLOX list >list
$MLOX studio add S --manufacturer Acme --model S1 >guid; $MLOX studio wire S Blue
$MLOX studio set S --receive 1-4,10 --transmit 16 --master a.midnam --mode 1=Multi --mode 16=Drum=Kit \
  --bank 'Bank 1' a.midnam Keys --bank 'Bank 2' b.midnam Pads
)";

TEST_F(PortsCommand, StudioSetTakesModesByTheChannelAsPeopleCountAndBanks) {
  const Result result = Ports(kFullDevice + "$MLOX studio show --json");
  ASSERT_EQ(result.mStatus, 0) << result.mError;
  json device;
  for (const json& row : json::parse(result.mOutput)) {
    if (row["name"] == "S") device = row;
  }
  // The first row belongs to no channel.
  std::vector<std::string> modes(17);
  modes[1] = "Multi";
  modes[16] = "Drum=Kit";
  EXPECT_EQ(device["modes"], json(modes));
  EXPECT_EQ(device["banks"], json({{{"file", mFolder / "a.midnam"}, {"list", "Keys"}, {"name", "Bank 1"}},
                                   {{"file", mFolder / "b.midnam"}, {"list", "Pads"}, {"name", "Bank 2"}}}));
  EXPECT_EQ(device["master"], mFolder / "a.midnam");
}

TEST_F(PortsCommand, StudioShowIsAnOutlineForPeople) {
  const Result result = Ports(kFullDevice + "$MLOX studio show");
  ASSERT_EQ(result.mStatus, 0) << result.mError;
  std::string guid = Test_ReadFile(mFolder / "guid");
  EXPECT_THAT(guid, testing::EndsWith("\n"));
  EXPECT_THAT(result.mOutput, HasSubstr("S\n"
                                        "  guid           " +
                                        guid +
                                        "  kind           external\n"
                                        "  manufacturer   Acme\n"
                                        "  model          S1\n"
                                        "  receives       1-4, 10\n"
                                        "  transmits      16\n"
                                        "  document       " +
                                        mFolder / "a.midnam" + "\n" +
                                        "  mode           1: Multi\n"
                                        "  mode           16: Drum=Kit\n"
                                        "  bank           Bank 1: Keys in " +
                                        mFolder / "a.midnam" + "\n" + "  bank           Bank 2: Pads in " +
                                        mFolder / "b.midnam" + "\n" +
                                        "  wired to       Blue\n"
                                        "  wired to       Blue\n"));
  const auto portOf = [](const std::string& iKind) {
    return "Blue\n  guid           [^\n]+\n  kind           " + iKind +
           "\n(  [^\n]+\n)*  driver         loopback\n(  [^\n]+\n)*  wired to       S\n";
  };
  EXPECT_THAT(result.mOutput, testing::ContainsRegex(portOf("input port")));
  EXPECT_THAT(result.mOutput, testing::ContainsRegex(portOf("output port")));
}

TEST_F(PortsCommand, StudioSaysWhatItCannotDo) {
  ASSERT_EQ(Ports("$MLOX list >list; $MLOX studio add A >a").mStatus, 0);
  ExpectOneLineWith(Ports("$MLOX studio add ''"), 1, "doesn't take this value");
  ExpectOneLineWith(Ports("$MLOX studio remove Red"), 1, "no external device has this name");
  ExpectOneLineWith(Ports("$MLOX studio wire A Green"), 1, "no port has this name");
  ExpectOneLineWith(Ports("$MLOX studio unwire A Red"), 1, "it is so already");
  ExpectOneLineWith(Ports("$MLOX studio set A --receive 0"), 2, "names no channels");
  ExpectOneLineWith(Ports("$MLOX studio set A --master none.midnam"), 1, "there is no such document");
}

TEST_F(PortsCommand, StudioSetChangesNothingWhenOnePartIsRefused) {
  ASSERT_EQ(Ports("$MLOX studio add S >guid; $MLOX studio set S --receive 1-2").mStatus, 0);
  const std::string before = Ports("$MLOX studio show --json").mOutput;
  ExpectOneLineWith(Ports("$MLOX studio set S --receive 5 --mode 17=X"), 2,
                    "'17=X' is no CHANNEL=MODE with a channel from 1 to 16");
  ExpectOneLineWith(Ports("$MLOX studio set S --receive 5 --mode X"), 2, "'X' is no CHANNEL=MODE");
  ExpectOneLineWith(Ports("$MLOX studio set S --receive 6 --master nofile"), 1, "there is no such document");
  ExpectOneLineWith(Ports("$MLOX studio set S --receive 6 --bank B nofile L"), 1,
                    "there is no such document");
  ExpectOneLineWith(Ports("$MLOX studio set S --receive 7 --transmit 0"), 2, "names no channels");
  EXPECT_EQ(Ports("$MLOX studio show --json").mOutput, before);
}

TEST_F(PortsCommand, StudioWireTakesNoPortThatNobodyNamed) {
  ASSERT_EQ(Ports("MLOX_LOOPBACK_PORTS='UM-1,UM-1 Mixer' $MLOX list >list; $MLOX studio add U >guid").mStatus,
            0);
  ExpectOneLineWith(Ports("$MLOX studio wire U UM"), 1, "several ports fit, name one by its id");
  ASSERT_EQ(Ports("$MLOX studio wire U UM-1").mStatus, 0);
  const json rows = json::parse(Ports("$MLOX studio show --json").mOutput);
  for (const json& row : rows) {
    if (row["external"] == false) {
      EXPECT_EQ(row["wires"].size(), row["name"] == "UM-1" ? 1u : 0u) << row["name"];
    }
  }
}

TEST_F(PortsCommand, StudioCommandsTellOnceAndAtOnceThatTheFileCantBeOpened) {
  // A folder in the file's place, which also root can't open as a file.
  ASSERT_EQ(Shell("mkdir studio.db").mStatus, 0);
  const auto start = std::chrono::steady_clock::now();
  for (const char* const command : {"add A", "remove A", "wire A Red", "unwire A Red", "rename A B",
                                    "set A --receive 1", "show", "show --json"}) {
    const Result result = Ports(std::string("$MLOX studio ") + command);
    ExpectOneLineWith(result, 1, "can't be opened");
    EXPECT_THAT(result.mError, Not(HasSubstr("memory"))) << command;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(PortsCommand, StudioCommandsTellOnceAndAtOnceThatTheFileCantBeWritten) {
  ASSERT_EQ(Ports("$MLOX list >list; $MLOX studio add A >a; $MLOX studio show >shown").mStatus, 0);
  // The version of the tables is made one that is to come: it is read and not written.
  ASSERT_EQ(Shell("printf '\\0\\0\\0\\143' | dd of=studio.db bs=1 seek=60 conv=notrunc 2>dd").mStatus, 0);
  const auto start = std::chrono::steady_clock::now();
  for (const char* const command :
       {"add B", "remove A", "wire A Red", "rename A B", "set A --receive 1 --mode 2=M"}) {
    const Result result = Ports(std::string("$MLOX studio ") + command);
    EXPECT_EQ(result.mOutput, "") << command;
    ExpectOneLineWith(result, 1, "made by a newer version");
    EXPECT_THAT(result.mError, Not(HasSubstr("memory"))) << command;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  const Result shown = Ports("$MLOX studio show; cmp shown - <<EOF\n$($MLOX studio show 2>again)\nEOF");
  EXPECT_EQ(shown.mStatus, 0);
  EXPECT_THAT(shown.mError, HasSubstr("made by a newer version"));
  EXPECT_EQ(std::count(shown.mError.begin(), shown.mError.end(), '\n'), 1) << shown.mError;
}

TEST_F(PortsCommand, StudioCommandsWaitForWhoHoldsTheFileAndThenSayThatTheyDidInVain) {
  ASSERT_EQ(Ports("$MLOX list >list; $MLOX studio add A >a").mStatus, 0);
  const Result patient = Ports("flock -x studio.db.lock sleep 2.5 & sleep 0.3; $MLOX studio wire A Blue");
  EXPECT_EQ(patient.mStatus, 0) << patient.mError;
  EXPECT_EQ(patient.mError, "");
  const auto start = std::chrono::steady_clock::now();
  const Result vain = Ports(
      "flock -x studio.db.lock sleep 60 & holder=$!; sleep 0.3; $MLOX studio unwire A Blue; status=$?\n"
      "pkill -P $holder; exit $status");
  ExpectOneLineWith(vain, 1, "is held by another process");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(PortsCommand, StudioShowIsJsonForPrograms) {
  const Result result = Ports(
      "$MLOX studio add A --manufacturer M >a; $MLOX studio set A --receive 1-2\n"
      "$MLOX studio show --json");
  ASSERT_EQ(result.mStatus, 0) << result.mError;
  const json entries = json::parse(result.mOutput);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0]["name"], "A");
  EXPECT_EQ(entries[0]["manufacturer"], "M");
  EXPECT_EQ(entries[0]["external"], true);
  EXPECT_EQ(entries[0]["receive_channels"], json({1, 2}));
}

TEST_F(PortsCommand, WatchSeesAWireOfAnotherProcess) {
  const Result result = Ports(
      "$MLOX studio add Strings >guid; $MLOX list >list\n"
      "$MLOX watch --follow Blue >watched & child=$!\n"
      "for i in $(seq 100); do grep -q found watched && break; sleep 0.1; done\n"
      "$MLOX studio wire Strings Blue\n"
      "for i in $(seq 100); do grep -q 'came .*Strings' watched && break; sleep 0.1; done\n"
      "kill -INT $child; wait $child; cat watched");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, AllOf(HasSubstr("came     output  Strings"), HasSubstr("gone     output  Blue"),
                                    HasSubstr("lost     output  Blue")));
}

TEST_F(PortsCommand, WatchTellsOfARenamedOutputAndInput) {
  const Result result = Ports(
      "$MLOX list >list; $MLOX studio add Strings >guid; $MLOX studio wire Strings Blue\n"
      "$MLOX watch >watched & child=$!\n"
      "for i in $(seq 300); do grep -q 'came .*input .*Strings' watched && break; sleep 0.1; done\n"
      "$MLOX studio rename Strings Cellos\n"
      "for i in $(seq 300); do [ $(grep -c renamed watched) = 2 ] && break; sleep 0.1; done\n"
      "kill -INT $child; wait $child; grep -v ' came ' watched");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  const json list = ListJson();
  const auto id = [&](const char* iKind) { return list[iKind].back()["id"].get<std::string>(); };
  std::vector<std::string> changes;
  std::istringstream lines(result.mOutput);
  // The time takes twelve columns.
  for (std::string line; std::getline(lines, line);) changes.push_back(line.substr(12));
  EXPECT_THAT(changes, testing::UnorderedElementsAre("  renamed  output  Cellos  " + id("outputs"),
                                                     "  renamed  input   Cellos  " + id("inputs")));
}

/// When `watch` saw an output of this name come, by the time it prints, in microseconds; none if it didn't
/// yet.
std::optional<std::int64_t> TimeOfComing(const std::string& iWatched, const std::string& iName) {
  std::istringstream lines(iWatched);
  for (std::string line; std::getline(lines, line) && !lines.eof();) {
    std::istringstream words(line);
    double seconds = 0;
    std::string what, kind, name;
    if (words >> seconds >> what >> kind >> name && what == "came" && kind == "output" && name == iName) {
      return static_cast<std::int64_t>(seconds * 1e6);
    }
  }
  return std::nullopt;
}

// From the return of the command that wires. The best of some tries counts: the machine may be busy.
TEST_F(PortsCommand, WatchTellsOfAWireOfAnotherProcessWithinASecond) {
  const std::string watched = mFolder / "watched";
  std::int64_t best = INT64_MAX;
  ASSERT_EQ(Ports("$MLOX studio add Strings >guid; $MLOX list >list").mStatus, 0);
  for (int attempt = 0; attempt < 5 && best > 1'000'000; ++attempt) {
    ASSERT_EQ(Ports("$MLOX watch --follow Blue >watched 2>watch_errors & echo $! >pid\n"
                    "for i in $(seq 300); do grep -q found watched && break; sleep 0.1; done\n"
                    "$MLOX studio wire Strings Blue")
                  .mStatus,
              0);
    const std::int64_t wired = Sys_Clock::Microseconds();
    std::optional<std::int64_t> seen;
    while (!(seen = TimeOfComing(Test_ReadFile(watched), "Strings")) &&
           Sys_Clock::Microseconds() < wired + 60'000'000) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    Ports("kill -INT $(cat pid); $MLOX studio unwire Strings Blue");
    ASSERT_TRUE(seen) << Test_ReadFile(watched);
    std::printf("seen %lld us after the command that wired\n", static_cast<long long>(*seen - wired));
    best = std::min(best, *seen - wired);
  }
  EXPECT_LE(best, 1'000'000);
}

/// A document of one bank on channel 1, and an external device that goes by it.
const std::string kNamedDevice = R"(cat >acme.midnam <<END
<MIDINameDocument><MasterDeviceNames>
<Manufacturer>Acme</Manufacturer><Model>S1</Model>
<CustomDeviceMode Name="M"><ChannelNameSetAssignments><ChannelNameSetAssign Channel="1" NameSet="Set"/>
</ChannelNameSetAssignments></CustomDeviceMode>
<ChannelNameSet Name="Set"><PatchBank Name="Keys"><MIDICommands><ControlChange Control="0" Value="1"/></MIDICommands>
<PatchNameList Name="L"><Patch Number="1" Name="Grand" ProgramChange="4"/></PatchNameList></PatchBank></ChannelNameSet>
</MasterDeviceNames></MIDINameDocument>
END
$MLOX list >list; $MLOX studio add S --manufacturer Acme --model S1 >guid; $MLOX studio wire S Blue
$MLOX studio set S --master acme.midnam
)";

TEST_F(PortsCommand, NamesPatchesComeFromTheDevicesOwnDocument) {
  const Result result = Ports(kNamedDevice + "$MLOX names patches S --channel 1");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_EQ(result.mOutput, "channel 1: 1 patches\n  Keys  controller 0 = 1\n      4  Grand\n");
  ExpectOneLineWith(Ports("$MLOX names patches S --channel 2"), 1,
                    "channel 2: there is no such mode, or it gives the channel no channel name set");
  ExpectOneLineWith(Ports("$MLOX names patches Red"), 1, "Red: no names for its patches");
}

TEST_F(PortsCommand, NamesPatchesAreOneLineOfJsonForPrograms) {
  const Result one = Ports(kNamedDevice + "$MLOX names patches S --channel 1 --json");
  EXPECT_EQ(one.mStatus, 0) << one.mError;
  EXPECT_EQ(one.mOutput, R"({"channels": [{"banks": [{"lsb": null, "msb": 1, "name": "Keys", "programs": )"
                         R"([{"name": "Grand", "number": 4}]}], "channel": 1, "count": 1}], "output": "S"})"
                         "\n");
  // As without: what is wrong with a channel is told after those that are well.
  const Result all = Ports("$MLOX names patches S --json");
  EXPECT_EQ(all.mStatus, Ports("$MLOX names patches S").mStatus);
  EXPECT_EQ(all.mStatus, 1);
  const json channels = json::parse(all.mOutput)["channels"];
  ASSERT_EQ(channels.size(), 16u);
  EXPECT_EQ(channels[0]["count"], 1);
  EXPECT_EQ(channels[1], json({{"banks", json::array()}, {"channel", 2}, {"count", -5}}));
  const Result none = Ports("$MLOX names patches Red --channel 3 --json");
  EXPECT_EQ(none.mStatus, 1);
  EXPECT_EQ(json::parse(none.mOutput)["channels"][0]["banks"], json::array());
  EXPECT_THAT(none.mError, HasSubstr("Red: no names for its patches"));
}

TEST_F(PortsCommand, NamesPatchesOfAChannelThatTheOutputDoesNotListenOnAreRefused) {
  // It has its document, so there is nothing about names to mend.
  const Result listening =
      Ports(kNamedDevice + "$MLOX studio set S --receive 1-4; $MLOX names patches S --channel 1");
  EXPECT_EQ(listening.mStatus, 0) << listening.mError;
  ExpectOneLineWith(Ports("$MLOX names patches S --channel 9"), 1, "mlox: S: does not listen on channel 9");
  const Result asJson = Ports("$MLOX names patches S --channel 9 --json");
  EXPECT_EQ(asJson.mStatus, 1);
  EXPECT_EQ(json::parse(asJson.mOutput), json({{"channels", json::array()}, {"output", "S"}}));
  EXPECT_EQ(asJson.mError, "mlox: S: does not listen on channel 9\n");
  ExpectOneLineWith(Ports("$MLOX studio set S --receive none; $MLOX names patches S"), 1,
                    "mlox: S: listens on no channel");
}

TEST_F(PortsCommand, NamesPatchesTellBothNumbersOfABank) {
  const Result result = Ports(kNamedDevice + R"(
sed -i 's|<ControlChange Control="0" Value="1"/>|&<ControlChange Control="32" Value="7"/>|' acme.midnam
$MLOX names patches S --channel 1 --json && $MLOX names patches S --channel 1)");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, AllOf(HasSubstr(R"({"lsb": 7, "msb": 1, "name": "Keys", )"),
                                    HasSubstr("\n  Keys  controller 0 = 1  controller 32 = 7\n")));
}

}  // namespace
