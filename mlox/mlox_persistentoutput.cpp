// SPDX-License-Identifier: MIT
#include "mlox/mlox_persistentoutput.h"

#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_persistentoutputregistry.h"

Mlox_PersistentOutput::Mlox_PersistentOutput() { JoinRegistry(); }

Mlox_PersistentOutput::Mlox_PersistentOutput(const Mlox_OutputDescriptor* iDescriptorP)
    : mDescriptorRCP(iDescriptorP) {
  ResetOutputUsingDescriptor();
  JoinRegistry();
}

Mlox_PersistentOutput::Mlox_PersistentOutput(Mlox_Output* iOutputP) : mOutputRCP(iOutputP) {
  if (iOutputP != nullptr) mDescriptorRCP = iOutputP->GetDescriptor();
  JoinRegistry();
}

Mlox_PersistentOutput::Mlox_PersistentOutput(const Mlox_PersistentOutput& iOther)
    : Mlox_AWrite(iOther),
      Cmn_DoublyLinkedList_Link<Mlox_PersistentOutput>(iOther),
      mDescriptorRCP(iOther.mDescriptorRCP),
      mOutputRCP(iOther.mOutputRCP),
      mUserBeatClockOffset(iOther.mUserBeatClockOffset) {
  JoinRegistry();
}

Mlox_PersistentOutput& Mlox_PersistentOutput::operator=(const Mlox_PersistentOutput& iOther) {
  if (this == &iOther) return *this;
  mDescriptorRCP = iOther.mDescriptorRCP;
  mOutputRCP = iOther.mOutputRCP;
  mUserBeatClockOffset = iOther.mUserBeatClockOffset;
  return *this;
}

Mlox_PersistentOutput::~Mlox_PersistentOutput() { RemoveFromList(); }

void Mlox_PersistentOutput::JoinRegistry() { Mlox_PersistentOutputRegistry::Singleton().Add(*this); }

// ---- [writer] ----

// The epoch is entered before the pointer is read: the count that this reference holds is no proof against a
// search that drops it between the reading and the call. From here on the output stays until we leave.

void Mlox_PersistentOutput::WriteEvent(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent,
                                       Mlox_OutputContextRef iContext) {
  const Sys_EpochPointer outputP(mOutputRCP);
  if (outputP) outputP->WriteEvent(iTimestamp, iEvent, iContext);
}

void Mlox_PersistentOutput::WriteLimitedSysex(const unsigned char* iDataP, int iLength,
                                              Mlox_OutputContextRef iContext) {
  const Sys_EpochPointer outputP(mOutputRCP);
  if (outputP) outputP->WriteLimitedSysex(iDataP, iLength, iContext);
}

void Mlox_PersistentOutput::WriteRawMIDI(const unsigned char* iDataP, int iLength,
                                         Mlox_OutputContextRef iContext) {
  const Sys_EpochPointer outputP(mOutputRCP);
  if (outputP) outputP->WriteRawMIDI(iDataP, iLength, iContext);
}

// ---- [main] ----

bool Mlox_PersistentOutput::operator==(const Mlox_PersistentOutput& iOther) const {
  return mOutputRCP.get() == iOther.mOutputRCP.get() && DescriptorEquals(iOther);
}

bool Mlox_PersistentOutput::DescriptorEquals(const Mlox_PersistentOutput& iOther) const {
  const Mlox_OutputDescriptor* leftP = mDescriptorRCP.get();
  const Mlox_OutputDescriptor* rightP = iOther.mDescriptorRCP.get();
  if (leftP == rightP) return true;
  if (leftP == nullptr || rightP == nullptr) return false;
  const Mlox_DeviceDescriptor* leftDeviceP = leftP->GetDeviceDescriptor().get();
  if (leftDeviceP == nullptr) return false;
  return leftDeviceP->Equals(rightP->GetDeviceDescriptor().get()) &&
         leftP->GetChannel() == rightP->GetChannel();
}

void Mlox_PersistentOutput::SetUserBeatClockOffset(Time_SampleLength iOffset) {
  mUserBeatClockOffset = iOffset;
  HandOffsetToDevice();
}

bool Mlox_PersistentOutput::IsOnline() const {
  Mlox_PersistentOutputRegistry::Singleton().ReResolveIfNeeded();
  return mOutputRCP.get() != nullptr;
}

void Mlox_PersistentOutput::ResetOutputUsingDescriptor() {
  // The search comes first and the pointer is exchanged once: a writer must not fall into a gap in which
  // there is no output although the old one is the new one.
  Mlox_Output* foundP = nullptr;
  if (mDescriptorRCP) {
    foundP = Mlox_Manager::Singleton()->FindOutputBestMatchingDescriptor(mDescriptorRCP.get());
  }
  mOutputRCP = foundP;
  if (foundP == nullptr) return;
  mDescriptorRCP = foundP->GetDescriptor();
  HandOffsetToDevice();
}

void Mlox_PersistentOutput::HandOffsetToDevice() {
  Mlox_Output* outputP = mOutputRCP.get();
  if (outputP == nullptr) return;
  // An output that has left its device answers null.
  Mlox_Device* deviceP = outputP->GetDevice();
  if (deviceP == nullptr) return;
  deviceP->SetBeatClockOffsetSamples(static_cast<int>(mUserBeatClockOffset.AsInt64()));
}
