// SPDX-License-Identifier: MIT
// `mlox doctor` as its users run it: on this machine, whatever it has, with a home of the test's own.
#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/integration/command_fixture.h"
#include "tests/support/sanitizers.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kNobody[] = "setpriv --reuid=65534 --regid=65534 --clear-groups ";

// What make and ctest leave open counts too.
const std::string kNothingInherited = "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-";

class DoctorCommand : public Test_Command {
 protected:
  using Result = Test_CommandResult;

  // iSetting stands in front of the question, which is asked by iAs.
  Result Ask(const std::string& iOptions, const std::string& iSetting = {},
             const std::string& iAs = {}) const {
    return Shell(
        "export HOME=$PWD/home MLOX_MIDI_DRIVERS=loopback MLOX_APP_DIR=$PWD PATH=$(dirname $MLOX):$PATH\n"
        "unset XDG_STATE_HOME XDG_DATA_HOME MLOX_STUDIO_DB MLOX_PATCH_NAMES_DIR MLOX_DEVICE_TYPES_DIR "
        "MLOX_TRACE\n" +
        iSetting + "\n" + iAs + "$MLOX doctor " + iOptions);
  }

  json AskJson(const std::string& iSetting = {}, const std::string& iAs = {}) const {
    const Result result = Ask("--json", iSetting, iAs);
    EXPECT_EQ(std::count(result.mOutput.begin(), result.mOutput.end(), '\n'), 1) << result.mOutput;
    json answer = json::parse(result.mOutput);
    const int wrong = answer["wrong"];
    EXPECT_EQ(result.mStatus, wrong == 0 ? 0 : 1);
    EXPECT_EQ(result.mError, wrong == 0 ? ""
                                        : fmt::format("mlox: {} of {} findings are wrong\n", wrong,
                                                      answer["findings"].size()));
    return answer;
  }

  static json Find(const json& iAnswer, const std::string& iName) {
    for (const json& finding : iAnswer["findings"]) {
      if (finding["name"] == iName) return finding;
    }
    ADD_FAILURE() << "no finding " << iName;
    return {};
  }

  // The fault that a setting makes goes away by pasting the lines that mend it.
  void ExpectMended(const std::string& iName, const std::string& iSetting, const std::string& iSeen) const {
    const json wrong = Find(AskJson(iSetting), iName);
    EXPECT_EQ(wrong["state"], "wrong") << wrong;
    EXPECT_THAT(wrong["seen"].get<std::string>(), HasSubstr(iSeen));
    std::string mending = iSetting + "\n{ ";
    for (const json& line : wrong["mend"]) mending += line.get<std::string>() + "\n";
    const json mended = Find(AskJson(mending + "} >/dev/null 2>&1"), iName);
    EXPECT_NE(mended["state"], "wrong") << mended;
  }
};

TEST_F(DoctorCommand, WhatNeedsNothingOfTheMachineIsFine) {
  mFolder.MakeFile("names/a.midnam");
  mFolder.MakeFile("types/a.middev");
  const json answer = AskJson(
      "export MLOX_PATCH_NAMES_DIR=$PWD/names MLOX_DEVICE_TYPES_DIR=$PWD/types MLOX_STUDIO_DB=$PWD/s.db");
  for (const char* const name : {"drivers", "loopback", "studio", "patch_names", "device_types",
                                 "excluded_ports", "settings", "environment"}) {
    EXPECT_EQ(Find(answer, name)["state"], "ok") << Find(answer, name);
  }
  EXPECT_THAT(Find(answer, "studio")["seen"].get<std::string>(), HasSubstr("s.db: not there yet"));
  EXPECT_THAT(Find(answer, "drivers")["seen"].get<std::string>(), StartsWith("ports come from loopback"));
  // What was ruled out can't be wrong.
  for (const char* const name : {"alsa", "audio_group", "jack"})
    EXPECT_NE(Find(answer, name)["state"], "wrong");
}

TEST_F(DoctorCommand, NothingIsMade) {
  AskJson();
  AskJson("export MLOX_STUDIO_DB=$PWD/a/b/studio.db MLOX_DEBUG_LOG=$PWD/log");
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(DoctorCommand, PeopleGetLinesThatFitTheirTerminal) {
  const Result result = Ask("", "export COLUMNS=60 MLOX_ASSERT=x");
  EXPECT_EQ(result.mStatus, 1);
  EXPECT_THAT(result.mOutput, HasSubstr("\nwrong  environment        MLOX_ASSERT=x: counts as"));
  EXPECT_THAT(result.mOutput, HasSubstr("\n                          export MLOX_ASSERT=report\n"));
  EXPECT_THAT(result.mError, testing::MatchesRegex("mlox: [0-9]+ of [0-9]+ findings are wrong\n"));
  std::istringstream lines(result.mOutput);
  for (std::string line; std::getline(lines, line);) {
    const bool isBroken = line.find(' ', 26) != std::string::npos && line.starts_with("ok");
    EXPECT_TRUE(!isBroken || line.size() <= 60) << line;
  }
}

TEST_F(DoctorCommand, StandsInTheManualPageAndInTheCompletions) {
  EXPECT_THAT(Mlox("reference man").mOutput, HasSubstr("mlox doctor [OPTIONS]"));
  for (const char* const shell : {"bash", "zsh"}) {
    EXPECT_THAT(Mlox(std::string("reference ") + shell).mOutput, HasSubstr("'mlox doctor')")) << shell;
  }
}

TEST_F(DoctorCommand, AnswersInJsonWhateverBytesAPathHas) {
  const std::string setting = "export MLOX_STUDIO_DB=\"$PWD/$(printf '\\377').db\"";
  const json studio = Find(AskJson(setting), "studio");
  EXPECT_THAT(studio["seen"].get<std::string>(), HasSubstr("/\xEF\xBF\xBD.db: not there yet"));
  const json folder = Find(AskJson("export MLOX_PATCH_NAMES_DIR=\"$PWD/$(printf '\\377')\""), "patch_names");
  EXPECT_THAT(folder["mend"], ElementsAre(fmt::format("mkdir -p $'{}/\\xff'", mFolder.Path())));
}

TEST_F(DoctorCommand, TakesNoOtherWords) {
  const Result result = Ask("nonsense");
  EXPECT_EQ(result.mStatus, 2);
  EXPECT_EQ(result.mOutput, "");
}

TEST_F(DoctorCommand, WhatIsWrongWithFilesIsMendedByItsLines) {
  ExpectMended("patch_names", "export MLOX_PATCH_NAMES_DIR=\"$PWD/my names\"", "not there");
  ExpectMended("device_types", "export MLOX_DEVICE_TYPES_DIR=/dev/null", "it is no folder");
  ExpectMended("excluded_ports", "printf '\\357\\273\\277One\\n' >ExcludedMIDIPorts.txt", "byte order mark");
  ExpectMended("excluded_ports", "printf 'Fl\\374gel\\n' >ExcludedMIDIPorts.txt", "no UTF-8");
  ExpectMended("excluded_ports", "printf 'O\\0n\\0e\\0\\n\\0' >ExcludedMIDIPorts.txt", "no UTF-8");
  ExpectMended("settings", "printf '[a]\\n MLOX_DisableBatchDelivery = maybe\\n' >mlox.ini",
               "neither on nor off");
  ExpectMended("excluded_ports", "rm -rf ExcludedMIDIPorts.txt*; mkdir ExcludedMIDIPorts.txt",
               "it is no file");
}

TEST_F(DoctorCommand, WhatIsWrongWithTheEnvironmentIsMendedByItsLines) {
  ExpectMended("environment", "export MLOX_MIDI_DRIVERS=' loopback,oss'", "is no driver");
  ExpectMended("environment", "export MLOX_ASSERT=Throw", "counts as \"report\"");
  ExpectMended("environment", "export MLOX_DisableBatchDelivery=x", "neither on nor off");
  ExpectMended("environment", "export MLOX_TRACE=0xyz", "neither all nor");
  ExpectMended("environment", "export MLOX_DEBUG_LOG=$PWD/none/log", "its folder is not there");
  ExpectMended("environment", "export MLOX_TRACE_FILE=/tmp",
               "it is a folder, so trace lines go to standard error");
  ExpectMended("environment", "export MLOX_TRACE_FILE=/proc/x/trace.log", "its folder can't be made");
  ExpectMended("environment", "export MLOX_APP_DIR=$PWD/none", "no such folder");
  ExpectMended("environment", "export XDG_STATE_HOME=state", "not absolute");
  ExpectMended("environment", "export MLOX_LOOPBACK_PORT=A", "is MLOX_LOOPBACK_PORTS meant?");
  ExpectMended("drivers", "export MLOX_MIDI_DRIVERS=none", "no driver starts");
}

TEST_F(DoctorCommand, WhatIsWrongWithTheStudioIsMendedByItsLines) {
  mFolder.MakeFile("damaged.db", std::string(5000, 'x'));
  ExpectMended("studio", "export MLOX_STUDIO_DB=$PWD/damaged.db", "damaged.db: it is damaged");
  EXPECT_EQ(Test_ReadFile(mFolder / "damaged.db.damaged-1"), std::string(5000, 'x'));
  ExpectMended("studio", "export MLOX_STUDIO_DB=/dev/null", "it is no file");
  ExpectMended("studio", "unset HOME", "nothing says where it lies");
  ExpectMended("studio", "export MLOX_STUDIO_DB=/proc/x/studio.db", "no files can be made in /proc");
  mFolder.MakeFolder("home/.local/state/mlox/studio.db");
  ExpectMended("studio", "", "it is a folder");
}

TEST_F(DoctorCommand, AStudioThatTheToolHasMadeIsFine) {
  const json studio =
      Find(AskJson("export MLOX_STUDIO_DB=$PWD/s.db\n$MLOX studio add Strings >/dev/null"), "studio");
  EXPECT_EQ(studio["state"], "ok");
  EXPECT_THAT(studio["seen"].get<std::string>(),
              HasSubstr("s.db: version 1, 0 ports seen, 1 devices of the user's"));
}

TEST_F(DoctorCommand, AViewInThePlaceOfAStudiosTableIsSeen) {
  const std::string path = mFolder / "s.db";
  ASSERT_EQ(Shell("MLOX_MIDI_DRIVERS=loopback MLOX_STUDIO_DB=" + path + " $MLOX studio add Strings").mStatus,
            0);
  {
    SQLite::Database other(path, SQLite::OPEN_READWRITE, 30000);
    other.exec(
        "PRAGMA legacy_alter_table = ON; ALTER TABLE wire RENAME TO other; CREATE VIEW wire AS SELECT * FROM "
        "other");
  }
  const json studio = Find(AskJson("export MLOX_STUDIO_DB=$PWD/s.db"), "studio");
  EXPECT_EQ(studio["state"], "wrong") << studio;
  EXPECT_THAT(studio["seen"].get<std::string>(), HasSubstr("\"wire\""));
}

TEST_F(DoctorCommand, WhoHoldsTheStudioIsNamed) {
  const std::string path = mFolder / "s.db";
  ASSERT_EQ(Shell("MLOX_MIDI_DRIVERS=loopback MLOX_STUDIO_DB=" + path + " $MLOX studio add Strings").mStatus,
            0);
  SQLite::Database holder(path, SQLite::OPEN_READWRITE, 30000);
  holder.exec("BEGIN IMMEDIATE; UPDATE device SET name = 'x'");
  const json studio = Find(AskJson("export MLOX_STUDIO_DB=$PWD/s.db"), "studio");
  EXPECT_EQ(studio["state"], "wrong");
  EXPECT_THAT(studio["seen"].get<std::string>(),
              testing::EndsWith(fmt::format("s.db: process {} (test_integratio) holds it", ::getpid())));
  EXPECT_THAT(studio["mend"], ElementsAre(fmt::format("kill {}  # or wait until it is done", ::getpid())));
}

TEST_F(DoctorCommand, WhatThisUserMayNotReadIsSaidSo) {
  mFolder.MakeFile("s.db");
  mFolder.MakeFile("ExcludedMIDIPorts.txt", "One\n");
  mFolder.MakeFolder("names");
  // Root reads everything, so somebody else asks, to whom nothing of it belongs.
  const bool isRoot = ::geteuid() == 0;
  const json answer = AskJson(
      "chmod 0 s.db ExcludedMIDIPorts.txt names\n"
      "export MLOX_STUDIO_DB=$PWD/s.db MLOX_PATCH_NAMES_DIR=$PWD/names",
      isRoot ? kNobody : "");
  const auto mend = [&](const char* iName) {
    return Find(answer, iName)["mend"].get<std::vector<std::string>>();
  };
  const std::string at = mFolder.Path();
  for (const char* const name : {"studio", "excluded_ports", "patch_names"}) {
    EXPECT_EQ(Find(answer, name)["state"], "wrong") << Find(answer, name);
  }
  EXPECT_THAT(mend("studio"),
              ElementsAre(isRoot ? fmt::format("sudo chown nobody {0}/s.db && sudo chmod u+rw {0}/s.db", at)
                                 : fmt::format("chmod u+rw {}/s.db", at)));
  EXPECT_THAT(mend("excluded_ports"), ElementsAre(fmt::format("{} {}/ExcludedMIDIPorts.txt",
                                                              isRoot ? "sudo chmod a+r" : "chmod u+r", at)));
  EXPECT_THAT(mend("patch_names"),
              ElementsAre(fmt::format("{} {}/names", isRoot ? "sudo chmod a+rx" : "chmod u+rx", at)));
}

// What looks that could not be had say, and that nothing else is made of them.
void ExpectNothingLookedAt(const json& iAnswer, const std::string& iWhy, const std::string& iMend) {
  std::vector<std::string> names;
  for (const json& finding : iAnswer["findings"]) {
    const std::string seen = finding["seen"];
    if (seen.find("not looked at") != std::string::npos) {
      names.push_back(finding["name"]);
      EXPECT_THAT(seen, HasSubstr(iWhy));
      EXPECT_THAT(finding["mend"], ElementsAre(iMend)) << seen;
    }
    for (const char* const guess : {"ends", "answer within", "0 kB", "does not start", "no driver starts"}) {
      EXPECT_THAT(seen, testing::Not(HasSubstr(guess)));
    }
  }
  EXPECT_THAT(names, testing::IsSupersetOf({"drivers", "loopback", "realtime_priority", "receive_priority",
                                            "locked_memory", "studio", "patch_names", "device_types",
                                            "excluded_ports", "settings", "environment"}));
}

TEST_F(DoctorCommand, WithoutAProcessForItsLooksItSaysThatItHasNotLooked) {
  const std::string as = ::geteuid() == 0 ? kNobody : "";
  // The checker of leaks, where there is one, looks from a thread that can't be had.
  const json answer = AskJson(
      "export MLOX_STUDIO_DB=$PWD/s.db ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0\n"
      "$MLOX studio add Strings >/dev/null",
      as + "prlimit --nproc=1:1 ");
  ExpectNothingLookedAt(answer, "no process or thread can be started",
                        "# end programs of this user, or ask in a shell that may start more (ulimit -u)");
}

// Not where the checker of undefined behaviour is built in: it looks at memory through a pipe, and takes
// every object for a wrong one when it can have none.
#if !defined(__SANITIZE_ADDRESS__) && !TEST_HAS_FEATURE(address_sanitizer)
TEST_F(DoctorCommand, WithoutFilesForItsLooksItSaysThatItHasNotLooked) {
  for (const int files : {4, 9}) {
    const json answer = AskJson("export MLOX_STUDIO_DB=$PWD/s.db\n" + kNothingInherited,
                                fmt::format("prlimit --nofile={}:300 ", files));
    ExpectNothingLookedAt(answer, "no more files can be opened: Too many open files", "ulimit -n 300");
  }
}
#endif

TEST_F(DoctorCommand, ADriverThatCanHaveNoThreadIsNotSaidToHang) {
  const json answer = AskJson("export MLOX_MIDI_DRIVERS=jack,loopback",
                              std::string(::geteuid() == 0 ? kNobody : "") + "prlimit --nproc=2:2 ");
  for (const char* const name : {"drivers", "loopback"}) {
    EXPECT_THAT(Find(answer, name)["seen"].get<std::string>(), HasSubstr("not looked at")) << name;
  }
  EXPECT_THAT(Find(answer, "jack")["seen"].get<std::string>(), testing::Not(HasSubstr("does not answer")));
}

TEST_F(DoctorCommand, ClosedStandardStreamsChangeNothing) {
  mFolder.MakeFile("names/a.midnam");
  ASSERT_EQ(Shell("MLOX_MIDI_DRIVERS=loopback MLOX_STUDIO_DB=$PWD/s.db $MLOX studio add Strings").mStatus, 0);
  const std::string setting = "export MLOX_PATCH_NAMES_DIR=$PWD/names MLOX_STUDIO_DB=$PWD/s.db MLOX_ASSERT=x";
  const Result open = Ask("--json", setting);
  EXPECT_EQ(open.mStatus, 1);
  EXPECT_THAT(open.mOutput, HasSubstr("1 devices of the user's"));
  for (const char* const closed : {"<&-", "2>&-", "<&- 2>&-"}) {
    const Result result = Ask(std::string("--json ") + closed, setting);
    EXPECT_EQ(result.mStatus, 1) << closed;
    EXPECT_EQ(result.mOutput, open.mOutput) << closed;
  }
}

TEST_F(DoctorCommand, FoldersOfATraceFileCountAsMade) {
  const json environment = Find(AskJson("export MLOX_TRACE_FILE=$PWD/new/dir/trace.log"), "environment");
  EXPECT_EQ(environment["state"], "ok") << environment;
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(DoctorCommand, ATracingLibraryThatIsNotOursIsSaidToLackItsNames) {
  const json tracing =
      Find(AskJson("export MLOX_ASSERT=count LD_LIBRARY_PATH=" MLOX_TEST_FAILING_CHECKS), "tracing");
  EXPECT_EQ(tracing["state"], "wrong");
  EXPECT_EQ(tracing["seen"], MLOX_TEST_FAILING_CHECKS
            "/libQuilTrace.so lacks 25 of the entry points, QuilTraceIsActiveFunc first, so it is not used");
}

#if defined(MLOX_TEST_QUILTRACE)
TEST_F(DoctorCommand, TheTracingLibraryIsFoundAndLacksNothing) {
  const std::string setting = "export LD_LIBRARY_PATH=$(dirname " MLOX_TEST_QUILTRACE ")";
  const json off = Find(AskJson(setting), "tracing");
  EXPECT_EQ(off["state"], "ok");
  EXPECT_EQ(off["seen"], MLOX_TEST_QUILTRACE " is there; MLOX_TRACE turns it on");
  const json on = Find(AskJson(setting + " MLOX_TRACE=4 MLOX_TRACE_FILE=$PWD/trace.log"), "tracing");
  EXPECT_EQ(on["state"], "ok");
  EXPECT_EQ(on["seen"], MLOX_TEST_QUILTRACE " writes MLOX_TRACE=4");
}

TEST_F(DoctorCommand, TheTracingLibraryIsSaidToTraceNothingWhereTheSettingNamesNoCategory) {
  const Result result =
      Ask("--json", "export LD_LIBRARY_PATH=$(dirname " MLOX_TEST_QUILTRACE ") MLOX_TRACE=xyz");
  EXPECT_EQ(result.mStatus, 1);
  EXPECT_THAT(result.mError, StartsWith("mlox: no trace category: \"xyz\"\n"))
      << "as the library itself says";
  const json answer = json::parse(result.mOutput);
  EXPECT_EQ(Find(answer, "environment")["state"], "wrong");
  EXPECT_EQ(Find(answer, "tracing")["state"], "wrong");
  EXPECT_EQ(Find(answer, "tracing")["seen"],
            MLOX_TEST_QUILTRACE " is there, but MLOX_TRACE=xyz names no category, so nothing is traced");
}
#endif

TEST_F(DoctorCommand, LimitsOfTheShellAreSeen) {
  const json answer = AskJson("ulimit -r 0; ulimit -l 64", ::geteuid() == 0 ? kNobody : "");
  const json priority = Find(answer, "realtime_priority");
  EXPECT_EQ(priority["state"], "note");
  EXPECT_FALSE(priority["mend"].empty());
  EXPECT_THAT(Find(answer, "locked_memory")["seen"].get<std::string>(), HasSubstr("the limit is 64 kB"));
}

}  // namespace
