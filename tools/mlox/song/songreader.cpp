// SPDX-License-Identifier: MIT
#include "tools/mlox/song/songreader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

constexpr std::uint32_t kTrackType = 0x4D54726B;  // "MTrk"
constexpr std::uint8_t kMetaEvent = 0xFF;
constexpr std::uint8_t kMetaEndOfTrack = 0x2F;
constexpr std::uint8_t kMetaTempo = 0x51;
constexpr std::uint8_t kSysexStart = 0xF0;
constexpr std::uint8_t kSysexEnd = 0xF7;

bool IsStatus(std::uint8_t iByte) { return iByte >= 0x80; }

bool IsChannelStatus(std::uint8_t iByte) { return iByte >= 0x80 && iByte < 0xF0; }

/// Program change and channel pressure have one data byte, all other channel messages two.
std::size_t DataBytesOf(std::uint8_t iStatus) {
  const int command = iStatus & 0xF0;
  return command == 0xC0 || command == 0xD0 ? 1 : 2;
}

using FileHandle = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::vector<std::uint8_t> ReadWholeFile(const std::string& iPath) {
  const FileHandle file(std::fopen(iPath.c_str(), "rb"), &std::fclose);
  if (!file) {
    throw ToolError(fmt::format("{}: cannot open: {}", iPath, std::strerror(errno)));
  }
  std::vector<std::uint8_t> content;
  std::array<std::uint8_t, 65536> part{};
  while (const std::size_t count = std::fread(part.data(), 1, part.size(), file.get())) {
    content.insert(content.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(count));
    if (content.size() > SongReader::kMaxFileBytes) {
      throw ToolError(fmt::format("{}: byte {}: larger than the {} MiB that a song may have", iPath,
                                  SongReader::kMaxFileBytes, SongReader::kMaxFileBytes >> 20));
    }
  }
  if (std::ferror(file.get())) {
    throw ToolError(fmt::format("{}: byte {}: cannot read: {}", iPath, content.size(), std::strerror(errno)));
  }
  return content;
}

}  // namespace

/// The head of a chunk.
struct SongReader::Chunk {
  std::size_t mOffset;  ///< Where the head stands.
  std::uint32_t mType;
  std::uint32_t mLength;  ///< Bytes behind the head, all of them in the file.
};

// ---- reading of parts ----

std::uint8_t SongReader::TakeByte() {
  if (mPosition >= mEnd) {
    throw SongError(mPosition, mEnd == mFile.size() ? "the file ends inside an event"
                                                    : "the track's chunk ends inside an event");
  }
  return mFile[mPosition++];
}

std::uint32_t SongReader::TakeBigEndian(int iBytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < iBytes; ++i) {
    value = (value << 8) | TakeByte();
  }
  return value;
}

std::uint32_t SongReader::TakeVariableLength() {
  const std::size_t start = mPosition;
  std::uint32_t value = 0;
  // Four bytes of seven bits are the largest number that the format allows.
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t byte = TakeByte();
    value = (value << 7) | (byte & 0x7Fu);
    if (!IsStatus(byte)) {
      return value;
    }
  }
  throw SongError(start, "a variable-length number has more than four bytes");
}

std::span<const std::uint8_t> SongReader::TakeBytes(std::size_t iCount) {
  if (iCount > mEnd - mPosition) {
    throw SongError(mPosition,
                    fmt::format("an event of {} bytes where {} are left", iCount, mEnd - mPosition));
  }
  const auto bytes = mFile.subspan(mPosition, iCount);
  mPosition += iCount;
  return bytes;
}

std::uint8_t SongReader::TakeDataByte() {
  const std::size_t offset = mPosition;
  const std::uint8_t byte = TakeByte();
  if (IsStatus(byte)) {
    throw SongError(offset, fmt::format("status byte 0x{:02X} where a data byte is due", byte));
  }
  return byte;
}

// ---- chunks ----

SongReader::Chunk SongReader::TakeChunkHeader() {
  const std::size_t offset = mPosition;
  if (mFile.size() - offset < 8) {
    throw SongError(offset,
                    fmt::format("the file ends where a chunk is due ({} of 8 bytes)", mFile.size() - offset));
  }
  mEnd = mFile.size();
  const std::uint32_t type = TakeBigEndian(4);
  const std::uint32_t length = TakeBigEndian(4);
  if (length > mFile.size() - mPosition) {
    throw SongError(offset, fmt::format("a chunk of {} bytes where the file has {} left", length,
                                        mFile.size() - mPosition));
  }
  return {offset, type, length};
}

void SongReader::ReadHeader() {
  constexpr std::array<std::uint8_t, 4> kMagic = {'M', 'T', 'h', 'd'};
  const std::size_t compared = std::min(mFile.size(), kMagic.size());
  if (compared == 0) {
    throw SongError(0, "the file is empty");
  }
  if (!std::equal(kMagic.begin(), kMagic.begin() + compared, mFile.begin())) {
    throw SongError(0, "not a Standard MIDI File: it doesn't begin with \"MThd\"");
  }
  const Chunk chunk = TakeChunkHeader();
  if (chunk.mLength < 6) {
    throw SongError(chunk.mOffset, fmt::format("a header of {} bytes; it has at least 6", chunk.mLength));
  }
  const std::size_t body = mPosition;
  mSong.mFormat = TakeBigEndian(2);
  if (mSong.mFormat > 1) {
    throw SongError(body, fmt::format("format {}; only formats 0 and 1 can be played", mSong.mFormat));
  }
  mSong.mTracks = TakeBigEndian(2);
  if (mSong.mTracks == 0) {
    throw SongError(body + 2, "the header announces no track");
  }
  if (mSong.mFormat == 0 && mSong.mTracks != 1) {
    throw SongError(body + 2, fmt::format("format 0 has one track; the header announces {}", mSong.mTracks));
  }
  ReadDivision(body + 4, TakeBigEndian(2));
  // Later formats may lengthen the header. What they add isn't ours.
  mPosition = body + chunk.mLength;
}

void SongReader::ReadDivision(std::size_t iOffset, std::uint32_t iDivision) {
  SongDivision& division = mSong.mDivision;
  division.mIsSmpte = (iDivision & 0x8000) != 0;
  if (!division.mIsSmpte) {
    division.mTicksPerQuarter = iDivision;
    if (iDivision == 0) {
      throw SongError(iOffset, "a division of 0 ticks a quarter note");
    }
    return;
  }
  // The upper byte is the frame rate as a negative number in two's complement.
  division.mFrameRate = 0x100 - (iDivision >> 8);
  division.mTicksPerFrame = iDivision & 0xFF;
  constexpr std::array<std::uint32_t, 4> kRates = {24, 25, 29, 30};
  if (std::find(kRates.begin(), kRates.end(), division.mFrameRate) == kRates.end()) {
    throw SongError(
        iOffset, fmt::format("{} SMPTE frames a second; there are 24, 25, 29 and 30", division.mFrameRate));
  }
  if (division.mTicksPerFrame == 0) {
    throw SongError(iOffset + 1, "a division of 0 ticks a frame");
  }
}

void SongReader::ReadTracks() {
  while (mTrack < mSong.mTracks) {
    if (mPosition == mFile.size()) {
      throw SongError(mPosition, fmt::format("the header announces {} tracks, the file ends after {}",
                                             mSong.mTracks, mTrack));
    }
    const Chunk chunk = TakeChunkHeader();
    const std::size_t end = mPosition + chunk.mLength;
    if (chunk.mType == kTrackType) {
      mEnd = end;
      ReadTrack();
      ++mTrack;
    }
    mPosition = end;
  }
}

void SongReader::ReadTrack() {
  mTick = 0;
  mRunningStatus.reset();
  mTrackEnded = false;
  while (mPosition < mEnd && !mTrackEnded) {
    mEventStart = mPosition;
    mTick += TakeVariableLength();
    mEventStart = mPosition;
    ReadEvent(TakeByte());
  }
  AbandonSysex();
}

// ---- events ----

void SongReader::ReadEvent(std::uint8_t iFirst) {
  if (iFirst == kMetaEvent) {
    return ReadMeta();
  }
  if (iFirst == kSysexStart) {
    return ReadSysexPiece();
  }
  if (iFirst == kSysexEnd) {
    return ReadContinuation();
  }
  if (IsStatus(iFirst) && !IsChannelStatus(iFirst)) {
    throw SongError(mEventStart, fmt::format("status byte 0x{:02X}, which a song can't hold", iFirst));
  }
  ReadChannelMessage(iFirst);
}

void SongReader::ReadMeta() {
  mRunningStatus.reset();
  const std::uint8_t type = TakeByte();
  const std::uint32_t length = TakeVariableLength();
  const auto data = TakeBytes(length);
  if (type == kMetaEndOfTrack) {
    mTrackEnded = true;
  }
  if (type == kMetaTempo) {
    ReadTempo(data);
  }
}

void SongReader::ReadTempo(std::span<const std::uint8_t> iData) {
  if (iData.size() != 3) {
    throw SongError(mEventStart, fmt::format("a tempo of {} bytes; it has 3", iData.size()));
  }
  const std::uint32_t tempo = (std::uint32_t{iData[0]} << 16) | (std::uint32_t{iData[1]} << 8) | iData[2];
  if (tempo == 0) {
    throw SongError(mEventStart, "a tempo of 0 microseconds a quarter note");
  }
  mSong.mTempos.push_back({mTick, tempo});
}

void SongReader::ReadSysexPiece() {
  mRunningStatus.reset();
  AbandonSysex();
  const std::uint32_t length = TakeVariableLength();
  const auto data = TakeBytes(length);
  mOpenSysex.push_back(kSysexStart);
  mOpenSysex.insert(mOpenSysex.end(), data.begin(), data.end());
  if (!data.empty() && data.back() == kSysexEnd) {
    AddMessage(SongMessageKind::kSysex, mOpenSysex);
    mOpenSysex.clear();
  }
}

void SongReader::ReadContinuation() {
  mRunningStatus.reset();
  const std::uint32_t length = TakeVariableLength();
  const auto data = TakeBytes(length);
  if (data.empty()) {
    return;
  }
  if (mOpenSysex.empty()) {
    AddMessage(SongMessageKind::kRaw, data);
    return;
  }
  mOpenSysex.insert(mOpenSysex.end(), data.begin(), data.end());
  if (data.back() == kSysexEnd) {
    AddMessage(SongMessageKind::kSysex, mOpenSysex);
    mOpenSysex.clear();
  }
}

void SongReader::ReadChannelMessage(std::uint8_t iFirst) {
  AbandonSysex();
  if (IsStatus(iFirst)) {
    mRunningStatus = iFirst;
  } else if (mRunningStatus) {
    --mPosition;  // the byte was the first data byte
  } else {
    throw SongError(mEventStart, fmt::format("data byte 0x{:02X} without a running status", iFirst));
  }
  std::array<std::uint8_t, 3> bytes = {*mRunningStatus, 0, 0};
  const std::size_t dataBytes = DataBytesOf(bytes[0]);
  for (std::size_t i = 1; i <= dataBytes; ++i) {
    bytes[i] = TakeDataByte();
  }
  const bool isSilentNoteOn = (bytes[0] & 0xF0) == 0x90 && bytes[2] == 0;
  if (isSilentNoteOn) {
    bytes[0] = static_cast<std::uint8_t>(0x80 | (bytes[0] & 0x0F));
  }
  AddMessage(SongMessageKind::kChannel, std::span(bytes).first(dataBytes + 1));
}

void SongReader::AbandonSysex() {
  if (!mOpenSysex.empty()) {
    mOpenSysex.clear();
    ++mSong.mUnfinishedSysexes;
  }
}

void SongReader::AddMessage(SongMessageKind iKind, std::span<const std::uint8_t> iBytes) {
  if (mSong.mMessages.size() >= kMaxMessages) {
    throw SongError(mEventStart, fmt::format("more than {} messages", kMaxMessages));
  }
  mSong.mMessages.push_back({mTick, mTrack, static_cast<std::uint32_t>(mSong.mBytes.size()),
                             static_cast<std::uint32_t>(iBytes.size()), iKind});
  mSong.mBytes.insert(mSong.mBytes.end(), iBytes.begin(), iBytes.end());
}

// ---- the whole ----

Song SongReader::Read() {
  ReadHeader();
  ReadTracks();
  std::stable_sort(mSong.mTempos.begin(), mSong.mTempos.end(),
                   [](const SongTempo& iA, const SongTempo& iB) { return iA.mTick < iB.mTick; });
  return std::move(mSong);
}

Song ReadSongFile(const std::string& iPath) { return ReadSongBytes(iPath, ReadWholeFile(iPath)); }

Song ReadSongBytes(const std::string& iPath, std::span<const std::uint8_t> iFile) {
  try {
    return SongReader(iFile).Read();
  } catch (const SongError& error) {
    throw ToolError(fmt::format("{}: byte {}: {}", iPath, error.Offset(), error.what()));
  }
}

}  // namespace tool
