// SPDX-License-Identifier: MIT
/// \file
/// The one implementation of IDirectMIDIMessage.
#pragma once

#include <cstdint>

#include "cmn/cmn_export.h"
#include "cmn/cmn_nonblocking.h"
#include "cmn/cqcfunknown.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"

struct Mlox_DM_TimedEvent;

/// Gives whatever derives from it a cache line to itself. A base, since compilers don't agree on where
/// alignas and an export may stand in the head of one class.
struct alignas(64) Mlox_DM_CacheLine {};

/// A reusable view of one message of an event. It owns nothing: it points at a record of the delivery that
/// made it, and the same object is handed out for every message of that delivery.
///
/// No lock: the thread that pulled the message uses it between Set and the last Release. It has a cache line
/// to itself: its count changes twice with every message.
class MLOX_EXPORT Mlox_DM_DeliveryMessage final : public IDirectMIDIMessage,
                                                  public CQCFUnknown,
                                                  private Mlox_DM_CacheLine {
 public:
  Mlox_DM_DeliveryMessage();
  ~Mlox_DM_DeliveryMessage() override;

  int32_t QueryInterface(const _qcfUID& iUID, void** oResultP) override;
  uint32_t AddRef() MLOX_NONBLOCKING override;
  uint32_t Release() MLOX_NONBLOCKING override;
  int32_t GetMessageLength() MLOX_NONBLOCKING override;
  void GetMessageData(signed char* oBuffer) MLOX_NONBLOCKING override;
  void GetPartialMessageData(signed char* oBuffer, int32_t iOffset, int32_t iCount) MLOX_NONBLOCKING override;
  int64_t GetSampleTime() MLOX_NONBLOCKING override;

  /// Points the message at message iMessageIndex of a record, or makes it empty with null. The low eight bits
  /// of iChannel, taken as signed, are imposed on channel messages, unless they are negative.
  void Set(const Mlox_DM_TimedEvent* iTimedEventP, int32_t iMessageIndex, int16_t iChannel);

  /// How many references are held now. It goes through AddRef and Release, so it passes through zero: safe
  /// only because ReclaimMemory does nothing.
  uint32_t GetInterfaceRefCount();

 private:
  void ReclaimMemory() override;
  int32_t InternalQueryInterface(const _qcfUID& iUID, void** oResultP) override;

  void ImposeChannel(signed char& ioStatus) const;

  const Mlox_DM_TimedEvent* mTimedEventP = nullptr;
  int32_t mMessageIndex = 0;
  int8_t mChannel = 0;
};

static_assert(sizeof(Mlox_DM_DeliveryMessage) == 64);
static_assert(alignof(Mlox_DM_DeliveryMessage) == 64);
