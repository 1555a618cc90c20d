// SPDX-License-Identifier: MIT
/// \file
/// Runs the benchmarks of a program five times each and prints who is how fast against whom.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

/// One figure that benchmarks leave in State::counters and that gets a table of its own.
struct Bench_Metric {
  std::string mCounter;          ///< The counter's name.
  std::string mUnit;             ///< As printed, such as "ns".
  bool mIsHigherBetter = false;  ///< For rates.
};

/// What one median must not exceed, or must reach.
struct Bench_Goal {
  std::string mRow;      ///< The row; empty: every row.
  std::string mCounter;  ///< The metric.
  std::string mAgainst;  ///< A contender, "best" for the best peer, or empty: mFactor is an absolute figure.
  double mFactor = 1.0;  ///< Ours must be at or below (rates: at or above) this many times the other's.
};

/// What two rows of a subject in two sizes say of how its cost grows: the larger one's median, ours, over the
/// smaller one's.
struct Bench_Growth {
  std::string mSmallRow;
  std::string mLargeRow;
  std::string mCounter;  ///< The metric.
  double mSizes = 1.0;   ///< How many times larger the subject is.
  double mAtMost = 1.0;  ///< What the ratio must not exceed.
};

/// One report: a title, the metrics, what we want to reach, and lines for the head, such as versions of
/// peers.
struct Bench_Report {
  std::string mProgram;                ///< Names the JSON file too: mProgram + ".json".
  std::vector<Bench_Metric> mMetrics;  ///< In order of their tables.
  /// Checked and printed behind the tables. A miss doesn't fail the program: whether a goal is reached
  /// depends on the machine, and on what else it does.
  std::vector<Bench_Goal> mGoals;
  std::vector<Bench_Growth> mGrowths;  ///< Likewise.
  std::vector<std::string> mHead;      ///< Printed first.
};

/// The contender that is us.
inline constexpr char kBenchOurs[] = "mlox";
/// How often each benchmark is run. Tables and JSON hold medians.
inline constexpr int kBenchRuns = 5;

/// Registers a workload: one run of iRun is one repetition, and it leaves its figures in State::counters.
/// iRow and iContender: where the figures stand in the tables.
void Bench_Add(const std::string& iRow, const std::string& iContender,
               std::function<void(benchmark::State&)> iRun);

/// Runs everything that was added and prints the tables. Arguments are Google Benchmark's, --benchmark_filter
/// first of all, and --out=FOLDER for the JSON (default: the current folder). Returns the exit status: not 0
/// if a run ended with an error (State::SkipWithError), which is printed, if nothing was run, or if the JSON
/// can't be written.
int Bench_Main(int iArgumentCount, char** iArgumentsPP, const Bench_Report& iReport);

/// Pins the calling thread to one core, modulo the cores that the process has; false if the system refuses.
bool Bench_PinThread(int iCore);

/// The p-quantile (0 to 1) of figures, which are sorted on the way; 0 if there are none.
double Bench_Quantile(std::vector<double>& ioFigures, double iP);
