// SPDX-License-Identifier: MIT
#include "platform/directmusic/drivers.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/test_environment.h"

namespace {

class SilentHost : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override {}
};

class Drivers : public ::testing::Test {
 protected:
  ~Drivers() override {
    for (const auto& driver : mStarted) {
      driver->Stop();
    }
  }
  std::vector<std::string> Start() {
    std::vector<std::string> names;
    mStarted = Platform_StartDrivers(&mHost);
    for (const auto& driver : mStarted) {
      names.emplace_back(driver->Name());
    }
    return names;
  }

  SilentHost mHost;
  std::vector<std::unique_ptr<Platform_Driver>> mStarted;
};

TEST_F(Drivers, TheChosenOnesStartAndOnesThatAreNotThereAreLeftOut) {
  const Test_Environment choice("MLOX_MIDI_DRIVERS", "nothing,,loopback,Loopback");
  EXPECT_EQ(Start(), std::vector<std::string>{"loopback"});
}

TEST_F(Drivers, AChoiceOfNoneThatIsThereStartsNone) {
  const Test_Environment choice("MLOX_MIDI_DRIVERS", "none");
  EXPECT_EQ(Start(), std::vector<std::string>{});
}

// Which one that is depends on the machine; on one without a sequencer and a server it is the loopback.
TEST_F(Drivers, WithoutAChoiceTheFirstThatStartsIsTheOnlyOne) {
  const Test_Environment choice("MLOX_MIDI_DRIVERS", "");
  const std::vector<std::string> started = Start();
  ASSERT_EQ(started.size(), 1u);
  for (const std::string& name : Platform_DriverNames()) {
    if (name == started[0]) {
      break;
    }
    std::string reason;
    EXPECT_FALSE(Platform_MakeDriver(name)->Start(&mHost, reason)) << name << " comes before " << started[0];
    EXPECT_NE(reason, "");
  }
  EXPECT_EQ(Platform_DriverNames().back(), "loopback");
}

}  // namespace
