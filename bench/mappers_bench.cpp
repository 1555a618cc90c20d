// SPDX-License-Identifier: MIT
// What integer ids of outputs and inputs cost an application with very many of them: 10,000 nodes of plug-ins
// of each direction, with all 16 channels.
//
// Rows. "rebuild outputs", "rebuild inputs": the first look-up after a change, which makes the list anew;
// beside it a walk that asks every device for its channels and keeps nothing. Milliseconds.
//
// Look-ups, each beside the calls that it comes down to, and each with 2,500 nodes too: below the tables
// stands how they grow. "output to id", "input to id": the id of the last device's last channel, beside a
// walk over the devices by their indices, which is the linear part of it; the rest is a binary search. "id to
// output", "id to input": what the highest id stands for. What these cost more is the head of every look-up,
// CheckStudioSetup with the library's housekeeping, and grows neither with the devices nor with the objects
// that wait for their deletion: one row has very many of those, with 10,000 nodes. Microseconds.
//
// All figures are of the thread's processor time, the best round of a run, since everything that disturbs
// makes it slower.
#include <algorithm>
#include <cstddef>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "bench/support/bench_report.h"
#include "cmn/mem2_masterallocator.h"
#include "cmn/sys_delayeddeletion.h"
#include "cmn/sys_delayeddeletionobject.h"
#include "mlox/midiinputidmapper.h"
#include "mlox/midioutputidmapper.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"

namespace {

constexpr int kFewNodes = 2500;
constexpr int kNodes = 10000;
constexpr int kRounds = 20;
constexpr std::size_t kRetired = 32000;
constexpr short kLastChannel = 15;

double ThreadSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// One application with its nodes, for the whole run.
class Application {
 public:
  Application() : mServiceP(new Mlox_DM_Service(nullptr, &mAllocator, nullptr)) {
    Manager().AddService(mServiceP, 1);
  }

  // Makes nodes until there are so many; false if there are more already. Nodes don't go.
  bool GrowTo(int iNodes) {
    if (mNodes == iNodes) return true;
    for (; mNodes < iNodes; ++mNodes) {
      const std::string name = "Node " + std::to_string(mNodes);
      mServiceP->CreateClientOutput(name.c_str());
      mServiceP->CreateClientInput(name.c_str());
    }
    ReportChange();
    return mNodes == iNodes;
  }

  static Mlox_Manager& Manager() { return *Mlox_Manager::Singleton(); }

  // Makes the lists of ids void, as a service does that has changed.
  void ReportChange() {
    Manager().ServiceOutputListChanged(mServiceP, true);
    Manager().ServiceInputListChanged(mServiceP);
    Manager().CheckStudioSetup();
    Manager().GetNumberOfOutputDevices();
    Manager().GetNumberOfInputs();
  }

 private:
  Mem2_MasterAllocator mAllocator;
  Mlox_DM_Service* mServiceP;
  int mNodes = 0;
};

Application& TheApplication() {
  static auto* applicationP = new Application;
  return *applicationP;
}

// What one benchmark measures.
struct Subject {
  const char* mCounterP;
  double mUnitsASecond;
  int mNodes;                      // that the application has
  int mCalls;                      // a round
  int mExpected;                   // what each call gives
  std::function<void()> mPrepare;  // ahead of each round; not counted
  std::function<int()> mCall;
};

// The best of several rounds, per call.
void Measure(benchmark::State& ioState, const Subject& iSubject) {
  if (!TheApplication().GrowTo(iSubject.mNodes)) return ioState.SkipWithError("there are more nodes already");
  double best = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    iSubject.mPrepare();
    const double begin = ThreadSeconds();
    for (int call = 0; call < iSubject.mCalls; ++call) {
      if (iSubject.mCall() != iSubject.mExpected) return ioState.SkipWithError("wrong answer");
    }
    best = std::min(best, (ThreadSeconds() - begin) / iSubject.mCalls);
  }
  ioState.counters[iSubject.mCounterP] = best * iSubject.mUnitsASecond;
}

void Add(const std::string& iRow, const char* iContenderP, const Subject& iSubject) {
  Bench_Add(iRow, iContenderP, [=](benchmark::State& ioState) { Measure(ioState, iSubject); });
}

// How many channels all outputs or inputs have.
template <class GetPort>
int CountChannels(int iCount, GetPort iGetPort) {
  int channels = 0;
  for (int index = 0; index < iCount; ++index) {
    const auto port = iGetPort(index);
    for (short channel = 0; channel < 16; ++channel)
      channels += port->IsMidiChannelAvailable(channel) ? 1 : 0;
  }
  return channels;
}

int CountOutputChannels() {
  Mlox_Manager& manager = Application::Manager();
  return CountChannels(manager.GetNumberOfOutputDevices(),
                       [&](int iIndex) { return manager.GetOutputDevice(iIndex); });
}

int CountInputChannels() {
  Mlox_Manager& manager = Application::Manager();
  return CountChannels(manager.GetNumberOfInputs(), [&](int iIndex) { return manager.GetInput(iIndex); });
}

void AddRebuild(const char* iRowP, const char* iContenderP, int iExpected, int (*iCall)()) {
  Add(iRowP, iContenderP,
      {"milliseconds", 1e3, kNodes, 1, iExpected, [] { TheApplication().ReportChange(); }, iCall});
}

void AddLookUp(const std::string& iRow, const char* iContenderP, int iNodes, int iCalls, int iExpected,
               const std::function<int()>& iCall) {
  const auto makeLists = [] {
    MidiOutputIDMapper::GetMaxID();
    MidiInputIDMapper::GetMaxID();
  };
  Add(iRow, iContenderP, {"microseconds", 1e6, iNodes, iCalls, iExpected, makeLists, iCall});
}

Mlox_Device* LastDevice(int iNodes) { return Application::Manager().GetOutputDevice(iNodes - 1); }
Mlox_Output* LastOutput(int iNodes) { return LastDevice(iNodes)->GetOutputForChannel(kLastChannel); }
Mlox_InputRef LastInput(int iNodes) { return Application::Manager().GetInput(iNodes - 1); }

std::string RowOf(const char* iSubjectP, int iNodes) {
  return std::string(iSubjectP) + ", " + std::to_string(iNodes) + " nodes";
}

// One object that waits for its deletion.
class Retired : public Sys_DelayedDeletionObject {};

// Retires objects until very many wait, and lets a look-up's head look at them once.
void RetireMany() {
  while (Sys_DelayedDeletion::PendingCount() < kRetired) Sys_DelayedDeletion::Retire(new Retired);
  MidiOutputIDMapper::GetMaxID();
}

// Outputs have no entry for a device as a whole where it has channels, inputs have one.
void AddLookUpsToIDs(int iNodes) {
  Mlox_Manager& manager = Application::Manager();
  const std::string output = RowOf("output to id", iNodes);
  AddLookUp(output, "walk", iNodes, 20, iNodes - 1, [&manager, iNodes] {
    const Mlox_Device* lastP = LastDevice(iNodes);
    int index = 0;
    while (manager.GetOutputDevice(index) != lastP) ++index;
    return index;
  });
  AddLookUp(output, kBenchOurs, iNodes, 20, 16 * iNodes,
            [iNodes] { return MidiOutputIDMapper::OutputToID(LastOutput(iNodes)); });
  const std::string input = RowOf("input to id", iNodes);
  AddLookUp(input, "walk", iNodes, 20, iNodes - 1, [&manager, iNodes] {
    const Mlox_InputRef last = LastInput(iNodes);
    int index = 0;
    while (manager.GetInput(index) != last) ++index;
    return index;
  });
  AddLookUp(input, kBenchOurs, iNodes, 20, 17 * iNodes,
            [iNodes] { return MidiInputIDMapper::InputAssignmentToID(LastInput(iNodes), kLastChannel); });
}

void AddLookUpsFromIDs(int iNodes) {
  const std::string output = RowOf("id to output", iNodes);
  AddLookUp(output, "its calls", iNodes, 20000, 1,
            [iNodes] { return LastOutput(iNodes) != nullptr ? 1 : 0; });
  AddLookUp(output, kBenchOurs, iNodes, 20000, 1,
            [iNodes] { return MidiOutputIDMapper::IDToOutput(16 * iNodes) == LastOutput(iNodes) ? 1 : 0; });
  const std::string input = RowOf("id to input", iNodes);
  AddLookUp(input, "its calls", iNodes, 20000, 1, [iNodes] { return LastInput(iNodes) ? 1 : 0; });
  AddLookUp(input, kBenchOurs, iNodes, 20000, 1,
            [iNodes] { return MidiInputIDMapper::IDToInput(17 * iNodes) == LastInput(iNodes) ? 1 : 0; });
}

const char* RowBesideRetired() { return "id to output, 32,000 retired"; }

void AddLookUpBesideRetired() {
  const auto call = [] { return MidiOutputIDMapper::IDToOutput(16 * kNodes) == LastOutput(kNodes) ? 1 : 0; };
  Add(RowBesideRetired(), kBenchOurs, {"microseconds", 1e6, kNodes, 2000, 1, RetireMany, call});
}

// As many times larger, and what the search adds: the list's logarithm, and memory that is farther away.
Bench_Growth LinearGrowth(const char* iSubjectP) {
  constexpr double kSizes = static_cast<double>(kNodes) / kFewNodes;
  return {RowOf(iSubjectP, kFewNodes), RowOf(iSubjectP, kNodes), "microseconds", kSizes, 1.5 * kSizes};
}

Bench_Growth NoGrowth(const char* iSubjectP) {
  Bench_Growth growth = LinearGrowth(iSubjectP);
  growth.mAtMost = 1.5;
  return growth;
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  // The smaller ones first: nodes don't go.
  AddLookUpsToIDs(kFewNodes);
  AddLookUpsFromIDs(kFewNodes);
  AddLookUpsToIDs(kNodes);
  AddLookUpsFromIDs(kNodes);
  AddLookUpBesideRetired();
  AddRebuild("rebuild outputs", "walk", 16 * kNodes, CountOutputChannels);
  AddRebuild("rebuild outputs", kBenchOurs, 16 * kNodes, [] { return MidiOutputIDMapper::GetMaxID(); });
  AddRebuild("rebuild inputs", "walk", 16 * kNodes, CountInputChannels);
  AddRebuild("rebuild inputs", kBenchOurs, 17 * kNodes, [] { return MidiInputIDMapper::GetMaxID(); });

  Bench_Report report;
  report.mProgram = "mappers_bench";
  report.mMetrics = {{"milliseconds", "ms", false}, {"microseconds", "us", false}};
  report.mGoals = {{"rebuild outputs", "milliseconds", "", 20},
                   {"rebuild inputs", "milliseconds", "", 20},
                   {RowBesideRetired(), "microseconds", "", 2}};
  report.mGrowths = {LinearGrowth("output to id"), LinearGrowth("input to id"), NoGrowth("id to output"),
                     NoGrowth("id to input")};
  report.mHead = {"nodes of plug-ins each way, 16 channels each; rebuilds: " + std::to_string(kNodes)};
  const int status = Bench_Main(iArgumentCount, iArgumentsPP, report);
  Application::Manager().RemoveAllServices();
  return status;
}
