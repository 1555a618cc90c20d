// SPDX-License-Identifier: MIT
// What a song keeps of an output on disk, and how it is found again on another day, when the port is there.
//   c++ -std=c++20 saved_song.cpp $(pkg-config --cflags --libs mlox) -o saved_song
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/mem2_masterallocator.h"
#include "mlox/mdi_appcallback.h"
#include "mlox/mlox_device.h"
#include "mlox/mlox_directmusic_devicedescriptor.h"
#include "mlox/mlox_manager.h"
#include "mlox/mlox_outputdescriptor.h"
#include "mlox/mlox_persistentoutput.h"
#include "platform/directmusic/loopback/loopbackports.h"

namespace {

constexpr std::chrono::milliseconds kMoment(10);

class Application : public Mdi_AppCallback {
 public:
  std::int64_t SampleToMicroseconds(Time_Sample iSampleTime) override { return iSampleTime.AsInt64(); }
  void StopPlayback() override {}
};

//! [save]
// A line of a song file. The name comes last, since it may hold blanks.
std::string Saved(const Mlox_PersistentOutput& iOutput) {
  const auto descriptor = iOutput.GetDescriptor();
  const Mlox_DeviceDescriptor& device = *descriptor->GetDeviceDescriptor();
  return std::to_string(descriptor->GetChannel()) + " " + std::to_string(device.GetHashValue()) + " " +
         device.GetName();
}
//! [save]
//! [restore]
// Null for a line that can't be read. Whether the port is there doesn't matter.
Mlox_PersistentOutput Restored(const std::string& iLine) {
  std::istringstream line(iLine);
  short channel = 0;
  int number = 0;
  std::string name;
  if (!(line >> channel >> number) || !std::getline(line >> std::ws, name)) return Mlox_PersistentOutput();
  const auto device =
      std::make_shared<const Mlox_DirectMusic_DeviceDescriptor>(Mlox_DeviceDescriptor::kOutput, name, number);
  const Cmn_AliasedRefCountPtr<const Mlox_OutputDescriptor> descriptor(
      new Mlox_OutputDescriptor(device, channel));
  return Mlox_PersistentOutput(descriptor.get());
}
//! [restore]

}  // namespace

int main() {
  setenv("MLOX_MIDI_DRIVERS", "loopback", 0);
  static Application application;
  static Mem2_MasterAllocator allocator;
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  if (managerP->GetNumberOfOutputDevices() == 0) return 1;
  const std::string name = managerP->GetOutputDevice(0)->GetName();
  const std::string line = Saved(Mlox_PersistentOutput(managerP->GetOutputDevice(0)->GetOutputForChannel(9)));
  managerP->RemoveAllServices();
  Platform_LoopbackPorts::Unplug(name);  // another day, and the cable isn't in yet
  if (!managerP->ActivateService(Mlox_Manager::kDirectMusicService, &allocator, &application)) return 1;
  managerP->GetNumberOfOutputDevices();  // fills the lists that a search looks into
  const Mlox_PersistentOutput track = Restored(line);
  std::printf("%s is %s\n", name.c_str(), track.IsOnline() ? "there" : "away");
  Platform_LoopbackPorts::Plug(name);
  for (; !track.IsOnline(); managerP->CheckStudioSetup()) std::this_thread::sleep_for(kMoment);
  std::printf("%s is there, channel %d\n", name.c_str(), track.GetDescriptor()->GetChannel());
  managerP->RemoveAllServices();
  return 0;
}
