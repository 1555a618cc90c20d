// SPDX-License-Identifier: MIT
/// \file
/// Which notes a device sounds after what was sent to it.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace tool {

/// Keys that are down and pedals that hold, by channel.
class SoundingNotes {
 public:
  /// One message on its way to the device. What belongs to no channel changes nothing.
  void Note(std::span<const std::uint8_t> iMessage);

  /// The messages that end every note: a note-off for each note-on that has none, then the pedals up.
  std::vector<std::array<std::uint8_t, 3>> Releases() const;

 private:
  struct Channel {
    std::array<int, 128> mDown{};
    bool mIsSustained = false;
    bool mIsSostenuto = false;
  };
  static void NoteController(Channel& ioChannel, std::uint8_t iNumber, std::uint8_t iValue);

  std::array<Channel, 16> mChannels;
};

}  // namespace tool
