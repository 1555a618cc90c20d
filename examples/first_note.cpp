// SPDX-License-Identifier: MIT
// The first note out: middle C on channel 1 of the first output, for half a second.
//   c++ -std=c++20 first_note.cpp $(pkg-config --cflags --libs mlox) -o first_note
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"

namespace {

//! [application]
// What the library asks of an application: when a sample is due, and to stop. Here a sample is a microsecond.
class Application : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};
//! [application]

}  // namespace

int main() {
  //! [all]
  setenv("MLOX_MIDI_DRIVERS", "loopback", 0);  // without this line: the ports of this machine
  static Application application;              // both must outlive every output
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  if (managerP->GetNumberOfOutputDevices() == 0) return 1;  // count first, then fetch
  Mlox_Device* deviceP = managerP->GetOutputDevice(0);
  Mlox_Output* outputP = deviceP->GetOutputForChannel(0);
  const Mdie_Timestamp now;  // or Mdie_Timestamp(Time_Sample(n)) for later, from any thread
  outputP->WriteEvent(now, Mdie_NoteOnEvent(60, 100), managerP->GetDefaultOutputContext());
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  outputP->WriteEvent(now, Mdie_NoteOffEvent(60, 64), managerP->GetDefaultOutputContext());
  std::printf("middle C went out of \"%s\"\n", deviceP->GetName().c_str());
  managerP->RemoveAllServices();
  //! [all]
  return 0;
}
