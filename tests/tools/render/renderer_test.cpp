// SPDX-License-Identifier: MIT
// This program links nothing of the library: that it renders at all shows that the way "none" needs nothing
// of it.
#include "tools/mlox/render/renderer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>

#include "tests/support/generated_song.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/render/noneway.h"
#include "tools/mlox/song/songreader.h"

namespace {

using tool::NoneWay;
using tool::Renderer;
using tool::RenderFigures;
using tool::Synthesizer;
using tool::Timeline;
using tool::WavFile;

constexpr char kSoundFont[] = "/usr/share/sounds/sf2/TimGM6mb.sf2";

Timeline GeneratedTimeline() {
  return Timeline(tool::SongReader(Test_GeneratedSong()).Read(), 48000, std::nullopt);
}

struct Rendered {
  RenderFigures mFigures;
  std::string mEvents;
  std::string mWav;
};

Rendered RenderThroughNone(const Timeline& iTimeline, std::int64_t iBlock, int iWriters) {
  const Test_TempFolder folder;
  NoneWay way;
  Synthesizer synthesizer(kSoundFont, 48000);
  WavFile wav(folder / "a.wav", 48000);
  Renderer renderer({iTimeline, way, synthesizer, wav}, iBlock, iWriters);
  Rendered rendered;
  rendered.mFigures = renderer.Run([](double) {});
  wav.TakeName();
  wav.Keep();
  rendered.mEvents = renderer.Delivered().ToText();
  rendered.mWav = Test_ReadFile(folder / "a.wav");
  return rendered;
}

TEST(Renderer, FeedsWhatTheTimelineHoldsWhateverBlockAndWritersAre) {
  const Timeline timeline = GeneratedTimeline();
  const std::string expected = ToText(timeline);
  const Rendered first = RenderThroughNone(timeline, 64, 3);
  EXPECT_EQ(first.mEvents, expected);
  for (const auto& [block, writers] : {std::pair{1000, 1}, {16, 2}, {100, 3}}) {
    const Rendered other = RenderThroughNone(timeline, block, writers);
    EXPECT_EQ(other.mEvents, expected) << block << " " << writers;
    EXPECT_TRUE(other.mWav == first.mWav) << block << " " << writers;
  }
}

TEST(Renderer, CountsWhatHappened) {
  const Timeline timeline = GeneratedTimeline();
  const RenderFigures figures = RenderThroughNone(timeline, 64, 3).mFigures;
  EXPECT_EQ(figures.mEventsWritten, timeline.Messages().size());
  EXPECT_EQ(figures.mMessagesDelivered, timeline.Messages().size());
  EXPECT_EQ(figures.mLate, 0u);
  EXPECT_EQ(figures.mDropped, 0);
  EXPECT_EQ(figures.mFrames, timeline.Frames());
  EXPECT_EQ(figures.mBlocks, static_cast<std::uint64_t>((timeline.Frames() + 63) / 64));
  EXPECT_GT(figures.mPeak, 0.001);
  EXPECT_GT(figures.mPullMaxUs, 0);
  EXPECT_GE(figures.mPullMaxUs, figures.mPullP999Us);
  EXPECT_EQ(figures.mWay.mHandedOver, timeline.Messages().size());
  EXPECT_EQ(figures.mWay.mPulls, 0u);
  EXPECT_EQ(figures.mWay.mDirectCalls, 0u);
}

TEST(Renderer, WritersStillWriteWhileBlocksArePulled) {
  const Timeline timeline = GeneratedTimeline();
  const RenderFigures figures = RenderThroughNone(timeline, 64, 3).mFigures;
  // All but the two seconds of silence at the end and the bound of 1024 samples before it.
  const auto blocksWithWriters = static_cast<std::uint64_t>((timeline.Frames() - 2 * 48000 - 1024) / 64);
  EXPECT_GE(figures.mBlocksPulledWhileWriting + 1, blocksWithWriters);
  EXPECT_GT(figures.mWriters.mWrittenAfterFirstPull, figures.mEventsWritten / 2);
}

/// Messages at samples 0, 250, 500 and 24000; the last of them is the third writer's.
Timeline FewMessages(std::optional<std::int64_t> iFrames = std::nullopt) {
  return Timeline(
      tool::SongReader(Test_OneTrackSong({0, 0xC0, 1, 1, 0xC1, 2, 1, 0xC2, 3, 94, 0xCF, 4})).Read(), 48000,
      iFrames);
}

constexpr double kSlowWriteSeconds = 0.3;

/// A way whose last write begins when the block before its own has been pulled, and takes its time.
class SlowWay : public NoneWay {
 public:
  void Write(int iWriter, const tool::TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) override {
    if (iMessage.mSample == 24000) {
      mIsBlockBeforePulled.wait(false);
      std::this_thread::sleep_for(std::chrono::duration<double>(kSlowWriteSeconds));
    }
    NoneWay::Write(iWriter, iMessage, iBytes);
  }

  // Blocks of 64: sample 24000 is the first of one.
  void Pull(std::int64_t iFirst, std::int64_t iLast, tool::BlockMessages& oMessages) override {
    NoneWay::Pull(iFirst, iLast, oMessages);
    if (iLast == 23999) {
      mIsBlockBeforePulled = true;
      mIsBlockBeforePulled.notify_all();
    }
  }

 private:
  std::atomic<bool> mIsBlockBeforePulled{false};
};

RenderFigures RenderSlowly(const Timeline& iTimeline) {
  const Test_TempFolder folder;
  SlowWay way;
  Synthesizer synthesizer(kSoundFont, 48000);
  WavFile wav(folder / "a.wav", 48000);
  return Renderer({iTimeline, way, synthesizer, wav}, 64, 3).Run([](double) {});
}

// Rendering lasts as long as its slow write at least, and less than all that the test does round it.
TEST(Renderer, TheRealTimeFactorIsSecondsOfSoundForEachSecondOfRendering) {
  constexpr double kSoundSeconds = 60;
  const Timeline timeline = FewMessages(static_cast<std::int64_t>(kSoundSeconds * 48000));
  const auto start = std::chrono::steady_clock::now();
  const RenderFigures figures = RenderSlowly(timeline);
  const std::chrono::duration<double> all = std::chrono::steady_clock::now() - start;
  EXPECT_GE(figures.mRealTimeFactor, kSoundSeconds / all.count());
  EXPECT_LE(figures.mRealTimeFactor, kSoundSeconds / kSlowWriteSeconds);
}

// The audio thread waits for the slow writer before it pulls. On a busy machine a pull may be held up as
// well: the best of some tries counts.
TEST(Renderer, APullDoesNotBeginBeforeTheWritersHaveWrittenItsBlock) {
  const Timeline timeline = FewMessages();
  double best = 1e9;
  for (int attempt = 0; attempt < 10 && best >= kSlowWriteSeconds / 2; ++attempt)
    best = std::min(best, RenderSlowly(timeline).mPullMaxUs / 1e6);
  EXPECT_LT(best, kSlowWriteSeconds / 2);
}

/// A way that loses, delays or refuses messages.
class BrokenWay : public NoneWay {
 public:
  enum class Fault { kDrop, kDelay, kThrowInWrite, kThrowInPull };
  explicit BrokenWay(Fault iFault) : mFault(iFault) {}

  void Write(int iWriter, const tool::TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) override {
    const bool isTheOne = iMessage.mSample == 250;
    if (isTheOne && mFault == Fault::kDrop) {
      return;
    }
    if (isTheOne && mFault == Fault::kThrowInWrite) {
      throw std::runtime_error("written badly");
    }
    tool::TimedMessage message = iMessage;
    message.mSample += isTheOne && mFault == Fault::kDelay ? 100 : 0;
    NoneWay::Write(iWriter, message, iBytes);
  }

  void Pull(std::int64_t iFirst, std::int64_t iLast, tool::BlockMessages& oMessages) override {
    if (iFirst == 256 && mFault == Fault::kThrowInPull) {
      throw std::runtime_error("pulled badly");
    }
    NoneWay::Pull(iFirst, iLast, oMessages);
  }

 private:
  Fault mFault;
};

RenderFigures RenderBroken(BrokenWay::Fault iFault) {
  const Timeline timeline = FewMessages();
  const Test_TempFolder folder;
  BrokenWay way(iFault);
  Synthesizer synthesizer(kSoundFont, 48000);
  WavFile wav(folder / "a.wav", 48000);
  return Renderer({timeline, way, synthesizer, wav}, 64, 3).Run([](double) {});
}

TEST(Renderer, NoticesADroppedMessage) {
  const RenderFigures figures = RenderBroken(BrokenWay::Fault::kDrop);
  EXPECT_EQ(figures.mEventsWritten, 4u);
  EXPECT_EQ(figures.mMessagesDelivered, 3u);
  EXPECT_EQ(figures.mDropped, 1);
  EXPECT_EQ(figures.mLate, 0u);
}

TEST(Renderer, NoticesALateMessage) {
  const RenderFigures figures = RenderBroken(BrokenWay::Fault::kDelay);
  EXPECT_EQ(figures.mDropped, 0);
  EXPECT_EQ(figures.mLate, 1u);
}

TEST(Renderer, EndsWithTheFaultOfAWriter) {
  EXPECT_THAT([] { RenderBroken(BrokenWay::Fault::kThrowInWrite); },
              testing::ThrowsMessage<std::runtime_error>("written badly"));
}

TEST(Renderer, EndsWithTheFaultOfTheAudioThread) {
  EXPECT_THAT([] { RenderBroken(BrokenWay::Fault::kThrowInPull); },
              testing::ThrowsMessage<std::runtime_error>("pulled badly"));
}

/// A way that knows how far it was pulled.
class CountingWay : public NoneWay {
 public:
  void Pull(std::int64_t iFirst, std::int64_t iLast, tool::BlockMessages& oMessages) override {
    NoneWay::Pull(iFirst, iLast, oMessages);
    mPulled = iLast + 1;
  }
  /// Frames, after Run.
  std::int64_t Pulled() const { return mPulled; }

 private:
  std::int64_t mPulled = 0;
};

// An hour takes many seconds; the onlooker is called some twenty times in each.
TEST(Renderer, EndsWhenTheOnlookerThrows) {
  const Timeline timeline(tool::SongReader(Test_OneTrackSong({0, 0xC0, 1})).Read(), 48000, 48000 * 3600);
  const Test_TempFolder folder;
  CountingWay way;
  Synthesizer synthesizer(kSoundFont, 48000);
  WavFile wav(folder / "a.wav", 48000);
  Renderer renderer({timeline, way, synthesizer, wav}, 64, 3);
  double done = -1;
  const auto interrupt = [&done](double iDone) {
    done = iDone;
    throw std::runtime_error("enough");
  };
  EXPECT_THAT([&] { renderer.Run(interrupt); }, testing::ThrowsMessage<std::runtime_error>("enough"));
  EXPECT_GE(done, 0.0);
  EXPECT_LT(done, 1.0);
  EXPECT_LT(way.Pulled(), timeline.Frames());
}

}  // namespace
