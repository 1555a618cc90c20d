// SPDX-License-Identifier: MIT
#include "tests/mlox/mlox_directmidi/delivery_slot_objects.h"

#include <memory>

#include "mlox/mlox_directmidi/idirectmidioutput_directdeliveryclient.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverybase.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverymessage.h"
#include "mlox/mlox_directmidi/mlox_dm_directdelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_queuedevent.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_directmidi/mlox_dm_sortedeventqueue.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"

namespace {

struct MessageObjects {
  Mlox_DM_TimedEvent mRecord{Test_At(4242), Mdie_NoteOnEvent(60, 100)};
  Mlox_DM_DeliveryMessage mMessage;
};

class Node final : public Mlox_DM_DeliveryBase {
 public:
  using Mlox_DM_DeliveryBase::Mlox_DM_DeliveryBase;
  int32_t QueryInterface(const _qcfUID& iID, void** oResultP) override {
    const bool isOurs = iID == IDirectMIDIOutputDeliverySetup::kUID;
    *oResultP = isOurs ? static_cast<IDirectMIDIOutputDeliverySetup*>(this) : nullptr;
    return isOurs ? kQCF_Ok : kQCF_NoInterface;
  }
  uint32_t AddRef() override { return 1001; }
  uint32_t Release() override { return 1002; }
};

struct NodeObjects {
  Mem2_MasterAllocator mAllocator;
  Mlox_DM_Service mService{nullptr, &mAllocator, nullptr};
  Node mNode{&mService};
};

class Client final : public IDirectMIDIOutput_DirectDeliveryClient {
 public:
  explicit Client(int* oCallsP) : mCallsP(oCallsP) {}
  void ReceiveDirectMessage(IDirectMIDIMessage* iMessageP) override {
    ++*mCallsP;
    iMessageP->Release();
  }

 private:
  int* mCallsP;
};

std::unique_ptr<MessageObjects> sMessage;
std::unique_ptr<NodeObjects> sNode;
std::unique_ptr<Client> sClient;

}  // namespace

void* Test_MakeSlotMessage() {
  sMessage = std::make_unique<MessageObjects>();
  sMessage->mMessage.Set(&sMessage->mRecord, 0, 5);
  sMessage->mMessage.AddRef();
  return static_cast<IDirectMIDIMessage*>(&sMessage->mMessage);
}

void Test_DestroySlotMessage() { sMessage.reset(); }

void* Test_MakeSlotNode() {
  sNode = std::make_unique<NodeObjects>();
  return static_cast<IDirectMIDIOutputDeliverySetup*>(&sNode->mNode);
}

void Test_WriteToSlotNode() {
  const Mlox_DM_DeliveryBase::Writing writing(sNode->mNode);
  writing.GetCurrentDelivery()->WriteEvent(Test_At(30), Mdie_NoteOnEvent(60, 100), 0,
                                           Mlox_Manager::Singleton()->GetImmediateOutputContext());
}

Test_SlotNodeState Test_GetSlotNodeState() {
  return {sNode->mNode.GetAdvanceScheduleRequirement(), sNode->mNode.GetZeroJitterDelay()};
}

void Test_DestroySlotNode() { sNode.reset(); }

void* Test_MakeSlotClient(int* oCallsP) {
  sClient = std::make_unique<Client>(oCallsP);
  return static_cast<IDirectMIDIOutput_DirectDeliveryClient*>(sClient.get());
}

void Test_DestroySlotClient() { sClient.reset(); }

void* Test_MakeSlotSortedQueue() { return NewSortedEventQueue(3); }

void* Test_MakeSlotEvent(long long iSample) {
  static Mlox_DM_QueuedEvent sEvents[4];
  static int sNext = 0;
  Mlox_DM_QueuedEvent& event = sEvents[sNext++ % 4];
  event.mTimedEvent.mTimestamp = Test_At(iSample);
  return &event;
}

void* Test_MakeSlotDirectDelivery(void* iClientP) {
  auto* const clientP = static_cast<IDirectMIDIOutput_DirectDeliveryClient*>(iClientP);
  return static_cast<Mlox_DM_GeneralDelivery*>(new Mlox_DM_DirectDelivery(clientP));
}

const void* Test_SlotTimestamp() {
  static const Mdie_Timestamp sTimestamp = Test_At(30);
  return &sTimestamp;
}

const void* Test_SlotEvent() {
  static const Mdie_NoteOnEvent sEvent(60, 100);
  return &sEvent;
}

const void* Test_SlotContext() {
  static const Mlox_OutputContextRef sContext;
  return &sContext;
}
