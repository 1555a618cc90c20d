// SPDX-License-Identifier: MIT
// The tracing library behind the binder, as a process sees it that has it on its loader's path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "tests/diagnostics/proberun.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;

Test_ProbeRun RunWith(const std::string& iEnvironment = "") {
  return Test_RunProbe(MLOX_TEST_TRACE_FOLDER, iEnvironment);
}

std::vector<std::string> LinesOf(const std::string& iPath) {
  std::ifstream file(iPath);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
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

}  // namespace
