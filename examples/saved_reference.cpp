// SPDX-License-Identifier: MIT
// A reference that survives a replug: kept with a song, it finds its port again without a call by the
// application.
//   c++ -std=c++20 saved_reference.cpp $(pkg-config --cflags --libs mlox) -o saved_reference
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
#include "mlox/mlox_persistentoutput.h"
#include "platform/directmusic/loopback/loopbackports.h"

namespace {

class Application : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};

//! [wait]
// An application calls CheckStudioSetup regularly; this one does nothing else.
void WaitUntilOnline(const Mlox_PersistentOutput& iReference, bool iIsOnline) {
  do {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    Mlox_Manager::Singleton()->CheckStudioSetup();
  } while (iReference.IsOnline() != iIsOnline);
}
//! [wait]

}  // namespace

int main() {
  setenv("MLOX_MIDI_DRIVERS", "loopback", 0);
  Platform_LoopbackPorts::Plug("Synth");
  static Application application;
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  Mlox_Device* synthP = nullptr;
  for (int i = managerP->GetNumberOfOutputDevices() - 1; i >= 0; --i) {
    if (managerP->GetOutputDevice(i)->GetName() == "Synth") synthP = managerP->GetOutputDevice(i);
  }
  if (synthP == nullptr) return 1;
  {
    //! [reference]
    Mlox_PersistentOutput track(synthP->GetOutputForChannel(0));
    std::printf("Synth is %s\n", track.IsOnline() ? "there" : "away");
    Platform_LoopbackPorts::Unplug("Synth");  // the cable is pulled
    WaitUntilOnline(track, false);
    std::printf("Synth is away; a note to it does nothing\n");
    track.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), managerP->GetDefaultOutputContext());
    Platform_LoopbackPorts::Plug("Synth");  // and put back
    WaitUntilOnline(track, true);
    std::printf("Synth is there again\n");
    track.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), managerP->GetDefaultOutputContext());
    //! [reference]
  }
  managerP->RemoveAllServices();
  return 0;
}
