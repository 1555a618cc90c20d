// SPDX-License-Identifier: MIT
// Times, measured in virtual time: what is early or late here is so by the number of instructions.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>

#include "platform/directmusic/alsa/alsa_driver.h"
#include "tests/integration/alsa/bare_client.h"
#include "tests/integration/alsa/root_fixture.h"

namespace {

constexpr std::int64_t kMostLate = 200;

// The message with this number: each is another one.
Test_MidiBytes Numbered(std::size_t iNumber) {
  return {0xE0, static_cast<std::uint8_t>(iNumber % 128), static_cast<std::uint8_t>(iNumber / 128 % 128)};
}

class AlsaScheduling : public Test_AlsaRoot {
 protected:
  void SetUp() override {
    Test_AlsaRoot::SetUp();
    mRecorderP = std::make_unique<Test_BareClient>("timekeeper", Test_BareClient::kRecords);
    mRecorderP->Record();
    mOutputP = Open("timekeeper", false);
    ASSERT_NE(mOutputP, nullptr);
  }

  // Plays numbered messages at these distances from iStart and looks at each arrival.
  void ExpectOnTime(std::int64_t iStart, const std::vector<std::int64_t>& iDistances) {
    const std::size_t before = mRecorderP->Count();
    for (std::size_t i = 0; i < iDistances.size(); ++i) {
      ASSERT_EQ(Play(mOutputP, Numbered(i), (iStart + iDistances[i]) * 10), S_OK);
    }
    ExpectArrivals(before, iStart, iDistances);
  }
  // The same in one buffer.
  void ExpectOnTimeInOneGo(std::int64_t iStart, const std::vector<std::int64_t>& iDistances) {
    IDirectMusicBuffer* const buffer = NewBuffer(static_cast<DWORD>(iDistances.size() * 24));
    for (std::size_t i = 0; i < iDistances.size(); ++i) {
      Test_MidiBytes bytes = Numbered(i);
      ASSERT_EQ(buffer->PackUnstructured((iStart + iDistances[i]) * 10, 1, 3, bytes.data()), S_OK);
    }
    ASSERT_EQ(mOutputP->PlayBuffer(buffer), S_OK);
    buffer->Release();
    ExpectArrivals(0, iStart, iDistances);
    EXPECT_EQ(mRecorderP->Count(), iDistances.size());
  }
  void ExpectArrivals(std::size_t iBefore, std::int64_t iStart, const std::vector<std::int64_t>& iDistances) {
    // Until the last is due; the patience below is for what comes late.
    std::this_thread::sleep_until(
        std::chrono::steady_clock::time_point(std::chrono::microseconds(iStart + iDistances.back())));
    ASSERT_TRUE(Test_WaitInGuest([&] { return mRecorderP->Count() >= iBefore + iDistances.size(); }));
    const std::vector<Test_Heard> heard = mRecorderP->Heard();
    std::int64_t earliest = INT64_MAX;
    std::int64_t latest = INT64_MIN;
    for (std::size_t i = 0; i < iDistances.size(); ++i) {
      ASSERT_EQ(heard[iBefore + i].mBytes, Numbered(i)) << i;
      const std::int64_t late = heard[iBefore + i].mTime - (iStart + iDistances[i]);
      earliest = std::min(earliest, late);
      latest = std::max(latest, late);
    }
    std::printf("soak: %zu events over %lld s, all in order, late by %lld to %lld microseconds\n",
                iDistances.size(), static_cast<long long>(iDistances.back() / 1'000'000),
                static_cast<long long>(earliest), static_cast<long long>(latest));
    EXPECT_GE(earliest, 0) << "never early";
    EXPECT_LE(latest, kMostLate);
  }

  std::unique_ptr<Test_BareClient> mRecorderP;
  IDirectMusicPort* mOutputP = nullptr;
};

TEST_F(AlsaScheduling, EventsAHundredMillisecondsAheadAreNeverEarlyAndAtMost200MicrosecondsLate) {
  std::vector<std::int64_t> distances;
  for (int i = 0; i < 200; ++i) {
    distances.push_back(100'000 + i * 977);
  }
  ExpectOnTime(Sys_Clock::Microseconds(), distances);
}

TEST_F(AlsaScheduling, TimesHoldOverSecondsAndNewMeasurementsOfTheOffset) {
  std::vector<std::int64_t> distances;
  for (int i = 0; i < 100; ++i) {
    distances.push_back(100'000 + i * 51'003);
  }
  ExpectOnTime(Sys_Clock::Microseconds(), distances);
}

// A clock that runs ahead of the queue: by 50 milliseconds at once, which is what a drift comes to in long.
TEST_F(AlsaScheduling, TimesHoldByTheLatestMeasurementOfTheOffset) {
  static std::atomic<std::int64_t> sAhead{0};
  Sys_Clock::SetSourceForTest([] {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count() + sAhead.load();
  });
  ExpectOnTime(Sys_Clock::Microseconds(), {100'000, 101'000});
  sAhead.store(50'000);
  std::this_thread::sleep_for(std::chrono::milliseconds(1'100));
  ExpectOnTime(Sys_Clock::Microseconds(), {100'000, 101'000});
  // The queue's next offset is measured by the clock that it will be used with.
  mOutputP->Activate(FALSE);
  Sys_Clock::SetSourceForTest(nullptr);
}

TEST_F(AlsaScheduling, TimesHoldAfterALongRest) {
  std::this_thread::sleep_for(std::chrono::seconds(30));
  ExpectOnTime(Sys_Clock::Microseconds(), {100'000, 100'500, 101'000});
}

TEST_F(AlsaScheduling, FiveThousandWrittenInOneGoArriveInOrderAndOnTime) {
  std::vector<std::int64_t> distances;
  for (int i = 0; i < 5'000; ++i) {
    distances.push_back(1'500'000 + i * 1'000);
  }
  ExpectOnTime(Sys_Clock::Microseconds(), distances);
}

// By a test of its own: the queue's timer ticks 22 million times meanwhile, which takes the host a quarter of
// an hour.
TEST_F(AlsaScheduling, FiveThousandOverAnHourWrittenInOneGoArriveInOrderAndOnTime) {
  std::vector<std::int64_t> distances;
  for (std::int64_t i = 0; i < 5'000; ++i) {
    // Not in step with the queue's tick or the clock's measurement.
    distances.push_back(1'500'000 + i * 720'000 + i * 977 % 100'003);
  }
  ExpectOnTimeInOneGo(Sys_Clock::Microseconds(), distances);
}

TEST_F(AlsaScheduling, WhatIsPlayedAtOnceGoesPastTheQueue) {
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const std::int64_t before = Sys_Clock::Microseconds();
  ASSERT_EQ(Play(mOutputP, {0xC0, 1}), S_OK);
  ASSERT_TRUE(Test_WaitInGuest([&] { return mRecorderP->Count() > 0; }));
  EXPECT_LE(mRecorderP->Heard()[0].mTime - before, 100) << "less than a tick of the queue";
}

TEST_F(AlsaScheduling, WhatIsDueAndStillInTheQueueIsNotOvertakenByWhatIsPlayedAtOnce) {
  for (int round = 0; round < 50; ++round) {
    const std::size_t before = mRecorderP->Count();
    const std::int64_t due = Sys_Clock::Microseconds() + 300 + round * 7;
    ASSERT_EQ(Play(mOutputP, {0xC0, 1}, due * 10), S_OK);
    while (Sys_Clock::Microseconds() <= due) {
    }
    ASSERT_EQ(Play(mOutputP, {0xC0, 2}), S_OK);
    ASSERT_TRUE(Test_WaitInGuest([&] { return mRecorderP->Count() >= before + 2; }));
    ASSERT_EQ(mRecorderP->Heard()[before].mBytes, (Test_MidiBytes{0xC0, 1})) << round;
    ASSERT_EQ(mRecorderP->Heard()[before + 1].mBytes, (Test_MidiBytes{0xC0, 2})) << round;
  }
}

// The port above keeps what the driver refuses.
TEST_F(AlsaScheduling, AFullPoolKeepsTheEventForLater) {
  class Host final : public Platform_DriverHost {
    void PortsMayHaveChanged() override {}
  } host;
  Platform_AlsaDriver driver;
  std::string reason;
  ASSERT_TRUE(driver.Start(&host, reason)) << reason;
  std::unique_ptr<Platform_DriverOutput> output;
  for (const Platform_PortInfo& port : driver.Ports()) {
    if (!port.mIsInput && port.mName == "timekeeper") {
      output = driver.OpenOutput(port);
    }
  }
  ASSERT_NE(output, nullptr);
  const std::int64_t start = Sys_Clock::Microseconds() + 60'000'000;
  const std::uint8_t message[] = {0xC0, 1};
  int taken = 0;
  Platform_SendResult result = Platform_SendResult::kTaken;
  while (taken < 3'000 &&
         (result = output->Send(start + taken * 100, message, 2)) == Platform_SendResult::kTaken) {
    ++taken;
  }
  EXPECT_EQ(result, Platform_SendResult::kFull);
  EXPECT_GE(taken, 1'900) << "the pool has its largest size";
  EXPECT_LE(taken, 2'000);
  output->Drop();
  EXPECT_EQ(output->Send(start, message, 2), Platform_SendResult::kTaken) << "dropped: there is room again";
  output->Drop();
  output.reset();
  driver.Stop();
}

}  // namespace
