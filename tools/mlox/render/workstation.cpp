// SPDX-License-Identifier: MIT
#include "tools/mlox/render/workstation.h"

#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_init.h"
#include "mlox/mlox_manager.h"
#include "tools/mlox/song/eventconversion.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

/// The bit by which Suspend and Resume would know the plug-in service; any but the hardware service's 8 will
/// do.
constexpr int kPlugInServiceMask = 16;
constexpr short kChannels = 16;

Mlox_Device* FindDevice(Mlox_Manager& iManager, std::uint64_t iNodeID) {
  // Counting renumbers the devices, so it comes first.
  const int count = iManager.GetNumberOfOutputDevices();
  for (int i = 0; i < count; ++i) {
    Mlox_Device* const device = iManager.GetOutputDevice(i);
    if (device != nullptr && device->GetTrackPtr() == iNodeID) {
      return device;
    }
  }
  return nullptr;
}

}  // namespace

Workstation::Workstation(std::uint32_t iSampleRate) : mCallback(iSampleRate) {
  Mlox_Init::Init();
  Mlox_Manager::Init();
  Mlox_Manager& manager = *Mlox_Manager::Singleton();
  auto service = std::make_unique<Mlox_DM_Service>(nullptr, &mAllocator, &mCallback);
  mDirectMidiP = service.get();
  manager.AddService(service.release(), kPlugInServiceMask);
  mContexts = {manager.GetImmediateOutputContext(), manager.GetPatchThruContext(),
               manager.GetSlightlyEarlyPlayerContext()};
}

Workstation::~Workstation() {
  mOutputs.clear();
  Mlox_Manager::Singleton()->RemoveAllServices();
  Mlox_Init::Free();
}

void Workstation::ConnectTo(std::uint64_t iNodeID) {
  Mlox_Manager& manager = *Mlox_Manager::Singleton();
  manager.CheckStudioSetup();
  Mlox_Device* const device = FindDevice(manager, iNodeID);
  if (device == nullptr) {
    throw ToolError("the plug-in's node is not among the devices");
  }
  mOutputs.clear();
  mOutputs.push_back(std::make_unique<Mlox_PersistentOutput>(device->GetCommonOutput()));
  for (short channel = 0; channel < kChannels; ++channel) {
    mOutputs.push_back(std::make_unique<Mlox_PersistentOutput>(device->GetOutputForChannel(channel)));
  }
}

void Workstation::Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) {
  Mlox_PersistentOutput& output = *mOutputs[static_cast<std::size_t>(iMessage.mChannel + 1)];
  output.WriteEvent(Mdie_Timestamp(Time_Sample(iMessage.mSample)), MakeEvent(iMessage.mKind, iBytes),
                    mContexts[static_cast<std::size_t>(iWriter)]);
}

void Workstation::Idle() { Mlox_Manager::Singleton()->CheckStudioSetup(); }

}  // namespace tool
