// SPDX-License-Identifier: MIT
/// \file
/// Which notes a device sounds after what was sent to it.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace tool {

/// Keys that are down and pedals that hold, by channel. All times are of one clock.
class SoundingNotes {
 public:
  using Message = std::array<std::uint8_t, 3>;

  /// One message on its way to the device, where it happens at a time no earlier than those before. What
  /// belongs to no channel changes nothing.
  void Note(std::span<const std::uint8_t> iMessage, std::int64_t iDue);

  /// What is due by then has happened, whatever becomes of the device.
  void Settle(std::int64_t iTime);

  /// The device has gone, at some moment after what is settled and not after iNow: whatever may have been
  /// down at that moment is down from now on, and what is due later never happens.
  void Lose(std::int64_t iNow);

  /// The messages that end every note when all that is on its way has happened: by channel, a note-off for
  /// each note-on that has none, then the pedals up.
  std::vector<Message> Releases() const;

  /// Those of the releases that lift pedals.
  std::vector<Message> PedalReleases() const;

 private:
  struct Channel {
    std::array<int, 128> mDown{};
    bool mIsSustained = false;
    bool mIsSostenuto = false;
  };
  using Channels = std::array<Channel, 16>;
  struct Timed {
    Message mMessage;
    std::int64_t mDue;
  };
  static void NoteController(Channel& ioChannel, std::uint8_t iNumber, std::uint8_t iValue);
  static void Happen(Channels& ioChannels, const Message& iMessage);

  Channels mSettled;
  std::deque<Timed> mAhead;
};

}  // namespace tool
