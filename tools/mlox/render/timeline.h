// SPDX-License-Identifier: MIT
/// \file
/// A song as it is played: its messages in samples, in the one order in which every way must deliver them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tools/mlox/song/song.h"

namespace tool {

/// The most writers that can play a song: one for each context that a plug-in's queue has a stream for.
constexpr int kMaxWriters = 3;

/// One message at its time. Its bytes lie in the timeline.
struct TimedMessage {
  std::int64_t mSample = 0;
  std::uint32_t mOffset = 0;
  std::uint32_t mLength = 0;
  std::int8_t mChannel = -1;  ///< 0 to 15, or -1 for a message without a channel.
  SongMessageKind mKind = SongMessageKind::kChannel;
};

/// The messages of a song and the length of what is rendered.
///
/// Order: by sample; within a sample messages without a channel first, then by channel; within these by place
/// in the file (track, then position). Writers own runs of neighbouring channels, and the merge of a
/// plug-in's queue takes the lower stream first at equal times, so this order comes out whatever the number
/// of writers.
class Timeline {
 public:
  /// The most frames that are rendered: a WAV file holds 4 GiB, which is 536 million frames of two floats.
  static constexpr std::int64_t kMaxFrames = 536'000'000;
  /// Seconds rendered behind the last message when no length is asked for.
  static constexpr std::int64_t kTailSeconds = 2;

  /// Takes the song's bytes over.
  /// \param iSampleRate  Hz.
  /// \param iFrames      length to render; messages at or behind it are left out. Without it, the last
  /// message and
  ///                     kTailSeconds. Throws ToolError when that would be more than kMaxFrames.
  Timeline(Song iSong, std::uint32_t iSampleRate, std::optional<std::int64_t> iFrames);

  const std::vector<TimedMessage>& Messages() const { return mMessages; }
  std::span<const std::uint8_t> BytesOf(const TimedMessage& iMessage) const {
    return std::span(mBytes).subspan(iMessage.mOffset, iMessage.mLength);
  }
  /// Frames to render.
  std::int64_t Frames() const { return mFrames; }
  std::uint32_t SampleRate() const { return mSampleRate; }

 private:
  std::vector<TimedMessage> mMessages;
  std::vector<std::uint8_t> mBytes;
  std::int64_t mFrames = 0;
  std::uint32_t mSampleRate;
};

/// Which of `iWriters` writers (1 to kMaxWriters) plays a channel: the writer i with floor(channel * W / 16)
/// = i, and writer 0 for -1, no channel.
int WriterOf(int iChannel, int iWriters);

}  // namespace tool
