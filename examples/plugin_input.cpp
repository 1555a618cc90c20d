// SPDX-License-Identifier: MIT
// A plug-in that plays into the application.
//   c++ -std=c++20 plugin_input.cpp $(pkg-config --cflags --libs mlox) -o plugin_input
#include <atomic>
#include <cstdio>
#include <memory>

#include "cmn/mem2_masterallocator.h"
#include "mlox/mlox_directmidi/idirectmidiclientinput.h"
#include "mlox/mlox_directmidi/idirectmidiinputreceivemidi.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace {

//! [receiver]
// The application: called on the thread of the source, so it neither waits nor allocates. One for each input
// port.
class LastNote : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData* iDataP) override {
    if (iDataP->mLength == 3) mNote = iDataP->mData[1];  // the bytes are gone after the call
    return 0;
  }
  std::atomic<int> mNote{-1};
};
//! [receiver]

}  // namespace

int main() {
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  auto* serviceP = new Mlox_DM_Service(nullptr, &allocator, nullptr);
  managerP->AddService(serviceP, 1);

  //! [input]
  // The plug-in: a source, and the interface through which it plays.
  IDirectMIDIClientInput* nodeP = serviceP->CreateClientInput("Keys");
  void* resultP = nullptr;
  if (nodeP->QueryInterface(IDirectMIDIInputReceiveMIDI::kUID, &resultP) != kQCF_Ok) return 1;
  auto* receiveP = static_cast<IDirectMIDIInputReceiveMIDI*>(resultP);
  //! [input]

  //! [connect]
  // The application: its receiver, and the sources that it hears.
  LastNote lastNote;
  std::unique_ptr<Mlox_InputPort> portP(managerP->CreateInputPort(&lastNote));
  if (managerP->GetNumberOfInputs() == 0) return 1;
  portP->ConnectToInputs({managerP->GetInput(0)});
  //! [connect]

  //! [play]
  const unsigned char noteOn[] = {0x90, 60, 100};
  const bool isTaken = receiveP->ReceiveMIDI(noteOn, 3, -1);  // -1: no sample time
  //! [play]
  std::printf("note %d, taken: %s\n", lastNote.mNote.load(), isTaken ? "yes" : "no");

  //! [close]
  portP->CloseCurrentConnections();  // final: for other sources, make another port
  portP.reset();
  //! [close]
  receiveP->Release();
  nodeP->Release();
  managerP->RemoveAllServices();
  return 0;
}
