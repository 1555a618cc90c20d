// SPDX-License-Identifier: MIT
// The studio: an instrument that the user names and puts on a port stands in the lists in the port's place.
//   c++ -std=c++20 studio_setup.cpp $(pkg-config --cflags --libs mlox) -o studio_setup
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "cmn/mem2_masterallocator.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_manager.h"
#include "platform/studio/studiomanagement.h"

namespace {

using Result = Platform_StudioResult;

class Application : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};

// What an application does anyway, a few times a second.
void Wait() {
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  Mlox_Manager::Singleton()->CheckStudioSetup();
}

void ListOutputs(const char* iTitleP) {
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  std::printf("%s:\n", iTitleP);
  const int count = managerP->GetNumberOfOutputDevices();
  for (int i = 0; i < count; ++i) {
    Mlox_Device* deviceP = managerP->GetOutputDevice(i);
    std::printf("  %s%s\n", deviceP->GetName().c_str(),
                deviceP->IsUserDefined() ? ", an instrument of mine" : "");
  }
}

//! [setup]
// Any process may do this while others play: each knows within a second what another one has changed.
std::string FindPort(Platform_StudioManagement& ioStudio, const std::string& iName) {
  for (const Platform_StudioEntry& entry : ioStudio.Entries()) {
    if (!entry.mIsUserDefined && !entry.mIsSource && entry.mName == iName) return entry.mGuid;
  }
  return {};
}

bool PutOnPort(Platform_StudioManagement& ioStudio, const std::string& iName, const std::string& iPort) {
  std::string instrument;
  const std::int32_t receive = 0x000F;  // bit n is channel n: the first four
  return ioStudio.Add(iName, "Acme", "Strings 2", instrument) == Result::kDone &&
         ioStudio.Wire(instrument, iPort) == Result::kDone &&
         ioStudio.SetChannels(instrument, receive, 0) == Result::kDone &&
         ioStudio.Flush(std::chrono::seconds(10));  // on disk
}
//! [setup]

}  // namespace

int main() {
  setenv("MLOX_MIDI_DRIVERS", "loopback", 0);
  static Application application;
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  ListOutputs("before");
  const Platform_StudioFaces studio = Platform_OpenStudio(nullptr);
  std::string port;
  while ((port = FindPort(*studio.mManagement, "mlox loopback")).empty()) Wait();
  if (!PutOnPort(*studio.mManagement, "Strings", port)) return 1;
  while (managerP->GetNumberOfOutputDevices() == 0 || !managerP->GetOutputDevice(0)->IsUserDefined()) Wait();
  ListOutputs("after");
  managerP->RemoveAllServices();
  return 0;
}
