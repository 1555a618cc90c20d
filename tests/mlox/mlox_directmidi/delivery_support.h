// SPDX-License-Identifier: MIT
/// \file
/// What tests of deliveries share: messages as plain values, and a delivery without a node.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <ostream>
#include <vector>

#include "cmn/mem2_masterallocator.h"
#include "mdid/mdie_event.h"
#include "mdid/mdie_noteevents.h"
#include "mdid/mdie_programevent.h"
#include "mdid/mdie_sysexevents.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/idirectmidimessage.h"
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery.h"
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery_owner.h"
#include "mlox/mlox_manager.h"

using Test_Bytes = std::vector<int>;

/// One message as a plug-in read it.
struct Test_Pulled {
  int64_t mTime;
  Test_Bytes mBytes;

  bool operator==(const Test_Pulled&) const = default;
};

inline void PrintTo(const Test_Pulled& iPulled, std::ostream* oStreamP) {
  *oStreamP << "at " << iPulled.mTime << ":" << std::hex;
  for (const int byte : iPulled.mBytes) *oStreamP << " " << byte;
  *oStreamP << std::dec;
}

/// Reads a message and leaves the reference with the caller.
inline Test_Pulled Test_Read(IDirectMIDIMessage& ioMessage) {
  std::vector<signed char> data(static_cast<std::size_t>(ioMessage.GetMessageLength()) + 1);
  ioMessage.GetMessageData(data.data());
  data.pop_back();
  Test_Pulled pulled{ioMessage.GetSampleTime(), {}};
  for (const signed char byte : data) pulled.mBytes.push_back(static_cast<unsigned char>(byte));
  return pulled;
}

/// Pulls a block until null, as a plug-in does.
inline std::vector<Test_Pulled> Test_PullBlock(IDirectMIDIBufferedDelivery& ioDelivery, int64_t iStart,
                                               int64_t iEnd) {
  std::vector<Test_Pulled> block;
  while (IDirectMIDIMessage* const messageP = ioDelivery.GetNextMessageInSampleRange(iStart, iEnd)) {
    block.push_back(Test_Read(*messageP));
    messageP->Release();
  }
  return block;
}

inline Mdie_Timestamp Test_At(int64_t iSample) { return Mdie_Timestamp(Time_Sample(iSample)); }

/// Three messages: bank MSB, bank LSB and program change.
inline Mdie_ProgramEvent Test_BankAndProgram(int iMSB, int iLSB, int iProgram) {
  return Mdie_ProgramEvent(static_cast<unsigned char>(iProgram),
                           static_cast<unsigned short>((iMSB << 7) | iLSB));
}

/// A whole system exclusive message of iLength bytes; long ones own a block.
inline Mdie_SysexEvent Test_Sysex(int iLength) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(iLength), 0x11);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return Mdie_SysexEvent(iLength, bytes.data());
}

/// The bytes of Test_Sysex.
inline Test_Bytes Test_SysexBytes(int iLength) {
  Test_Bytes bytes(static_cast<std::size_t>(iLength), 0x11);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

/// Counts what it is told.
class Test_DeliveryOwner : public Mlox_DM_BufferedDelivery_Owner {
 public:
  void BufferedDeliveryReleased() override { ++mReleased; }
  int mReleased = 0;
};

/// A buffered delivery of one reference over a small pool of its own, with the manager's three contexts.
class Test_Delivery {
 public:
  /// \param iMostBytes what the pool may have of blocks of one size
  explicit Test_Delivery(std::size_t iMostBytes = std::numeric_limits<std::size_t>::max())
      : mAllocator(Presizes(), iMostBytes) {
    const Mlox_Manager* const managerP = Mlox_Manager::Singleton();
    mContexts = {managerP->GetImmediateOutputContext(), managerP->GetPatchThruContext(),
                 managerP->GetSlightlyEarlyPlayerContext()};
    mDeliveryP = new Mlox_DM_BufferedDelivery(&mAllocator, &mOwner, mContexts);
    mDeliveryP->AddRef();
  }
  ~Test_Delivery() { Release(); }
  Test_Delivery(const Test_Delivery&) = delete;
  Test_Delivery& operator=(const Test_Delivery&) = delete;

  Mlox_DM_BufferedDelivery* operator->() const { return mDeliveryP; }
  Mlox_DM_BufferedDelivery& operator*() const { return *mDeliveryP; }

  /// Drops the one reference, which ends the delivery.
  void Release() {
    if (mDeliveryP != nullptr) mDeliveryP->Release();
    mDeliveryP = nullptr;
  }

  /// Writes at a sample through one of the three contexts.
  void Write(int64_t iSample, const Mdie_Event& iEvent, std::size_t iContext = 0, int16_t iChannel = 0) {
    mDeliveryP->WriteEvent(Test_At(iSample), iEvent, iChannel, mContexts[iContext]);
  }

  /// Writes an immediate event, through the manager's default context.
  void WriteNow(const Mdie_Event& iEvent, int16_t iChannel = 0) {
    mDeliveryP->WriteEvent(Mdie_Timestamp(), iEvent, iChannel,
                           Mlox_Manager::Singleton()->GetDefaultOutputContext());
  }

  std::vector<Test_Pulled> Pull(int64_t iStart, int64_t iEnd) {
    return Test_PullBlock(*mDeliveryP, iStart, iEnd);
  }

  /// One message, read and released; time -2 when there is none.
  Test_Pulled PullOne(int64_t iStart, int64_t iEnd) {
    IDirectMIDIMessage* const messageP = mDeliveryP->GetNextMessageInSampleRange(iStart, iEnd);
    if (messageP == nullptr) return {-2, {}};
    const Test_Pulled pulled = Test_Read(*messageP);
    messageP->Release();
    return pulled;
  }

  uint64_t InUse() const { return mAllocator.GetCounters().mBlocksInUse; }
  uint64_t Abandoned() const { return mAllocator.GetCounters().mAbandoned; }

  Mem2_MasterAllocator mAllocator;
  Test_DeliveryOwner mOwner;
  std::vector<Mlox_OutputContextRef> mContexts;

 private:
  static std::span<const Mem2_MasterAllocator::Presize> Presizes() {
    static constexpr std::array<Mem2_MasterAllocator::Presize, 1> kPresizes{{{136, 64}}};
    return kPresizes;
  }

  Mlox_DM_BufferedDelivery* mDeliveryP = nullptr;
};
