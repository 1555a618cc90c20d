// SPDX-License-Identifier: MIT
/// \file
/// The driver that reaches MIDI ports through a JACK server: jackd2, or PipeWire in its place.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/directmusic/driver.h"

class Platform_JackSession;

/// The driver over one client of the server. It never starts a server. When the server goes, its ports go
/// with it, and the driver looks for a server again until it is stopped.
class Platform_JackDriver final : public Platform_Driver {
 public:
  Platform_JackDriver();
  ~Platform_JackDriver() override;
  const char* Name() const override { return "jack"; }
  bool Start(Platform_DriverHost* iHostP, std::string& oReason) override;
  void Stop() override;
  std::vector<Platform_PortInfo> Ports() override;
  std::unique_ptr<Platform_DriverInput> OpenInput(const Platform_PortInfo& iPort) override;
  std::unique_ptr<Platform_DriverOutput> OpenOutput(const Platform_PortInfo& iPort) override;

 private:
  // Shared with its thread, which must survive us when a call into libjack does not return.
  std::shared_ptr<Platform_JackSession> mSessionP;
};
