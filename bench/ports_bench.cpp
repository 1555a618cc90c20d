// SPDX-License-Identifier: MIT
// How the hardware service copes with many ports, and what a message to one costs.
//
// Rows. "rebuild N": the first count of a service over a studio in memory that has N ports, half of them
// sources, each eleventh of them with a user-defined device on it: reading the studio, making devices and
// inputs, taking out what is shadowed. Milliseconds of the thread's processor time (it waits for nobody, and
// a busy machine shall not count), the best round of a run. "growth": the time for 10,000 ports over that for
// 1,000, divided by the growth of n log n between the two (13.3): at most 1 means no worse. "write": a note
// on its way to a port of the loopback driver, from WriteEvent of an output to the return of PlayBuffer,
// beside the call of the driver that lies under it; 200 writes, each timed by itself, then their reading at
// the far end, 250 times. Microseconds of wall time, with about 0.05 for the two readings of the clock.
#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/support/bench_report.h"
#include "bench/support/port_way.h"
#include "cmn/mem2_masterallocator.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "mlox/mlox_manager.h"

namespace {

constexpr int kFewPorts = 1000;
constexpr int kManyPorts = 10000;
constexpr int kPortsAWire = 11;  // each eleventh port has a user-defined device on it
constexpr double kSecondsARun = 0.5;
constexpr HRESULT kAbsent = 1;

class SilentCallback : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample) override { return 0; }
  void StopPlayback() override {}
};

// ---- a studio in memory: as little work as it can do, so that ours is what is measured ----

struct Port {
  std::string mUniqueID;
  std::string mName;
  bool mIsUserDefined = false;
  bool mIsSource = false;
  int mFarEnd = -1;
  std::array<int, 3> mNumbers{};  // the stored number of each level; 0: none yet
};

using Ports = std::shared_ptr<std::vector<Port>>;

enum class Key { kOther, kNumber, kDeviceID, kEntityID, kEndpointID, kExternal, kName };

Key KeyOf(const OLECHAR* iTextP) {
  using namespace getter_wrapper;
  static const std::unordered_map<std::u16string, Key> sKeys = [] {
    std::unordered_map<std::u16string, Key> keys;
    keys[std::u16string(CComBSTRLite(Get_PROPID_MLOXID()))] = Key::kNumber;
    keys[std::u16string(CComBSTRLite(Get_PROPID_DeviceUniqueID()))] = Key::kDeviceID;
    keys[std::u16string(CComBSTRLite(Get_PROPID_EntityUniqueID()))] = Key::kEntityID;
    keys[std::u16string(CComBSTRLite(Get_PROPID_EndpointUniqueID()))] = Key::kEndpointID;
    keys[std::u16string(CComBSTRLite(Get_PROPID_DeviceExternal()))] = Key::kExternal;
    keys[std::u16string(CComBSTRLite(Get_PROPID_EntityName()))] = Key::kName;
    return keys;
  }();
  const auto i = sKeys.find(iTextP);
  return i != sKeys.end() ? i->second : Key::kOther;
}

// What every object is: one level (0 endpoint, 1 entity, 2 device) of one port.
struct Place {
  Ports mPorts;
  int mIndex;
  int mLevel;

  Port& Get() const { return (*mPorts)[static_cast<std::size_t>(mIndex)]; }
  bool operator==(const Place& iOther) const { return mIndex == iOther.mIndex && mLevel == iOther.mLevel; }
};

class IDs : public IEndpointIDs {
 public:
  explicit IDs(Place iPlace) : mPlace(std::move(iPlace)) {}
  HRESULT GetIntProperty(const OLECHAR* iKey, BSTR*, DWORD*, LONG* oValue) override {
    switch (KeyOf(iKey)) {
      case Key::kNumber:
        *oValue = mPlace.Get().mNumbers[static_cast<std::size_t>(mPlace.mLevel)];
        return *oValue != 0 ? S_OK : kAbsent;
      case Key::kEntityID:
        *oValue = 1;
        return mPlace.mLevel <= 1 ? S_OK : kAbsent;
      case Key::kEndpointID:
        *oValue = mPlace.Get().mIsSource ? 0 : 1;
        return mPlace.mLevel == 0 ? S_OK : kAbsent;
      default:
        return kAbsent;
    }
  }
  HRESULT SetIntProperty(const OLECHAR*, const OLECHAR*, LONG, LONG iValue) override {
    mPlace.Get().mNumbers[static_cast<std::size_t>(mPlace.mLevel)] = iValue;
    return S_OK;
  }
  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR*, DWORD*, BSTR* oValue) override {
    if (KeyOf(iKey) != Key::kDeviceID) return kAbsent;
    return CComBSTRLite::StringToBSTR(mPlace.Get().mUniqueID, oValue);
  }
  HRESULT CompareIDs(std::shared_ptr<IEndpointIDs> iOther) override {
    return static_cast<const IDs*>(iOther.get())->mPlace == mPlace ? 0 : 1;
  }
  const Place mPlace;
};

class Endpoint : public IEndpointProperties {
 public:
  explicit Endpoint(Place iPlace) : mPlace(std::move(iPlace)) {}
  HRESULT GetNumConnections(int* oCount) override {
    *oCount = mPlace.Get().mFarEnd >= 0 ? 1 : 0;
    return S_OK;
  }
  HRESULT GetConnection(int, std::shared_ptr<IEndpointIDs>* oIDs) override {
    *oIDs = std::make_shared<IDs>(Place{mPlace.mPorts, mPlace.Get().mFarEnd, 0});
    return S_OK;
  }
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) override {
    *oIDs = std::make_shared<IDs>(mPlace);
    return S_OK;
  }
  HRESULT CompareRaw(std::shared_ptr<IEndpointProperties> iOther) override {
    return static_cast<const Endpoint*>(iOther.get())->mPlace == mPlace ? 0 : 1;
  }
  const Place mPlace;
};

template <class Interface>
class Properties : public Interface {
 public:
  explicit Properties(Place iPlace) : mPlace(std::move(iPlace)) {}
  HRESULT GetIDs(std::shared_ptr<IEndpointIDs>* oIDs) override {
    *oIDs = std::make_shared<IDs>(mPlace);
    return S_OK;
  }
  HRESULT CompareRaw(std::shared_ptr<Interface> iOther) override {
    return static_cast<const Properties*>(iOther.get())->mPlace == mPlace ? 0 : 1;
  }
  HRESULT GetFlagProperty(const OLECHAR* iKey, BSTR*, DWORD*, VARIANT_BOOL* oValue) override {
    const bool isSet = KeyOf(iKey) == Key::kExternal && mPlace.Get().mIsUserDefined;
    *oValue = isSet ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
  }
  HRESULT GetIntProperty(const OLECHAR*, BSTR*, DWORD*, LONG*) override { return kAbsent; }
  HRESULT GetStringProperty(const OLECHAR* iKey, BSTR*, DWORD*, BSTR* oValue) override {
    if (KeyOf(iKey) != Key::kName) return kAbsent;
    return CComBSTRLite::StringToBSTR(mPlace.Get().mName, oValue);
  }
  HRESULT SetStringProperty(const OLECHAR*, const OLECHAR*, const OLECHAR*, LONG) override { return E_FAIL; }
  HRESULT GetDoubleProperty(const OLECHAR*, BSTR*, DWORD*, double*) override { return kAbsent; }
  HRESULT GetArrayCount(const OLECHAR*, int*) override { return kAbsent; }
  HRESULT GetArrayItem(const OLECHAR*, int, BSTR*) override { return kAbsent; }
  HRESULT AppendArrayItem(const OLECHAR*, const OLECHAR*, LONG, const OLECHAR*) override { return E_FAIL; }
  HRESULT SetArrayItem(const OLECHAR*, int, const OLECHAR*) override { return E_FAIL; }
  const Place mPlace;
};

class Entity : public Properties<IEntityProperties> {
 public:
  using Properties::Properties;
  HRESULT GetEndpointCount(VARIANT_BOOL iIsSource, int* oCount) override {
    *oCount = (iIsSource != VARIANT_FALSE) == mPlace.Get().mIsSource ? 1 : 0;
    return S_OK;
  }
  HRESULT GetEndpoint(VARIANT_BOOL, int, std::shared_ptr<IEndpointProperties>* oEndpoint) override {
    *oEndpoint = std::make_shared<Endpoint>(Place{mPlace.mPorts, mPlace.mIndex, 0});
    return S_OK;
  }
};

class Device : public Properties<IDeviceProperties> {
 public:
  using Properties::Properties;
  HRESULT GetPatchBankCount(int* oCount) override {
    *oCount = 0;
    return S_OK;
  }
  HRESULT GetPatchBank(int, std::shared_ptr<IStudioPatchBank>*) override { return E_INVALIDARG; }
  HRESULT GetEntityCount(int* oCount) override {
    *oCount = 1;
    return S_OK;
  }
  HRESULT GetEntity(int, std::shared_ptr<IEntityProperties>* oEntity) override {
    *oEntity = std::make_shared<Entity>(Place{mPlace.mPorts, mPlace.mIndex, 1});
    return S_OK;
  }
};

class Studio : public IDirectMusicStudio {
 public:
  explicit Studio(Ports iPorts) : mPorts(std::move(iPorts)) {}
  HRESULT RegisterNotification(std::shared_ptr<IDirectMusicNotificationCallback>) override { return S_OK; }
  HRESULT UnregisterNotification(const OLECHAR*) override { return S_OK; }
  HRESULT GetDeviceCount(VARIANT_BOOL iOnline, int* oCount) override {
    *oCount = iOnline != VARIANT_FALSE ? static_cast<int>(mPorts->size()) : 0;
    return S_OK;
  }
  HRESULT GetDevice(VARIANT_BOOL, int iIndex, std::shared_ptr<IDeviceProperties>* oDevice) override {
    *oDevice = std::make_shared<Device>(Place{mPorts, iIndex, 2});
    return S_OK;
  }
  HRESULT FindRawProperties(std::shared_ptr<IEndpointIDs>, std::shared_ptr<IDeviceProperties>*,
                            std::shared_ptr<IEntityProperties>*,
                            std::shared_ptr<IEndpointProperties>*) override {
    return E_FAIL;
  }

 private:
  const Ports mPorts;
};

Ports& CurrentPorts() {
  static Ports sPorts;
  return sPorts;
}

Ports MakePorts(int iCount) {
  const auto ports = std::make_shared<std::vector<Port>>();
  for (int i = 0; i < iCount; ++i) {
    Port port;
    port.mUniqueID = "{port " + std::to_string(i) + "}";
    port.mName = "Port " + std::to_string(i);
    port.mIsSource = i % 2 == 0;
    ports->push_back(port);
  }
  for (int i = 0; i < iCount; i += kPortsAWire) {
    Port user = (*ports)[static_cast<std::size_t>(i)];
    user.mUniqueID = "{user " + std::to_string(i) + "}";
    user.mIsUserDefined = true;
    user.mFarEnd = i;
    (*ports)[static_cast<std::size_t>(i)].mFarEnd = static_cast<int>(ports->size());
    ports->push_back(user);
  }
  return ports;
}

// ---- workloads ----

double ThreadSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Activates over fresh ports and times the first count; every port and wire must show, or it didn't happen.
double RebuildSeconds(int iCount) {
  static SilentCallback sCallback;
  static Mem2_MasterAllocator sAllocator;
  CurrentPorts() = MakePorts(iCount);
  Mlox_Manager& manager = *Mlox_Manager::Singleton();
  if (!manager.ActivateService(Mlox_Manager::kDirectMusicService, &sAllocator, &sCallback)) return -1;
  const double begin = ThreadSeconds();
  const int devices = manager.GetNumberOfOutputDevices();
  const int inputs = manager.GetNumberOfInputs();
  const double seconds = ThreadSeconds() - begin;
  manager.RemoveAllServices();
  return devices + inputs == iCount ? seconds : -1;
}

// The shortest of several rounds; below 0 when one went wrong.
double BestRebuildSeconds(int iCount) {
  double best = 1e9;
  for (double total = 0; total < kSecondsARun;) {
    const double seconds = RebuildSeconds(iCount);
    if (seconds < 0) return seconds;
    best = std::min(best, seconds);
    total += seconds;
  }
  return best;
}

void MeasureRebuild(benchmark::State& ioState, int iCount) {
  const double seconds = BestRebuildSeconds(iCount);
  if (seconds < 0) return ioState.SkipWithError("wrong lists");
  ioState.counters["milliseconds"] = seconds * 1e3;
}

void MeasureGrowth(benchmark::State& ioState) {
  const double few = BestRebuildSeconds(kFewPorts);
  const double many = BestRebuildSeconds(kManyPorts);
  if (few < 0 || many < 0) return ioState.SkipWithError("wrong lists");
  const auto cost = [](int iCount) { return iCount * std::log2(static_cast<double>(iCount)); };
  ioState.counters["of_n_log_n"] = many / few / (cost(kManyPorts) / cost(kFewPorts));
}

}  // namespace

int main(int iArgumentCount, char** iArgumentsPP) {
  // No driver takes part, whatever the machine has.
  Platform_SetDirectMusicFactory([](REFIID, void**) -> HRESULT { return E_FAIL; });
  IDirectMusicStudio::SetFactory([](IDirectMusic8*) -> std::shared_ptr<IDirectMusicStudio> {
    return std::make_shared<Studio>(CurrentPorts());
  });
  for (const int count : {kFewPorts, kManyPorts}) {
    Bench_Add("rebuild " + std::to_string(count), kBenchOurs,
              [count](benchmark::State& ioState) { MeasureRebuild(ioState, count); });
  }
  Bench_Add("growth", kBenchOurs, MeasureGrowth);
  CurrentPorts() = MakePorts(0);
  Bench_Add("write", "driver call", Bench_MeasureWrites<Bench_BareDriver>);
  Bench_Add("write", kBenchOurs, Bench_MeasureWrites<Bench_OutputWay>);

  Bench_Report report;
  report.mProgram = "ports_bench";
  report.mMetrics = {{"milliseconds", "ms", false},
                     {"of_n_log_n", "times n log n", false},
                     {"write_p50", "us p50", false},
                     {"write_p99", "us p99", false}};
  report.mGoals = {{"rebuild " + std::to_string(kFewPorts), "milliseconds", "", 50},
                   {"growth", "of_n_log_n", "", 1.0}};
  report.mHead = {"studio: in memory, each eleventh port with a user-defined device on it"};
  return Bench_Main(iArgumentCount, iArgumentsPP, report);
}
