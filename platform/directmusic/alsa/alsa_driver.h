// SPDX-License-Identifier: MIT
/// \file
/// The driver of ALSA's sequencer, the hardware MIDI of Linux.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/directmusic/alsa/alsa_applications.h"
#include "platform/directmusic/alsa/alsa_handle.h"
#include "platform/directmusic/driver.h"

class Platform_AlsaDataClient;

/// Two clients: one hears what comes and goes, on a thread that has the other mark the connections whose peer
/// has gone, and tells the host; the other carries music and has no thread. Each handle has a lock of its
/// own; the announcements' comes before the data's.
class Platform_AlsaDriver final : public Platform_Driver {
 public:
  /// \param iSysfs where sysfs is mounted; tests give a tree of their own.
  explicit Platform_AlsaDriver(std::string iSysfs = "/sys");
  ~Platform_AlsaDriver() override;
  const char* Name() const override { return "alsa"; }
  bool Start(Platform_DriverHost* iHostP, std::string& oReason) override;
  void Stop() override;
  std::vector<Platform_PortInfo> Ports() override;
  std::unique_ptr<Platform_DriverInput> OpenInput(const Platform_PortInfo& iPort) override;
  std::unique_ptr<Platform_DriverOutput> OpenOutput(const Platform_PortInfo& iPort) override;

  /// How often the kernel threw announcements away, since nobody read them in time. [any thread]
  std::uint64_t LostAnnouncements() const { return mLostAnnouncements.load(); }

 private:
  struct Client;

  bool OpenHandles(std::string& oReason);
  void Run();
  bool ReadAnnouncements();
  std::vector<Client> Clients();
  void AddPorts(const Client& iClient, std::vector<Platform_PortInfo>& ioPorts);
  bool Describe(const Client& iClient, Platform_PortInfo& ioPort) const;

  const std::string mSysfs;
  Platform_DriverHost* mHostP = nullptr;
  std::shared_ptr<Platform_AlsaDataClient> mDataP;
  // Guards the handle of the announcements and what is kept from one scan to the next.
  std::mutex mMutex;
  std::unique_ptr<Platform_AlsaHandle> mAnnouncementsP;
  Platform_AlsaApplications mApplications;
  std::atomic<std::uint64_t> mLostAnnouncements{0};
  int mStopDescriptor = -1;
  std::thread mThread;
};
