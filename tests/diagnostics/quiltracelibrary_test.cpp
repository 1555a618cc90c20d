// SPDX-License-Identifier: MIT
#include "diagnostics/quiltracelibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tests/diagnostics/proberun.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// In the order of binding.
const std::vector<std::string> kNames = {
    "QuilTraceIsActiveFunc",
    "QuilTraceReloadConfigsFunc",
    "QuilTraceFormat",
    "QuilTraceFormatQuiet",
    "QuilTraceFormatTimestamp",
    "QuilTracePuts",
    "QuilTraceMem",
    "QuilTraceStack",
    "QuilTraceChangeFacilityPriorityFunc",
    "QuilTraceRegisterHandlerFunc",
    "QuilTraceFacilityOnFunc",
    "QuilTraceSetClockCallbackFunc",
    "QuilTraceDumpWriteStatsFunc",
    "QuilTraceSetNameFunc",
    "QuilTraceOSErrToString",
    "QuilTraceLegacyFormat",
    "QuilTraceGetTracePath",
    "QuilTraceRegisterFacility",
    "QuilTraceRestart",
    "QuilTraceGetMachineUUID",
    "QuilTraceGetTimestamp",
    "QuilTraceAddTraceClient",
    "QuilTraceRemoveTraceClient",
    "QuilTraceEnableStackTraceSymbols",
    "QuilTraceEnabledStackTraceSymbols",
};

constexpr char kReport[] =
    "REPORT index >= 0 && 100%s@$^$@tests/diagnostics/trace_probe line 4711 flag 1 throwing 1";

// Runs the probe with the tracing library of one state on its loader's path.
Test_ProbeRun RunProbe(const std::string& iState, const std::string& iEnvironment = "") {
  return Test_RunProbe(MLOX_TEST_TRACE_FOLDER "/" + iState, iEnvironment);
}

std::ptrdiff_t CountContaining(const Test_ProbeRun& iRun, const std::string& iText) {
  return Test_CountContaining(iRun.mLines, iText);
}

TEST(QuilTraceLibrary, NamesAreBoundInTheOrderOfTheTable) {
  std::vector<std::string> names;
  for (const QuilTraceLibrary::EntryPoint& entry : QuilTraceLibrary::GetEntryPoints())
    names.emplace_back(entry.mNameP);
  EXPECT_EQ(names, kNames);
}

// ---- all names there ----

TEST(QuilTraceLibraryWithAllNames, BindsEveryNameAndIsActive) {
  const Test_ProbeRun run = RunProbe("all");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains("active 1"));
  EXPECT_THAT(run.mLines, Contains("binder there"));
  for (const std::string& name : kNames) EXPECT_THAT(run.mLines, Contains(name + " 0 set"));
}

TEST(QuilTraceLibraryWithAllNames, TraceLinesArriveFormatted) {
  const Test_ProbeRun run = RunProbe("all");
  EXPECT_THAT(run.mLines, Contains("TRACE 0200000E plain"));
  EXPECT_THAT(run.mLines, Contains("TRACE 0200000E value 1 of channel"));
  EXPECT_THAT(run.mLines, Contains("arguments evaluated 1"));
}

TEST(QuilTraceLibraryWithAllNames, CategoryThatIsOffWritesNothing) {
  const Test_ProbeRun run = RunProbe("all", "TEST_TRACE_OFF=0200000E");
  EXPECT_EQ(CountContaining(run, "TRACE 0200000E"), 0);
  EXPECT_THAT(run.mLines, Contains("arguments evaluated 0"));
  EXPECT_EQ(CountContaining(run, "TRACE 04000E0F"), 1) << "the other category is still on";
}

TEST(QuilTraceLibraryWithAllNames, FailedTraceAssertWritesTheLineAndReports) {
  const Test_ProbeRun run = RunProbe("all");
  EXPECT_THAT(
      run.mLines,
      Contains("TRACE 04000E0F CMN_TRACEASSERT index >= 0 && 100%s tests/diagnostics/trace_probe line 4711"));
  EXPECT_THAT(run.mLines, Contains(kReport));
  EXPECT_THAT(run.mLines, Contains("held 0"));
}

TEST(QuilTraceLibraryWithAllNames, FailedTraceAssertOfACategoryThatIsOffStillReports) {
  const Test_ProbeRun run = RunProbe("all", "TEST_TRACE_OFF=04000E0F");
  EXPECT_EQ(CountContaining(run, "TRACE 04000E0F"), 0);
  EXPECT_THAT(run.mLines, Contains(kReport));
}

TEST(QuilTraceLibraryWithAllNames, FailedTraceAssertMayThrow) {
  const Test_ProbeRun run = RunProbe("all", "MLOX_ASSERT=throw");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains("thrown"));
  EXPECT_THAT(run.mLines, Not(Contains("held 0")));
  EXPECT_EQ(CountContaining(run, "TRACE 04000E0F"), 1) << "the line is written before";
}

TEST(QuilTraceLibraryWithAllNames, FlagIsTheLibrarysAnswerAsOneByte) {
  const Test_ProbeRun inactive = RunProbe("all", "TEST_TRACE_ACTIVE=0");
  EXPECT_THAT(inactive.mLines, Contains("active 0"));
  EXPECT_THAT(inactive.mLines, Contains("QuilTraceFormat 0 set")) << "it is bound all the same";
  EXPECT_THAT(inactive.mLines, Not(Contains(StartsWith("TRACE"))));
  EXPECT_THAT(RunProbe("all", "TEST_TRACE_ACTIVE=200").mLines, Contains("active 200"));
}

TEST(QuilTraceLibraryWithAllNames, AnyFlagButZeroIsTracingOn) {
  const Test_ProbeRun run = RunProbe("all", "TEST_TRACE_ACTIVE=200");
  EXPECT_THAT(run.mLines, Contains("TRACE 0200000E plain"));
  EXPECT_EQ(CountContaining(run, "TRACE 04000E0F"), 1);
}

TEST(QuilTraceLibraryWithAllNames, ItIsAskedOnceWhetherItIsActiveAndNothingMoreWhenItIsNot) {
  EXPECT_EQ(CountContaining(RunProbe("all"), "ASKED active"), 1);
  const Test_ProbeRun inactive = RunProbe("all", "TEST_TRACE_ACTIVE=0");
  EXPECT_EQ(CountContaining(inactive, "ASKED active"), 1);
  EXPECT_EQ(CountContaining(inactive, "ASKED"), 1) << "a trace site costs the test of the flag alone";
}

TEST(QuilTraceLibraryWithAllNames, LibraryIsLoadedOnceAndTheBoundOnlyNamesAreNeverCalled) {
  const Test_ProbeRun run = RunProbe("all", "LD_DEBUG=libs");
  EXPECT_EQ(CountContaining(run, "find library=libQuilTrace.so"), 1);
  EXPECT_EQ(CountContaining(run, "CALLED"), 0);
}

TEST(QuilTraceLibraryWithAllNames, AfterTheBindersEndTracingIsOffAndTheLibraryStaysLoaded) {
  EXPECT_THAT(RunProbe("all").mLines, Contains("at exit active 0 binder gone module loaded format set"));
}

// ---- one name missing ----

TEST(QuilTraceLibraryWithOneNameMissing, FlagIsZeroAlthoughTheOtherPointersAreSet) {
  const Test_ProbeRun run = RunProbe("lacking");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains("active 0"));
  for (const std::string& name : kNames)
    EXPECT_THAT(run.mLines, Contains(name + (name == "QuilTraceGetTimestamp" ? " -1501 null" : " 0 set")));
  EXPECT_THAT(run.mLines, Contains("format set"));
  EXPECT_THAT(run.mLines, Contains("facility set"));
  EXPECT_EQ(CountContaining(run, "ASKED"), 0) << "nor is it called";
}

TEST(QuilTraceLibraryWithOneNameMissing, NothingIsTracedAndFailedTraceAssertStillReports) {
  const Test_ProbeRun run = RunProbe("lacking");
  EXPECT_THAT(run.mLines, Not(Contains(StartsWith("TRACE"))));
  EXPECT_THAT(run.mLines, Contains("arguments evaluated 0"));
  EXPECT_THAT(run.mLines, Contains(kReport));
}

// ---- no library ----

TEST(QuilTraceLibraryWithNone, ProgramRunsWithTheFlagAtZeroAndNoCallThroughNull) {
  const Test_ProbeRun run = RunProbe("none");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains("active 0"));
  for (const std::string& name : kNames) EXPECT_THAT(run.mLines, Contains(name + " -1502 null"));
  EXPECT_THAT(run.mLines, Contains("format null"));
  EXPECT_THAT(run.mLines, Contains("facility null"));
  EXPECT_THAT(run.mLines, Contains("arguments evaluated 0"));
  EXPECT_THAT(run.mLines, Contains("at exit active 0 binder gone module not loaded format null"));
}

TEST(QuilTraceLibraryWithNone, FailedTraceAssertStillReports) {
  const Test_ProbeRun run = RunProbe("none");
  EXPECT_THAT(run.mLines, Contains(kReport));
  EXPECT_THAT(run.mLines, Contains("held 0"));
}

TEST(QuilTraceLibraryWithNone, BinderWritesNoMessage) {
  const Test_ProbeRun run = RunProbe("none");
  EXPECT_THAT(run.mLines, Contains("active 0"));
  for (const std::string& line : run.mLines) EXPECT_THAT(line, Not(HasSubstr("libQuilTrace")));
}

TEST(QuilTraceLibraryWithNone, LoadIsTriedAgainForEachName) {
  EXPECT_EQ(CountContaining(RunProbe("none", "LD_DEBUG=libs"), "find library=libQuilTrace.so"), 26)
      << "25 names, and the probe's own look at the end";
}

TEST(QuilTraceLibraryWithNone, FileThatIsNoLibraryCountsAsNone) {
  const Test_ProbeRun run = RunProbe("broken");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains("active 0"));
  EXPECT_THAT(run.mLines, Contains("QuilTraceFormat -1502 null"));
  EXPECT_THAT(run.mLines, Contains(kReport));
}

}  // namespace
