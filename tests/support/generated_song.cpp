// SPDX-License-Identifier: MIT
#include "tests/support/generated_song.h"

#include <initializer_list>

namespace {

using Byte = std::uint8_t;

/// Appends events to a track. Deltas are in ticks.
class TrackBuilder {
 public:
  TrackBuilder& Event(std::uint32_t iDelta, std::initializer_list<int> iBytes) {
    Number(iDelta);
    for (const int byte : iBytes) {
      mBytes.push_back(static_cast<Byte>(byte));
    }
    return *this;
  }

  /// An F0 or F7 piece.
  TrackBuilder& Piece(std::uint32_t iDelta, int iKind, const Test_Bytes& iData) {
    Event(iDelta, {iKind});
    Number(static_cast<std::uint32_t>(iData.size()));
    mBytes.insert(mBytes.end(), iData.begin(), iData.end());
    return *this;
  }

  Test_Bytes Track() const { return Test_Track(mBytes); }

 private:
  void Number(std::uint32_t iValue) {
    for (int shift = 21; shift > 0; shift -= 7) {
      if (iValue >> shift != 0) {
        mBytes.push_back(static_cast<Byte>(0x80 | ((iValue >> shift) & 0x7F)));
      }
    }
    mBytes.push_back(static_cast<Byte>(iValue & 0x7F));
  }

  Test_Bytes mBytes;
};

/// What follows 0xF0 in a message of a maker that no synthesizer here knows (0x7D is for experiments).
Test_Bytes SysexBody(std::size_t iLength) {
  Test_Bytes body(iLength, 0x7D);
  for (std::size_t i = 1; i < iLength; ++i) {
    body[i] = static_cast<Byte>(i * 5 & 0x7F);
  }
  return body;
}

Test_Bytes EndedSysexBody(std::size_t iLength) {
  Test_Bytes body = SysexBody(iLength);
  body.push_back(0xF7);
  return body;
}

/// System exclusive of lengths around every bound that matters to the library: what fits in an event, in one
/// chunk of 256 bytes, in none.
Test_Bytes SystemTrack() {
  TrackBuilder track;
  track.Piece(0, 0xF0, {0x7E, 0x7F, 0x09, 0x01, 0xF7});
  for (const std::size_t length : std::initializer_list<std::size_t>{1, 2, 75, 76, 77, 78, 79, 127, 128, 254,
                                                                     255, 256, 257, 1000, 20000}) {
    track.Piece(20, 0xF0, EndedSysexBody(length));
  }
  track.Piece(0, 0xF0, SysexBody(40)).Piece(10, 0xF7, SysexBody(100)).Piece(10, 0xF7, EndedSysexBody(200));
  track.Piece(5, 0xF7, {0xF3, 0x01})
      .Piece(0, 0xF7, {0xF8})
      .Piece(0, 0xF7, SysexBody(78))
      .Piece(0, 0xF7, SysexBody(79));
  track.Piece(0, 0xF7, {0x9A, 64, 100, 0x8A, 64, 0});
  return track.Track();
}

/// Chords on every channel at one tick, again and again, with poly pressure and the ends of all ranges
/// between.
Test_Bytes ChordTrack() {
  TrackBuilder track;
  track.Event(0, {0xFF, 0x51, 0x03, 0x06, 0x1A, 0x80});
  for (int round = 0; round < 12; ++round) {
    const std::uint32_t pause = round == 0 ? 0 : 60;
    track.Event(pause, {0xFF, 0x51, 0x03, 0x07, 0xA1 - round, 0x20});
    for (int channel = 15; channel >= 0; --channel) {
      track.Event(0, {0xC0 | channel, (round * 11 + channel) & 0x7F});
      track.Event(0, {0xE0 | channel, round % 2 * 0x7F, round % 3 * 0x3F});
      track.Event(0, {0xD0 | channel, round % 2 * 0x7F});
      for (int note = 0; note < 6; ++note) {
        const int pitch = 36 + note * 5 + round;
        track.Event(0, {0x90 | channel, pitch, 1 + (note * 25 + round) % 127});
        track.Event(0, {0xA0 | channel, pitch, (note * 21 + channel) & 0x7F});
      }
      track.Event(0, {0x90 | channel, 127, 127}).Event(0, {0x80 | channel, 127, 127});
      track.Event(0, {0x90 | channel, 0, 1}).Event(0, {0x90 | channel, 0, 0});
    }
    track.Event(40, {0xFF, 0x01, 0x02, 'h', 'i'});
    for (int channel = 0; channel < 16; ++channel) {
      track.Event(0, {0xB0 | channel, 123, round % 2});
    }
  }
  return track.Track();
}

Test_Bytes ControllerTrack() {
  TrackBuilder track;
  for (int number = 0; number < 128; ++number) {
    for (int channel = 0; channel < 16; ++channel) {
      track.Event(channel == 0 ? 4 : 0, {0xB0 | channel, number, (number + channel * 8) & 0x7F});
    }
  }
  track.Event(20, {0x90, 60, 127});
  return track.Track();
}

}  // namespace

Test_Bytes Test_GeneratedSong() {
  return Test_Join({Test_SongHeader(1, 3, 96), SystemTrack(), ChordTrack(), ControllerTrack()});
}
