// SPDX-License-Identifier: MIT
#include "tests/integration/shared_library/player.h"

#include <array>
#include <atomic>
#include <string>
#include <thread>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/idirectmidiclientinput.h"
#include "mlox/mlox_directmidi/idirectmidiclientoutput.h"
#include "mlox/mlox_directmidi/idirectmidiinputreceivemidi.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "mlox/mlox_directmidi/idirectmidioutputdeliverysetup.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_init.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_mididata.h"
#include "mlox/mlox_persistentoutput.h"
#include "mlox/mlox_rawmidireceiver.h"

namespace {

IDirectMIDI3* InstallService() {
  // Never ended: deliveries may give blocks back to it until the process is gone.
  static auto* allocatorP = new Mem2_MasterAllocator;
  Mlox_Init::Init();
  Mlox_Manager::Init();
  auto* serviceP = new Mlox_DM_Service(nullptr, allocatorP, nullptr);
  Mlox_Manager::Singleton()->AddService(serviceP, 1);
  return serviceP;
}

template <class Interface>
Interface* Query(IQCFUnknown* iUnknownP) {
  void* resultP = nullptr;
  iUnknownP->QueryInterface(Interface::kUID, &resultP);
  return static_cast<Interface*>(resultP);
}

IDirectMIDIBufferedDelivery* SetBufferedDelivery(IDirectMIDIClientOutput* iNodeP) {
  auto* setupP = Query<IDirectMIDIOutputDeliverySetup>(iNodeP);
  IDirectMIDIBufferedDelivery* deliveryP = setupP->SetBufferedDelivery();
  setupP->Release();
  return deliveryP;
}

std::string Describe(IDirectMIDIMessage* iMessageP) {
  std::array<signed char, 3> bytes{};
  iMessageP->GetMessageData(bytes.data());
  std::string text = std::to_string(iMessageP->GetSampleTime()) + ":";
  for (const signed char byte : bytes) text += " " + std::to_string(static_cast<unsigned char>(byte));
  return text;
}

class Receiver : public Mlox_RawMidiReceiver {
 public:
  int ReceiveRawMidi(Mlox_MidiData*) override { return 0; }
};

// What the threads share. On the heap and never freed: the threads outlast the statics of this file.
struct Stage {
  IDirectMIDIBufferedDelivery* mDeliveryP;
  IDirectMIDIInputReceiveMIDI* mReceiveP;
  Mlox_PersistentOutput mOutput;
  std::atomic<long> mWritten{0};
  std::atomic<long> mPulled{0};
  std::atomic<long> mRounds{0};
  std::atomic<int> mThreadsAtWork{0};
};
Stage* sStageP = nullptr;

// Goes round for ever. A thread counts as at work after some rounds.
template <class Round>
void StartThread(Round iRound) {
  std::thread([iRound] {
    for (long round = 1;; ++round) {
      iRound();
      sStageP->mRounds.fetch_add(1);
      if (round == 100) sStageP->mThreadsAtWork.fetch_add(1);
    }
  }).detach();
}

void WriteOnce() {
  constexpr long kMostQueued = 5000;  // the reader must keep up, or memory would grow without end
  if (sStageP->mWritten - sStageP->mPulled > kMostQueued) return std::this_thread::yield();
  sStageP->mOutput.WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100),
                              Mlox_Manager::Singleton()->GetDefaultOutputContext());
  sStageP->mWritten.fetch_add(1);
}

void PullBlock() {
  while (IDirectMIDIMessage* messageP = sStageP->mDeliveryP->GetNextMessageInSampleRange(0, 63)) {
    messageP->Release();
    sStageP->mPulled.fetch_add(1);
  }
}

void ReceiveOnce() {
  const unsigned char note[] = {0x90, 60, 100};
  sStageP->mReceiveP->ReceiveMIDI(note, 3, -1);
}

}  // namespace

const char* SharedLibrary_PlayOneNote() {
  static std::string sText;
  sText.clear();
  IDirectMIDI3* factoryP = InstallService();
  IDirectMIDIClientOutput* nodeP = factoryP->CreateClientOutputEx("Synth", 1);
  IDirectMIDIBufferedDelivery* deliveryP = SetBufferedDelivery(nodeP);
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  managerP->CheckStudioSetup();
  if (managerP->GetNumberOfOutputDevices() == 1) {
    Mlox_PersistentOutput output(managerP->GetOutputDevice(0)->GetOutputForChannel(3));
    output.WriteEvent(Mdie_Timestamp(Time_Sample(100)), Mdie_NoteOnEvent(60, 100),
                      managerP->GetImmediateOutputContext());
  }
  if (IDirectMIDIMessage* messageP = deliveryP->GetNextMessageInSampleRange(64, 127)) {
    sText = Describe(messageP);
    messageP->Release();
  }
  deliveryP->Release();
  nodeP->Release();
  managerP->RemoveAllServices();
  Mlox_Init::Free();
  return sText.c_str();
}

void SharedLibrary_OpenNodes(void** oDeliveryPP, void** oReceivePP) {
  IDirectMIDI3* factoryP = InstallService();
  *oDeliveryPP = SetBufferedDelivery(factoryP->CreateClientOutput("Synth"));
  *oReceivePP = Query<IDirectMIDIInputReceiveMIDI>(factoryP->CreateClientInput("Keys"));
}

void SharedLibrary_StartThreads() {
  sStageP = new Stage;
  IDirectMIDI3* factoryP = InstallService();
  IDirectMIDIClientOutput* nodeP = factoryP->CreateClientOutput("Synth");
  sStageP->mDeliveryP = SetBufferedDelivery(nodeP);
  sStageP->mReceiveP = Query<IDirectMIDIInputReceiveMIDI>(factoryP->CreateClientInput("Keys"));
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  Mlox_InputPort* portP = managerP->CreateInputPort(new Receiver);
  managerP->GetNumberOfInputs();
  portP->ConnectToInputs({managerP->GetInput(0)});
  managerP->GetNumberOfOutputDevices();
  sStageP->mOutput = Mlox_PersistentOutput(managerP->GetOutputDevice(0)->GetOutputForChannel(0));
  StartThread(WriteOnce);
  StartThread(WriteOnce);
  StartThread(PullBlock);
  StartThread(ReceiveOnce);
  while (sStageP->mThreadsAtWork < 4) std::this_thread::yield();
}

long SharedLibrary_CountRounds() { return sStageP->mRounds; }
