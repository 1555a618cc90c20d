// SPDX-License-Identifier: MIT
// The tracing library behind the binder, as a process sees it that has it on its loader's path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/diagnostics/proberun.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

Test_ProbeRun RunWith(const std::string& iEnvironment = "") {
  return Test_RunProbe(MLOX_TEST_TRACE_FOLDER, iEnvironment);
}

std::vector<std::string> LinesOf(const std::string& iPath) {
  std::ifstream file(iPath);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// What is left of the lines of a storm: the numbers of each thread in the order of the file, and how many
// lines were dropped, as the file says.
struct Storm {
  std::map<int, std::vector<int>> mNumbers;
  std::size_t mLines = 0;
  std::size_t mDropped = 0;
  std::vector<std::string> mOthers;  // lines that are neither
};

Storm StormOf(const std::vector<std::string>& iLines) {
  Storm storm;
  for (const std::string& line : iLines) {
    int thread = -1;
    int number = -1;
    std::size_t dropped = 0;
    const std::size_t at = line.find(" storm ");
    if (at != std::string::npos && std::sscanf(line.c_str() + at, " storm %d %d", &thread, &number) == 2) {
      storm.mNumbers[thread].push_back(number);
      ++storm.mLines;
    } else if (line.find(" trace lines dropped here") != std::string::npos &&
               std::sscanf(line.c_str(), "%*s %*s %zu", &dropped) == 1) {  // behind date and time
      storm.mDropped += dropped;
    } else {
      storm.mOthers.push_back(line);
    }
  }
  return storm;
}

// Runs a storm into a file of its own.
Storm RunStorm(const std::string& iArguments) {
  const Test_TempFolder folder;
  const std::string path = folder / "storm.log";
  const Test_ProbeRun run =
      Test_RunProgram("'" MLOX_TEST_TRACE_STORM "' " + iArguments, MLOX_TEST_TRACE_FOLDER,
                      "MLOX_TRACE=all MLOX_TRACE_FILE_SIZE=0 MLOX_TRACE_FILE='" + path + "'");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, testing::IsEmpty());
  return StormOf(LinesOf(path));
}

void ExpectEachThreadInOrder(const Storm& iStorm) {
  for (const auto& [thread, numbers] : iStorm.mNumbers) {
    for (std::size_t i = 1; i < numbers.size(); ++i)
      ASSERT_GT(numbers[i], numbers[i - 1]) << "of thread " << thread;
  }
}

TEST(QuilTrace, WithAllCategoriesOnEveryLineIsWrittenBehindItsCategory) {
  const Test_ProbeRun run = RunWith("MLOX_TRACE=all");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains("active 1")) << "every name is there";
  EXPECT_THAT(run.mLines, Contains(EndsWith(" 0200000E plain")));
  EXPECT_THAT(run.mLines, Contains(EndsWith(" 0200000E value 1 of channel")));
  EXPECT_THAT(run.mLines, Contains(HasSubstr(" 04000E0F CMN_TRACEASSERT index >= 0 && 100%s ")));
}

TEST(QuilTrace, WithoutTheVariableTracingIsOffAlthoughEveryNameIsThere) {
  for (const char* const environmentP : {"", "MLOX_TRACE=", "MLOX_TRACE=,"}) {
    const Test_ProbeRun run = RunWith(environmentP);
    EXPECT_THAT(run.mLines, Contains("active 0")) << environmentP;
    EXPECT_EQ(Test_CountContaining(run.mLines, "0200000E"), 0) << environmentP;
  }
  EXPECT_EQ(Test_CountContaining(RunWith().mLines, " null"), 0);
}

TEST(QuilTrace, TheCategoriesThatAreNamedAreOnAndNoOther) {
  const Test_ProbeRun one = RunWith("MLOX_TRACE=4000E0F");
  EXPECT_EQ(Test_CountContaining(one.mLines, " 0200000E "), 0);
  EXPECT_EQ(Test_CountContaining(one.mLines, " 04000E0F "), 1);
  const Test_ProbeRun both = RunWith("MLOX_TRACE=0x4000e0f,0X200000E");
  EXPECT_EQ(Test_CountContaining(both.mLines, " 0200000E "), 2);
  EXPECT_EQ(Test_CountContaining(both.mLines, " 04000E0F "), 1);
}

TEST(QuilTrace, AWordThatIsNoCategoryIsToldAndTurnsNothingOn) {
  for (const std::string word : {"sysex", "0x", "4000E0F0F", "12 "}) {
    const Test_ProbeRun run = RunWith("MLOX_TRACE='" + word + "'");
    EXPECT_THAT(run.mLines, Contains("mlox: no trace category: \"" + word + "\""));
    EXPECT_THAT(run.mLines, Contains("active 0"));
  }
  EXPECT_THAT(RunWith("MLOX_TRACE=sysex,all").mLines, Contains("active 1")) << "the other words count";
}

TEST(QuilTrace, LinesAreAppendedToTheFileThatIsNamed) {
  const Test_TempFolder folder;
  const std::string path = folder / "trace.log";
  const Test_ProbeRun run = RunWith("MLOX_TRACE=200000E MLOX_TRACE_FILE='" + path + "'");
  EXPECT_EQ(Test_CountContaining(run.mLines, " 0200000E "), 0);
  EXPECT_EQ(LinesOf(path).size(), 2U);
  RunWith("MLOX_TRACE=200000E MLOX_TRACE_FILE='" + path + "'");
  EXPECT_EQ(LinesOf(path).size(), 4U);
  EXPECT_THAT(LinesOf(path), Contains(EndsWith(" 0200000E plain")).Times(2));
}

TEST(QuilTrace, AFileThatCannotBeOpenedIsToldAndLinesGoToStandardError) {
  const Test_TempFolder folder;
  const Test_ProbeRun run = RunWith("MLOX_TRACE=all MLOX_TRACE_FILE='" + folder.Path() + "'");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains(HasSubstr("mlox: trace lines go to standard error: ")));
  EXPECT_THAT(run.mLines, Contains(EndsWith(" 0200000E plain")));
}

TEST(QuilTrace, AFileThatIsFullMakesRoomForTheNext) {
  const Test_TempFolder folder;
  const std::string path = folder / "trace.log";
  Test_RunProgram("'" MLOX_TEST_TRACE_STORM "' 1 200", MLOX_TEST_TRACE_FOLDER,
                  "MLOX_TRACE=all MLOX_TRACE_FILE_SIZE=4k MLOX_TRACE_FILES=1 MLOX_TRACE_FILE='" + path + "'");
  const std::vector<std::string> newer = LinesOf(path);
  const std::vector<std::string> older = LinesOf(folder / "trace.1.log");
  ASSERT_FALSE(newer.empty());
  ASSERT_FALSE(older.empty());
  EXPECT_THAT(newer.back(), EndsWith(" storm 0 199"));
  EXPECT_LT(newer.size() + older.size(), 200U) << "what was before them is gone";
  EXPECT_EQ(LinesOf(folder / "trace.2.log").size(), 0U);
}

TEST(QuilTrace, AtExitEveryLineOfAFewIsThereInOrder) {
  const Storm storm = RunStorm("4 900");
  EXPECT_EQ(storm.mLines, 3600U) << "fewer than the ring holds";
  EXPECT_EQ(storm.mDropped, 0U);
  ExpectEachThreadInOrder(storm);
}

TEST(QuilTrace, OfMoreLinesThanCanBeWrittenEachIsWrittenOrCountedAndEachThreadKeepsItsOrder) {
  const Storm storm = RunStorm("8 40000");
  EXPECT_EQ(storm.mLines + storm.mDropped, 320000U);
  EXPECT_GT(storm.mDropped, 0U) << "they come at once, and the ring holds 4096";
  EXPECT_GT(storm.mLines, 4095U);
  EXPECT_THAT(storm.mOthers, testing::IsEmpty());
  ExpectEachThreadInOrder(storm);
}

TEST(QuilTrace, AProcessThatEndsInTheMidstOfTracingWritesWholeLinesInOrderAndDoesNotHang) {
  const Storm storm = RunStorm("3 2000 leave");
  EXPECT_GT(storm.mLines, 0U);
  EXPECT_THAT(storm.mOthers, testing::IsEmpty());
  ExpectEachThreadInOrder(storm);
}

TEST(QuilTrace, AForkedChildTracesNothingAndItsParentsLinesAreWrittenOnce) {
  const Storm storm = RunStorm("1 500 fork");
  EXPECT_EQ(storm.mLines, 1000U);
  EXPECT_EQ(storm.mDropped, 0U);
  EXPECT_EQ(storm.mNumbers.size(), 1U);
  ExpectEachThreadInOrder(storm);
}

TEST(QuilTrace, ItsThreadTakesNoneOfTheApplicationsSignals) {
  // A process-wide signal goes to any thread that doesn't block it, and there it ends the process.
  const Test_ProbeRun run = Test_RunProgram("'" MLOX_TEST_TRACE_STORM "' 1 10 signal", MLOX_TEST_TRACE_FOLDER,
                                            "MLOX_TRACE=all MLOX_TRACE_FILE=/dev/null");
  EXPECT_EQ(run.mStatus, 0);
  EXPECT_THAT(run.mLines, Contains("waited for and got"));
  EXPECT_THAT(run.mLines, Not(Contains(HasSubstr("mlox:"))));
}

}  // namespace
