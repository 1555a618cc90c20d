// SPDX-License-Identifier: MIT
#include "mlox/mlox_device.h"

#include "mlox/mlox_output.h"

Mlox_Device::Mlox_Device(Mdi_AppCallback* iAppCallbackP, std::uint64_t iTrackPtr)
    : mAppCallbackP(iAppCallbackP), mTrackPtr(iTrackPtr) {}

bool Mlox_Device::GetFactoryPatchFileName(Sys_FileLoc*, bool* oIsDefaultP) {
  // "The default choice" holds for a device without a file too: there is no other choice to be made.
  if (oIsDefaultP != nullptr) *oIsDefaultP = true;
  return false;
}

bool Mlox_Device::IsUserDefined() const { return true; }

bool Mlox_Device::GetReceivesMBC() const { return true; }

int Mlox_Device::GetBeatClockOffsetSamples() const { return GetReceivesMBC() ? mBeatClockOffsetSamples : 0; }

void Mlox_Device::SetBeatClockOffsetSamples(int iSamples) {
  if (!GetReceivesMBC()) {
    mBeatClockOffsetSamples = 0;
    return;
  }
  mBeatClockOffsetSamples = iSamples;
  // A device that receives beat clock has a common output, but for hardware that its service has let go.
  if (Mlox_Output* const commonP = GetCommonOutput()) {
    commonP->SetUserBeatClockOffset(Time_SampleLength(iSamples));
  }
}
