// SPDX-License-Identifier: MIT
#include "bench/support/bench_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

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
    mReport.mMetrics = {{"time", "us", false}, {"rate", "events/ms", true}};
  }
  ~Bench_ReportTest() override { benchmark::ClearRegisteredBenchmarks(); }

  using Workload = std::function<void(benchmark::State&)>;

  static Workload Takes(double iTime) {
    return [iTime](benchmark::State& ioState) { ioState.counters["time"] = iTime; };
  }
  static Workload Does(double iRate) {
    return [iRate](benchmark::State& ioState) { ioState.counters["rate"] = iRate; };
  }
  // One time after the other, a run each.
  static Workload TakesInTurn(std::vector<double> iTimes) {
    return [times = std::move(iTimes), run = std::size_t{0}](benchmark::State& ioState) mutable {
      ioState.counters["time"] = times.at(run++);
    };
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

TEST_F(Bench_ReportTest, FiveRunsThatDifferCountByTheirMedian) {
  Bench_Add("row", "peer", TakesInTurn({50, 16, 3, 20, 10}));
  Bench_Add("row", kBenchOurs, TakesInTurn({9, 1, 100, 4, 2}));
  mReport.mGoals = {{"row", "time", "peer", 0.25}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, testing::ContainsRegex("row +16.0 +4.00 +0.25\n"));
  EXPECT_THAT(mPrinted, HasSubstr("goal reached: row time at most 4.00 us (0.25 x peer) : 4.00\n"));
  const std::string json = Test_ReadFile(mFolder / "some_bench.json");
  EXPECT_THAT(json, HasSubstr(R"("contender": "peer", "metric": "time", "median": 16})"));
  EXPECT_THAT(json, HasSubstr(R"("contender": "mlox", "metric": "time", "median": 4})"));
}

TEST_F(Bench_ReportTest, EachMetricHasATableThatSaysWhichWayIsBetter) {
  Bench_Add("row", "slow", Takes(8));
  Bench_Add("row", "fast", Takes(4));
  Bench_Add("row", kBenchOurs, Takes(2));
  Bench_Add("flow", "fast", Does(40));
  Bench_Add("flow", "slow", Does(10));
  Bench_Add("flow", kBenchOurs, Does(30));
  EXPECT_EQ(Run(), 0);
  const std::size_t rates = mPrinted.find("\nrate [events/ms]");
  ASSERT_NE(rates, std::string::npos);
  const std::string timeTable = mPrinted.substr(0, rates), rateTable = mPrinted.substr(rates);
  EXPECT_THAT(timeTable,
              HasSubstr("\ntime [us], median of 5 runs, less is better; ratio: mlox to the best peer\n"));
  EXPECT_THAT(timeTable, testing::ContainsRegex("\n +slow +fast +mlox +ratio\n"));
  EXPECT_THAT(timeTable, testing::ContainsRegex("\nrow +8.00 +4.00 +2.00 +0.50\n"));
  EXPECT_THAT(timeTable, testing::ContainsRegex("\nflow +- +- +- +-\n"));
  EXPECT_THAT(rateTable, HasSubstr("median of 5 runs, more is better; "));
  EXPECT_THAT(rateTable, testing::ContainsRegex("\nflow +10.0 +40.0 +30.0 +0.75\n"));
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

TEST_F(Bench_ReportTest, ATimeReachesAGoalAtOrBelowTheLimitAndARateAtOrAboveIt) {
  Bench_Add("row", kBenchOurs, Takes(2));
  Bench_Add("flow", kBenchOurs, Does(30));
  mReport.mGoals = {{"row", "time", "", 3},   {"row", "time", "", 2},   {"row", "time", "", 1.5},
                    {"flow", "rate", "", 20}, {"flow", "rate", "", 30}, {"flow", "rate", "", 31}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, HasSubstr("goal reached: row time at most 3.00 us : 2.00\n"
                                  "goal reached: row time at most 2.00 us : 2.00\n"
                                  "goal MISSED : row time at most 1.50 us : 2.00\n"
                                  "goal reached: flow rate at least 20.0 events/ms : 30.0\n"
                                  "goal reached: flow rate at least 30.0 events/ms : 30.0\n"
                                  "goal MISSED : flow rate at least 31.0 events/ms : 30.0\n"));
}

TEST_F(Bench_ReportTest, AGoalAgainstANamedPeerMultipliesThatPeersFigure) {
  Bench_Add("row", "a", Takes(8));
  Bench_Add("row", "b", Takes(3));
  Bench_Add("row", kBenchOurs, Takes(4));
  Bench_Add("flow", "a", Does(10));
  Bench_Add("flow", "b", Does(40));
  Bench_Add("flow", kBenchOurs, Does(30));
  mReport.mGoals = {{"row", "time", "a", 0.5},  {"row", "time", "a", 0.4}, {"row", "time", "b", 1},
                    {"row", "time", "b", 1.5},  {"flow", "rate", "a", 3},  {"flow", "rate", "a", 3.5},
                    {"flow", "rate", "b", 1.0}, {"flow", "rate", "b", 0.5}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, HasSubstr("goal reached: row time at most 4.00 us (0.5 x a) : 4.00\n"
                                  "goal MISSED : row time at most 3.20 us (0.4 x a) : 4.00\n"
                                  "goal MISSED : row time at most 3.00 us (1 x b) : 4.00\n"
                                  "goal reached: row time at most 4.50 us (1.5 x b) : 4.00\n"
                                  "goal reached: flow rate at least 30.0 events/ms (3 x a) : 30.0\n"
                                  "goal MISSED : flow rate at least 35.0 events/ms (3.5 x a) : 30.0\n"
                                  "goal MISSED : flow rate at least 40.0 events/ms (1 x b) : 30.0\n"
                                  "goal reached: flow rate at least 20.0 events/ms (0.5 x b) : 30.0\n"));
}

TEST_F(Bench_ReportTest, AGoalAgainstTheBestTakesTheShortestTimeOrTheHighestRateOfThePeers) {
  Bench_Add("row", "a", Takes(8));
  Bench_Add("row", kBenchOurs, Takes(4));
  Bench_Add("row", "b", Takes(3));
  Bench_Add("row", "c", Takes(5));
  Bench_Add("flow", "a", Does(10));
  Bench_Add("flow", kBenchOurs, Does(30));
  Bench_Add("flow", "b", Does(40));
  Bench_Add("flow", "c", Does(20));
  mReport.mGoals = {{"row", "time", "best", 1},
                    {"row", "time", "best", 2},
                    {"flow", "rate", "best", 1},
                    {"flow", "rate", "best", 0.75}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, HasSubstr("goal MISSED : row time at most 3.00 us (1 x best) : 4.00\n"
                                  "goal reached: row time at most 6.00 us (2 x best) : 4.00\n"
                                  "goal MISSED : flow rate at least 40.0 events/ms (1 x best) : 30.0\n"
                                  "goal reached: flow rate at least 30.0 events/ms (0.75 x best) : 30.0\n"));
}

TEST_F(Bench_ReportTest, WeAreNoPeerOfOurs) {
  Bench_Add("row", kBenchOurs, Takes(1));
  Bench_Add("row", "peer", Takes(4));
  Bench_Add("alone", kBenchOurs, Takes(1));
  mReport.mGoals = {{"", "time", "best", 0.5}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, testing::ContainsRegex("\nrow +1.00 +4.00 +0.25\n"));
  EXPECT_THAT(mPrinted, testing::ContainsRegex("\nalone +1.00 +- +-\n"));
  EXPECT_THAT(mPrinted, HasSubstr("goal reached: row time at most 2.00 us (0.5 x best) : 1.00\n"));
  EXPECT_THAT(mPrinted, Not(HasSubstr(": alone")));
}

TEST_F(Bench_ReportTest, AGoalWithoutARowIsForEveryRowThatHasBothFigures) {
  Bench_Add("one", "peer", Takes(8));
  Bench_Add("one", kBenchOurs, Takes(2));
  Bench_Add("two", "peer", Takes(1));
  Bench_Add("two", kBenchOurs, Takes(2));
  Bench_Add("without a peer", kBenchOurs, Takes(2));
  Bench_Add("without us", "peer", Takes(2));
  mReport.mGoals = {{"", "time", "peer", 1}, {"", "rate", "peer", 1}, {"", "unknown", "peer", 1}};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(mPrinted, HasSubstr("goal reached: one time at most 8.00 us (1 x peer) : 2.00\n"
                                  "goal MISSED : two time at most 1.00 us (1 x peer) : 2.00\n"));
  EXPECT_THAT(mPrinted, Not(HasSubstr(": without")));
  EXPECT_THAT(mPrinted, Not(HasSubstr(" rate at")));
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

// ---- quantiles ----

TEST(Bench_Quantile, IsTheFigureAtThatPlaceOfTheSortedOnes) {
  std::vector<double> figures = {40, 10, 70, 20, 50};
  EXPECT_EQ(Bench_Quantile(figures, 0), 10);
  EXPECT_EQ(Bench_Quantile(figures, 0.25), 20);
  EXPECT_EQ(Bench_Quantile(figures, 0.5), 40);
  EXPECT_EQ(Bench_Quantile(figures, 0.75), 50);
  EXPECT_EQ(Bench_Quantile(figures, 1), 70);
}

TEST(Bench_Quantile, BetweenTwoPlacesTakesTheNearerAndInTheMiddleTheHigher) {
  std::vector<double> figures = {40, 10, 70, 20, 50};
  EXPECT_EQ(Bench_Quantile(figures, 0.3), 20) << "place 1.2";
  EXPECT_EQ(Bench_Quantile(figures, 0.4), 40) << "place 1.6";
  EXPECT_EQ(Bench_Quantile(figures, 0.99), 70) << "place 3.96";
  std::vector<double> four = {4, 1, 8, 2};
  EXPECT_EQ(Bench_Quantile(four, 0.5), 4) << "place 1.5";
}

TEST(Bench_Quantile, OfAHundredFiguresThe99thPercentileLeavesOneAbove) {
  std::vector<double> figures;
  for (int figure = 100; figure >= 1; --figure) figures.push_back(figure * figure);
  EXPECT_EQ(Bench_Quantile(figures, 0.99), 9801) << "place 98.01";
  EXPECT_EQ(Bench_Quantile(figures, 0.999), 10000) << "place 98.901";
}

TEST(Bench_Quantile, LeavesTheFiguresSorted) {
  std::vector<double> figures = {3, 1, 2};
  Bench_Quantile(figures, 0.5);
  EXPECT_THAT(figures, testing::ElementsAre(1, 2, 3));
}

TEST(Bench_Quantile, OfOneFigureIsThatFigureAndOfNoneZero) {
  std::vector<double> one = {7};
  EXPECT_EQ(Bench_Quantile(one, 0.99), 7);
  std::vector<double> none;
  EXPECT_EQ(Bench_Quantile(none, 0.5), 0);
}

}  // namespace
