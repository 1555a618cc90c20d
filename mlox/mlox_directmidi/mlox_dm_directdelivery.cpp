// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_directdelivery.h"

#include "cmn/cmn_assert.h"
#include "mlox/mlox_directmidi/idirectmidioutput_directdeliveryclient.h"
#include "mlox/mlox_directmidi/mlox_dm_deliverymessage.h"
#include "mlox/mlox_directmidi/mlox_dm_timedevent.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_directdelivery";

}  // namespace

void Mlox_DM_DirectDelivery::WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                                        int16_t iChannel, const Mlox_OutputContextRef&) {
  // Read once: the client may have this delivery replaced inside its own call, and nothing of this object is
  // touched after the first call.
  IDirectMIDIOutput_DirectDeliveryClient* const clientP = mClientP;
  if (clientP == nullptr || iEvent.GetNumMessages() <= 0) return;
  // A copy, so that the client reads what was written whatever the writer does to its event; it owns its
  // bytes if the event is a long sysex. If there is no block for them it has no message, and nobody is
  // called.
  const Mlox_DM_TimedEvent record{iTimestamp, iEvent};
  const int messageCount = record.mEvent.GetNumMessages();
  Mlox_DM_DeliveryMessage message;
  for (int i = 0; i < messageCount; ++i) {
    message.Set(&record, i, iChannel);
    message.AddRef();
    clientP->ReceiveDirectMessage(&message);
    CMN_ASSERT_FROM(kAssertSource, message.GetInterfaceRefCount() == 0,
                    "Message.GetInterfaceRefCount() == 0");
  }
}
