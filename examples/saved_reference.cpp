// SPDX-License-Identifier: MIT
// A reference that survives a replug: it finds its port again without a call by the application.
//   c++ -std=c++20 saved_reference.cpp $(pkg-config --cflags --libs mlox) -o saved_reference
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
#include "mlox/mlox_persistentoutput.h"
#include "mlox/mlox_rawmidireceiver.h"
#include "platform/directmusic/loopback/loopbackports.h"

namespace {
class Application : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};
// The instrument: what it hears, note by note.
class Synth : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    if (iDataP->mLength == 3) mLast = iDataP->mData[1];
    return 0;
  }
  void WaitAndPrint(int iLast) const {
    while (mLast == iLast) std::this_thread::yield();
    std::printf("Synth hears note %d\n", mLast.load());
  }
  std::atomic<int> mLast{0};
};

//! [wait]
// An application calls CheckStudioSetup regularly; this one does nothing else.
void WaitUntilOnline(const Mlox_PersistentOutput& iReference, bool iIsOnline) {
  for (; iReference.IsOnline() != iIsOnline; Mlox_Manager::Singleton()->CheckStudioSetup())
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}
//! [wait]
}  // namespace

int main() {
  setenv("MLOX_MIDI_DRIVERS", "loopback", 1);  // a port of its own, to pull and plug
  setenv("MLOX_LOOPBACK_PORTS", "Synth", 1);
  static Application application;
  static Mem2_MasterAllocator allocator;
  static Synth synth;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  std::unique_ptr<Mlox_InputPort> portP(managerP->CreateInputPort(&synth));
  if (managerP->GetNumberOfOutputDevices() != 1 || managerP->GetNumberOfInputs() != 1) return 1;
  portP->ConnectToInputs({managerP->GetInput(0)});
  const Mlox_OutputContextRef context = managerP->GetDefaultOutputContext();
  //! [reference]
  Mlox_PersistentOutput track(managerP->GetOutputDevice(0)->GetOutputForChannel(0));
  track.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), context);
  synth.WaitAndPrint(0);
  Platform_LoopbackPorts::Unplug("Synth");  // the cable is pulled
  WaitUntilOnline(track, false);
  std::printf("Synth is away; a note to it does nothing\n");
  track.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(62, 100), context);
  Platform_LoopbackPorts::Plug("Synth");  // and put back
  WaitUntilOnline(track, true);
  track.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(64, 100), context);
  synth.WaitAndPrint(60);
  //! [reference]
  portP->CloseCurrentConnections();
  managerP->RemoveAllServices();
}
