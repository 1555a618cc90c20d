// SPDX-License-Identifier: MIT
/// \file
/// Builds Standard MIDI Files byte by byte, for tests. It checks nothing: broken files are what it is for.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

/// Bytes of a file.
using Test_Bytes = std::vector<std::uint8_t>;

/// All parts, one behind the other.
inline Test_Bytes Test_Join(std::initializer_list<Test_Bytes> iParts) {
  Test_Bytes all;
  for (const Test_Bytes& part : iParts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

/// A chunk of a type, with a length that need not be true.
inline Test_Bytes Test_ChunkClaiming(std::string_view iType, std::uint32_t iLength, const Test_Bytes& iBody) {
  Test_Bytes chunk(iType.begin(), iType.end());
  for (int shift = 24; shift >= 0; shift -= 8) {
    chunk.push_back(static_cast<std::uint8_t>(iLength >> shift));
  }
  chunk.insert(chunk.end(), iBody.begin(), iBody.end());
  return chunk;
}

/// A chunk with its true length.
inline Test_Bytes Test_Chunk(std::string_view iType, const Test_Bytes& iBody) {
  return Test_ChunkClaiming(iType, static_cast<std::uint32_t>(iBody.size()), iBody);
}

/// The header chunk.
inline Test_Bytes Test_SongHeader(std::uint16_t iFormat, std::uint16_t iTracks, std::uint16_t iDivision) {
  Test_Bytes body;
  for (const std::uint16_t value : {iFormat, iTracks, iDivision}) {
    body.push_back(static_cast<std::uint8_t>(value >> 8));
    body.push_back(static_cast<std::uint8_t>(value & 0xFF));
  }
  return Test_Chunk("MThd", body);
}

/// A track: the given events, then an end-of-track event at once.
inline Test_Bytes Test_Track(const Test_Bytes& iEvents) {
  return Test_Chunk("MTrk", Test_Join({iEvents, {0x00, 0xFF, 0x2F, 0x00}}));
}

/// A song of format 0 with 96 ticks a quarter note.
inline Test_Bytes Test_OneTrackSong(const Test_Bytes& iEvents) {
  return Test_Join({Test_SongHeader(0, 1, 96), Test_Track(iEvents)});
}
