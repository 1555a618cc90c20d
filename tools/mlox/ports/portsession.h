// SPDX-License-Identifier: MIT
/// \file
/// The hardware service as a subcommand uses it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mlox/mlox_input.h"

class Mlox_Device;
class Mlox_InputPort;
class Mlox_RawMidiReceiver;
class Platform_StudioManagement;

namespace tool {

/// The library with the hardware service active, from construction to destruction. A sample is a microsecond
/// of Sys_Clock here: time stamps hold the time at which something is due. One object at a time, on one
/// thread.
class PortSession {
 public:
  /// The first number of every id: the hardware service is the first one installed, and the only one.
  static constexpr int kServiceIndex = 1;

  /// Throws ToolError when there is no hardware service to be had.
  PortSession();
  PortSession(const PortSession&) = delete;
  PortSession& operator=(const PortSession&) = delete;
  /// Every port made by MakePort must be gone.
  ~PortSession();

  /// The output devices, in the order of their global index. Pointers hold until the next Idle.
  std::vector<Mlox_Device*> Outputs() const;
  /// The inputs, in the order of their global index.
  Mlox_InputList Inputs() const;

  /// Lets the library tell what has changed, as an application does regularly.
  void Idle() const;
  /// Idles until iIsDone says so or the time is over, in steps of at most 10 ms. True if iIsDone did.
  /// An interrupt doesn't end it: ask for it in iIsDone.
  bool IdleUntil(const std::function<bool()>& iIsDone, double iSeconds) const;
  /// Idles until a time of Sys_Clock, in microseconds, or until iIsEnough says so. Not at all when the time
  /// has passed.
  void IdleUntilTime(std::int64_t iTime, const std::function<bool()>& iIsEnough) const;

  /// The database behind the service. Throws ToolError when it is a closed one.
  Platform_StudioManagement& Management() const;

  struct PortDeleter {
    void operator()(Mlox_InputPort* iPortP) const;
  };
  /// Closes its connections before it goes.
  using Port = std::unique_ptr<Mlox_InputPort, PortDeleter>;
  /// \param iReceiverP  not owned; must outlive the port
  static Port MakePort(Mlox_RawMidiReceiver* iReceiverP);
};

}  // namespace tool
