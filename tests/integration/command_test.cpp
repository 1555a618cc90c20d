// SPDX-License-Identifier: MIT
// The command as its users run it: exit status, standard output, standard error, and what lies in the folder
// after.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "tests/integration/command_fixture.h"
#include "tests/support/song_builder.h"
#include "tests/support/test_files.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kSong[] = "/usr/share/games/openttd/baseset/openmsx/train_filled_with_cash.mid";

using Command = Test_Command;
using Result = Test_CommandResult;

const std::string kShortRender = std::string("render ") + kSong + " out.wav --seconds 1 ";

// ---- what goes well ----

TEST_F(Command, TellsItsVersion) {
  const Result result = Mlox("--version");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mOutput, "mlox 1.0.0\n");
  EXPECT_EQ(result.mError, "");
}

TEST_F(Command, HelpNamesTheSubcommands) {
  const Result result = Mlox("--help");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_THAT(result.mOutput, HasSubstr("render"));
  EXPECT_EQ(result.mError, "");
}

TEST_F(Command, ReferencePrintsAManualPageThatIsReadWithoutAWarning) {
  const Result result = Shell("$MLOX reference man >page && groff -ww -man -Tutf8 -P-cbu page");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mError, "");
  EXPECT_THAT(result.mOutput, AllOf(HasSubstr("mlox render [OPTIONS] SONG OUT"),
                                    HasSubstr("mlox studio wire [OPTIONS]"), HasSubstr("--soundfont FILE")));
}

TEST_F(Command, HelpAndTheManualPageTellHowACommandIsCalled) {
  const std::string page = Shell("$MLOX reference man | groff -man -Tutf8 -P-cbu -rLL=200n").mOutput;
  for (const auto& [command, usage] :
       std::vector<std::pair<std::string, std::string>>{{"play", "--to TEXT SONG"},
                                                        {"latency", "--out TEXT --in TEXT"},
                                                        {"monitor", "[INPUT...]"},
                                                        {"send", "OUTPUT [BYTES...]"},
                                                        {"names check", "PATH..."},
                                                        {"names scan", "[BASE]"},
                                                        {"names", "SUBCOMMAND"}}) {
    std::string line = "mlox " + command;
    line += " [OPTIONS] " + usage + "\n";
    EXPECT_THAT(Mlox(command + " --help").mOutput, HasSubstr("\nUsage: " + line));
    EXPECT_THAT(page, HasSubstr(" " + line));
  }
  EXPECT_THAT(Mlox("--help").mOutput, HasSubstr("\nUsage: mlox [OPTIONS] SUBCOMMAND\n"));
}

TEST_F(Command, ReferencePrintsScriptsThatShellsRead) {
  const Result result = Shell(
      "$MLOX reference bash >mlox.bash && $MLOX reference zsh >_mlox && zsh -n _mlox && bash -c 'source "
      "mlox.bash; "
      "COMP_WORDS=(mlox studio w); COMP_CWORD=2; _mlox; echo \"${COMPREPLY[*]}\"'");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mError, "");
  EXPECT_EQ(result.mOutput, "wire\n");
}

TEST_F(Command, ReferenceOfAnotherKindIsAUsageError) {
  const Result result = Mlox("reference fish");
  EXPECT_EQ(result.mStatus, 2);
  EXPECT_THAT(result.mError, HasSubstr("fish"));
}

// What --assertions prints where the checks of failing_checks.cpp fail.
const std::string kFailedChecks =
    "site                                  text                        count\n"
    "tests/integration/failing_checks:101  i < 0                           3\n"
    "tests/integration/failing_checks:103  on a real-time thread           1\n";

const std::string kWithFailingChecks = "export LD_LIBRARY_PATH=" MLOX_TEST_FAILING_CHECKS "; ";

TEST_F(Command, AssertionsAreATableOfFailedChecksOnStandardErrorAtExit) {
  const Result result = Shell(kWithFailingChecks + "MLOX_ASSERT=count $MLOX --assertions " + kShortRender);
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mError, kFailedChecks);
  EXPECT_THAT(result.mOutput, HasSubstr("frames              48000,"));
}

TEST_F(Command, AssertionsComeBehindTheReportsThemselves) {
  const Result result = Shell(kWithFailingChecks + "MLOX_ASSERT=report $MLOX --assertions " + kShortRender);
  EXPECT_EQ(result.mError,
            "mlox: check failed: i < 0 (tests/integration/failing_checks, line 101)\n"
            "mlox: check failed: on a real-time thread (tests/integration/failing_checks, line 103)\n" +
                kFailedChecks);
}

TEST_F(Command, AssertionsSaySoWhereNoCheckFailed) {
  const Result result = Mlox("--assertions " + kShortRender);
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mError, "no check failed\n");
}

TEST_F(Command, AssertionsArePrintedOnlyWhereTheyAreAskedFor) {
  const Result result = Shell(kWithFailingChecks + "MLOX_ASSERT=count $MLOX " + kShortRender);
  EXPECT_EQ(result.mError, "");
}

TEST_F(Command, AssertionsLeaveStandardOutputToTheSubcommand) {
  const std::string list =
      "export MLOX_ASSERT=count MLOX_MIDI_DRIVERS=loopback MLOX_LOOPBACK_PORTS=Red "
      "MLOX_STUDIO_DB=$PWD/studio.db; $MLOX ";
  const Result without = Shell(list + "list --json");
  const Result with = Shell(kWithFailingChecks + list + "--assertions list --json");
  EXPECT_EQ(with.mStatus, 0);
  EXPECT_EQ(with.mOutput, without.mOutput);
  EXPECT_TRUE(nlohmann::json::accept(with.mOutput));
  EXPECT_EQ(with.mError, without.mError + kFailedChecks);
}

TEST_F(Command, AssertionsArePrintedAlsoWhenTheSubcommandFails) {
  const Result result =
      Shell(kWithFailingChecks + "MLOX_ASSERT=count $MLOX --assertions render missing.mid out.wav");
  EXPECT_EQ(result.mStatus, 1);
  EXPECT_THAT(result.mError, AllOf(StartsWith("mlox: missing.mid: "), EndsWith("\n" + kFailedChecks)));
}

TEST_F(Command, AssertionsStandInTheManualPageAndTheCompletions) {
  EXPECT_THAT(Mlox("reference man").mOutput, HasSubstr("\\fB\\-\\-assertions\\fR\n"));
  for (const std::string shell : {"bash", "zsh"})
    EXPECT_THAT(Mlox("reference " + shell).mOutput, HasSubstr("--assertions"));
  EXPECT_THAT(Mlox("--help").mOutput, HasSubstr("--assertions"));
}

TEST_F(Command, HelpOfRenderTeaches) {
  const Result result = Mlox("render --help");
  EXPECT_EQ(result.mStatus, 0);
  for (const char* const part :
       {"SONG", "OUT", "--soundfont", "--sample-rate", "--block", "--writers", "--through", "--seconds",
        "--events", "--json", "TimGM6mb", "48000", "64", "buffered", "Examples:", "Exit status"}) {
    EXPECT_THAT(result.mOutput, HasSubstr(part));
  }
  EXPECT_EQ(result.mError, "");
}

TEST_F(Command, RenderPrintsFiguresAndWritesTheFile) {
  const Result result = Mlox(kShortRender);
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput, HasSubstr("late                0\n"));
  EXPECT_THAT(result.mOutput, HasSubstr("dropped             0\n"));
  EXPECT_THAT(result.mOutput, HasSubstr("frames              48000,"));
  EXPECT_THAT(Names(), ElementsAre("out.wav"));
}

TEST_F(Command, RenderGoesTheBufferedWayInBlocksOf64WithoutOptions) {
  const Result result = Mlox(kShortRender);
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  EXPECT_THAT(result.mOutput,
              AllOf(HasSubstr("\nblocks              750, "),
                    testing::ContainsRegex("\npath                [1-9][0-9]* buffered pulls"),
                    HasSubstr(" messages, 0 direct calls, 0 handed over\n")));
}

TEST_F(Command, RenderHasThreeWritersWithoutOptions) {
  // Something on the lowest and on the highest channel after 100,000 ticks of 250 samples, nine minutes: the
  // writers have work until then. When there is sound in the file, all threads are there.
  mFolder.MakeFile("song.mid",
                   Test_AsString(Test_OneTrackSong({0,    0xC0, 1,    0, 0xC7, 1,    0, 0xCF, 1,    0x86,
                                                    0x8D, 0x20, 0xC0, 2, 0,    0xC7, 2, 0,    0xCF, 2})));
  const auto threads = [&](const std::string& iOptions) {
    const Result result = Shell(
        "$MLOX render song.mid out.wav " + iOptions +
        " 2>errors & until [ $(cat 2>/dev/null out.wav.*.part | wc -c) -gt 100000 ]; do sleep 0.02; done\n"
        "ls /proc/$!/task | wc -l; kill -TERM $!; wait $!");
    EXPECT_EQ(result.mStatus, 1) << result.mError;
    return std::stoi(result.mOutput);
  };
  const int withoutOptions = threads("");
  EXPECT_EQ(withoutOptions, threads("--writers 3"));
  EXPECT_EQ(withoutOptions, threads("--writers 2") + 1);
}

TEST_F(Command, HelpOfRenderTellsItsDefaults) {
  EXPECT_THAT(
      Mlox("render --help").mOutput,
      AllOf(HasSubstr("--soundfont FILE=/usr/share/sounds/sf2/TimGM6mb.sf2\n"),
            testing::ContainsRegex("--sample-rate HZ[^\n]*=48000\n"),
            testing::ContainsRegex("--block N[^\n]*=64\n"), testing::ContainsRegex("--writers N[^\n]*=3\n"),
            testing::ContainsRegex("--through WAY[^\n]*=buffered\n")));
}

TEST_F(Command, RenderPrintsNoProgressWhereThereIsNoTerminal) { EXPECT_EQ(Mlox(kShortRender).mError, ""); }

// The bar is drawn now and then: a second of a song is over before.
TEST_F(Command, RenderDrawsItsProgressOnATerminal) {
  const Result result = ShellOnTerminal(std::string("$MLOX render ") + kSong + " out.wav --seconds 60");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_THAT(result.mError, AllOf(HasSubstr("\r[###"), EndsWith("\r\x1b[K")));
  const Result figures = ShellOnTerminal(std::string("$MLOX render ") + kSong + " out.wav --seconds 60 >&2");
  EXPECT_THAT(figures.mError, HasSubstr("%\r\x1b[Kevents written"));
}

TEST_F(Command, RenderPrintsOneJsonObject) {
  const Result result = Mlox(kShortRender + "--json");
  EXPECT_EQ(result.mStatus, 0) << result.mError;
  const auto json = nlohmann::json::parse(result.mOutput);
  std::vector<std::string> keys;
  for (const auto& [key, value] : json.items()) {
    EXPECT_TRUE(value.is_number()) << key;
    keys.push_back(key);
  }
  EXPECT_THAT(keys, testing::UnorderedElementsAre("events_written", "messages_delivered", "late", "dropped",
                                                  "pull_max_us", "pull_p999_us", "real_time_factor", "frames",
                                                  "peak"));
  EXPECT_EQ(json["frames"], 48000);
  EXPECT_EQ(json["late"], 0);
  EXPECT_EQ(json["dropped"], 0);
}

TEST_F(Command, RenderWritesWhatWasFed) {
  // Samples 0 and 250; the second note-on is silent.
  mFolder.MakeFile("song.mid",
                   Test_AsString(Test_OneTrackSong({0, 0x91, 60, 100, 1, 60, 0, 0, 0xF0, 3, 0x7D, 1, 0xF7})));
  for (const std::string through : {"buffered", "direct", "none"}) {
    const Result result = Mlox("render song.mid out.wav --events fed.txt --through " + through);
    EXPECT_EQ(result.mStatus, 0) << result.mError;
    EXPECT_EQ(Test_ReadFile(mFolder / "fed.txt"), "0 91 3c 64\n250 f0 7d 01 f7\n250 81 3c 00\n") << through;
  }
  EXPECT_THAT(Names(), ElementsAre("fed.txt", "out.wav", "song.mid"));
}

TEST_F(Command, RenderRaisesNoReport) {
  for (const std::string through : {"buffered", "direct"}) {
    const Result result = Shell(std::string("MLOX_ASSERT=abort $MLOX render ") + kSong +
                                " out.wav --seconds 10 --through " + through);
    EXPECT_EQ(result.mStatus, 0) << result.mError;
    EXPECT_EQ(result.mError, "");
  }
}

TEST_F(Command, RenderSaysWhatItLeftOut) {
  mFolder.MakeFile("song.mid", Test_AsString(Test_OneTrackSong({0, 0xF0, 1, 0x7D, 0, 0xC0, 1})));
  const Result result = Mlox("render song.mid out.wav");
  EXPECT_EQ(result.mStatus, 0);
  EXPECT_EQ(result.mError,
            "mlox: note: song.mid: 1 system exclusive messages without an end were left out\n");
  EXPECT_EQ(Shell("$MLOX render song.mid out.wav 2>/dev/full").mStatus, 0);
}

TEST_F(Command, RenderReplacesAnOlderOutput) {
  mFolder.MakeFile("out.wav", "old");
  EXPECT_EQ(Mlox(kShortRender).mStatus, 0);
  EXPECT_GT(std::filesystem::file_size(mFolder / "out.wav"), 384000u);
}

// ---- bad input ----

TEST_F(Command, NoSuchSong) {
  ExpectFault(Mlox("render none.mid out.wav"), 1, "mlox: none.mid: cannot open: No such file or directory");
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(Command, NotAMidiFile) {
  mFolder.MakeFile("song.mid", "This is a letter.");
  ExpectFault(Mlox("render song.mid out.wav"), 1,
              "mlox: song.mid: byte 0: not a Standard MIDI File: it doesn't begin with \"MThd\"");
  EXPECT_THAT(Names(), ElementsAre("song.mid"));
}

TEST_F(Command, ASongCutAnywhere) {
  const std::string song = Test_ReadFile(kSong);
  for (const std::size_t length :
       std::initializer_list<std::size_t>{0, 1, 4, 13, 14, 20, 22, 100, 3000, 7889}) {
    mFolder.MakeFile("cut.mid", song.substr(0, length));
    ExpectOneLineWith(Mlox("render cut.mid out.wav"), 1, "mlox: cut.mid: byte ");
    EXPECT_THAT(Names(), ElementsAre("cut.mid"));
  }
}

TEST_F(Command, NoSoundFont) {
  ExpectFault(Mlox(kShortRender + "--soundfont none.sf2"), 1,
              "mlox: none.sf2: cannot open the sound font: No such file or directory");
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(Command, ASoundFontThatIsNone) {
  mFolder.MakeFile("a.sf2", "This is a letter.");
  ExpectOneLineWith(Mlox(kShortRender + "--soundfont a.sf2"), 1, "mlox: a.sf2: not a sound font");
  EXPECT_THAT(Names(), ElementsAre("a.sf2"));
}

TEST_F(Command, ASoundFontThatIsCut) {
  const std::string font = Test_ReadFile("/usr/share/sounds/sf2/TimGM6mb.sf2");
  mFolder.MakeFile("cut.sf2", font.substr(0, 300000));
  ExpectOneLineWith(Mlox(kShortRender + "--soundfont cut.sf2"), 1, "mlox: cut.sf2: not a sound font");
  EXPECT_THAT(Names(), ElementsAre("cut.sf2"));
}

TEST_F(Command, AnOutputInAFolderThatIsNotThere) {
  ExpectFault(Mlox(std::string("render ") + kSong + " none/out.wav"), 1,
              "mlox: none/out.wav: cannot write: No such file or directory");
}

TEST_F(Command, AnOutputThatIsAFolderOrADevice) {
  mFolder.MakeFolder("out.wav");
  ExpectFault(Mlox(kShortRender), 1, "mlox: out.wav: cannot write: it is a folder");
  ExpectFault(Mlox(std::string("render ") + kSong + " /dev/null"), 1,
              "mlox: /dev/null: cannot write: it is not a regular file");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(Command, AnOutputThatGrowsBeyondTheLimitOfFiles) {
  // 100 blocks of 512 or 1024 bytes; a second of sound takes 384,000.
  ExpectOneLineWith(Shell("ulimit -f 100; $MLOX " + kShortRender), 1, "cannot write: File too large");
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(Command, AListOfEventsThatCannotBeWritten) {
  ExpectFault(Mlox(kShortRender + "--events none/fed.txt"), 1,
              "mlox: none/fed.txt: cannot write: No such file or directory");
  ExpectFault(Mlox(kShortRender + "--events ''"), 1, "mlox: : cannot write: No such file or directory");
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(Command, AnOlderOutputSurvivesAFault) {
  mFolder.MakeFile("out.wav", "old");
  EXPECT_EQ(Mlox(kShortRender + "--soundfont none.sf2").mStatus, 1);
  EXPECT_EQ(Test_ReadFile(mFolder / "out.wav"), "old");
}

// A second name keeps what was rendered when the file goes away.
TEST_F(Command, AnInterruptedRenderingEndsEarlyAndLeavesNothing) {
  const Result result =
      Shell(std::string("$MLOX render ") + kSong +
            " out.wav --seconds 3600 & until ls *.part 2>/dev/null; do sleep 0.05; done >/dev/null; "
            "ln *.part rendered; sleep 0.2; kill -TERM $!; wait $!");
  ExpectFault(result, 1, "mlox: interrupted");
  EXPECT_THAT(Names(), ElementsAre("rendered"));
  constexpr std::uintmax_t kBytesOfAnHour = 3600ull * 48000 * 2 * sizeof(float);
  EXPECT_LT(std::filesystem::file_size(mFolder / "rendered"), kBytesOfAnHour);
}

TEST_F(Command, FiguresThatCannotBeWrittenLeaveNoOutput) {
  for (const char* const options : {"", "--json", "--events fed.txt"}) {
    ExpectFault(Shell("$MLOX " + kShortRender + options + " >/dev/full"), 1,
                "mlox: standard output: cannot write: No space left on device");
    EXPECT_THAT(Names(), ElementsAre()) << options;
  }
  EXPECT_NE(Shell("set -o pipefail; $MLOX " + kShortRender + " | exec true").mStatus, 0);
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(Command, FiguresThatCannotBeWrittenLeaveOlderOutputsAsTheyWere) {
  mFolder.MakeFile("out.wav", "old");
  mFolder.MakeFile("fed.txt", "older");
  EXPECT_EQ(Shell("$MLOX " + kShortRender + "--events fed.txt >/dev/full").mStatus, 1);
  EXPECT_THAT(Names(), ElementsAre("fed.txt", "out.wav"));
  EXPECT_EQ(Test_ReadFile(mFolder / "out.wav"), "old");
  EXPECT_EQ(Test_ReadFile(mFolder / "fed.txt"), "older");
}

TEST_F(Command, NamesOfFilesThatAreNoUtf8AreStillJson) {
  mFolder.MakeFile("names/\xFF.midnam");
  const Result result = Mlox("names scan names --json");
  EXPECT_EQ(result.mStatus, 0);
  const nlohmann::json answer = nlohmann::json::parse(result.mOutput);
  EXPECT_EQ(answer["count"], 1);
  EXPECT_THAT(answer["names"][0].get<std::string>(), HasSubstr("\xEF\xBF\xBD"));
}

TEST_F(Command, AStandardOutputThatIsClosedIsAFault) {
  for (const char* const command : {"--version", "--help", "list", "names scan . --json"}) {
    ExpectFault(
        Shell(std::string("MLOX_MIDI_DRIVERS=loopback MLOX_STUDIO_DB=$PWD/s.db $MLOX ") + command + " >&-"),
        1, "mlox: standard output: cannot write: Bad file descriptor");
  }
}

TEST_F(Command, AFaultThatCannotBeToldKeepsItsStatus) {
  const std::string setting = "export MLOX_MIDI_DRIVERS=loopback MLOX_STUDIO_DB=$PWD/s.db; ";
  for (const char* const streams : {" 2>/dev/full", " 2>&-", " <&- 2>&-"}) {
    const auto statusOf = [&](const std::string& iCommand) {
      return Shell(setting + "$MLOX " + iCommand + streams).mStatus;
    };
    EXPECT_EQ(statusOf("send nosuch 90 3c 64"), 1) << streams;
    EXPECT_EQ(statusOf("list --nonsense"), 2) << streams;
    EXPECT_EQ(statusOf("--assertions list"), 0) << streams;
    EXPECT_EQ(statusOf("--assertions send nosuch 90 3c 64"), 1) << streams;
    EXPECT_EQ(statusOf("list >&-"), 1) << streams;
  }
}

TEST_F(Command, NoLineOfAHelpTextIsLongerThanAPage) {
  for (const char* const command : {"render", "list", "monitor", "send", "play", "watch", "latency",
                                    "names patches", "studio wire", "doctor"}) {
    const Result help = Mlox(std::string(command) + " --help");
    EXPECT_EQ(help.mStatus, 0) << command;
    std::istringstream lines(help.mOutput);
    for (std::string line; std::getline(lines, line);)
      EXPECT_LE(line.size(), 120u) << command << ": " << line;
  }
}

// ---- bad usage ----

TEST_F(Command, AnErrorComesBehindWhatWasPrintedBeforeIt) {
  mFolder.MakeFile("bad.midnam", "<Patch/>");
  const Result result = Shell("$MLOX names check bad.midnam 2>&1");
  EXPECT_EQ(result.mStatus, 1);
  EXPECT_THAT(result.mOutput, StartsWith("bad.midnam:1: code 100"));
  EXPECT_THAT(result.mOutput, EndsWith("\nmlox: 1 of 1 documents can't be used\n"));
}

TEST_F(Command, NineWriters) {
  ExpectOneLineWith(Mlox(kShortRender + "--writers 9"), 2, "--writers");
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(Command, OptionsOutOfRange) {
  for (const char* const options :
       {"--writers 0", "--writers two", "--block 0", "--block -64", "--block 65537", "--sample-rate 7999",
        "--sample-rate 96001", "--through letter", "--seconds 0", "--seconds -1", "--seconds nan",
        "--seconds inf", "--seconds 1e9", "--seconds soon", "--volume 3", "another.wav"}) {
    ExpectOneLineWith(Mlox(std::string("render ") + kSong + " out.wav " + options), 2, "");
    EXPECT_THAT(Names(), ElementsAre()) << options;
  }
}

TEST_F(Command, MissingArguments) {
  ExpectOneLineWith(Mlox(""), 2, "ubcommand");
  ExpectOneLineWith(Mlox("render"), 2, "SONG");
  ExpectOneLineWith(Mlox(std::string("render ") + kSong), 2, "OUT");
  ExpectOneLineWith(Mlox("sing"), 2, "");
}

TEST_F(Command, AnEmptyValueBehindASignIsTakenAsItIs) {
  mFolder.MakeFile(
      "d.midnam",
      "<MIDINameDocument><MasterDeviceNames><Model>M</Model></MasterDeviceNames></MIDINameDocument>");
  const Result result = Mlox("names count d.midnam --manufacturer= --model= --mode= --channel=1 --json");
  ExpectOneLineWith({result.mStatus, "", result.mError}, 1, "there is no such mode");
  EXPECT_THAT(result.mOutput, HasSubstr("\"count\": -5"));
}

TEST_F(Command, WhatAFileHoldsCannotCommandTheTerminal) {
  const Result result = Mlox("names dump \"$(printf 'no\\033[2Jfile')\"");
  EXPECT_THAT(result.mError, HasSubstr("no [2Jfile"));
  EXPECT_EQ(result.mError.find('\x1b'), std::string::npos);
}

TEST_F(Command, ASongThatNoWavFileHoldsIsNamed) {
  mFolder.MakeFile(
      "song.mid",
      Test_AsString(Test_Join({Test_SongHeader(0, 1, 1), Test_Track({0xFF, 0xFF, 0xFF, 0x7F, 0xC0, 1})})));
  ExpectFault(Mlox("render song.mid out.wav"), 1,
              "mlox: song.mid: the song lasts 134217730 seconds, a WAV file holds 11166; --seconds renders a "
              "part");
  EXPECT_THAT(Names(), ElementsAre("song.mid"));
}

TEST_F(Command, PathsThatLeadNowhereAreNotTakenForOne) {
  const std::string song(300, 'a');
  const std::string output(300, 'b');
  ExpectFault(Mlox("render " + song + " " + output), 1,
              "mlox: " + song + ": cannot open: File name too long");
}

TEST_F(Command, AnOutputThatIsAnInput) {
  mFolder.MakeFile("song.mid", Test_AsString(Test_OneTrackSong({0, 0xC0, 1})));
  ExpectFault(Mlox("render song.mid ./song.mid"), 2, "mlox: ./song.mid: the song is the output too");
  ExpectFault(Mlox("render song.mid out.wav --events out.wav"), 2,
              "mlox: out.wav: the output is the list of events too");
  EXPECT_EQ(Test_ReadFile(mFolder / "song.mid"), Test_AsString(Test_OneTrackSong({0, 0xC0, 1})));
}

}  // namespace
