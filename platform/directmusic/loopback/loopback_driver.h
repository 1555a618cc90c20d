// SPDX-License-Identifier: MIT
/// \file
/// The driver that needs no hardware and no server: named ports inside the process, each output wired to its
/// input.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/directmusic/driver.h"
#include "platform/directmusic/loopback/loopbackports.h"

#if !defined(_WIN32)

/// The driver over Platform_LoopbackPorts.
class Platform_LoopbackDriver final : public Platform_Driver {
 public:
  ~Platform_LoopbackDriver() override;
  const char* Name() const override { return "loopback"; }
  bool Start(Platform_DriverHost* iHostP, std::string& oReason) override;
  void Stop() override;
  std::vector<Platform_PortInfo> Ports() override;
  std::unique_ptr<Platform_DriverInput> OpenInput(const Platform_PortInfo& iPort) override;
  std::unique_ptr<Platform_DriverOutput> OpenOutput(const Platform_PortInfo& iPort) override;

 private:
  Platform_DriverHost* mHostP = nullptr;
};

/// Plugs a pair in that stands for a card with that serial number, in the socket that its name tells. For
/// tests; it is pulled out as every pair. [any thread]
void Platform_PlugLoopbackCard(const std::string& iName, const std::string& iSerial);

#endif
