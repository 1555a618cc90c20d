// SPDX-License-Identifier: MIT
#include "tools/mlox/song/songclock.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using tool::Song;
using tool::SongClock;

Song Metrical(std::uint32_t iTicksPerQuarter, std::vector<tool::SongTempo> iTempos) {
  Song song;
  song.mDivision.mTicksPerQuarter = iTicksPerQuarter;
  song.mTempos = std::move(iTempos);
  return song;
}

Song Smpte(std::uint32_t iFrameRate, std::uint32_t iTicksPerFrame) {
  Song song;
  song.mDivision.mIsSmpte = true;
  song.mDivision.mFrameRate = iFrameRate;
  song.mDivision.mTicksPerFrame = iTicksPerFrame;
  return song;
}

TEST(SongClock, WithoutATempoAQuarterIsHalfASecond) {
  const SongClock clock(Metrical(96, {}), 48000);
  EXPECT_EQ(clock.SampleAt(0), 0);
  EXPECT_EQ(clock.SampleAt(1), 250);
  EXPECT_EQ(clock.SampleAt(96), 24000);
  EXPECT_EQ(clock.SampleAt(10'000'000), 2'500'000'000) << "no error gathers";
}

TEST(SongClock, RoundsToTheNearestSampleAndHalvesUp) {
  const SongClock thirds(Metrical(7, {}), 48000);  // 3428.57 samples a tick
  EXPECT_EQ(thirds.SampleAt(1), 3429);
  EXPECT_EQ(thirds.SampleAt(2), 6857);
  const SongClock quarters(Metrical(16000, {}), 8000);  // a quarter of a sample a tick
  EXPECT_EQ(quarters.SampleAt(1), 0);
  EXPECT_EQ(quarters.SampleAt(2), 1);
  EXPECT_EQ(quarters.SampleAt(5), 1);
  EXPECT_EQ(quarters.SampleAt(6), 2);
}

TEST(SongClock, ATempoCountsFromItsTickOn) {
  const SongClock clock(Metrical(96, {{96, 1'000'000}, {192, 250'000}}), 48000);
  EXPECT_EQ(clock.SampleAt(95), 23750);
  EXPECT_EQ(clock.SampleAt(96), 24000);
  EXPECT_EQ(clock.SampleAt(97), 24500);
  EXPECT_EQ(clock.SampleAt(192), 72000);
  EXPECT_EQ(clock.SampleAt(288), 84000);
}

TEST(SongClock, OfTwoTemposAtOneTickTheLastCounts) {
  const SongClock clock(Metrical(96, {{0, 1'000'000}, {0, 250'000}}), 48000);
  EXPECT_EQ(clock.SampleAt(96), 12000);
}

TEST(SongClock, FilmTimeCountsFramesAndHasNoUseForTempo) {
  Song song = Smpte(25, 40);
  song.mTempos = {{0, 1'000'000}};
  EXPECT_EQ(SongClock(song, 48000).SampleAt(1000), 48000);
  EXPECT_EQ(SongClock(Smpte(24, 80), 48000).SampleAt(1920), 48000);
  EXPECT_EQ(SongClock(Smpte(30, 2), 48000).SampleAt(60), 48000);
}

TEST(SongClock, Rate29IsThirtyFramesIn1001Milliseconds) {
  EXPECT_EQ(SongClock(Smpte(29, 100), 48000).SampleAt(3000), 48048);
}

TEST(SongClock, TimesBeyondAllFilesAreCutAndDoNotOverflow) {
  const SongClock clock(Metrical(1, {{0, 0xFFFFFF}}), 96000);
  EXPECT_EQ(clock.SampleAt(std::uint64_t{1} << 40), 1'770'887'325'523'000'689);  // 2^40 * 16777215 * 0.096
  EXPECT_EQ(clock.SampleAt(std::numeric_limits<std::uint64_t>::max()), SongClock::kTooLate);
}

}  // namespace
