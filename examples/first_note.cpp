// SPDX-License-Identifier: MIT
// The first note out: middle C on channel 1 of the first output, for half a second. It comes back at the
// input of the same pair of ports, and is printed.
//   c++ -std=c++20 first_note.cpp $(pkg-config --cflags --libs mlox) -o first_note
#include <algorithm>
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
//! [application]
// What the library asks of an application: when a sample is due, and to stop. Here a sample is a microsecond.
class Application : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};
//! [application]
//! [far end]
// The other end of the cable, for proof: what comes in there. A note needs none of it.
struct FarEnd : public Mlox_RawMidiReceiver {
  FarEnd() : mPortP(Mlox_Manager::Singleton()->CreateInputPort(this)) {
    if (Mlox_Manager::Singleton()->GetNumberOfInputs() > 0)
      mPortP->ConnectToInputs({Mlox_Manager::Singleton()->GetInput(0)});
  }
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    if (iDataP->mLength != 3 || mCount == 2) return 0;
    std::copy_n(iDataP->mData, 3, mBytes[mCount]);
    ++mCount;  // not before the bytes are there
    return 0;
  }
  void Print() {
    for (int i = 0; i < 1000 && mCount < 2; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    mPortP->CloseCurrentConnections();  // after it, nothing comes in
    for (int i = 0; i < mCount; ++i)
      std::printf("%02x %02x %02x\n", mBytes[i][0], mBytes[i][1], mBytes[i][2]);
  }
  std::unique_ptr<Mlox_InputPort> mPortP;
  unsigned char mBytes[2][3] = {};
  std::atomic<int> mCount{0};
};
//! [far end]
}  // namespace

int main() {
  //! [all]
  setenv("MLOX_MIDI_DRIVERS", "loopback", 0);  // without this line: the ports of this machine
  static Application application;              // both must outlive every output
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  if (managerP->GetNumberOfOutputDevices() == 0) return 1;  // count first, then fetch
  Mlox_Output* outputP = managerP->GetOutputDevice(0)->GetOutputForChannel(0);
  FarEnd farEnd;             // hears the note if the output is a loopback port
  const Mdie_Timestamp now;  // or Mdie_Timestamp(Time_Sample(n)), from 150 ms after activation on
  // From one thread at a time, and never an audio thread: this is hardware.
  outputP->WriteEvent(now, Mdie_NoteOnEvent(60, 100), managerP->GetDefaultOutputContext());
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  outputP->WriteEvent(now, Mdie_NoteOffEvent(60, 64), managerP->GetDefaultOutputContext());
  std::printf("out of \"%s\" and back:\n", managerP->GetOutputDevice(0)->GetName().c_str());
  farEnd.Print();
  managerP->RemoveAllServices();
  //! [all]
}
