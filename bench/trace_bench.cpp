// SPDX-License-Identifier: MIT
// What a trace site costs while tracing is off: one load and one branch.
//
// Three functions that do the same work are called in a loop. "mlox" has a trace site in it; "by hand" has
// one load of an atomic integer and one branch on it, written out; "without" has nothing. The work is that of
// a short function, one step of a pseudo-random sequence, so that what is added shows. Nanoseconds a call,
// the best round of a run, since everything that disturbs makes it slower, and the same as a ratio to
// "without", whose rounds take turns with the others'.
//
// Rows. "one site": one in a call. "eight sites": eight, with a step between each and the next.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "bench/support/bench_report.h"
#include "diagnostics/quiltracelibrary.h"

namespace {

constexpr int kCallsARound = 200000;
constexpr int kRounds = 40;

// What the site is compared with: the same kind of flag, as constant to the compiler as the library's own.
std::atomic<int> sFlagByHand{0};

[[gnu::noinline, gnu::cold]] void WriteByHand(std::uint64_t iValue) { fmt::print("{}\n", iValue); }

struct Without {
  static void Site(std::uint64_t) {}
};

struct ByHand {
  static void Site(std::uint64_t iValue) {
    if (sFlagByHand.load(std::memory_order_acquire) != 0) WriteByHand(iValue);
  }
};

struct Mlox {
  static void Site(std::uint64_t iValue) {
    QUIL_TRACE(0x0200000E, "value %llu", static_cast<unsigned long long>(iValue));
  }
};

// All begin at the same place of a cache line, so that the layout of the code doesn't decide.
template <class Way, int kSites>
[[gnu::noinline, gnu::aligned(64)]] std::uint64_t Work(std::uint64_t iValue) {
  for (int site = 0; site < kSites; ++site) {
    iValue = iValue * 6364136223846793005U + 1442695040888963407U;
    Way::Site(iValue);
  }
  return iValue;
}

using WorkProc = std::uint64_t (*)(std::uint64_t);

double SecondsOf(WorkProc iWork, std::uint64_t& ioValue) {
  const auto begin = std::chrono::steady_clock::now();
  for (int call = 0; call < kCallsARound; ++call) ioValue = iWork(ioValue);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Rounds of one way and of "without" in turns, so that both meet the same machine.
void Measure(benchmark::State& ioState, WorkProc iWork, WorkProc iWithout) {
  Bench_PinThread(0);
  std::uint64_t value = 1;
  double best = 1e9;
  double bestWithout = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    bestWithout = std::min(bestWithout, SecondsOf(iWithout, value));
    best = std::min(best, SecondsOf(iWork, value));
  }
  benchmark::DoNotOptimize(value);
  ioState.counters["ns_per_call"] = best * 1e9 / kCallsARound;
  ioState.counters["times_without"] = best / bestWithout;
}

template <int kSites>
void AddRow(const std::string& iRow) {
  const auto add = [&](const std::string& iContender, WorkProc iWork) {
    Bench_Add(iRow, iContender,
              [iWork](benchmark::State& ioState) { Measure(ioState, iWork, &Work<Without, kSites>); });
  };
  add("without", &Work<Without, kSites>);
  add("by hand", &Work<ByHand, kSites>);
  add(kBenchOurs, &Work<Mlox, kSites>);
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  if (QuilTraceLibrary::sTraceIsActive.load() != 0) {
    fmt::print(stderr, "trace_bench: tracing is on: it is measured off\n");
    return 1;
  }
  AddRow<1>("one site");
  AddRow<8>("eight sites");
  Bench_Report report;
  report.mProgram = "trace_bench";
  report.mMetrics = {{"ns_per_call", "ns", false}, {"times_without", "x", false}};
  report.mGoals = {{"", "ns_per_call", "by hand", 1.1}};
  report.mHead = {"by hand: one load of an atomic integer and one branch; without: the same function bare"};
  return Bench_Main(iArgumentCount, iArgumentsPP, report);
}
