// SPDX-License-Identifier: MIT
// The tracing library behind the binder, as a process sees it that has it on its loader's path.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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

// What a process that is killed loses is what doesn't yet stand in the file.
TEST(QuilTrace, ALineStandsInTheFileAfterAFewMillisecondsWithoutAnybodyWakingTheWriter) {
  const Test_TempFolder folder;
  const std::string path = folder / "trace.log";
  const Test_ProbeRun run =
      Test_RunProgram("'" MLOX_TEST_TRACE_STORM "' 1 20 look '" + path + "'", MLOX_TEST_TRACE_FOLDER,
                      "MLOX_TRACE=all MLOX_TRACE_FILE='" + path + "'");
  EXPECT_EQ(run.mStatus, 0);
  std::vector<int> microseconds;
  for (const std::string& line : run.mLines) microseconds.push_back(std::stoi(line));
  ASSERT_EQ(microseconds.size(), 20U);
  // Each line is left just behind a round, so it waits for a whole one. On a busy machine many take longer,
  // and hardly three quarters of them ten times as long.
  std::sort(microseconds.begin(), microseconds.end());
  EXPECT_LT(microseconds[5], 50000) << testing::PrintToString(microseconds);
}

// Runs a storm whose lines go to a pipe that nobody reads before the storm has told of its forks. How long
// these took, in milliseconds: -1 if it told nothing in time.
int ForkMillisecondsBesideAnUnreadPipe(const std::string& iEnvironment, Storm& oStorm) {
  int lines[2] = {-1, -1};
  int report[2] = {-1, -1};
  if (pipe2(lines, O_CLOEXEC) != 0 || pipe2(report, O_CLOEXEC) != 0) return -1;
  const std::string command = "exec env -u MLOX_TRACE_FILES LD_LIBRARY_PATH='" MLOX_TEST_TRACE_FOLDER
                              "' MLOX_TRACE=all " +
                              iEnvironment + " '" MLOX_TEST_TRACE_STORM "' 1 4000 stuck 2";
  const char* const arguments[] = {"sh", "-c", command.c_str(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, report[1], 1);
  posix_spawn_file_actions_adddup2(&actions, lines[1], 2);
  pid_t storm = -1;
  const int fault =
      posix_spawn(&storm, "/bin/sh", &actions, nullptr, const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(lines[1]);
  close(report[1]);
  if (fault != 0) return -1;
  pollfd told{report[0], POLLIN, 0};
  EXPECT_EQ(poll(&told, 1, 60000), 1) << "a fork waits for somebody to read";
  // Only now.
  std::FILE* linesP = fdopen(lines[0], "r");
  std::vector<std::string> all;
  char line[1024] = {};
  while (std::fgets(line, sizeof(line), linesP) != nullptr) {
    all.emplace_back(line);
    all.back().pop_back();
  }
  std::fclose(linesP);
  oStorm = StormOf(all);
  int milliseconds = -1;
  std::FILE* reportP = fdopen(report[0], "r");
  if (told.revents == 0 || std::fgets(line, sizeof(line), reportP) == nullptr ||
      std::sscanf(line, "fork took %d ms", &milliseconds) != 1)
    milliseconds = -1;
  EXPECT_THAT(line, HasSubstr(", children ended well"));
  std::fclose(reportP);
  int status = -1;
  EXPECT_EQ(waitpid(storm, &status, 0), storm);
  EXPECT_EQ(status, 0);
  return milliseconds;
}

// As long as a fork may take on a machine that has much else to do.
constexpr int kForkMilliseconds = 2000;

TEST(QuilTrace, AForkDoesNotWaitForSomebodyToReadWhereLinesGoAndEachLineIsWrittenOnce) {
  // Lines that lie in the buffer of a file, and lines that go straight to standard error.
  for (const char* const environmentP :
       {"MLOX_TRACE_FILE=", "MLOX_TRACE_FILE_SIZE=0 MLOX_TRACE_FILE=/dev/fd/2"}) {
    SCOPED_TRACE(environmentP);
    Storm storm;
    const int milliseconds = ForkMillisecondsBesideAnUnreadPipe(environmentP, storm);
    EXPECT_GE(milliseconds, 0);
    EXPECT_LT(milliseconds, kForkMilliseconds);
    EXPECT_EQ(storm.mLines, 4000U) << "fewer than the ring holds";
    EXPECT_EQ(storm.mNumbers.size(), 1U);
    EXPECT_THAT(storm.mOthers, testing::IsEmpty());
    ExpectEachThreadInOrder(storm);
  }
}

TEST(QuilTrace, ForksGetTheirTurnBesideAWriterThatHasNoEndOfWork) {
  const Test_TempFolder folder;
  const Test_ProbeRun run =
      Test_RunProgram("'" MLOX_TEST_TRACE_STORM "' 2 3 forks", MLOX_TEST_TRACE_FOLDER,
                      "MLOX_TRACE=all MLOX_TRACE_FILE_SIZE=1k MLOX_TRACE_FILES=900 MLOX_TRACE_FILE='" +
                          (folder / "t.log") + "'");
  EXPECT_EQ(run.mStatus, 0);
  int milliseconds = -1;
  ASSERT_EQ(run.mLines.size(), 1U);
  ASSERT_EQ(std::sscanf(run.mLines.front().c_str(), "fork took %d ms", &milliseconds), 1);
  EXPECT_LT(milliseconds, kForkMilliseconds);
  EXPECT_THAT(run.mLines.front(), EndsWith("children ended well"));
}

TEST(QuilTrace, OfMoreCategoriesThanItHasRoomForTheFirst64AreOnAndThatIsTold) {
  std::string others;
  for (int category = 1; category <= 63; ++category) others += std::to_string(category) + ",";
  const std::string told = "mlox: only the first 64 trace categories are on";
  const Test_ProbeRun fits = RunWith("MLOX_TRACE=" + others + "200000E");
  EXPECT_EQ(Test_CountContaining(fits.mLines, " 0200000E "), 2);
  EXPECT_THAT(fits.mLines, Not(Contains(told)));
  const Test_ProbeRun over = RunWith("MLOX_TRACE=" + others + "200000E,4000E0F");
  EXPECT_EQ(Test_CountContaining(over.mLines, " 0200000E "), 2);
  EXPECT_EQ(Test_CountContaining(over.mLines, " 04000E0F "), 0);
  EXPECT_THAT(over.mLines, Contains(told).Times(1));
  const Test_ProbeRun all = RunWith("MLOX_TRACE=" + others + "200000E,4000E0F,all");
  EXPECT_EQ(Test_CountContaining(all.mLines, " 04000E0F "), 1);
  EXPECT_THAT(all.mLines, Not(Contains(told))) << "which would be wrong";
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
