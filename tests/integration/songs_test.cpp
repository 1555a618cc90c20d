// SPDX-License-Identifier: MIT
// Real songs, and one with what they lack, through the library and round it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/assert_recorder.h"
#include "tests/support/generated_song.h"
#include "tests/support/song_builder.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/render/render_command.h"
#include "tools/mlox/render/timeline.h"
#include "tools/mlox/song/songreader.h"
#include "tools/mlox/tool_error.h"

namespace {

using testing::IsEmpty;
using tool::RenderFigures;
using tool::RenderRequest;

constexpr char kSongFolder[] = "/usr/share/games/openttd/baseset/openmsx";

std::vector<std::string> SongNames() {
  std::vector<std::string> names;
  std::error_code error;
  if (!std::filesystem::is_directory(kSongFolder, error)) {
    return names;  // the test of their number then fails
  }
  for (const std::string& name : Test_NamesIn(kSongFolder)) {
    if (name.ends_with(".mid")) {
      names.push_back(name.substr(0, name.size() - 4));
    }
  }
  return names;
}

std::string PathOf(const std::string& iSong) { return std::string(kSongFolder) + "/" + iSong + ".mid"; }

struct Rendered {
  RenderFigures mFigures;
  std::string mEvents;
  std::string mWav;
};

/// Renders and expects what holds for every rendering: nothing late, nothing dropped, no report.
Rendered RenderSong(RenderRequest iRequest) {
  const Test_TempFolder folder;
  iRequest.mOutput = folder / "out.wav";
  iRequest.mEvents = folder / "events.txt";
  const Test_AssertRecorder recorder;
  Rendered rendered;
  rendered.mFigures = tool::Render(iRequest, [](double) {}).mFigures;
  rendered.mEvents = Test_ReadFile(*iRequest.mEvents);
  rendered.mWav = Test_ReadFile(iRequest.mOutput);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  EXPECT_EQ(rendered.mFigures.mLate, 0u);
  EXPECT_EQ(rendered.mFigures.mDropped, 0);
  EXPECT_EQ(rendered.mFigures.mMessagesDelivered, rendered.mFigures.mEventsWritten);
  return rendered;
}

RenderRequest RequestFor(const std::string& iPath, const std::string& iThrough) {
  RenderRequest request;
  request.mSong = iPath;
  request.mThrough = iThrough;
  return request;
}

/// What the reader says should be fed, as text.
std::string ListOf(const std::string& iPath, std::optional<std::int64_t> iFrames) {
  return ToText(tool::Timeline(tool::ReadSongFile(iPath), 48000, iFrames));
}

/// Equal, without printing megabytes if not.
void ExpectSame(const std::string& iActual, const std::string& iExpected, const std::string& iWhat) {
  if (iActual == iExpected) {
    return;
  }
  const auto [actual, expected] =
      std::mismatch(iActual.begin(), iActual.end(), iExpected.begin(), iExpected.end());
  ADD_FAILURE() << iWhat << " differ from byte " << actual - iActual.begin() << " on; " << iActual.size()
                << " bytes where " << iExpected.size() << " are expected";
}

void ExpectWayWasTaken(const RenderFigures& iFigures, const std::string& iThrough) {
  const std::uint64_t all = iFigures.mEventsWritten;
  const bool isBuffered = iThrough == "buffered";
  EXPECT_EQ(iFigures.mWay.mPulledMessages, isBuffered ? all : 0);
  // Each block is pulled until there is nothing more: a call for each message, and one for the end of each
  // block.
  EXPECT_EQ(iFigures.mWay.mPulls, isBuffered ? all + iFigures.mBlocks : 0);
  EXPECT_EQ(iFigures.mWay.mDirectCalls, iThrough == "direct" ? all : 0);
  EXPECT_EQ(iFigures.mWay.mHandedOver, isBuffered ? 0 : all);
}

/// Writers still write while blocks are pulled: they run ahead by 1024 samples and no more, so at least the
/// blocks up to 1024 samples before the last message are pulled while they write. (A block more or less: the
/// last message is written while its turn comes.)
void ExpectOverlap(const RenderFigures& iFigures, std::int64_t iLastSample) {
  EXPECT_GE(static_cast<std::int64_t>(iFigures.mBlocksPulledWhileWriting), (iLastSample - 1024) / 64 - 1);
  EXPECT_GT(iFigures.mWriters.mWrittenAfterFirstPull, iFigures.mEventsWritten / 4);
}

// ---- every real song ----

TEST(Songs, AreThere) { EXPECT_EQ(SongNames().size(), 31u); }

class EverySong : public testing::TestWithParam<std::string> {};

TEST_P(EverySong, IsFedAsReadAndSoundsTheSameOnAllThreeWays) {
  constexpr std::int64_t kFrames = 20 * 48000;
  const tool::Timeline timeline(tool::ReadSongFile(PathOf(GetParam())), 48000, kFrames);
  const std::string list = ToText(timeline);
  std::string wav;
  for (const std::string through : {"buffered", "direct", "none"}) {
    SCOPED_TRACE(through);
    RenderRequest request = RequestFor(PathOf(GetParam()), through);
    request.mSeconds = 20;
    const Rendered rendered = RenderSong(request);
    ExpectSame(rendered.mEvents, list, "events");
    EXPECT_EQ(rendered.mFigures.mFrames, kFrames);
    EXPECT_GT(rendered.mFigures.mPeak, 0.001) << "it sounds";
    ExpectWayWasTaken(rendered.mFigures, through);
    ExpectOverlap(rendered.mFigures, timeline.Messages().back().mSample);
    if (wav.empty()) {
      wav = rendered.mWav;
    }
    ExpectSame(rendered.mWav, wav, "WAV files");
  }
}

INSTANTIATE_TEST_SUITE_P(OpenMsx, EverySong, testing::ValuesIn(SongNames()),
                         [](const auto& iInfo) { return "song_" + iInfo.param; });

// ---- a whole song ----

TEST(WholeSong, IsFedAsReadAndSoundsTheSameWhateverWritersAndBlocksAre) {
  const std::string path = PathOf("tttheme2");
  const std::string list = ListOf(path, std::nullopt);
  std::string wav;
  for (const int writers : {3, 1, 2}) {
    for (const int block : {64, 16, 100, 1024}) {
      SCOPED_TRACE(testing::Message() << writers << " writers, blocks of " << block);
      RenderRequest request = RequestFor(path, "buffered");
      request.mWriters = writers;
      request.mBlock = block;
      const Rendered rendered = RenderSong(request);
      ExpectSame(rendered.mEvents, list, "events");
      if (wav.empty()) {
        wav = rendered.mWav;
      }
      ExpectSame(rendered.mWav, wav, "WAV files");
    }
  }
}

TEST(WholeSong, LastsTwoSecondsLongerThanItsLastMessage) {
  const tool::Timeline timeline(tool::ReadSongFile(PathOf("5432gone_redfarn")), 48000, std::nullopt);
  const Rendered rendered = RenderSong(RequestFor(PathOf("5432gone_redfarn"), "buffered"));
  EXPECT_EQ(rendered.mFigures.mFrames, timeline.Messages().back().mSample + 96000);
}

TEST(EveryPrefix, OfARealSongIsAFaultWithItsOffset) {
  const std::string song = Test_ReadFile(PathOf("train_filled_with_cash"));
  const Test_Bytes bytes(song.begin(), song.end());
  ASSERT_EQ(bytes.size(), 7890u);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    try {
      tool::ReadSongBytes("cut.mid", std::span(bytes).first(length));
      FAIL() << "the first " << length << " bytes were read as a song";
    } catch (const tool::ToolError& error) {
      ASSERT_THAT(error.what(), testing::StartsWith("cut.mid: byte ")) << length;
    }
  }
}

// ---- a song with what the real ones lack ----

class GeneratedSong : public testing::Test {
 protected:
  std::string Path() const { return mFolder.MakeFile("generated.mid", Test_AsString(Test_GeneratedSong())); }

 private:
  Test_TempFolder mFolder;
};

TEST_F(GeneratedSong, HoldsWhatTheRealOnesLack) {
  const tool::Song song = tool::ReadSongFile(Path());
  int longSysexes = 0;
  int shortSysexes = 0;
  int polyPressures = 0;
  std::vector<bool> controllers(16 * 128, false);
  for (const tool::SongMessage& message : song.mMessages) {
    const auto bytes = song.BytesOf(message);
    const bool isSysex = message.mKind == tool::SongMessageKind::kSysex;
    longSysexes += isSysex && message.mLength > 78 ? 1 : 0;
    shortSysexes += isSysex && message.mLength <= 78 ? 1 : 0;
    const bool isChannel = message.mKind == tool::SongMessageKind::kChannel;
    polyPressures += isChannel && (bytes[0] & 0xF0) == 0xA0 ? 1 : 0;
    if (isChannel && (bytes[0] & 0xF0) == 0xB0) {
      controllers[static_cast<std::size_t>((bytes[0] & 0x0F) * 128 + bytes[1])] = true;
    }
  }
  EXPECT_EQ(shortSysexes, 5) << "6 to 78 bytes";
  EXPECT_EQ(longSysexes, 12);
  EXPECT_EQ(polyPressures, 12 * 16 * 6);
  EXPECT_THAT(controllers, testing::Each(true));
}

TEST_F(GeneratedSong, IsFedAsReadAndSoundsTheSameOnEveryWay) {
  const std::string path = Path();
  const std::string list = ListOf(path, std::nullopt);
  std::string wav;
  for (const std::string through : {"buffered", "direct", "none"}) {
    for (const auto& [writers, block] : {std::pair{3, 64}, {2, 16}, {1, 100}, {3, 1024}}) {
      SCOPED_TRACE(testing::Message() << through << ", " << writers << " writers, blocks of " << block);
      RenderRequest request = RequestFor(path, through);
      request.mWriters = writers;
      request.mBlock = block;
      const Rendered rendered = RenderSong(request);
      ExpectSame(rendered.mEvents, list, "events");
      ExpectWayWasTaken(rendered.mFigures, through);
      if (wav.empty()) {
        wav = rendered.mWav;
      }
      ExpectSame(rendered.mWav, wav, "WAV files");
    }
  }
}

TEST_F(GeneratedSong, IsWrittenWhilePullsAreUnderWay) {
  // Whether a single write meets a pull is chance; with hundreds of messages at one time some do.
  const std::string path = Path();
  std::uint64_t met = 0;
  for (int attempt = 0; attempt < 20 && met == 0; ++attempt) {
    RenderRequest request = RequestFor(path, "buffered");
    request.mBlock = 16;
    met += RenderSong(request).mFigures.mWriters.mWrittenDuringPull;
  }
  EXPECT_GT(met, 0u);
}

// ---- a song with more at one moment than any pool holds ahead ----

TEST(BurstSong, IsFedAsReadAndSoundsTheSameWhateverIsInFlight) {
  constexpr int kControllers = 150'000;
  Test_Bytes events = {0, 0xB0, 1, 0};
  for (int i = 1; i < kControllers; ++i) {
    const Test_Bytes next = {0, 1, static_cast<std::uint8_t>(i % 128)};
    events.insert(events.end(), next.begin(), next.end());
  }
  // Whatever is lost behind the controllers can be heard.
  events = Test_Join({events, {0, 0x90, 60, 100, 96, 60, 0}});
  const Test_TempFolder folder;
  const std::string path = folder.MakeFile("burst.mid", Test_AsString(Test_OneTrackSong(events)));
  const std::string list = ListOf(path, std::nullopt);
  std::string wav;
  for (const std::string through : {"none", "buffered"}) {
    SCOPED_TRACE(through);
    RenderRequest request = RequestFor(path, through);
    request.mWriters = 1;
    const Rendered rendered = RenderSong(request);
    ExpectSame(rendered.mEvents, list, "events");
    EXPECT_GT(rendered.mFigures.mPeak, 0.001) << "it sounds";
    if (wav.empty()) {
      wav = rendered.mWav;
    }
    ExpectSame(rendered.mWav, wav, "WAV files");
  }
}

}  // namespace
