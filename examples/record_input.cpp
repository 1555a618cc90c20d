// SPDX-License-Identifier: MIT
// Recording: every message that arrives at an input, with its time. A loopback port plays what is recorded
// here.
//   c++ -std=c++20 record_input.cpp $(pkg-config --cflags --libs mlox) -o record_input
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_output.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace {
class Application : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};

//! [receiver]
// Called on the thread of the source, so it neither waits nor allocates. The bytes are gone after the call.
class Recorder : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    const std::size_t count = mCount.load(std::memory_order_relaxed);
    if (count == mMessages.size() || iDataP->mLength != 3) return 0;
    std::copy_n(iDataP->mData, 3, mMessages[count].begin());
    mTimes[count] = iDataP->mTime;  // microseconds
    mCount.store(count + 1, std::memory_order_release);
    return 0;
  }

  std::array<std::array<unsigned char, 3>, 1000> mMessages{};
  std::array<std::int64_t, 1000> mTimes{};
  std::atomic<std::size_t> mCount{0};
};
//! [receiver]
}  // namespace

int main() {
  setenv("MLOX_MIDI_DRIVERS", "loopback", 0);
  static Application application;
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  //! [connect]
  static Recorder recorder;  // outlives its connections
  std::unique_ptr<Mlox_InputPort> portP(managerP->CreateInputPort(&recorder));
  if (managerP->GetNumberOfInputs() == 0 || managerP->GetNumberOfOutputDevices() == 0) return 1;
  portP->ConnectToInputs({managerP->GetInput(0)});
  //! [connect]
  Mlox_Output* outputP = managerP->GetOutputDevice(0)->GetOutputForChannel(9);
  const signed char drums[] = {36, 38, 42};
  for (const signed char drum : drums) {
    outputP->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(drum, 100), managerP->GetDefaultOutputContext());
  }
  for (int i = 0; i < 1000 && recorder.mCount.load(std::memory_order_acquire) < 3; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // 10 s at most
  portP->CloseCurrentConnections();  // after it, the recorder is never called again
  for (std::size_t i = 0; i < recorder.mCount; ++i) {
    const auto& bytes = recorder.mMessages[i];
    const bool isLate = recorder.mTimes[i] < recorder.mTimes[0];
    std::printf("%02x %02x %02x%s\n", bytes[0], bytes[1], bytes[2], isLate ? " out of order" : "");
  }
  managerP->RemoveAllServices();
}
