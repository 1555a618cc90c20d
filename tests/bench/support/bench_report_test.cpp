// SPDX-License-Identifier: MIT
#include "bench/support/bench_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// What a program of benchmarks prints, and how it ends.
class Bench_ReportTest : public testing::Test {
 protected:
  Bench_ReportTest() {
    mReport.mProgram = "some_bench";
    mReport.mMetrics = {{"time", "us", false}};
  }
  ~Bench_ReportTest() override { benchmark::ClearRegisteredBenchmarks(); }

  static std::function<void(benchmark::State&)> Takes(double iTime) {
    return [iTime](benchmark::State& ioState) { ioState.counters["time"] = iTime; };
  }

  int Run() {
    std::string program = "some_bench";
    std::string out = "--out=" + mFolder.Path();
    char* arguments[] = {program.data(), out.data(), nullptr};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = Bench_Main(2, arguments, mReport);
    std::fflush(stdout);
    testing::internal::GetCapturedStderr();
    mPrinted = testing::internal::GetCapturedStdout();
    return status;
  }

  const Test_TempFolder mFolder;
  Bench_Report mReport;
  std::string mPrinted;
};

TEST_F(Bench_ReportTest, MediansStandInATableWithTheRatioToThePeerAndInAFile) {
  Bench_Add("row", "peer", Takes(8));
  Bench_Add("row", kBenchOurs, Takes(2));
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, testing::ContainsRegex("row +8.00 +2.00 +0.25\n"));
  EXPECT_THAT(Test_ReadFile(mFolder / "some_bench.json"),
              HasSubstr(R"("row": "row", "contender": "mlox", "metric": "time", "median": 2})"));
}

TEST_F(Bench_ReportTest, ARunThatFailedIsPrintedWithItsWordAndMakesTheProgramFail) {
  Bench_Add("good", kBenchOurs, Takes(2));
  Bench_Add("bad", kBenchOurs, [](benchmark::State& ioState) { ioState.SkipWithError("wrong answer"); });
  mReport.mGoals = {{"bad", "time", "", 5}};
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(mPrinted, HasSubstr("FAILED: bad, mlox: wrong answer (5 of 5 runs)\n"));
  EXPECT_THAT(mPrinted, testing::ContainsRegex("\nbad +- ")) << "its row stays, without figures";
  EXPECT_THAT(mPrinted, Not(HasSubstr("reached")));
}

TEST_F(Bench_ReportTest, OneFailedRunOfSeveralIsEnough) {
  int runs = 0;
  Bench_Add("row", kBenchOurs, [&runs](benchmark::State& ioState) {
    if (++runs == 3) return ioState.SkipWithError("notes were lost");
    ioState.counters["time"] = 2;
  });
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(mPrinted, HasSubstr("FAILED: row, mlox: notes were lost (1 of 5 runs)\n"));
}

TEST_F(Bench_ReportTest, AGoalThatIsMissedIsPrintedAndDoesNotMakeTheProgramFail) {
  Bench_Add("row", kBenchOurs, Takes(2));
  mReport.mGoals = {{"row", "time", "", 1}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, HasSubstr("goal MISSED : row time at most 1.00 us : 2.00\n"));
}

TEST_F(Bench_ReportTest, GrowthIsTheRatioOfTwoRowsOfOurs) {
  Bench_Add("few", kBenchOurs, Takes(2));
  Bench_Add("many", kBenchOurs, Takes(9));
  mReport.mGrowths = {{"few", "many", "time", 4, 5}, {"few", "many", "time", 4, 4}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted,
              HasSubstr("growth reached: many over few, 4 times the size: time at most 5.00 : 4.50\n"));
  EXPECT_THAT(mPrinted,
              HasSubstr("growth MISSED : many over few, 4 times the size: time at most 4.00 : 4.50\n"));
}

TEST_F(Bench_ReportTest, AProgramThatRunsNothingFails) {
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(mPrinted, HasSubstr("FAILED: nothing was run\n"));
}

}  // namespace
