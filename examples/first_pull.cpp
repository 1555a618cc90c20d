// SPDX-License-Identifier: MIT
// The shortest way round: a plug-in's node, a note written to it, the note pulled in an audio block.
//   c++ -std=c++20 first_pull.cpp $(pkg-config --cflags --libs mlox) -o first_pull
#include <cstdio>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/idirectmidiclientoutput.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "mlox/mlox_directmidi/idirectmidioutputdeliverysetup.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"

int main() {
  //! [all]
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  auto* serviceP = new Mlox_DM_Service(nullptr, &allocator, nullptr);
  managerP->AddService(serviceP, 1);  // the manager owns it now
  IDirectMIDIClientOutput* nodeP = serviceP->CreateClientOutput("Synth");
  IDirectMIDIOutputDeliverySetup* setupP = nullptr;
  nodeP->QueryInterface(IDirectMIDIOutputDeliverySetup::kUID, reinterpret_cast<void**>(&setupP));
  IDirectMIDIBufferedDelivery* deliveryP = setupP->SetBufferedDelivery();
  managerP->GetNumberOfOutputDevices();  // count first, then fetch
  Mlox_Output* outputP = managerP->GetOutputDevice(0)->GetOutputForChannel(0);
  outputP->WriteEvent(Mdie_Timestamp(Time_Sample(100)), Mdie_NoteOnEvent(60, 100),
                      managerP->GetImmediateOutputContext());                      // any thread
  IDirectMIDIMessage* messageP = deliveryP->GetNextMessageInSampleRange(64, 127);  // the audio thread
  std::printf("%d bytes at sample %lld\n", messageP->GetMessageLength(),
              static_cast<long long>(messageP->GetSampleTime()));  // 3 bytes at sample 100
  //! [all]
  messageP->Release();
  deliveryP->Release();
  setupP->Release();
  nodeP->Release();
  managerP->RemoveAllServices();
  return 0;
}
