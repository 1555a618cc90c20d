// SPDX-License-Identifier: MIT
/// \file
/// Messages to the outputs of one device.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "mdid/mdie_timestamp.h"
#include "mlox/mlox_persistentoutput.h"
#include "tools/mlox/ports/wirebacklog.h"
#include "tools/mlox/song/song.h"

class Mlox_Device;
class Mlox_Output;

namespace tool {

class PortSession;

/// Sends each message to the channel output that its status byte names, and what belongs to no channel to the
/// common output, which imposes no channel on it.
class OutputWriter {
 public:
  /// Keeps saved references to the device's outputs: once the device has gone, messages are counted as lost
  /// until FindAgain has found it, or what has come in its place.
  explicit OutputWriter(Mlox_Device& ioDevice);

  /// One whole message at its time. A message longer than 256 bytes is sent at the wire's pace on this
  /// thread: the call takes its time, 320 microseconds a byte.
  void Write(const Mdie_Timestamp& iTimestamp, SongMessageKind iKind, std::span<const std::uint8_t> iBytes);

  /// The same on the session's thread, which idles meanwhile: what is sent at the wire's pace is written by a
  /// thread of its own, and an interrupt cuts it at its next piece. False if it was cut.
  /// \param iLookOn  called meanwhile, some hundred times a second
  bool WriteIdling(const PortSession& iSession, const Mdie_Timestamp& iTimestamp, SongMessageKind iKind,
                   std::span<const std::uint8_t> iBytes, const std::function<void()>& iLookOn);

  /// Whether the device is there. Where it isn't, looks first whether the lists, as the session's last Idle
  /// left them, have it again. On the session's thread, while nobody writes.
  bool FindAgain();

  /// How many messages fell into gaps in which the device was away: those written meanwhile, and those that
  /// were written before but not due when its going was noticed.
  std::size_t Lost() const { return mLost; }

  /// How often the device's going was noticed.
  std::size_t Gaps() const { return mGaps; }

  /// All notes off, on each channel output. Never the common output: it would send resets.
  void AllNotesOff();

  /// How long before its time a message must be written, in microseconds.
  std::int64_t LeadMicroseconds();

  /// When everything that was written has left the port, however slow the device on it, and the port may be
  /// closed: a time of Sys_Clock in microseconds. At most an hour behind the last message's time.
  std::int64_t DrainedAt() const;

  /// The same for what was written and so many bytes more, if they are written from now on. No hour limits
  /// it.
  std::int64_t DrainedWith(std::size_t iBytes) const;

  /// Whether the device has an output for the channel, 0 to 15.
  bool HasChannel(int iChannel) const { return mChannels[static_cast<std::size_t>(iChannel)].IsNotNull(); }

 private:
  const Mlox_PersistentOutput& ReferenceFor(SongMessageKind iKind, std::uint8_t iStatus) const;
  Cmn_AliasedRefCountPtr<Mlox_Output> TakeOutput(SongMessageKind iKind, std::span<const std::uint8_t> iBytes);
  void WriteTo(Mlox_Output& ioOutput, const Mdie_Timestamp& iTimestamp, SongMessageKind iKind,
               std::span<const std::uint8_t> iBytes);
  void NoteWritten(Mlox_Output& ioOutput, std::size_t iBytes);
  void NoteGoing();

  Mlox_PersistentOutput mCommon;
  std::array<Mlox_PersistentOutput, 16> mChannels;
  WireBacklog mBacklog;
  std::deque<std::int64_t> mAhead;  // when short messages that were written are due
  std::size_t mLost = 0;
  std::size_t mGaps = 0;
  bool mIsAway = false;
};

/// The kind of a whole message.
SongMessageKind KindOf(std::span<const std::uint8_t> iMessage);

}  // namespace tool
