// SPDX-License-Identifier: MIT
// A plug-in's MIDI node, both sides in one program: the host writes a note, the plug-in pulls it in its audio
// block.
//   c++ -std=c++20 plugin_node.cpp $(pkg-config --cflags --libs mlox) -o plugin_node
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
#include "mlox/mlox_persistentoutput.h"

namespace {

//! [pull]
// On the plug-in's audio thread, once a block: everything due from iFirst to iLast, both included.
void PullBlock(IDirectMIDIBufferedDelivery* iDeliveryP, int64_t iFirst, int64_t iLast) {
  while (IDirectMIDIMessage* messageP = iDeliveryP->GetNextMessageInSampleRange(iFirst, iLast)) {
    signed char bytes[3] = {};
    if (messageP->GetMessageLength() == 3) messageP->GetMessageData(bytes);
    std::printf("sample %lld: %02x %02x %02x\n", static_cast<long long>(messageP->GetSampleTime()),
                bytes[0] & 0xFF, bytes[1] & 0xFF, bytes[2] & 0xFF);
    messageP->Release();  // before the next message is asked for
  }
}
//! [pull]

}  // namespace

int main() {
  //! [install]
  // The host, once. The allocator outlives everything that is made from it.
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  auto* serviceP = new Mlox_DM_Service(nullptr, &allocator, nullptr);
  managerP->AddService(serviceP, 1);  // the manager owns the service from here on
  //! [install]

  //! [node]
  // The plug-in: a node that the application sees as a device, and a queue behind it.
  IDirectMIDIClientOutput* nodeP = serviceP->CreateClientOutput("Synth");
  void* resultP = nullptr;
  if (nodeP->QueryInterface(IDirectMIDIOutputDeliverySetup::kUID, &resultP) != kQCF_Ok) return 1;
  auto* setupP = static_cast<IDirectMIDIOutputDeliverySetup*>(resultP);
  IDirectMIDIBufferedDelivery* deliveryP = setupP->SetBufferedDelivery();
  setupP->Release();
  //! [node]

  //! [write]
  // The application: the fourth channel of the first device, a note at sample 100.
  if (managerP->GetNumberOfOutputDevices() == 0) return 1;  // count first, then fetch
  Mlox_PersistentOutput output(managerP->GetOutputDevice(0)->GetOutputForChannel(3));
  output.WriteEvent(Mdie_Timestamp(Time_Sample(100)), Mdie_NoteOnEvent(60, 100),
                    managerP->GetImmediateOutputContext());
  //! [write]

  PullBlock(deliveryP, 0, 63);
  PullBlock(deliveryP, 64, 127);  // the note falls into this block

  //! [end]
  // The plug-in goes, then the host takes its services down.
  deliveryP->Release();
  nodeP->Release();
  managerP->RemoveAllServices();
  //! [end]
  return 0;
}
