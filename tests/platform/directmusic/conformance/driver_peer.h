// SPDX-License-Identifier: MIT
/// \file
/// What stands on the other side of a driver in the conformance suite: a program or a system that a driver's
/// ports lead to, which sends, records and, where it can, unplugs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/directmusic/driver.h"

using Test_MidiBytes = std::vector<std::uint8_t>;

/// One message, or one piece of a system exclusive message, that the peer heard.
struct Test_Heard {
  std::int64_t mTime = 0;  ///< when it sounded, in microseconds of Sys_Clock; 0 when the peer can't tell
  Test_MidiBytes mBytes;
};

/// The other side. It has one port that sends to an input of the driver's, and one that records what an
/// output of the driver's plays. One instance a test; whatever it starts ends with it, also when the test is
/// killed.
class Test_DriverPeer {
 public:
  virtual ~Test_DriverPeer() = default;

  /// Starts what the driver needs and both ports. \returns why that can't be had, for people; empty when all
  /// runs.
  virtual std::string Start() = 0;
  /// A driver that has not been started.
  virtual std::unique_ptr<Platform_Driver> NewDriver() = 0;

  /// Whether a port of the driver's list is the one that the peer sends to; it is an input.
  virtual bool IsSource(const Platform_PortInfo& iPort) const = 0;
  /// Whether a port of the driver's list is the one that the peer records; it is an output.
  virtual bool IsSink(const Platform_PortInfo& iPort) const = 0;

  /// Sends one whole message, or one piece of a system exclusive message of at most MaxPiece bytes, behind
  /// all sent before. Waits while the way is full; false when it can't be sent at all.
  virtual bool Send(const Test_MidiBytes& iBytes) = 0;
  virtual std::size_t MaxPiece() const = 0;

  /// All that was heard since Start, oldest first.
  virtual std::vector<Test_Heard> Heard() = 0;

  /// How much before the time asked for the peer's own stamps may lie, in microseconds: what its clock can't
  /// tell apart.
  virtual std::int64_t Blur() const = 0;

  /// \name Hot-plug
  /// @{
  virtual bool CanUnplug() const { return false; }
  /// Takes both ports away.
  virtual void Unplug() {}
  /// Brings them back under the same address.
  virtual void Plug() {}
  /// @}
};
