// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/latency.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "tests/tools/ports/heard_device.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// What is sent is heard at the device, and what comes back is another sender's clock, without end.
class LatencyTest : public Test_HeardDevice {
 protected:
  LatencyTest() {
    Platform_LoopbackPorts::Plug(kClockPort);
    mClock = std::jthread([this](const std::stop_token& iStop) {
      const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kClockPort);
      while (!iStop.stop_requested()) {
        constexpr std::array<std::uint8_t, 1> kClock{0xF8};
        output->Send(0, kClock.data(), kClock.size());
        std::this_thread::sleep_for(5ms);
      }
    });
  }
  ~LatencyTest() override {
    mClock = {};
    Platform_LoopbackPorts::Unplug(kClockPort);
  }

  static tool::LatencyRequest Request() {
    tool::LatencyRequest request;
    request.mOutput = kPort;
    request.mInput = kClockPort;
    request.mCount = 3;
    return request;
  }

  static constexpr char kClockPort[] = "clock";

 private:
  std::jthread mClock;
};

TEST_F(LatencyTest, EndsWhenAMessageDoesNotComeBackWhateverElseComes) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(FaultOf([] { tool::Latency(Request()); }).get(),
              HasSubstr("message 1 of 3 didn't come back within 2 seconds"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TEST_F(LatencyTest, EndsOnTheFirstCtrlCWhateverComes) {
  auto fault = FaultOf([] { tool::Latency(Request()); });
  ASSERT_TRUE(WaitUntilHeard(1));
  Interrupt();
  EXPECT_EQ(fault.get(), "interrupted");
}

TEST_F(LatencyTest, TellsOfAnOutputThatHasGone) {
  auto request = Request();
  request.mInput = kPort;
  request.mCount = 10000000;
  auto fault = FaultOf([&] { tool::Latency(request); });
  ASSERT_TRUE(WaitUntilHeard(10));
  Platform_LoopbackPorts::Unplug(kPort);
  EXPECT_EQ(fault.get(), "device: has gone");
}

}  // namespace
