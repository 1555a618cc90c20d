// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/environment_checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>

#include "tests/support/test_paths.h"
#include "tests/tools/doctor/good_machine.h"

namespace {

using Names = std::vector<std::string>;
using tool::Finding;
using tool::Machine;
using tool::PathFacts;
using tool::PathKind;

class EnvironmentChecks : public testing::Test {
 protected:
  void Set(const std::string& iName, const std::string& iValue) { mMachine.mEnvironment[iName] = iValue; }
  // The one finding there is.
  Finding Check() const {
    const std::vector<Finding> findings = CheckEnvironment(mMachine);
    EXPECT_EQ(findings.size(), 1u);
    return findings.front();
  }
  void ExpectWrong(const std::string& iName, const std::string& iValue, const std::string& iPart,
                   const std::string& iMend) {
    Set(iName, iValue);
    Test_ExpectWrong(Check(), iName + "=" + iValue + ": " + iPart, {iMend});
    mMachine.mEnvironment.erase(iName);
  }

  Machine mMachine = Test_GoodMachine();
};

TEST_F(EnvironmentChecks, AnEnvironmentWithoutOursIsFine) {
  Test_ExpectOk(Check(), "no variable of the library is set");
  Set("MLOX_STUDIO_DB", "");
  Test_ExpectOk(Check(), "no variable of the library is set");
}

TEST_F(EnvironmentChecks, WhatIsUnderstoodIsNamed) {
  Set("MLOX_MIDI_DRIVERS", "jack,loopback");
  Set("MLOX_ASSERT", "count");
  Set("MLOX_DisableBatchDelivery", "Off");
  Set("MLOX_TRACE", "all,0x04000000,ff");
  Set("MLOX_DEBUG_LOG", "-");
  Test_ExpectOk(
      Check(),
      "understood: MLOX_ASSERT, MLOX_DEBUG_LOG, MLOX_DisableBatchDelivery, MLOX_MIDI_DRIVERS, MLOX_TRACE");
}

TEST_F(EnvironmentChecks, ADriverThatThereIsNotIsLeftOutOfTheChoice) {
  ExpectWrong("MLOX_MIDI_DRIVERS", "alsa, jack", "\" jack\" is no driver",
              "export MLOX_MIDI_DRIVERS=alsa,jack");
  ExpectWrong("MLOX_MIDI_DRIVERS", "oss,alsa", "\"oss\" is no driver", "export MLOX_MIDI_DRIVERS=alsa");
  ExpectWrong("MLOX_MIDI_DRIVERS", "ALSA", "\"ALSA\" is no driver", "unset MLOX_MIDI_DRIVERS");
}

TEST_F(EnvironmentChecks, OtherWordsThanThereAreCountForNothing) {
  ExpectWrong("MLOX_ASSERT", "Abort", "counts as \"report\"", "export MLOX_ASSERT=report");
  ExpectWrong("MLOX_TRACE", "all,everything", "\"everything\" is neither all nor a hexadecimal number",
              "export MLOX_TRACE=all");
  ExpectWrong("MLOX_DisableBatchDelivery", "maybe", "neither on nor off",
              "export MLOX_DisableBatchDelivery=1  # or 0");
  ExpectWrong("MLOX_DisableBatchDelivery", "", "neither on nor off",
              "export MLOX_DisableBatchDelivery=1  # or 0");
}

TEST_F(EnvironmentChecks, NumbersOfTraceFilesAreNumbers) {
  for (const char* const size : {"k", "10 M", "-1", "18446744073709551616", "17179869184G", "1.5G", "10m"}) {
    ExpectWrong("MLOX_TRACE_FILE_SIZE", size, "no number of bytes", "export MLOX_TRACE_FILE_SIZE=10M");
  }
  for (const char* const files : {"many", "-1", "3k"}) {
    ExpectWrong("MLOX_TRACE_FILES", files, "no number of files", "export MLOX_TRACE_FILES=3");
  }
  Set("MLOX_TRACE_FILES", "5");
  for (const char* const size :
       {"", "0", "10M", "1k", "5000000000", "18446744073709551615", "17179869183G"}) {
    Set("MLOX_TRACE_FILE_SIZE", size);
    Test_ExpectOk(Check(), "MLOX_TRACE_FILES");
  }
}

TEST_F(EnvironmentChecks, ALogThatCannotBeWrittenIsSaidSo) {
  const std::string mend = "export MLOX_DEBUG_LOG=/tmp/mlox.log";
  mMachine.mDebugLog.mFolder = {"/var", PathKind::kFolder, 0, true, false, false};
  mMachine.mDebugLog.mNearest = mMachine.mDebugLog.mFolder;
  ExpectWrong("MLOX_DEBUG_LOG", "/var/log", "no permission", mend);
  mMachine.mDebugLog.mFolder = {"/none", PathKind::kNothing, 0, false, false, false};
  ExpectWrong("MLOX_DEBUG_LOG", "/none/log", "its folder is not there", mend);
  mMachine.mDebugLog.mFile = {"/tmp", PathKind::kFolder, 0, true, true, true};
  ExpectWrong("MLOX_DEBUG_LOG", "/tmp", "it is a folder, so nothing is logged", mend);
  mMachine.mDebugLog.mFile = {"/var/log", PathKind::kFile, 0, true, false, false};
  ExpectWrong("MLOX_DEBUG_LOG", "/var/log", "no permission", mend);
}

TEST_F(EnvironmentChecks, ATraceFileThatCannotBeOpenedLeavesItsLinesToStandardError) {
  const auto expectWrong = [&](const std::string& iValue, const std::string& iWhy) {
    ExpectWrong("MLOX_TRACE_FILE", iValue, iWhy + ", so trace lines go to standard error",
                "export MLOX_TRACE_FILE=/tmp/mlox.log");
  };
  tool::LogFacts& facts = mMachine.mTraceFile;
  const PathFacts nothing = {"/x", PathKind::kNothing, 0, false, false, false};
  const PathFacts closed = {"/x", PathKind::kFolder, 0, true, false, false};
  const PathFacts open = {"/x", PathKind::kFolder, 0, true, true, true};
  const PathFacts file = {"/x", PathKind::kFile, 0, true, true, true};
  facts = {open, open, open, false, {}};
  expectWrong("/tmp", "it is a folder");
  facts = {nothing, nothing, open, false, {}};
  expectWrong("/tmp/new/", "it is a folder");
  facts = {nothing, closed, closed, false, {}};
  expectWrong("/var/trace", "no permission");
  facts = {nothing, nothing, closed, false, {}};
  expectWrong("/var/new/trace", "no permission");
  facts = {nothing, nothing, file, false, {}};
  expectWrong("/etc/passwd/new/trace", "its folder can't be made");
  facts = {nothing, nothing, open, true, {}};
  expectWrong("/proc/new/trace", "its folder can't be made");
  facts = {nothing, open, open, true, {}};
  expectWrong("/proc/trace", "no file can be made there");
  facts = {{"/x", PathKind::kFile, 0, true, false, false}, open, open, false, {}};
  expectWrong("/tmp/trace", "no permission");
}

TEST_F(EnvironmentChecks, ATraceFilesFoldersAreMade) {
  Set("MLOX_TRACE_FILE", "/new/dir/trace.log");
  mMachine.mTraceFile.mFolder = {"/new/dir", PathKind::kNothing, 0, false, false, false};
  mMachine.mTraceFile.mNearest = {"/", PathKind::kFolder, 0, true, true, true};
  Test_ExpectOk(Check(), "MLOX_TRACE_FILE");
  Set("MLOX_TRACE_FILE", "-");
  mMachine.mTraceFile.mNearest.mIsWritable = false;
  Test_ExpectWrong(Check(), "MLOX_TRACE_FILE=-: no permission", {"export MLOX_TRACE_FILE=/tmp/mlox.log"});
}

TEST_F(EnvironmentChecks, WhatCouldNotBeLookedAtIsSaidSo) {
  const tool::LookOutcome end = {tool::LookEnd::kNotHad, EAGAIN};
  mMachine.mDebugLog.mEnd = end;
  mMachine.mTraceFile.mEnd = end;
  mMachine.mApplicationFolder.mEnd = end;
  Test_ExpectOk(Check(), "no variable of the library is set");
  for (const char* const variable : {"MLOX_DEBUG_LOG", "MLOX_TRACE_FILE", "MLOX_APP_DIR"}) {
    ExpectWrong(variable, "/x", "not looked at: no process or thread can be started",
                "# end programs of this user, or ask in a shell that may start more (ulimit -u)");
  }
  mMachine.mApplicationFolder.mEnd = tool::LookEnd::kTooLong;
  ExpectWrong("MLOX_APP_DIR", "/x", "not looked at: no answer within 5 s", "mlox doctor  # looks again");
}

TEST_F(EnvironmentChecks, ALogThatCanBeWrittenIsFine) {
  Set("MLOX_DEBUG_LOG", "/tmp/log");
  mMachine.mDebugLog.mFolder = {"/tmp", PathKind::kFolder, 0, true, true, false};
  mMachine.mDebugLog.mNearest = mMachine.mDebugLog.mFolder;
  Test_ExpectOk(Check(), "MLOX_DEBUG_LOG");
  mMachine.mDebugLog.mFile = {"/tmp/log", PathKind::kFile, 0, true, true, true};
  mMachine.mDebugLog.mFolder.mIsWritable = false;
  mMachine.mDebugLog.mNearest.mIsWritable = false;
  Test_ExpectOk(Check(), "MLOX_DEBUG_LOG");
}

TEST_F(EnvironmentChecks, AnApplicationFolderThatThereIsNotIsWrong) {
  Set("MLOX_APP_DIR", "/app");
  Test_ExpectOk(Check(), "MLOX_APP_DIR");
  mMachine.mApplicationFolder.mFolder.mKind = PathKind::kFile;
  ExpectWrong("MLOX_APP_DIR", "/app", "there is no such folder", "unset MLOX_APP_DIR");
}

TEST_F(EnvironmentChecks, ABaseFolderThatIsNotAbsoluteIsIgnored) {
  ExpectWrong("XDG_STATE_HOME", "state", "not absolute, so it is ignored",
              "export XDG_STATE_HOME=\"$HOME/.local/state\"");
  ExpectWrong("XDG_DATA_HOME", "./data", "not absolute, so it is ignored",
              "export XDG_DATA_HOME=\"$HOME/.local/share\"");
  Set("XDG_DATA_HOME", "/data");
  Test_ExpectOk(Check(), "no variable of the library");
}

TEST_F(EnvironmentChecks, ANameThatIsNearlyOursIsMeantToBe) {
  Set("MLOX_MIDI_DRIVER", "ja ck");
  Test_ExpectWrong(Check(),
                   "MLOX_MIDI_DRIVER: the library knows no such variable; is MLOX_MIDI_DRIVERS meant?",
                   {"unset MLOX_MIDI_DRIVER; export MLOX_MIDI_DRIVERS='ja ck'"});
  mMachine.mEnvironment.erase("MLOX_MIDI_DRIVER");
  Set("MLOX_DISABLEBATCHDELIVERY", "1");
  Test_ExpectWrong(Check(), "is MLOX_DisableBatchDelivery meant?",
                   {"unset MLOX_DISABLEBATCHDELIVERY; export MLOX_DisableBatchDelivery=1"});
}

TEST_F(EnvironmentChecks, ANameThatNobodyKnowsIsWorthANote) {
  Set("MLOX_SOMETHING_ELSE", "1");
  Test_ExpectNote(Check(), "MLOX_SOMETHING_ELSE: the library knows no such variable");
}

TEST_F(EnvironmentChecks, SeveralFaultsAreSeveralFindings) {
  Set("MLOX_ASSERT", "x");
  Set("MLOX_TRACE", "x");
  EXPECT_EQ(CheckEnvironment(mMachine).size(), 2u);
}

// Each text "MLOX_..." in the sources of the library and its tracing library is the name of a variable.
void AddQuotedVariables(std::string_view iText, std::set<std::string>& ioNames) {
  constexpr std::string_view kBegin = "\"MLOX_";
  constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ_";
  for (auto at = iText.find(kBegin); at != std::string_view::npos; at = iText.find(kBegin, at + 1)) {
    const auto end = iText.find_first_not_of(kLetters, at + 1);
    const bool isName = end != std::string_view::npos && iText[end] == '"' && end > at + kBegin.size();
    if (isName) ioNames.emplace(iText.substr(at + 1, end - at - 1));
  }
}

TEST(EnvironmentVariables, AllThatTheSourcesReadAreKnown) {
  namespace fs = std::filesystem;
  std::set<std::string> read;
  for (const char* const room : {"cmn", "diagnostics", "mdid", "mdi", "midixml", "mlox", "platform"}) {
    for (const fs::directory_entry& entry :
         fs::recursive_directory_iterator(Test_SourceRoot() + "/" + room)) {
      if (entry.path().extension() != ".cpp") continue;
      std::ifstream file(entry.path());
      AddQuotedVariables(std::string{std::istreambuf_iterator<char>(file), {}}, read);
    }
  }
  Names known;
  for (const std::string& variable : tool::KnownVariables()) {
    if (variable != "MLOX_DisableBatchDelivery") known.push_back(variable);
  }
  std::sort(known.begin(), known.end());
  EXPECT_EQ(Names(read.begin(), read.end()), known);
}

// ---- tracing ----

TEST_F(EnvironmentChecks, TracingIsOffWithoutItsLibrary) {
  Test_ExpectOk(CheckTracing(mMachine), "no libQuilTrace.so is found: nothing is traced");
  Set("MLOX_TRACE", "all");
  Test_ExpectWrong(CheckTracing(mMachine), "MLOX_TRACE=all, but no libQuilTrace.so is found",
                   {"export LD_LIBRARY_PATH=/the/folder/of/libQuilTrace.so"});
}

TEST_F(EnvironmentChecks, ATracingLibraryIsNamed) {
  mMachine.mTracing.mLibrary = "/lib/libQuilTrace.so";
  Test_ExpectOk(CheckTracing(mMachine), "/lib/libQuilTrace.so is there; MLOX_TRACE turns it on");
  Set("MLOX_TRACE", "all");
  Test_ExpectOk(CheckTracing(mMachine), "/lib/libQuilTrace.so writes MLOX_TRACE=all");
}

TEST_F(EnvironmentChecks, ATracingLibraryThatIsAskedForNoCategoryTracesNothing) {
  mMachine.mTracing.mLibrary = "/lib/libQuilTrace.so";
  for (const char* const value : {"xyz", ",", "0x,all lines"}) {
    Set("MLOX_TRACE", value);
    Test_ExpectWrong(CheckTracing(mMachine),
                     std::string("/lib/libQuilTrace.so is there, but MLOX_TRACE=") + value +
                         " names no category, so nothing is traced",
                     {"export MLOX_TRACE=all"});
    EXPECT_EQ(Check().mMend, Names{"export MLOX_TRACE=all"}) << "what the line of the environment says too";
  }
}

TEST_F(EnvironmentChecks, ATracingLibraryWritesTheCategoriesThatStandBesideWhatIsNone) {
  mMachine.mTracing.mLibrary = "/lib/libQuilTrace.so";
  Set("MLOX_TRACE", "xyz,4000E0F");
  EXPECT_EQ(Check().mState, tool::FindingState::kWrong);
  Test_ExpectOk(CheckTracing(mMachine),
                "/lib/libQuilTrace.so writes MLOX_TRACE=xyz,4000E0F, but for what is no category");
  Set("MLOX_TRACE", "0x4,4000E0F");
  EXPECT_EQ(CheckTracing(mMachine).mSeen, "/lib/libQuilTrace.so writes MLOX_TRACE=0x4,4000E0F");
}

TEST_F(EnvironmentChecks, ATracingLibraryWritesTheFirst64CategoriesOnly) {
  mMachine.mTracing.mLibrary = "/lib/libQuilTrace.so";
  std::string categories = "1";
  for (int i = 2; i <= 64; ++i) categories += "," + std::to_string(i);
  Set("MLOX_TRACE", categories);
  Test_ExpectOk(Check(), "MLOX_TRACE");
  EXPECT_EQ(CheckTracing(mMachine).mSeen, "/lib/libQuilTrace.so writes MLOX_TRACE=" + categories);
  Set("MLOX_TRACE", categories + ",65");
  Test_ExpectWrong(Check(),
                   "MLOX_TRACE=" + categories + ",65: of so many categories only the first 64 are on",
                   {"export MLOX_TRACE=all"});
  EXPECT_EQ(CheckTracing(mMachine).mSeen,
            "/lib/libQuilTrace.so writes the first 64 categories of MLOX_TRACE=" + categories + ",65");
  Set("MLOX_TRACE", categories + ",65,all");
  EXPECT_EQ(CheckTracing(mMachine).mSeen, "/lib/libQuilTrace.so writes MLOX_TRACE=" + categories + ",65,all");
}

TEST_F(EnvironmentChecks, ATracingLibraryThatLacksNamesIsNotUsed) {
  mMachine.mTracing = {"/lib/libQuilTrace.so", {"QuilTracePuts", "QuilTraceMem"}};
  Test_ExpectWrong(
      CheckTracing(mMachine), "lacks 2 of the entry points, QuilTracePuts first, so it is not used",
      {"# put the libQuilTrace.so that belongs to this library in the place of /lib/libQuilTrace.so"});
}

}  // namespace
