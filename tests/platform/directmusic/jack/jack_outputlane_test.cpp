// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_outputlane.h"

#include <gtest/gtest.h>

#include <vector>

#include "cmn/sys_clock.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Event {
  std::uint32_t mFrame;
  Bytes mBytes;
  bool operator==(const Event&) const = default;
};

// What stands for a port's buffer.
struct Buffer {
  std::vector<Event> mEvents;
  std::size_t mRoom = SIZE_MAX;
};

bool Write(void* iBufferP, std::uint32_t iFrame, const std::uint8_t* iBytes, std::size_t iLength) {
  auto* const buffer = static_cast<Buffer*>(iBufferP);
  if (buffer->mEvents.size() == buffer->mRoom) {
    return false;
  }
  buffer->mEvents.push_back({iFrame, Bytes(iBytes, iBytes + iLength)});
  return true;
}

// The clock stands at 1,000,000; a cycle of 100 frames is 1,000 microseconds long.
class JackOutputLane : public ::testing::Test {
 protected:
  void SetUp() override {
    Sys_Clock::SetSourceForTest([]() -> std::int64_t { return 1'000'000; });
  }
  void TearDown() override { Sys_Clock::SetSourceForTest(nullptr); }

  bool Send(std::int64_t iTime, const Bytes& iBytes) {
    return mLane.Send(iTime, iBytes.data(), iBytes.size());
  }
  std::vector<Event> Cycle(std::int64_t iStart, std::size_t iRoom = SIZE_MAX) {
    Buffer buffer;
    buffer.mRoom = iRoom;
    mLane.Process({iStart, iStart + 1'000, 100}, Write, &buffer);
    return buffer.mEvents;
  }

  Platform_JackOutputLane mLane;
};

TEST_F(JackOutputLane, AnEventGoesIntoTheCycleThatHoldsItsTime) {
  EXPECT_TRUE(Send(1'001'500, {0xC0, 1}));
  EXPECT_EQ(Cycle(1'000'000), std::vector<Event>{});
  EXPECT_EQ(Cycle(1'001'000), (std::vector<Event>{{50, {0xC0, 1}}}));
  EXPECT_EQ(Cycle(1'002'000), std::vector<Event>{});
}

TEST_F(JackOutputLane, TheFrameIsRoundedUpSoThatNothingIsEarly) {
  EXPECT_TRUE(Send(1'000'001, {0xC0, 1}));
  EXPECT_TRUE(Send(1'000'010, {0xC0, 2}));
  EXPECT_TRUE(Send(1'000'991, {0xC0, 3}));
  EXPECT_EQ(Cycle(1'000'000), (std::vector<Event>{{1, {0xC0, 1}}, {1, {0xC0, 2}}}));
  EXPECT_EQ(Cycle(1'001'000), (std::vector<Event>{{0, {0xC0, 3}}})) << "behind the last frame";
}

TEST_F(JackOutputLane, ALateEventSoundsAtOffset0) {
  EXPECT_TRUE(Send(1'000'100, {0xC0, 1}));
  EXPECT_EQ(Cycle(1'500'000), (std::vector<Event>{{0, {0xC0, 1}}}));
}

TEST_F(JackOutputLane, EventsSoundByTimeAndEqualTimesInOrderOfSending) {
  for (std::uint8_t i = 0; i < 50; ++i) {
    EXPECT_TRUE(Send(1'000'500 + (i % 5) * 100, {0xC0, i}));
  }
  const std::vector<Event> events = Cycle(1'000'000);
  ASSERT_EQ(events.size(), 50u);
  for (std::size_t i = 0; i < 50; ++i) {
    EXPECT_EQ(events[i], (Event{static_cast<std::uint32_t>(50 + i / 10 * 10),
                                {0xC0, static_cast<std::uint8_t>(i / 10 + i % 10 * 5)}}));
  }
}

TEST_F(JackOutputLane, AtOnceCountsAsNow) {
  EXPECT_TRUE(Send(INT64_MIN, {0xC0, 1}));
  EXPECT_TRUE(Send(5, {0xC0, 2}));
  EXPECT_TRUE(Send(999'999, {0xC0, 3}));
  EXPECT_EQ(Cycle(1'000'000), (std::vector<Event>{{0, {0xC0, 1}}, {0, {0xC0, 2}}, {0, {0xC0, 3}}}));
}

TEST_F(JackOutputLane, AtMost512EventsGoIntoACycleAndTheRestIntoTheNext) {
  for (int i = 0; i < 1'100; ++i) {
    EXPECT_TRUE(Send(0, {0xB0, static_cast<std::uint8_t>(i / 100), static_cast<std::uint8_t>(i % 100)}));
  }
  int next = 0;
  for (const std::size_t count : {512u, 512u, 76u, 0u}) {
    const std::vector<Event> events = Cycle(1'000'000);
    ASSERT_EQ(events.size(), count);
    for (const Event& event : events) {
      EXPECT_EQ(event.mBytes[1] * 100 + event.mBytes[2], next);
      ++next;
    }
  }
}

TEST_F(JackOutputLane, AtMost8KilobytesGoIntoACycle) {
  for (int i = 0; i < 40; ++i) {
    EXPECT_TRUE(Send(0, Bytes(256, 1)));
  }
  EXPECT_EQ(Cycle(1'000'000).size(), 32u);
  EXPECT_EQ(Cycle(1'001'000).size(), 8u);
}

TEST_F(JackOutputLane, ABufferWithoutRoomKeepsTheEventForTheNextCycle) {
  for (std::uint8_t i = 0; i < 5; ++i) {
    EXPECT_TRUE(Send(0, {0xC0, i}));
  }
  EXPECT_EQ(Cycle(1'000'000, 2).size(), 2u);
  EXPECT_EQ(Cycle(1'001'000, 0).size(), 0u);
  EXPECT_EQ(Cycle(1'002'000), (std::vector<Event>{{0, {0xC0, 2}}, {0, {0xC0, 3}}, {0, {0xC0, 4}}}));
}

TEST_F(JackOutputLane, AFullLaneRefusesAndTakesAgainWhenSomethingWasPlayed) {
  int count = 0;
  while (Send(0, {0xC0, 1})) {
    ++count;
  }
  EXPECT_EQ(count, 4096);
  EXPECT_EQ(mLane.Unplayed(), 4096u);
  EXPECT_EQ(Cycle(1'000'000).size(), 512u);
  EXPECT_TRUE(Send(0, {0xC0, 1}));
  EXPECT_EQ(mLane.Unplayed(), 4096u - 512u + 1u);
}

TEST_F(JackOutputLane, DropTakesBackWhatWasSentBeforeAndNothingElse) {
  EXPECT_TRUE(Send(0, {0xC0, 1}));
  EXPECT_EQ(Cycle(1'000'000).size(), 1u);
  EXPECT_TRUE(Send(1'005'000, {0xC0, 2}));
  EXPECT_EQ(Cycle(1'001'000).size(), 0u);
  EXPECT_TRUE(Send(0, {0xC0, 3}));
  EXPECT_EQ(mLane.Unplayed(), 2u);
  mLane.Drop();
  EXPECT_EQ(mLane.Unplayed(), 0u);
  EXPECT_TRUE(Send(0, {0xC0, 4}));
  EXPECT_EQ(mLane.Unplayed(), 1u);
  EXPECT_EQ(Cycle(1'002'000), (std::vector<Event>{{0, {0xC0, 4}}}));
  EXPECT_EQ(Cycle(1'006'000), std::vector<Event>{});
  EXPECT_EQ(mLane.Unplayed(), 0u);
}

}  // namespace
