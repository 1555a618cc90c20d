// SPDX-License-Identifier: MIT
/// \file
/// A short message on its way to a hardware port: ours from WriteEvent to the return of PlayBuffer, and the
/// call of the driver that lies under it, both over a loopback pair of their own.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/bench_report.h"
#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_directmusic/directmusicclient.h"
#include "mlox/mlox_directmusic/enumports.h"
#include "mlox/mlox_directmusic/mlox_directmusic_device.h"
#include "mlox/mlox_directmusic/mlox_directmusic_output.h"
#include "mlox/mlox_manager.h"
#include "platform/directmusic/loopback/loopback_driver.h"

/// What is written in one go, and how often. The rest of the time the far end is read.
inline constexpr std::size_t kBench_WritesARound = 200;
inline constexpr std::size_t kBench_WriteRounds = 250;

/// The far end of a loopback pair, which counts what arrives. It plugs the pair in and pulls it out.
class Bench_FarEnd : public Platform_DriverHost {
 public:
  explicit Bench_FarEnd(const std::string& iName) : mName(iName) {
    Platform_LoopbackPorts::Plug(mName);
    std::string reason;
    mDriver.Start(this, reason);
    mInputP = mDriver.OpenInput(Port(true));
  }
  ~Bench_FarEnd() override {
    mInputP.reset();
    mDriver.Stop();
    Platform_LoopbackPorts::Unplug(mName);
  }
  Bench_FarEnd(const Bench_FarEnd&) = delete;
  Bench_FarEnd& operator=(const Bench_FarEnd&) = delete;

  void PortsMayHaveChanged() override {}
  const std::string& Name() const { return mName; }

  /// One port of the pair, as the driver tells it.
  Platform_PortInfo Port(bool iIsInput) {
    for (const Platform_PortInfo& port : mDriver.Ports()) {
      if (port.mName == mName && port.mIsInput == iIsInput) return port;
    }
    return {};
  }
  std::unique_ptr<Platform_DriverOutput> OpenOutput() { return mDriver.OpenOutput(Port(false)); }

  /// Reads until so many notes have come; false if they don't within ten seconds.
  bool Receive(std::size_t iCount) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (std::size_t count = 0; count < iCount;) {
      if (mInputP != nullptr && mInputP->Read(mPiece)) {
        ++count;
      } else if (std::chrono::steady_clock::now() > deadline) {
        return false;
      } else {
        std::this_thread::yield();
      }
    }
    return true;
  }

 private:
  const std::string mName;
  Platform_LoopbackDriver mDriver;
  std::unique_ptr<Platform_DriverInput> mInputP;
  Platform_Piece mPiece;
};

/// The driver's own call, with a status byte and two data bytes.
class Bench_BareDriver {
 public:
  explicit Bench_BareDriver(Bench_FarEnd& ioFarEnd) : mOutputP(ioFarEnd.OpenOutput()) {}
  bool IsReady() const { return mOutputP != nullptr; }
  void Write() {
    const std::uint8_t note[] = {0x92, 60, 100};
    mOutputP->Send(kPlatform_AtOnce, note, sizeof(note));
  }

 private:
  std::unique_ptr<Platform_DriverOutput> mOutputP;
};

/// An output of channel 2 on a port, with the hardware service in place.
class Bench_OutputWay {
 public:
  explicit Bench_OutputWay(Bench_FarEnd& ioFarEnd) : Bench_OutputWay("loopback", ioFarEnd.Name()) {}
  Bench_OutputWay(const std::string& iDriver, const std::string& iPortName) {
    // The root looks at the machine's drivers once; one is enough.
    setenv("MLOX_MIDI_DRIVERS", iDriver.c_str(), 1);
    Platform_SetDirectMusicFactory(nullptr);
    mIsActive = Mlox_Manager::Singleton()->ActivateService(Mlox_Manager::kDirectMusicService, &mAllocator,
                                                           &mAppCallback);
    mPortP = OpenPort(iPortName);
    if (mPortP == nullptr || FAILED(mPortP->Activate(TRUE))) return;
    mOutput = new Mlox_DirectMusic_Output(&mAppCallback, &mDevice, 2, mPortP, 1, &mAllocator);
  }
  ~Bench_OutputWay() {
    mOutput = nullptr;
    if (mPortP != nullptr) {
      mPortP->Activate(FALSE);
      mPortP->Release();
    }
    Mlox_Manager::Singleton()->RemoveAllServices();
    Platform_SetDirectMusicFactory([](REFIID, void**) -> HRESULT { return E_FAIL; });
  }
  Bench_OutputWay(const Bench_OutputWay&) = delete;
  Bench_OutputWay& operator=(const Bench_OutputWay&) = delete;

  bool IsReady() const { return mIsActive && mOutput; }
  void Write() { mOutput->WriteEvent(mStamp, mNote, Mlox_OutputContextRef()); }
  IDirectMusicPort* Port() const { return mPortP; }

 private:
  class AppCallback : public Mdi_AppCallback {
   public:
    std::int64_t SampleToMicroseconds(Time_Sample) override { return 0; }
    void StopPlayback() override {}
  };

  static IDirectMusicPort* OpenPort(const std::string& iName) {
    IDirectMusic8* rootP = DirectMusicClient::GetDirectMusicPtr(true);
    if (rootP == nullptr) return nullptr;
    IDirectMusicPort* portP = nullptr;
    EnumPorts(*rootP, [&](const DMUS_PORTCAPS& iCaps) {
      if (iCaps.dwClass != DMUS_PC_OUTPUTCLASS || DescriptionOf(iCaps) != iName) return;
      DMUS_PORTPARAMS8 params = {};
      params.dwSize = sizeof(params);
      rootP->CreatePort(iCaps.guidPort, &params, &portP, nullptr);
    });
    rootP->Release();
    return portP;
  }

  Mem2_MasterAllocator mAllocator;
  AppCallback mAppCallback;
  bool mIsActive = false;
  IDirectMusicPort* mPortP = nullptr;
  Mlox_DirectMusic_Device mDevice{&mAppCallback, nullptr, nullptr, nullptr, &mAllocator};
  Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Output> mOutput;
  const Mdie_Timestamp mStamp;  // as soon as the port can
  const Mdie_NoteOnEvent mNote{60, 100};
};

/// Times each write by itself; every note must arrive at the far end, or the figure means nothing.
template <class Way>
void Bench_MeasureWrites(benchmark::State& ioState) {
  using Clock = std::chrono::steady_clock;
  Bench_FarEnd farEnd("bench");
  Way way(farEnd);
  if (!way.IsReady()) return ioState.SkipWithError("no port");
  std::vector<double> times;
  times.reserve(kBench_WriteRounds * kBench_WritesARound);
  for (std::size_t round = 0; round < kBench_WriteRounds; ++round) {
    for (std::size_t write = 0; write < kBench_WritesARound; ++write) {
      const Clock::time_point begin = Clock::now();
      way.Write();
      times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    if (!farEnd.Receive(kBench_WritesARound)) return ioState.SkipWithError("notes were lost");
  }
  ioState.counters["write_p50"] = Bench_Quantile(times, 0.5);
  ioState.counters["write_p99"] = Bench_Quantile(times, 0.99);
}
