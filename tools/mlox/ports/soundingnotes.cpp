// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/soundingnotes.h"

#include <algorithm>
#include <cstddef>

namespace tool {

namespace {

constexpr std::uint8_t kSustain = 64;
constexpr std::uint8_t kSostenuto = 66;
constexpr std::uint8_t kAllSoundOff = 120;
constexpr std::uint8_t kResetControllers = 121;
constexpr std::uint8_t kAllNotesOff = 123;
constexpr std::uint8_t kPedalDown = 64;
constexpr std::uint8_t kReleaseVelocity = 64;

}  // namespace

void SoundingNotes::NoteController(Channel& ioChannel, std::uint8_t iNumber, std::uint8_t iValue) {
  if (iNumber == kSustain) ioChannel.mIsSustained = iValue >= kPedalDown;
  if (iNumber == kSostenuto) ioChannel.mIsSostenuto = iValue >= kPedalDown;
  if (iNumber == kResetControllers) ioChannel.mIsSustained = ioChannel.mIsSostenuto = false;
  // The modes from 124 on turn all notes off, too.
  if (iNumber == kAllSoundOff || iNumber >= kAllNotesOff) ioChannel.mDown.fill(0);
}

void SoundingNotes::Happen(Channels& ioChannels, const Message& iMessage) {
  Channel& channel = ioChannels[iMessage[0] & 0x0Fu];
  int& down = channel.mDown[iMessage[1] & 0x7Fu];
  switch (iMessage[0] & 0xF0) {
    case 0x90:
      if (iMessage[2] != 0) {
        ++down;
        break;
      }
      [[fallthrough]];
    case 0x80:
      if (down > 0) --down;
      break;
    case 0xB0:
      NoteController(channel, iMessage[1], iMessage[2]);
      break;
    default:
      break;
  }
}

void SoundingNotes::Note(std::span<const std::uint8_t> iMessage, std::int64_t iDue) {
  if (iMessage.size() == 3) mAhead.push_back({{iMessage[0], iMessage[1], iMessage[2]}, iDue});
}

void SoundingNotes::Settle(std::int64_t iTime) {
  for (; !mAhead.empty() && mAhead.front().mDue <= iTime; mAhead.pop_front()) {
    Happen(mSettled, mAhead.front().mMessage);
  }
}

void SoundingNotes::Lose(std::int64_t iNow) {
  Channels before = mSettled;
  for (const Timed& timed : mAhead) {
    if (timed.mDue > iNow) break;
    Happen(before, timed.mMessage);
    const std::size_t index = timed.mMessage[0] & 0x0Fu;
    const Channel& channel = before[index];
    Channel& most = mSettled[index];
    for (std::size_t key = 0; key < channel.mDown.size(); ++key) {
      most.mDown[key] = std::max(most.mDown[key], channel.mDown[key]);
    }
    most.mIsSustained |= channel.mIsSustained;
    most.mIsSostenuto |= channel.mIsSostenuto;
  }
  mAhead.clear();
}

std::vector<SoundingNotes::Message> SoundingNotes::Releases() const {
  Channels channels = mSettled;
  for (const Timed& timed : mAhead) Happen(channels, timed.mMessage);
  std::vector<Message> releases;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const Channel& channel = channels[i];
    const auto off = static_cast<std::uint8_t>(0x80 | i);
    const auto controller = static_cast<std::uint8_t>(0xB0 | i);
    for (std::size_t key = 0; key < channel.mDown.size(); ++key) {
      for (int count = channel.mDown[key]; count > 0; --count) {
        releases.push_back({off, static_cast<std::uint8_t>(key), kReleaseVelocity});
      }
    }
    if (channel.mIsSustained) releases.push_back({controller, kSustain, 0});
    if (channel.mIsSostenuto) releases.push_back({controller, kSostenuto, 0});
  }
  return releases;
}

std::vector<SoundingNotes::Message> SoundingNotes::PedalReleases() const {
  std::vector<Message> releases = Releases();
  std::erase_if(releases, [](const Message& iMessage) { return (iMessage[0] & 0xF0) != 0xB0; });
  return releases;
}

}  // namespace tool
