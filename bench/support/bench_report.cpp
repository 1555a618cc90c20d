// SPDX-License-Identifier: MIT
#include "bench/support/bench_report.h"

#include <fmt/format.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <string_view>

#include "cmn/cmn_version.h"

namespace {

constexpr char kSeparator = '|';

// Order of first appearance, which is the order of registration.
struct Names {
  void Add(const std::string& iName) {
    if (std::find(mNames.begin(), mNames.end(), iName) == mNames.end()) mNames.push_back(iName);
  }
  std::vector<std::string> mNames;
};

// Runs of one row and contender that ended with an error: its figures, if it has any, are of the others.
struct Failure {
  std::string mName;
  std::string mMessage;
  int mRuns = 0;
};

struct Results {
  std::vector<double>& Figures(const std::string& iRow, const std::string& iContender,
                               const std::string& iCounter) {
    return mFigures[iRow + kSeparator + iContender + kSeparator + iCounter];
  }
  // NaN if that contender doesn't have that figure.
  double Median(const std::string& iRow, const std::string& iContender, const std::string& iCounter) const {
    const auto found = mFigures.find(iRow + kSeparator + iContender + kSeparator + iCounter);
    if (found == mFigures.end()) return std::nan("");
    std::vector<double> figures = found->second;
    return Bench_Quantile(figures, 0.5);
  }
  void AddFailure(const std::string& iName, const std::string& iMessage) {
    for (Failure& failure : mFailures) {
      if (failure.mName != iName || failure.mMessage != iMessage) continue;
      ++failure.mRuns;
      return;
    }
    mFailures.push_back({iName, iMessage, 1});
  }
  Names mRows;
  Names mContenders;
  std::vector<Failure> mFailures;
  std::map<std::string, std::vector<double>> mFigures;
};

// Keeps each run's counters; prints one line for each, so that long programs show that they are alive.
class Collector : public benchmark::BenchmarkReporter {
 public:
  explicit Collector(Results& oResults) : mResults(oResults) {}
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& iRuns) override {
    for (const Run& run : iRuns) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string& name = run.run_name.function_name;
      const std::size_t cut = name.find(kSeparator);
      const std::string row = name.substr(0, cut);
      const std::string contender = name.substr(cut + 1);
      mResults.mRows.Add(row);
      mResults.mContenders.Add(contender);
      if (run.error_occurred) {
        mResults.AddFailure(row + ", " + contender, run.error_message);
        continue;
      }
      for (const auto& [counter, value] : run.counters) {
        mResults.Figures(row, contender, counter).push_back(value.value);
      }
    }
    if (!iRuns.empty() && iRuns.front().run_type == Run::RT_Iteration)
      fmt::print(stderr, "  {}\n", iRuns.front().run_name.function_name);
  }

 private:
  Results& mResults;
};

bool IsBetter(double iA, double iB, const Bench_Metric& iMetric) {
  return iMetric.mIsHigherBetter ? iA > iB : iA < iB;
}

double BestPeer(const Results& iResults, const std::string& iRow, const Bench_Metric& iMetric) {
  double best = std::nan("");
  for (const std::string& contender : iResults.mContenders.mNames) {
    const double median = iResults.Median(iRow, contender, iMetric.mCounter);
    if (contender == kBenchOurs || std::isnan(median)) continue;
    if (std::isnan(best) || IsBetter(median, best, iMetric)) best = median;
  }
  return best;
}

std::string Cell(double iFigure) {
  if (std::isnan(iFigure)) return "-";
  if (iFigure != 0 && std::abs(iFigure) < 10) return fmt::format("{:.2f}", iFigure);
  return fmt::format("{:.1f}", iFigure);
}

void PrintTable(const Results& iResults, const Bench_Metric& iMetric) {
  fmt::print("\n{} [{}], median of {} runs, {} is better; ratio: {} to the best peer\n", iMetric.mCounter,
             iMetric.mUnit, kBenchRuns, iMetric.mIsHigherBetter ? "more" : "less", kBenchOurs);
  fmt::print("{:<28}", "");
  for (const std::string& contender : iResults.mContenders.mNames) fmt::print("{:>16}", contender);
  fmt::print("{:>10}\n", "ratio");
  for (const std::string& row : iResults.mRows.mNames) {
    fmt::print("{:<28}", row);
    for (const std::string& contender : iResults.mContenders.mNames) {
      fmt::print("{:>16}", Cell(iResults.Median(row, contender, iMetric.mCounter)));
    }
    const double ours = iResults.Median(row, kBenchOurs, iMetric.mCounter);
    fmt::print("{:>10}\n", Cell(ours / BestPeer(iResults, row, iMetric)));
  }
}

void PrintGoal(const Results& iResults, const Bench_Report& iReport, const Bench_Goal& iGoal,
               const std::string& iRow) {
  const auto metric = std::find_if(iReport.mMetrics.begin(), iReport.mMetrics.end(),
                                   [&](const Bench_Metric& iM) { return iM.mCounter == iGoal.mCounter; });
  if (metric == iReport.mMetrics.end()) return;
  const double ours = iResults.Median(iRow, kBenchOurs, iGoal.mCounter);
  double limit = iGoal.mFactor;
  if (iGoal.mAgainst == "best") {
    limit *= BestPeer(iResults, iRow, *metric);
  } else if (!iGoal.mAgainst.empty()) {
    limit *= iResults.Median(iRow, iGoal.mAgainst, iGoal.mCounter);
  }
  if (std::isnan(ours) || std::isnan(limit)) return;
  const bool isReached = ours == limit || IsBetter(ours, limit, *metric);
  fmt::print("goal {}: {} {} at {} {} {}{} : {}\n", isReached ? "reached" : "MISSED ", iRow, iGoal.mCounter,
             metric->mIsHigherBetter ? "least" : "most", Cell(limit), metric->mUnit,
             iGoal.mAgainst.empty() ? "" : fmt::format(" ({} x {})", iGoal.mFactor, iGoal.mAgainst),
             Cell(ours));
}

void PrintGoals(const Results& iResults, const Bench_Report& iReport) {
  fmt::print("\n");
  for (const Bench_Goal& goal : iReport.mGoals) {
    for (const std::string& row : iResults.mRows.mNames) {
      if (goal.mRow.empty() || goal.mRow == row) PrintGoal(iResults, iReport, goal, row);
    }
  }
}

void PrintGrowths(const Results& iResults, const Bench_Report& iReport) {
  for (const Bench_Growth& growth : iReport.mGrowths) {
    const double small = iResults.Median(growth.mSmallRow, kBenchOurs, growth.mCounter);
    const double large = iResults.Median(growth.mLargeRow, kBenchOurs, growth.mCounter);
    const double ratio = large / small;
    if (std::isnan(ratio)) continue;
    fmt::print("growth {}: {} over {}, {} times the size: {} at most {:.2f} : {:.2f}\n",
               ratio <= growth.mAtMost ? "reached" : "MISSED ", growth.mLargeRow, growth.mSmallRow,
               growth.mSizes, growth.mCounter, growth.mAtMost, ratio);
  }
}

void PrintFailures(const Results& iResults) {
  for (const Failure& failure : iResults.mFailures)
    fmt::print("FAILED: {}: {} ({} of {} runs)\n", failure.mName, failure.mMessage, failure.mRuns,
               kBenchRuns);
  if (iResults.mRows.mNames.empty()) fmt::print("FAILED: nothing was run\n");
}

bool WriteJson(const Results& iResults, const Bench_Report& iReport, const std::string& iFolder) {
  const std::string path = iFolder + "/" + iReport.mProgram + ".json";
  std::ofstream file(path);
  file << fmt::format("{{\n  \"program\": \"{}\",\n  \"runs\": {},\n  \"medians\": [", iReport.mProgram,
                      kBenchRuns);
  const char* commaP = "";
  for (const auto& [key, figures] : iResults.mFigures) {
    const std::size_t first = key.find(kSeparator);
    const std::size_t second = key.find(kSeparator, first + 1);
    std::vector<double> sorted = figures;
    file << fmt::format(
        "{}\n    {{\"row\": \"{}\", \"contender\": \"{}\", \"metric\": \"{}\", \"median\": {:.6g}}}", commaP,
        key.substr(0, first), key.substr(first + 1, second - first - 1), key.substr(second + 1),
        Bench_Quantile(sorted, 0.5));
    commaP = ",";
  }
  file << "\n  ]\n}\n";
  file.close();
  if (!file) fmt::print(stderr, "{}: can't write {}\n", iReport.mProgram, path);
  return static_cast<bool>(file);
}

void PrintHead(const Bench_Report& iReport) {
  fmt::print("{} of mlox {}.{}.{}, {} cores, compiler {}\n", iReport.mProgram, CMN_VERSION_MAJOR,
             CMN_VERSION_MINOR, CMN_VERSION_PATCH, sysconf(_SC_NPROCESSORS_ONLN), __VERSION__);
#if !defined(__OPTIMIZE__)
  fmt::print("warning: built without optimisation, the figures mean nothing\n");
#endif
  for (const std::string& line : iReport.mHead) fmt::print("{}\n", line);
}

// Takes --out=FOLDER off the arguments.
std::string CutOutFolder(int& ioCount, char** ioArgumentsPP) {
  constexpr std::string_view kOption = "--out=";
  std::string folder = ".";
  int kept = 0;
  for (int i = 0; i < ioCount; ++i) {
    const std::string_view argument = ioArgumentsPP[i];
    if (argument.substr(0, kOption.size()) == kOption) {
      folder = argument.substr(kOption.size());
    } else {
      ioArgumentsPP[kept++] = ioArgumentsPP[i];
    }
  }
  ioCount = kept;
  return folder;
}

}  // namespace

void Bench_Add(const std::string& iRow, const std::string& iContender,
               std::function<void(benchmark::State&)> iRun) {
  const std::string name = iRow + kSeparator + iContender;
  benchmark::RegisterBenchmark(name.c_str(),
                               [iRun](benchmark::State& ioState) {
                                 for ([[maybe_unused]] auto _ : ioState) iRun(ioState);
                               })
      ->Iterations(1)
      ->Repetitions(kBenchRuns)
      ->UseRealTime();
}

int Bench_Main(int iArgumentCount, char** iArgumentsPP, const Bench_Report& iReport) {
  const std::string folder = CutOutFolder(iArgumentCount, iArgumentsPP);
  benchmark::Initialize(&iArgumentCount, iArgumentsPP);
  if (benchmark::ReportUnrecognizedArguments(iArgumentCount, iArgumentsPP)) return 2;
  PrintHead(iReport);
  Results results;
  Collector collector(results);
  benchmark::RunSpecifiedBenchmarks(&collector);
  benchmark::Shutdown();
  for (const Bench_Metric& metric : iReport.mMetrics) PrintTable(results, metric);
  PrintGoals(results, iReport);
  PrintGrowths(results, iReport);
  PrintFailures(results);
  const bool isWritten = WriteJson(results, iReport, folder);
  return isWritten && results.mFailures.empty() && !results.mRows.mNames.empty() ? 0 : 1;
}

bool Bench_PinThread(int iCore) {
  static const cpu_set_t sAllowed = [] {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    sched_getaffinity(getpid(), sizeof(allowed), &allowed);
    return allowed;
  }();
  const int count = CPU_COUNT(&sAllowed);
  if (count == 0) return false;
  int wanted = iCore % count;
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (!CPU_ISSET(core, &sAllowed) || wanted-- != 0) continue;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    return pthread_setaffinity_np(pthread_self(), sizeof(one), &one) == 0;
  }
  return false;
}

double Bench_Quantile(std::vector<double>& ioFigures, double iP) {
  if (ioFigures.empty()) return 0;
  std::sort(ioFigures.begin(), ioFigures.end());
  const double place = iP * static_cast<double>(ioFigures.size() - 1);
  return ioFigures[static_cast<std::size_t>(std::llround(place))];
}
