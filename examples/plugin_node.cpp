// SPDX-License-Identifier: MIT
// A plug-in's MIDI node, both sides in one program: the host writes, the plug-in's audio thread pulls.
//   c++ -std=c++20 plugin_node.cpp $(pkg-config --cflags --libs mlox) -o plugin_node
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

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

//! [pull]
// The plug-in's audio thread: a block takes all that is due from its first to its last sample, included.
struct Synth {
  void RunAudio(IDirectMIDIBufferedDelivery* iDeliveryP) {
    for (int first = 0; mCount < 2; first += 64) {
      while (IDirectMIDIMessage* messageP = iDeliveryP->GetNextMessageInSampleRange(first, first + 63)) {
        mTimes[mCount % 2] = static_cast<int>(messageP->GetSampleTime());
        if (messageP->GetMessageLength() == 3) messageP->GetMessageData(mBytes[mCount % 2]);
        messageP->Release();  // before the next message is asked for
        ++mCount;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(1333));  // the sound card plays the block
    }
  }
  int mTimes[2] = {};
  signed char mBytes[2][3] = {};
  std::atomic<int> mCount{0};
};
//! [pull]

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
  const Mlox_OutputContextRef context = managerP->GetImmediateOutputContext();
  output.WriteEvent(Mdie_Timestamp(Time_Sample(100)), Mdie_NoteOnEvent(60, 100), context);
  Synth synth;
  std::thread audio([&] { synth.RunAudio(deliveryP); });
  while (synth.mCount == 0) std::this_thread::yield();
  output.WriteEvent(Mdie_Timestamp(), Mdie_NoteOffEvent(60, 64), context);  // no time: the next block
  audio.join();
  //! [write]
  for (int i = 0; i < 2; ++i)
    std::printf("sample %d: %02x %02x %02x\n", synth.mTimes[i], synth.mBytes[i][0] & 0xFF, synth.mBytes[i][1],
                synth.mBytes[i][2]);
  //! [end]
  // The plug-in goes, then the host takes its services down.
  deliveryP->Release();
  nodeP->Release();
  managerP->RemoveAllServices();
  //! [end]
}
