// SPDX-License-Identifier: MIT
/// \file
/// The driver that needs no hardware and no server: named ports inside the process, each output wired to its
/// input.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/directmusic/driver.h"

#if !defined(_WIN32)

/// Named pairs of ports, the same for every instance of the driver. What is sent to a pair's output arrives
/// at its input at the time it was sent for. The first pairs are those of MLOX_LOOPBACK_PORTS (names, comma
/// between), or else one pair "mlox loopback". [any thread]
class Platform_LoopbackPorts {
 public:
  /// Plugs a pair in; one that is there stays as it is.
  static void Plug(const std::string& iName);
  /// Pulls a pair out: what waits in it is gone.
  static void Unplug(const std::string& iName);
  static std::vector<std::string> Names();
};

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

#endif
