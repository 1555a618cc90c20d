// SPDX-License-Identifier: MIT
/// \file
/// A Standard MIDI File in memory: its messages, its tempo changes and its time base, as the file holds them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tool {

/// How a message of a song travels.
enum class SongMessageKind : std::uint8_t {
  kChannel,  ///< Status 0x80 to 0xEF with its data bytes.
  kSysex,    ///< A whole system exclusive message, from 0xF0 to 0xF7.
  kRaw,      ///< Bytes of an F7 piece that continues nothing: sent as they stand.
};

/// One message. Its bytes lie in Song::mBytes.
struct SongMessage {
  std::uint64_t mTick = 0;    ///< Ticks from the start of the song.
  std::uint32_t mTrack = 0;   ///< From 0, in the order of the file.
  std::uint32_t mOffset = 0;  ///< First byte in Song::mBytes.
  std::uint32_t mLength = 0;  ///< Bytes, at least 1.
  SongMessageKind mKind = SongMessageKind::kChannel;
};

/// A change of tempo, whatever track it stood on.
struct SongTempo {
  std::uint64_t mTick = 0;
  std::uint32_t mMicrosecondsPerQuarter = 500000;
};

/// What a tick is: a part of a quarter note, or of a frame of film.
struct SongDivision {
  bool mIsSmpte = false;
  std::uint32_t mTicksPerQuarter = 96;  ///< Metrical songs, at least 1.
  std::uint32_t mFrameRate = 25;        ///< SMPTE songs: 24, 25, 29 (which is 30000/1001 a second) or 30.
  std::uint32_t mTicksPerFrame = 40;    ///< SMPTE songs, at least 1.
};

/// A song. Messages stand in the order of the file: track by track, and by position within each.
struct Song {
  std::uint32_t mFormat = 0;  ///< 0 or 1.
  std::uint32_t mTracks = 0;
  SongDivision mDivision;
  std::vector<SongMessage> mMessages;
  std::vector<SongTempo>
      mTempos;  ///< By tick; equal ticks in the order of the file, the last of them counts.
  std::vector<std::uint8_t> mBytes;
  std::uint32_t mUnfinishedSysexes = 0;  ///< System exclusive messages that never got their 0xF7, left out.

  /// The bytes of a message of this song. They live as long as the song and until it is changed.
  std::span<const std::uint8_t> BytesOf(const SongMessage& iMessage) const {
    return std::span(mBytes).subspan(iMessage.mOffset, iMessage.mLength);
  }
};

}  // namespace tool
