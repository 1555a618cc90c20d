// SPDX-License-Identifier: MIT
// A plug-in that is called for each message on the writer's thread, instead of pulling once a block.
//   c++ -std=c++20 plugin_direct.cpp $(pkg-config --cflags --libs mlox) -o plugin_direct
#include <cstdio>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/idirectmidiclientoutput.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "mlox/mlox_directmidi/idirectmidioutput_directdeliveryclient.h"
#include "mlox/mlox_directmidi/idirectmidioutputdeliverysetup.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_output.h"

namespace {

//! [client]
// The plug-in. Writers may call it from several threads at once.
class Client : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    std::printf("%d bytes for sample %lld\n", iMessageP->GetMessageLength(),
                static_cast<long long>(iMessageP->GetSampleTime()));
    iMessageP->Release();  // exactly once, and before returning
  }
};
//! [client]

}  // namespace

int main() {
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  auto* serviceP = new Mlox_DM_Service(nullptr, &allocator, nullptr);
  managerP->AddService(serviceP, 1);

  //! [direct]
  Client client;
  IDirectMIDIClientOutput* nodeP = serviceP->CreateClientOutput("Synth");
  void* resultP = nullptr;
  if (nodeP->QueryInterface(IDirectMIDIOutputDeliverySetup::kUID, &resultP) != kQCF_Ok) return 1;
  auto* setupP = static_cast<IDirectMIDIOutputDeliverySetup*>(resultP);
  setupP->SetDirectDelivery(&client);
  //! [direct]

  if (managerP->GetNumberOfOutputDevices() == 0) return 1;
  Mlox_Output* outputP = managerP->GetOutputDevice(0)->GetCommonOutput();
  outputP->WriteEvent(Mdie_Timestamp(Time_Sample(100)), Mdie_NoteOnEvent(60, 100),
                      managerP->GetImmediateOutputContext());
  outputP->WriteEvent(Mdie_Timestamp(), Mdie_ProgramEvent(5), managerP->GetImmediateOutputContext());

  setupP->Release();
  nodeP->Release();
  managerP->RemoveAllServices();
  return 0;
}
