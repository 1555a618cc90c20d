// SPDX-License-Identifier: MIT
/// \file
/// Messages to the outputs of one device.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_output.h"
#include "tools/mlox/ports/wirebacklog.h"
#include "tools/mlox/song/song.h"

class Mlox_Device;

namespace tool {

/// Sends each message to the channel output that its status byte names, and what belongs to no channel to the
/// common output, which imposes no channel on it.
class OutputWriter {
 public:
  /// Takes references to the device's outputs, so that it goes on, in vain, when the device has gone.
  explicit OutputWriter(Mlox_Device& ioDevice);

  /// One whole message at its time. A message longer than 256 bytes is sent at the wire's pace on this
  /// thread: the call takes its time, 320 microseconds a byte.
  void Write(const Mdie_Timestamp& iTimestamp, SongMessageKind iKind, std::span<const std::uint8_t> iBytes);

  /// All notes off, on each channel output. Never the common output: it would send resets.
  void AllNotesOff();

  /// How long before its time a message must be written, in microseconds.
  std::int64_t LeadMicroseconds();

  /// When everything that was written has left the port, however slow the device on it, and the port may be
  /// closed: a time of Sys_Clock in microseconds. At most an hour behind the last message's time.
  std::int64_t DrainedAt() const;

  /// Whether the device has an output for the channel, 0 to 15.
  bool HasChannel(int iChannel) const { return mChannels[static_cast<std::size_t>(iChannel)] != nullptr; }

 private:
  using Output = Cmn_AliasedRefCountPtr<Mlox_Output>;

  Mlox_Output* OutputFor(SongMessageKind iKind, std::uint8_t iStatus) const;

  Output mCommon;
  WireBacklog mBacklog;
  std::array<Output, 16> mChannels;
};

/// The kind of a whole message.
SongMessageKind KindOf(std::span<const std::uint8_t> iMessage);

}  // namespace tool
