// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/portsession.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "cmn/mem2_masterallocator.h"
#include "cmn/sys_clock.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmusic/mlox_directmusic_service.h"
#include "mlox/mlox_init.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_manager.h"
#include "platform/studio/studiomanagement.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

class Callback final : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};

constexpr std::chrono::seconds kStudioPatience{10};

// Devices that were let go, and the objects of the subsystem that live as long as the process, keep pointers
// to both.
Callback& AppCallback() {
  static auto* const sCallbackP = new Callback;
  return *sCallbackP;
}
Mem2_MasterAllocator& Allocator() {
  static auto* const sAllocatorP = new Mem2_MasterAllocator;
  return *sAllocatorP;
}

// Lives as long as the hardware service; null if it is a closed one.
Platform_StudioManagement* FindManagement() {
  const auto* const serviceP =
      dynamic_cast<Mlox_DirectMusic_Service*>(Mlox_Manager::Singleton()->GetOSService());
  const auto studio = serviceP != nullptr ? serviceP->GetStudio() : nullptr;
  return dynamic_cast<Platform_StudioManagement*>(studio.get());
}

}  // namespace

PortSession::PortSession() {
  Mlox_Init::Init();
  Mlox_Manager::Init();
  Mlox_Manager& manager = *Mlox_Manager::Singleton();
  if (!manager.ActivateService(Mlox_Manager::kDirectMusicService, &Allocator(), &AppCallback())) {
    manager.RemoveAllServices();
    Mlox_Init::Free();
    throw ToolError("there is no MIDI hardware service on this machine");
  }
  // Whoever asks for ports shall find the user's devices among them, however busy the machine is.
  if (Platform_StudioManagement* const managementP = FindManagement()) {
    static_cast<void>(managementP->WaitUntilRead(kStudioPatience));
  }
}

PortSession::~PortSession() {
  Mlox_Manager::Singleton()->RemoveAllServices();
  Mlox_Init::Free();
}

std::vector<Mlox_Device*> PortSession::Outputs() const {
  Mlox_Manager& manager = *Mlox_Manager::Singleton();
  std::vector<Mlox_Device*> devices;
  const int count = manager.GetNumberOfOutputDevices();
  for (int i = 0; i < count; ++i) {
    if (Mlox_Device* const deviceP = manager.GetOutputDevice(i)) devices.push_back(deviceP);
  }
  return devices;
}

Mlox_InputList PortSession::Inputs() const {
  Mlox_Manager& manager = *Mlox_Manager::Singleton();
  Mlox_InputList inputs;
  const int count = manager.GetNumberOfInputs();
  for (int i = 0; i < count; ++i) {
    if (Mlox_InputRef input = manager.GetInput(i)) inputs.push_back(input);
  }
  return inputs;
}

void PortSession::Idle() const { Mlox_Manager::Singleton()->CheckStudioSetup(); }

bool PortSession::IdleUntil(const std::function<bool()>& iIsDone, double iSeconds) const {
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  constexpr Seconds kStep{0.01};
  const auto start = Clock::now();
  for (;;) {
    Idle();
    if (iIsDone()) return true;
    const Seconds left = Seconds(iSeconds) - (Clock::now() - start);
    if (left <= Seconds::zero()) return false;
    std::this_thread::sleep_for(std::min(left, kStep));
  }
}

void PortSession::IdleUntilTime(std::int64_t iTime, const std::function<bool()>& iIsEnough) const {
  constexpr std::int64_t kStep = 10000;
  for (;;) {
    const std::int64_t left = iTime - Sys_Clock::Microseconds();
    if (left <= 0 || iIsEnough()) return;
    Idle();
    std::this_thread::sleep_for(std::chrono::microseconds(std::min(left, kStep)));
  }
}

Platform_StudioManagement& PortSession::Management() const {
  Platform_StudioManagement* const managementP = FindManagement();
  if (managementP == nullptr) throw ToolError("the studio of this machine can't be looked into");
  return *managementP;
}

void PortSession::PortDeleter::operator()(Mlox_InputPort* iPortP) const {
  iPortP->CloseCurrentConnections();
  delete iPortP;
}

PortSession::Port PortSession::MakePort(Mlox_RawMidiReceiver* iReceiverP) {
  return Port(Mlox_Manager::Singleton()->CreateInputPort(iReceiverP));
}

}  // namespace tool
