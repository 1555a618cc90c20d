// SPDX-License-Identifier: MIT
#include "tools/mlox/render/timeline.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "tools/mlox/song/songclock.h"
#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

std::int8_t ChannelOf(const Song& iSong, const SongMessage& iMessage) {
  if (iMessage.mKind != SongMessageKind::kChannel) {
    return -1;
  }
  return static_cast<std::int8_t>(iSong.mBytes[iMessage.mOffset] & 0x0F);
}

std::vector<TimedMessage> TimeMessages(const Song& iSong, std::uint32_t iSampleRate) {
  const SongClock clock(iSong, iSampleRate);
  std::vector<TimedMessage> messages;
  messages.reserve(iSong.mMessages.size());
  for (const SongMessage& message : iSong.mMessages) {
    messages.push_back({clock.SampleAt(message.mTick), message.mOffset, message.mLength,
                        ChannelOf(iSong, message), message.mKind});
  }
  return messages;
}

std::int64_t FramesToTheEnd(const std::vector<TimedMessage>& iMessages, std::uint32_t iSampleRate) {
  const std::int64_t last = iMessages.empty() ? 0 : iMessages.back().mSample;
  const std::int64_t frames = last + Timeline::kTailSeconds * iSampleRate;
  if (frames > Timeline::kMaxFrames) {
    throw ToolError(
        fmt::format("the song lasts {:.0f} seconds, a WAV file holds {}; --seconds renders a part",
                    static_cast<double>(frames) / iSampleRate, Timeline::kMaxFrames / iSampleRate));
  }
  return frames;
}

}  // namespace

Timeline::Timeline(Song iSong, std::uint32_t iSampleRate, std::optional<std::int64_t> iFrames)
    : mMessages(TimeMessages(iSong, iSampleRate)), mBytes(std::move(iSong.mBytes)), mSampleRate(iSampleRate) {
  // The song's messages stand in the order of the file, which a stable sort keeps where all else is equal.
  std::stable_sort(mMessages.begin(), mMessages.end(), [](const TimedMessage& iA, const TimedMessage& iB) {
    return std::tie(iA.mSample, iA.mChannel) < std::tie(iB.mSample, iB.mChannel);
  });
  mFrames = iFrames ? *iFrames : FramesToTheEnd(mMessages, iSampleRate);
  const auto end =
      std::partition_point(mMessages.begin(), mMessages.end(),
                           [this](const TimedMessage& iMessage) { return iMessage.mSample < mFrames; });
  mMessages.erase(end, mMessages.end());
}

int WriterOf(int iChannel, int iWriters) { return iChannel < 0 ? 0 : iChannel * iWriters / 16; }

}  // namespace tool
