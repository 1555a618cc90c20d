// SPDX-License-Identifier: MIT
#include "tools/mlox/song/songreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/song_builder.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/tool_error.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tool::Song;
using tool::SongError;
using tool::SongMessageKind;
using tool::SongReader;

/// A message as the tests write it: track, tick, kind, bytes.
using Line = std::tuple<std::uint32_t, std::uint64_t, SongMessageKind, Test_Bytes>;

constexpr SongMessageKind kChannel = SongMessageKind::kChannel;
constexpr SongMessageKind kSysex = SongMessageKind::kSysex;
constexpr SongMessageKind kRaw = SongMessageKind::kRaw;

Song Read(const Test_Bytes& iFile) { return SongReader(iFile).Read(); }

std::vector<Line> LinesOf(const Song& iSong) {
  std::vector<Line> lines;
  for (const tool::SongMessage& message : iSong.mMessages) {
    const auto bytes = iSong.BytesOf(message);
    lines.emplace_back(message.mTrack, message.mTick, message.mKind, Test_Bytes(bytes.begin(), bytes.end()));
  }
  return lines;
}

std::vector<Line> ReadLines(const Test_Bytes& iFile) { return LinesOf(Read(iFile)); }

/// The fault of a file as "offset: reason", or "no fault".
std::string FaultOf(const Test_Bytes& iFile) {
  try {
    Read(iFile);
  } catch (const SongError& error) {
    return std::to_string(error.Offset()) + ": " + error.what();
  }
  return "no fault";
}

// ---- formats and divisions ----

TEST(SongReader, ReadsFormat0) {
  const Song song = Read(Test_OneTrackSong({0x00, 0x90, 60, 100, 0x60, 0x80, 60, 64}));
  EXPECT_EQ(song.mFormat, 0u);
  EXPECT_EQ(song.mTracks, 1u);
  EXPECT_FALSE(song.mDivision.mIsSmpte);
  EXPECT_EQ(song.mDivision.mTicksPerQuarter, 96u);
  EXPECT_THAT(LinesOf(song),
              ElementsAre(Line{0, 0, kChannel, {0x90, 60, 100}}, Line{0, 96, kChannel, {0x80, 60, 64}}));
}

TEST(SongReader, ReadsFormat1WithEveryTrackStartingAtZero) {
  const Song song = Read(Test_Join({Test_SongHeader(1, 2, 480), Test_Track({0x0A, 0x91, 60, 1}),
                                    Test_Track({0x05, 0x92, 61, 2, 0x05, 0x92, 62, 3})}));
  EXPECT_EQ(song.mFormat, 1u);
  EXPECT_EQ(song.mTracks, 2u);
  EXPECT_EQ(song.mDivision.mTicksPerQuarter, 480u);
  EXPECT_THAT(LinesOf(song),
              ElementsAre(Line{0, 10, kChannel, {0x91, 60, 1}}, Line{1, 5, kChannel, {0x92, 61, 2}},
                          Line{1, 10, kChannel, {0x92, 62, 3}}));
}

TEST(SongReader, RefusesFormat2) {
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(2, 1, 96), Test_Track({})})),
            "8: format 2; only formats 0 and 1 can be played");
}

TEST(SongReader, RefusesFormat0WithTwoTracks) {
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(0, 2, 96), Test_Track({}), Test_Track({})})),
            "10: format 0 has one track; the header announces 2");
}

TEST(SongReader, RefusesNoTrack) {
  EXPECT_EQ(FaultOf(Test_SongHeader(1, 0, 96)), "10: the header announces no track");
}

TEST(SongReader, RefusesADivisionOfZeroTicks) {
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(0, 1, 0), Test_Track({})})),
            "12: a division of 0 ticks a quarter note");
}

TEST(SongReader, ReadsSmpteDivisions) {
  struct Case {
    std::uint16_t mWord;
    std::uint32_t mFrameRate;
    std::uint32_t mTicksPerFrame;
  };
  for (const Case& it :
       {Case{0xE850, 24, 80}, Case{0xE728, 25, 40}, Case{0xE364, 29, 100}, Case{0xE201, 30, 1}}) {
    const Song song = Read(Test_Join({Test_SongHeader(0, 1, it.mWord), Test_Track({})}));
    EXPECT_TRUE(song.mDivision.mIsSmpte);
    EXPECT_EQ(song.mDivision.mFrameRate, it.mFrameRate);
    EXPECT_EQ(song.mDivision.mTicksPerFrame, it.mTicksPerFrame);
  }
}

TEST(SongReader, RefusesSmpteRatesThatDoNotExist) {
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(0, 1, 0xE650), Test_Track({})})),
            "12: 26 SMPTE frames a second; there are 24, 25, 29 and 30");
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(0, 1, 0x8050), Test_Track({})})),
            "12: 128 SMPTE frames a second; there are 24, 25, 29 and 30");
}

TEST(SongReader, RefusesZeroTicksASmpteFrame) {
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(0, 1, 0xE700), Test_Track({})})),
            "13: a division of 0 ticks a frame");
}

// ---- tempo ----

TEST(SongReader, TakesTemposFromAnyTrackInOrderOfTime) {
  const Song song = Read(Test_Join(
      {Test_SongHeader(1, 2, 96), Test_Track({0x64, 0xFF, 0x51, 0x03, 0x01, 0x00, 0x00}),
       Test_Track({0x32, 0xFF, 0x51, 0x03, 0x07, 0xA1, 0x20, 0x32, 0xFF, 0x51, 0x03, 0x0F, 0x42, 0x40})}));
  ASSERT_EQ(song.mTempos.size(), 3u);
  EXPECT_EQ(song.mTempos[0].mTick, 50u);
  EXPECT_EQ(song.mTempos[0].mMicrosecondsPerQuarter, 500000u);
  EXPECT_EQ(song.mTempos[1].mTick, 100u);
  EXPECT_EQ(song.mTempos[1].mMicrosecondsPerQuarter, 65536u) << "equal ticks keep the order of the file";
  EXPECT_EQ(song.mTempos[2].mTick, 100u);
  EXPECT_EQ(song.mTempos[2].mMicrosecondsPerQuarter, 1000000u);
}

// More of them than a sort takes for few: those it leaves in their order in any case.
TEST(SongReader, ManyTemposAtOneTickKeepTheOrderOfTheFile) {
  Test_Bytes events;
  Test_Bytes expected;
  for (std::uint8_t tempo = 200; tempo > 0; --tempo) {
    events.insert(events.end(), {0x00, 0xFF, 0x51, 0x03, 0x00, 0x00, tempo});
    expected.push_back(tempo);
  }
  Test_Bytes tempos;
  for (const tool::SongTempo& tempo : Read(Test_OneTrackSong(events)).mTempos) {
    tempos.push_back(static_cast<std::uint8_t>(tempo.mMicrosecondsPerQuarter));
  }
  EXPECT_EQ(tempos, expected);
}

TEST(SongReader, RefusesATempoOfZeroAndOfAnotherLength) {
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0xFF, 0x51, 0x03, 0, 0, 0})),
            "23: a tempo of 0 microseconds a quarter note");
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0xFF, 0x51, 0x02, 1, 2})), "23: a tempo of 2 bytes; it has 3");
}

// ---- running status ----

TEST(SongReader, RunningStatusRepeatsTheLastChannelStatus) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x00, 0x93, 60, 100, 0x01, 61, 101, 0x00, 0xC4, 7, 0x00, 8})),
              ElementsAre(Line{0, 0, kChannel, {0x93, 60, 100}}, Line{0, 1, kChannel, {0x93, 61, 101}},
                          Line{0, 1, kChannel, {0xC4, 7}}, Line{0, 1, kChannel, {0xC4, 8}}));
}

TEST(SongReader, RunningStatusEndsAtAMetaEvent) {
  // Text "A" between two notes, the second without a status.
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0x90, 60, 1, 0x00, 0xFF, 0x01, 0x01, 'A', 0x00, 61, 1})),
            "32: data byte 0x3D without a running status");
}

TEST(SongReader, AStatusBehindAMetaEventStartsAnew) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong(
                  {0x00, 0x90, 60, 1, 0x00, 0xFF, 0x01, 0x01, 'A', 0x00, 0x90, 61, 1, 0x00, 62, 2})),
              ElementsAre(Line{0, 0, kChannel, {0x90, 60, 1}}, Line{0, 0, kChannel, {0x90, 61, 1}},
                          Line{0, 0, kChannel, {0x90, 62, 2}}));
}

TEST(SongReader, RunningStatusEndsAtSystemExclusivePieces) {
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0x90, 60, 1, 0x00, 0xF0, 0x01, 0xF7, 0x00, 61, 1})),
            "31: data byte 0x3D without a running status");
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0x90, 60, 1, 0x00, 0xF7, 0x01, 0xF8, 0x00, 61, 1})),
            "31: data byte 0x3D without a running status");
}

TEST(SongReader, RunningStatusDoesNotCrossTracks) {
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(1, 2, 96), Test_Chunk("MTrk", {0x00, 0x90, 60, 1}),
                               Test_Chunk("MTrk", {0x00, 61, 1})})),
            "35: data byte 0x3D without a running status");
}

// ---- messages ----

TEST(SongReader, ANoteOnWithVelocityZeroIsANoteOff) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x00, 0x9F, 60, 100, 0x04, 60, 0})),
              ElementsAre(Line{0, 0, kChannel, {0x9F, 60, 100}}, Line{0, 4, kChannel, {0x8F, 60, 0}}));
}

TEST(SongReader, RunningStatusSurvivesTheSilentNoteOnThatItCarried) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x00, 0x90, 60, 0, 0x00, 61, 5})),
              ElementsAre(Line{0, 0, kChannel, {0x80, 60, 0}}, Line{0, 0, kChannel, {0x90, 61, 5}}));
}

TEST(SongReader, ReadsEveryChannelMessage) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0,    0x82, 1, 2, 0,    0x92, 3, 4,    0,  0xA2, 5,    6,  0,
                                           0xB2, 7,    8, 0, 0xC2, 9,    0, 0xD2, 10, 0,    0xE2, 11, 12})),
              ElementsAre(Line{0, 0, kChannel, {0x82, 1, 2}}, Line{0, 0, kChannel, {0x92, 3, 4}},
                          Line{0, 0, kChannel, {0xA2, 5, 6}}, Line{0, 0, kChannel, {0xB2, 7, 8}},
                          Line{0, 0, kChannel, {0xC2, 9}}, Line{0, 0, kChannel, {0xD2, 10}},
                          Line{0, 0, kChannel, {0xE2, 11, 12}}));
}

TEST(SongReader, RefusesStatusBytesThatASongCannotHold) {
  for (const int status : {0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE}) {
    char expected[80];
    std::snprintf(expected, sizeof expected, "23: status byte 0x%02X, which a song can't hold", status);
    EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, static_cast<std::uint8_t>(status), 0, 0})), expected);
  }
}

TEST(SongReader, RefusesAStatusByteInPlaceOfData) {
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0x90, 60, 0x90, 0, 0})),
            "25: status byte 0x90 where a data byte is due");
}

// ---- variable-length numbers ----

TEST(SongReader, ReadsDeltasOfOneToFourBytes) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x7F, 0xC0, 1, 0x81, 0x00, 0xC0, 2, 0xFF, 0xFF, 0x7F, 0xC0, 3,
                                           0xFF, 0xFF, 0xFF, 0x7F, 0xC0, 4})),
              ElementsAre(Line{0, 127, kChannel, {0xC0, 1}}, Line{0, 255, kChannel, {0xC0, 2}},
                          Line{0, 2097406, kChannel, {0xC0, 3}}, Line{0, 270532861, kChannel, {0xC0, 4}}));
}

TEST(SongReader, RefusesADeltaOfFiveBytes) {
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x80, 0x80, 0x80, 0x80, 0x00, 0xC0, 1})),
            "22: a variable-length number has more than four bytes");
}

// ---- system exclusive ----

TEST(SongReader, AnF0PieceThatEndsInF7IsAWholeMessage) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x03, 0xF0, 0x04, 0x7E, 0x09, 0x01, 0xF7})),
              ElementsAre(Line{0, 3, kSysex, {0xF0, 0x7E, 0x09, 0x01, 0xF7}}));
}

TEST(SongReader, F7PiecesContinueAMessageWhichStandsWhereTheLastStands) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x03, 0xF0, 0x02, 0x43, 0x12, 0x05, 0xF7, 0x01, 0x13, 0x07, 0xFF,
                                           0x01, 0x01, 'A',  0x00, 0xF7, 0x02, 0x14, 0xF7, 0x00, 0xC0, 1})),
              ElementsAre(Line{0, 15, kSysex, {0xF0, 0x43, 0x12, 0x13, 0x14, 0xF7}},
                          Line{0, 15, kChannel, {0xC0, 1}}));
}

TEST(SongReader, AnF7PieceThatContinuesNothingTravelsAsItStands) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x02, 0xF7, 0x02, 0xF3, 0x01, 0x00, 0xF7, 0x00})),
              ElementsAre(Line{0, 2, kRaw, {0xF3, 0x01}}))
      << "and an empty one is nothing";
}

TEST(SongReader, AnotherEventAbandonsAMessageThatIsNotFinished) {
  const Song song = Read(Test_OneTrackSong({0x00, 0xF0, 0x01, 0x43, 0x00, 0xC0, 1, 0x00, 0xF7, 0x01, 0xF7}));
  EXPECT_THAT(LinesOf(song), ElementsAre(Line{0, 0, kChannel, {0xC0, 1}}, Line{0, 0, kRaw, {0xF7}}));
  EXPECT_EQ(song.mUnfinishedSysexes, 1u);
}

TEST(SongReader, ANewF0PieceAndTheEndOfATrackAbandonAMessageThatIsNotFinished) {
  const Song song =
      Read(Test_Join({Test_SongHeader(1, 2, 96), Test_Track({0x00, 0xF0, 0x01, 1, 0x00, 0xF0, 0x01, 2}),
                      Test_Track({0x00, 0xF7, 0x02, 3, 0xF7})}));
  EXPECT_THAT(LinesOf(song), ElementsAre(Line{1, 0, kRaw, {3, 0xF7}}));
  EXPECT_EQ(song.mUnfinishedSysexes, 2u);
}

TEST(SongReader, RefusesAPieceThatIsLongerThanItsTrack) {
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0xF0, 0x07, 1, 2})), "25: an event of 7 bytes where 6 are left");
  EXPECT_EQ(FaultOf(Test_OneTrackSong({0x00, 0xF7, 0xFF, 0xFF, 0xFF, 0x7F})),
            "28: an event of 268435455 bytes where 4 are left");
}

// ---- chunks ----

TEST(SongReader, PassesOverUnknownChunks) {
  const auto file =
      Test_Join({Test_SongHeader(1, 2, 96), Test_Chunk("XFIH", {1, 2, 3}), Test_Track({0, 0xC0, 1}),
                 Test_Chunk("    ", {}), Test_Track({0, 0xC1, 2}), Test_Chunk("tail", {9, 9})});
  EXPECT_THAT(ReadLines(file), ElementsAre(Line{0, 0, kChannel, {0xC0, 1}}, Line{1, 0, kChannel, {0xC1, 2}}));
}

TEST(SongReader, DoesNotLookBehindTheLastAnnouncedTrack) {
  const auto file = Test_Join({Test_OneTrackSong({0, 0xC0, 1}), Test_ChunkClaiming("MTrk", 0xFFFFFFFF, {0})});
  EXPECT_THAT(ReadLines(file), ElementsAre(Line{0, 0, kChannel, {0xC0, 1}}));
}

TEST(SongReader, RefusesAChunkLongerThanTheFile) {
  EXPECT_EQ(
      FaultOf(Test_Join({Test_SongHeader(0, 1, 96), Test_ChunkClaiming("MTrk", 5, {0, 0xFF, 0x2F, 0})})),
      "14: a chunk of 5 bytes where the file has 4 left");
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(0, 1, 96), Test_ChunkClaiming("MTrk", 0xFFFFFFFF, {0})})),
            "14: a chunk of 4294967295 bytes where the file has 1 left");
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(0, 1, 96), Test_ChunkClaiming("abcd", 0x80000000, {})})),
            "14: a chunk of 2147483648 bytes where the file has 0 left");
}

TEST(SongReader, RefusesFewerTracksThanAnnounced) {
  EXPECT_EQ(FaultOf(Test_Join({Test_SongHeader(1, 3, 96), Test_Track({}), Test_Track({})})),
            "38: the header announces 3 tracks, the file ends after 2");
}

TEST(SongReader, ALongerHeaderIsPassedOver) {
  const auto file = Test_Join({Test_Chunk("MThd", {0, 0, 0, 1, 0, 96, 7, 7, 7}), Test_Track({0, 0xC0, 1})});
  EXPECT_THAT(ReadLines(file), ElementsAre(Line{0, 0, kChannel, {0xC0, 1}}));
}

TEST(SongReader, RefusesAShorterHeader) {
  EXPECT_EQ(FaultOf(Test_Join({Test_Chunk("MThd", {0, 0, 0, 1, 0}), Test_Track({})})),
            "0: a header of 5 bytes; it has at least 6");
}

TEST(SongReader, AnEventDoesNotReachIntoTheNextChunk) {
  EXPECT_EQ(
      FaultOf(Test_Join({Test_SongHeader(1, 2, 96), Test_Chunk("MTrk", {0x00, 0x90, 60}), Test_Track({})})),
      "25: the track's chunk ends inside an event");
}

TEST(SongReader, ATrackMayEndWithItsChunk) {
  EXPECT_THAT(ReadLines(Test_Join({Test_SongHeader(0, 1, 96), Test_Chunk("MTrk", {0x00, 0xC0, 1})})),
              ElementsAre(Line{0, 0, kChannel, {0xC0, 1}}));
}

TEST(SongReader, EventsBehindTheEndOfTheTrackDoNotCount) {
  EXPECT_THAT(ReadLines(Test_OneTrackSong({0x00, 0xFF, 0x2F, 0x00, 0x00, 0xC0, 1})), IsEmpty());
}

// ---- what isn't a song ----

TEST(SongReader, RefusesAnEmptyFile) { EXPECT_EQ(FaultOf({}), "0: the file is empty"); }

TEST(SongReader, RefusesAFileOfAnotherKind) {
  const std::string expected = "0: not a Standard MIDI File: it doesn't begin with \"MThd\"";
  EXPECT_EQ(FaultOf({'R', 'I', 'F', 'F', 0, 0, 0, 0}), expected);
  EXPECT_EQ(FaultOf({'M', 'T', 'x'}), expected);
  EXPECT_EQ(FaultOf(Test_Track({})), expected);
}

TEST(SongReader, EveryPrefixOfASongIsAFault) {
  const auto file = Test_Join(
      {Test_SongHeader(1, 3, 96),
       Test_Track({0x00, 0xFF, 0x51, 0x03, 1, 2, 3, 0x81, 0x00, 0xF0, 0x03, 1, 2, 0xF7}),
       Test_Chunk("what", {1, 2, 3, 4}), Test_Track({0x00, 0x90, 60, 1, 0x05, 60, 0, 0x00, 0xF7, 0x01, 0xF8}),
       Test_Track({0x00, 0xE0, 0, 64, 0x00, 0xD0, 1})});
  ASSERT_EQ(FaultOf(file), "no fault");
  for (std::size_t length = 0; length < file.size(); ++length) {
    const Test_Bytes prefix(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
    try {
      Read(prefix);
      ADD_FAILURE() << "the first " << length << " bytes were read as a song";
    } catch (const SongError& error) {
      EXPECT_LE(error.Offset(), length) << "a fault lies within what there is";
      EXPECT_STRNE(error.what(), "");
    }
  }
}

TEST(SongReader, EveryByteOfASongMayBeAnything) {
  const auto file = Test_Join({Test_SongHeader(1, 2, 96), Test_Track({0x00, 0xFF, 0x51, 0x03, 1, 2, 3}),
                               Test_Track({0x00, 0x90, 60, 1, 0x05, 60, 0, 0x00, 0xF0, 0x02, 0x01, 0xF7})});
  int songs = 0;
  int faults = 0;
  for (std::size_t place = 0; place < file.size(); ++place) {
    for (int value = 0; value < 256; ++value) {
      Test_Bytes changed = file;
      changed[place] = static_cast<std::uint8_t>(value);
      try {
        const Song song = Read(changed);
        for (const tool::SongMessage& message : song.mMessages) {
          ASSERT_LE(message.mOffset + message.mLength, song.mBytes.size());
          ASSERT_GT(message.mLength, 0u);
        }
        ++songs;
      } catch (const SongError& error) {
        ASSERT_LE(error.Offset(), changed.size());
        ++faults;
      }
    }
  }
  EXPECT_GT(songs, 1000);
  EXPECT_GT(faults, 1000);
}

TEST(SongReader, MemoryStaysWithinTheBoundOfMessages) {
  // Two bytes a message under running status: one more than the bound.
  Test_Bytes events = {0x00, 0xC0, 1};
  for (std::size_t i = 0; i < SongReader::kMaxMessages; ++i) {
    events.push_back(0x00);
    events.push_back(0x01);
  }
  EXPECT_EQ(FaultOf(Test_OneTrackSong(events)), "8000024: more than 4000000 messages");
}

// ---- files ----

class SongFile : public testing::Test {
 protected:
  static std::string ErrorOf(const std::string& iPath) {
    try {
      tool::ReadSongFile(iPath);
    } catch (const tool::ToolError& error) {
      return error.what();
    }
    return "no error";
  }

  Test_TempFolder mFolder;
};

TEST_F(SongFile, IsRead) {
  EXPECT_THAT(
      LinesOf(tool::ReadSongFile(mFolder.MakeFile("a.mid", Test_AsString(Test_OneTrackSong({0, 0xC0, 1}))))),
      ElementsAre(Line{0, 0, kChannel, {0xC0, 1}}));
}

TEST_F(SongFile, ThatIsNotThereIsAnErrorWithFileAndReason) {
  const std::string path = mFolder / "none.mid";
  EXPECT_EQ(ErrorOf(path), path + ": cannot open: No such file or directory");
}

TEST_F(SongFile, ThatIsAFolderIsAnErrorWithFileAndReason) {
  EXPECT_EQ(ErrorOf(mFolder.Path()), mFolder.Path() + ": byte 0: cannot read: Is a directory");
}

TEST_F(SongFile, WithAFaultIsAnErrorWithFileOffsetAndReason) {
  const std::string path = mFolder.MakeFile("cut.mid", Test_AsString(Test_SongHeader(1, 0, 96)));
  EXPECT_EQ(ErrorOf(path), path + ": byte 10: the header announces no track");
}

TEST_F(SongFile, ThatIsTooLargeIsRefused) {
  const std::string path = mFolder.MakeFile("large.mid", std::string(SongReader::kMaxFileBytes + 1, 'x'));
  EXPECT_EQ(ErrorOf(path), path + ": byte 16777216: larger than the 16 MiB that a song may have");
}

}  // namespace
