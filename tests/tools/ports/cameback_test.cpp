// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/cameback.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "tests/tools/ports/heard_device.h"
#include "tools/mlox/tool_error.h"

namespace {

using testing::StartsWith;

/// What comes back on the device's input is what the test sends to it.
class CameBackTest : public Test_HeardDevice {
 protected:
  // The line about what was sent, or what was found wrong with it.
  std::string VerdictOn(const std::vector<Bytes>& iSent, const std::vector<Bytes>& iBack) {
    const tool::PortSession session;
    tool::CameBack back(session, kPort);
    for (const Bytes& message : iSent) back.Expect(message, Sys_Clock::Microseconds());
    const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kPort);
    for (const Bytes& message : iBack) {
      EXPECT_EQ(output->Send(kPlatform_AtOnce, message.data(), message.size()), Platform_SendResult::kTaken);
    }
    EXPECT_TRUE(WaitUntil([&] { return back.Collect(); }));
    try {
      return back.Verdict();
    } catch (const tool::ToolError& error) {
      return error.what();
    }
  }

  const std::vector<Bytes> mSent = {{0x90, 60, 100}, {0xB0, 7, 90}, {0x80, 60, 64}};
};

TEST_F(CameBackTest, EveryByteThatCameBackIsCounted) {
  EXPECT_THAT(VerdictOn(mSent, mSent), StartsWith("3 messages, 9 bytes: every byte came back; "));
}

TEST_F(CameBackTest, ByteThatDiffersIsToldWithItsPlaceAndBothValues) {
  EXPECT_EQ(VerdictOn(mSent, {{0x91, 60, 100}, {0xB0, 7, 90}, {0x80, 60, 64}}),
            "byte 1 of 9 came back as 91, not 90");
  EXPECT_EQ(VerdictOn(mSent, {{0x90, 60, 100}, {0xB0, 10, 90}, {0x80, 60, 64}}),
            "byte 5 of 9 came back as 0a, not 07");
  EXPECT_EQ(VerdictOn(mSent, {{0x90, 60, 100}, {0xB0, 7, 90}, {0x80, 60, 0}}),
            "byte 9 of 9 came back as 00, not 40");
}

TEST_F(CameBackTest, TheFirstByteThatDiffersIsToldBeforeHowManyCame) {
  EXPECT_EQ(VerdictOn(mSent, {{0xC0, 1}, {0x90, 60, 100}, {0xB0, 7, 90}, {0x80, 60, 64}}),
            "byte 1 of 9 came back as c0, not 90");
}

TEST_F(CameBackTest, ALongSongComesBackThoughNobodyCollectsUntilItsEnd) {
  const tool::PortSession session;
  constexpr std::size_t kMost = 10;
  tool::CameBack back(session, kPort, kMost);
  const std::unique_ptr<Platform_DriverOutput> output = OpenOutput(kPort);
  const Bytes message{0xC0, 5};
  for (std::size_t sent = 0; sent < 2 * kMost; ++sent) {
    if (sent == kMost) {
      ASSERT_TRUE(WaitUntilHeard(sent));
      // Long enough for a busy machine to receive them on the other way, too.
      std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    back.Expect(message, Sys_Clock::Microseconds());
    EXPECT_EQ(output->Send(kPlatform_AtOnce, message.data(), message.size()), Platform_SendResult::kTaken);
  }
  EXPECT_TRUE(WaitUntil([&] { return back.Collect(); }));
  EXPECT_THAT(back.Verdict(), StartsWith("20 messages, 40 bytes: every byte came back; "));
}

}  // namespace
