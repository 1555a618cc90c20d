// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_output.h"

#include <string>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_threadlocal.h"
#include "cmn/sys_delayeddeletion.h"
#include "cmn/sys_utils.h"
#include "mlox/mlox_directmidi/mlox_dm_device.h"
#include "mlox/mlox_directmidi/mlox_dm_generaldelivery.h"
#include "mlox/mlox_outputdescriptor.h"

namespace {

constexpr char kAssertSource[] = "mlox/mlox_directmidi/mlox_dm_output";
constexpr int16_t kCommonChannel = -1;

/// One stay of a thread inside the gate of an output. Stays of a thread form a chain on its stack.
struct Stay {
  const Mlox_DM_Output* mOutputP;
  const Stay* mOuterP;
};

CMN_THREAD_LOCAL const Stay* sInnermostStayP = nullptr;

/// How often the calling thread is inside an output.
int32_t StaysOfThisThread(const Mlox_DM_Output* iOutputP) {
  int32_t count = 0;
  for (const Stay* stayP = sInnermostStayP; stayP != nullptr; stayP = stayP->mOuterP) {
    if (stayP->mOutputP == iOutputP) ++count;
  }
  return count;
}

}  // namespace

/// Takes a thread through the gate, if it is open, for its lifetime.
class Mlox_DM_Output::Gate {
 public:
  explicit Gate(Mlox_DM_Output& iOutput)
      : mOutput(iOutput), mIsOpen(iOutput.AcquireWriteLock()), mStay{&iOutput, sInnermostStayP} {
    if (mIsOpen) sInnermostStayP = &mStay;
  }
  ~Gate() {
    if (!mIsOpen) return;
    sInnermostStayP = mStay.mOuterP;
    mOutput.ReleaseWriteLock();
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  /// Whether the thread is inside.
  bool IsOpen() const { return mIsOpen; }

 private:
  // First: the output must outlive the stay, though its last reference may go meanwhile.
  Sys_EpochGuard mEpochGuard;
  Mlox_DM_Output& mOutput;
  const bool mIsOpen;
  const Stay mStay;
};

// ---- lifetime ----

Cmn_AliasedRefCountPtr<Mlox_DM_Output> Mlox_DM_Output::NewChannel(Mlox_DM_Device* iDeviceP, int16_t iChannel,
                                                                  Mdi_AppCallback* iAppCallbackP) {
  return new Mlox_DM_Output(iDeviceP, iChannel, iAppCallbackP);
}

Cmn_AliasedRefCountPtr<Mlox_DM_Output> Mlox_DM_Output::NewCommon(Mlox_DM_Device* iDeviceP,
                                                                 Mdi_AppCallback* iAppCallbackP) {
  return NewChannel(iDeviceP, kCommonChannel, iAppCallbackP);
}

Mlox_DM_Output::Mlox_DM_Output(Mlox_DM_Device* iDeviceP, int16_t iChannel, Mdi_AppCallback* iAppCallbackP)
    : Mlox_Output(iAppCallbackP),
      mDeviceP(iDeviceP),
      mChannel(iChannel),
      mDescriptorP(
          new Mlox_OutputDescriptor(iDeviceP->GetDeviceDescriptor(), static_cast<int8_t>(iChannel))) {}

Mlox_DM_Output::~Mlox_DM_Output() = default;

void Mlox_DM_Output::Kill() {
  mKilled.store(true, std::memory_order_seq_cst);
  const int32_t ownWrites = StaysOfThisThread(this);
  while (mWriteLock.Get() > ownWrites) Sys_Utils::Sleep(1);
  // Not before: who is still inside uses the device.
  mDeviceP.store(nullptr, std::memory_order_release);
}

// ---- inquiries ----

int Mlox_DM_Output::GetTimestampedPreSendSamples(double) {
  const Gate gate(*this);
  return gate.IsOpen() ? LoadDevice()->GetAdvanceScheduleRequirement() : 0;
}

Time_SampleLength Mlox_DM_Output::GetZeroJitterDelay(double) {
  const Gate gate(*this);
  return Time_SampleLength(gate.IsOpen() ? LoadDevice()->Mlox_DM_DeliveryBase::GetZeroJitterDelay() : 0);
}

bool Mlox_DM_Output::IsTimestamped() {
  const Gate gate(*this);
  return gate.IsOpen() && LoadDevice()->GetAdvanceScheduleRequirement() > 0;
}

Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> Mlox_DM_Output::GetDescriptor() const {
  return mDescriptorP;
}

Mlox_Device* Mlox_DM_Output::GetDevice() {
  if (mKilled.load(std::memory_order_seq_cst)) return nullptr;
  return LoadDevice();
}

int Mlox_DM_Output::GetNumberOfPatches() { return 0; }

bool Mlox_DM_Output::GetPatchName(std::string*, const Mdie_ProgramEvent&) { return false; }

Cmn_AliasedRefCountPtr<const Mlox_PatchInfo> Mlox_DM_Output::GetPatchInfo(int) {
  CMN_ASSERT_FROM(kAssertSource, false, "0");
  return nullptr;
}

void Mlox_DM_Output::AddThruCount() {}

void Mlox_DM_Output::RemoveThruCount() {}

// ---- writes ----

void Mlox_DM_Output::WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                                Mlox_OutputContextRef iContext) {
  const Gate gate(*this);
  if (!gate.IsOpen()) return;
  // The client that the delivery calls may kill this output and destroy the device: nothing of either is read
  // after it.
  const Mlox_DM_DeliveryBase::Writing writing(*LoadDevice());
  Mlox_DM_GeneralDelivery* deliveryP = writing.GetCurrentDelivery();
  if (deliveryP != nullptr) deliveryP->WriteEvent(iTimestamp, iEvent, mChannel, iContext);
}

void Mlox_DM_Output::WriteLimitedSysex(const unsigned char*, int, Mlox_OutputContextRef) {
  const Gate gate(*this);
  CMN_ASSERT_FROM(kAssertSource, !gate.IsOpen(), "0");
}

void Mlox_DM_Output::WriteRawMIDI(const unsigned char*, int, Mlox_OutputContextRef) {
  const Gate gate(*this);
  CMN_ASSERT_FROM(kAssertSource, !gate.IsOpen(), "0");
}

// ---- gate ----

bool Mlox_DM_Output::AcquireWriteLock() {
  if (mKilled.load(std::memory_order_seq_cst)) return false;
  mWriteLock.Increment();
  if (!mKilled.load(std::memory_order_seq_cst)) return true;
  mWriteLock.Decrement();  // Kill came between the two looks and may be waiting for us
  return false;
}

void Mlox_DM_Output::ReleaseWriteLock() { mWriteLock.Decrement(); }

Mlox_DM_Device* Mlox_DM_Output::LoadDevice() const { return mDeviceP.load(std::memory_order_acquire); }
