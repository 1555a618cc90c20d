// SPDX-License-Identifier: MIT
#include "tools/mlox/render/writerpool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/support/song_builder.h"
#include "tools/mlox/song/songreader.h"

namespace {

using tool::Schedule;
using tool::Timeline;
using tool::WriterPool;

/// Remembers who wrote what.
class RecordingWay : public tool::Way {
 public:
  void Write(int iWriter, const tool::TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) override {
    if (iBytes[0] == 0xCF) {
      throw std::runtime_error("no channel 15");
    }
    mWritten[static_cast<std::size_t>(iWriter)] +=
        std::to_string(iMessage.mSample) + "/" + std::to_string(iMessage.mChannel) + " ";
  }
  void Pull(std::int64_t, std::int64_t, tool::BlockMessages&) override {}
  tool::WayCounters Counters() const override { return {}; }

  std::array<std::string, tool::kMaxWriters> mWritten;
};

/// Channels 0, 6, 11 and none at samples 0 and 250, 250 being a tick.
Timeline SomeMessages() {
  return Timeline(tool::SongReader(Test_OneTrackSong({0, 0xC0, 1, 0,    0xC6, 1, 0,    0xCB, 1, 0,    0xF7,
                                                      1, 0xF8, 1, 0xCB, 2,    0, 0xC6, 2,    0, 0xC0, 2}))
                      .Read(),
                  48000, std::nullopt);
}

TEST(WriterPool, EachWriterWritesItsChannelsInOrder) {
  const Timeline timeline = SomeMessages();
  RecordingWay way;
  Schedule schedule(3, 1024);
  WriterPool pool(timeline, way, schedule, 3);
  schedule.PublishPosition(0);
  pool.Join();
  EXPECT_EQ(way.mWritten[0], "0/-1 0/0 250/0 ");
  EXPECT_EQ(way.mWritten[1], "0/6 250/6 ");
  EXPECT_EQ(way.mWritten[2], "0/11 250/11 ");
  EXPECT_TRUE(schedule.IsAllWritten());
  EXPECT_EQ(pool.Counters().mWritten, 7u);
}

TEST(WriterPool, OneWriterWritesAllInOrder) {
  const Timeline timeline = SomeMessages();
  RecordingWay way;
  Schedule schedule(1, 1024);
  WriterPool pool(timeline, way, schedule, 1);
  schedule.PublishPosition(0);
  pool.Join();
  EXPECT_EQ(way.mWritten[0], "0/-1 0/0 0/6 0/11 250/0 250/6 250/11 ");
}

TEST(WriterPool, WritersStopAtTheirBoundAndSayHowFarTheyCame) {
  const Timeline timeline = SomeMessages();
  RecordingWay way;
  Schedule schedule(3, 100);
  WriterPool pool(timeline, way, schedule, 3);
  schedule.PublishPosition(0);
  EXPECT_TRUE(schedule.WaitForWriters(249)) << "all below sample 250 is written";
  EXPECT_FALSE(schedule.IsAllWritten()) << "and sample 250 is not";
  schedule.PublishPosition(200);
  EXPECT_TRUE(schedule.WaitForWriters(1'000'000)) << "with nothing left, everything is written";
  pool.Join();
  EXPECT_EQ(pool.Counters().mWritten, 7u);
}

TEST(WriterPool, CountsWhatIsWrittenAfterTheFirstPullAndDuringOne) {
  const Timeline timeline = SomeMessages();
  RecordingWay way;
  Schedule schedule(3, 100);
  WriterPool pool(timeline, way, schedule, 3);
  schedule.PublishPosition(0);
  EXPECT_TRUE(schedule.WaitForWriters(249));
  schedule.BeginPull();
  schedule.PublishPosition(200);
  EXPECT_TRUE(schedule.WaitForWriters(1'000'000));
  schedule.EndPull();
  pool.Join();
  EXPECT_EQ(pool.Counters().mWrittenAfterFirstPull, 3u) << "those of sample 250";
  EXPECT_EQ(pool.Counters().mWrittenDuringPull, 3u);
}

TEST(WriterPool, JoinThrowsWhatAWriterThrewAndTheOthersGiveUp) {
  const Timeline timeline(tool::SongReader(Test_OneTrackSong({0, 0xCF, 1, 96, 0xC0, 1})).Read(), 48000,
                          std::nullopt);
  RecordingWay way;
  Schedule schedule(3, 1024);
  WriterPool pool(timeline, way, schedule, 3);
  schedule.PublishPosition(0);
  EXPECT_FALSE(schedule.WaitForWriters(63));
  EXPECT_THAT([&pool] { pool.Join(); }, testing::ThrowsMessage<std::runtime_error>("no channel 15"));
  EXPECT_EQ(way.mWritten[0], "") << "the message at sample 24000 was never due";
}

TEST(WriterPool, EndsItsWritersWhenItGoes) {
  const Timeline timeline = SomeMessages();
  RecordingWay way;
  Schedule schedule(3, 100);
  { const WriterPool pool(timeline, way, schedule, 3); }
  EXPECT_TRUE(schedule.IsCancelled());
  EXPECT_TRUE(schedule.IsAllWritten());
}

}  // namespace
