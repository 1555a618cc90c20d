// SPDX-License-Identifier: MIT
/// \file
/// Reads Standard MIDI Files of formats 0 and 1. The file is a stranger's: every length in it is tested
/// before it is believed, and memory stays within a fixed multiple of the file's size, itself bounded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/mlox/song/song.h"

namespace tool {

/// A fault in a song: where and why.
class SongError : public std::runtime_error {
 public:
  SongError(std::size_t iOffset, const std::string& iReason)
      : std::runtime_error(iReason), mOffset(iOffset) {}
  /// Byte in the file, from 0.
  std::size_t Offset() const { return mOffset; }

 private:
  std::size_t mOffset;
};

/// The reader. One object reads one song.
///
/// What it makes of a file:
/// - Chunks of unknown type are passed over. Chunks behind the last track that the header announces aren't
/// looked at.
/// - A chunk that claims more bytes than the file has left is a fault: the file was cut.
/// - A tempo counts for the whole song, whatever track it stands on.
/// - Running status ends at each meta event and at each F0 or F7 piece.
/// - A note-on with velocity 0 becomes a note-off with velocity 0.
/// - An F0 piece that doesn't end in 0xF7 goes on in F7 pieces; the message counts as standing where its last
/// piece
///   does. Meta events may lie between the pieces. Any other event, or the track's end, abandons the message.
/// - An F7 piece that continues nothing is sent as it stands.
/// - A track may end without its end-of-track event: then it ends with its chunk. Events behind it don't
/// count.
class SongReader {
 public:
  /// A song that is larger is refused. The largest real ones have a few megabytes.
  static constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;
  /// A song with more messages is refused: 4 million of 24 bytes bound the memory of a song of two-byte
  /// messages.
  static constexpr std::size_t kMaxMessages = 4'000'000;

  /// `iFile` is the whole file and must outlive the reader.
  explicit SongReader(std::span<const std::uint8_t> iFile) : mFile(iFile), mEnd(iFile.size()) {}

  /// Reads the song. Throws SongError. To be called once.
  Song Read();

 private:
  struct Chunk;

  std::uint8_t TakeByte();
  std::uint32_t TakeBigEndian(int iBytes);
  std::uint32_t TakeVariableLength();
  std::span<const std::uint8_t> TakeBytes(std::size_t iCount);

  Chunk TakeChunkHeader();
  void ReadHeader();
  void ReadDivision(std::size_t iOffset, std::uint32_t iDivision);
  void ReadTracks();
  void ReadTrack();
  void ReadEvent(std::uint8_t iFirst);
  void ReadMeta();
  void ReadTempo(std::span<const std::uint8_t> iData);
  void ReadSysexPiece();
  void ReadContinuation();
  void ReadChannelMessage(std::uint8_t iFirst);
  std::uint8_t TakeDataByte();

  void AbandonSysex();
  void AddMessage(SongMessageKind iKind, std::span<const std::uint8_t> iBytes);

  std::span<const std::uint8_t> mFile;
  std::size_t mPosition = 0;    ///< Next byte to read.
  std::size_t mEventStart = 0;  ///< First byte of the event being read, for faults.
  std::size_t mEnd;  ///< End of what may be read now: of the chunk within a chunk, else of the file.
  Song mSong;

  // The state of the track being read.
  std::uint32_t mTrack = 0;
  std::uint64_t mTick = 0;
  std::optional<std::uint8_t> mRunningStatus;
  std::vector<std::uint8_t>
      mOpenSysex;  ///< What came of a message that isn't finished; empty when there is none.
  bool mTrackEnded = false;
};

/// Reads the song in a file. Throws ToolError with one line: the file, the offset for faults inside it, the
/// reason.
Song ReadSongFile(const std::string& iPath);

/// The song in `iFile`, which is the content of the file called `iPath`. Throws ToolError.
Song ReadSongBytes(const std::string& iPath, std::span<const std::uint8_t> iFile);

}  // namespace tool
