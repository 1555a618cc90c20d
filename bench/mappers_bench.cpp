// SPDX-License-Identifier: MIT
// What integer ids of outputs and inputs cost an application with very many of them: 10,000 nodes of plug-ins
// of each direction, with all 16 channels.
//
// Rows. "rebuild outputs", "rebuild inputs": the first look-up after a change, which makes the list anew;
// beside it a walk that asks every device for its channels and keeps nothing. Milliseconds. "to id": the id
// of the last device's last channel, beside a walk over the devices by their indices, which is the linear
// part of it. "from id": the output of the highest id, beside the two calls that it comes down to.
// What it costs more is the head of every look-up, CheckStudioSetup with the library's housekeeping, and
// doesn't grow with the devices. Microseconds. All figures are of the thread's processor time, the best round
// of a run, since everything that disturbs makes it slower.
#include <algorithm>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "bench/support/bench_report.h"
#include "cmn/mem2_masterallocator.h"
#include "mlox/midiinputidmapper.h"
#include "mlox/midioutputidmapper.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"

namespace {

constexpr int kNodes = 10000;
constexpr int kRounds = 20;
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
    for (int i = 0; i < kNodes; ++i) {
      const std::string name = "Node " + std::to_string(i);
      mServiceP->CreateClientOutput(name.c_str());
      mServiceP->CreateClientInput(name.c_str());
    }
    ReportChange();
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
};

Application& TheApplication() {
  static auto* applicationP = new Application;
  return *applicationP;
}

// The best of several rounds, per call; the preparation isn't counted. Each call must give the number
// expected.
void Measure(benchmark::State& ioState, const char* iCounterP, double iUnitsASecond, int iCalls,
             int iExpected, const std::function<void()>& iPrepare, const std::function<int()>& iCall) {
  double best = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    iPrepare();
    const double begin = ThreadSeconds();
    for (int call = 0; call < iCalls; ++call) {
      if (iCall() != iExpected) return ioState.SkipWithError("wrong answer");
    }
    best = std::min(best, (ThreadSeconds() - begin) / iCalls);
  }
  ioState.counters[iCounterP] = best * iUnitsASecond;
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
  Bench_Add(iRowP, iContenderP, [=](benchmark::State& ioState) {
    Measure(
        ioState, "milliseconds", 1e3, 1, iExpected, [] { TheApplication().ReportChange(); }, iCall);
  });
}

void AddLookUp(const char* iRowP, const char* iContenderP, int iCalls, int iExpected,
               const std::function<int()>& iCall) {
  Bench_Add(iRowP, iContenderP, [=](benchmark::State& ioState) {
    Measure(
        ioState, "microseconds", 1e6, iCalls, iExpected, [] { MidiOutputIDMapper::GetMaxID(); }, iCall);
  });
}

void AddLookUps() {
  Mlox_Manager& manager = Application::Manager();
  Mlox_Device* lastDeviceP = manager.GetOutputDevice(kNodes - 1);
  Mlox_Output* lastP = lastDeviceP->GetOutputForChannel(kLastChannel);
  AddLookUp("to id", "walk", 20, kNodes - 1, [&manager, lastDeviceP] {
    int index = 0;
    while (manager.GetOutputDevice(index) != lastDeviceP) ++index;
    return index;
  });
  AddLookUp("to id", kBenchOurs, 20, 16 * kNodes, [lastP] { return MidiOutputIDMapper::OutputToID(lastP); });
  AddLookUp("from id", "two calls", 20000, 1, [&manager, lastP] {
    return manager.GetOutputDevice(kNodes - 1)->GetOutputForChannel(kLastChannel) == lastP ? 1 : 0;
  });
  AddLookUp("from id", kBenchOurs, 20000, 1,
            [lastP] { return MidiOutputIDMapper::IDToOutput(16 * kNodes) == lastP ? 1 : 0; });
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  TheApplication();
  AddRebuild("rebuild outputs", "walk", 16 * kNodes, CountOutputChannels);
  AddRebuild("rebuild outputs", kBenchOurs, 16 * kNodes, [] { return MidiOutputIDMapper::GetMaxID(); });
  AddRebuild("rebuild inputs", "walk", 16 * kNodes, CountInputChannels);
  AddRebuild("rebuild inputs", kBenchOurs, 17 * kNodes, [] { return MidiInputIDMapper::GetMaxID(); });
  AddLookUps();

  Bench_Report report;
  report.mProgram = "mappers_bench";
  report.mMetrics = {{"milliseconds", "ms", false}, {"microseconds", "us", false}};
  report.mGoals = {{"rebuild outputs", "milliseconds", "", 20}, {"rebuild inputs", "milliseconds", "", 20}};
  report.mHead = {std::to_string(kNodes) + " nodes of plug-ins each way, 16 channels each"};
  const int status = Bench_Main(iArgumentCount, iArgumentsPP, report);
  Application::Manager().RemoveAllServices();
  return status;
}
