// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/cameback.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
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

}  // namespace
