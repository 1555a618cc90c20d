// SPDX-License-Identifier: MIT
// The song reader on anything: no crash, no byte outside the file, faults within it, memory within its bound;
// and so for every prefix of what it takes for a song.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "tools/mlox/render/timeline.h"
#include "tools/mlox/song/songreader.h"

namespace {

void Require(bool iHolds) {
  if (!iHolds) {
    std::abort();
  }
}

void CheckSong(const tool::Song& iSong, std::size_t iFileSize) {
  Require(iSong.mBytes.size() <= 2 * iFileSize);
  std::uint32_t track = 0;
  std::uint64_t tick = 0;
  for (const tool::SongMessage& message : iSong.mMessages) {
    Require(message.mLength > 0 && message.mOffset + std::size_t{message.mLength} <= iSong.mBytes.size());
    Require(message.mTrack >= track && message.mTrack < iSong.mTracks);
    Require(message.mTrack > track || message.mTick >= tick);
    track = message.mTrack;
    tick = message.mTick;
  }
}

void CheckTimeline(tool::Song iSong) {
  const tool::Timeline timeline(std::move(iSong), 48000, tool::Timeline::kMaxFrames);
  std::int64_t sample = 0;
  std::int8_t channel = -1;
  for (const tool::TimedMessage& message : timeline.Messages()) {
    Require(message.mSample >= sample && message.mSample < timeline.Frames());
    Require(message.mSample > sample || message.mChannel >= channel);
    sample = message.mSample;
    channel = message.mChannel;
  }
}

/// Whether the bytes are a song.
bool Read(std::span<const std::uint8_t> iFile) {
  try {
    tool::Song song = tool::SongReader(iFile).Read();
    CheckSong(song, iFile.size());
    CheckTimeline(std::move(song));
    return true;
  } catch (const tool::SongError& error) {
    Require(error.Offset() <= iFile.size());
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iDataP, std::size_t iSize) {
  const std::span<const std::uint8_t> file(iDataP, iSize);
  // Prefixes take time that grows with the square of the size: of short songs all, of longer ones none.
  constexpr std::size_t kLongestWithPrefixes = 512;
  if (Read(file) && iSize <= kLongestWithPrefixes) {
    for (std::size_t length = 0; length < iSize; ++length) {
      Read(file.first(length));
    }
  }
  return 0;
}
