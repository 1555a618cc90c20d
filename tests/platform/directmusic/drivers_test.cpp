// SPDX-License-Identifier: MIT
#include "platform/directmusic/drivers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/test_environment.h"

namespace {

using Names = std::vector<std::string>;

class SilentHost : public Platform_DriverHost {
 public:
  void PortsMayHaveChanged() override {}
};

// A driver that starts or doesn't.
class FakeDriver : public Platform_Driver {
 public:
  FakeDriver(std::string iName, bool iStarts) : mName(std::move(iName)), mStarts(iStarts) {}
  const char* Name() const override { return mName.c_str(); }
  bool Start(Platform_DriverHost*, std::string& oReason) override {
    oReason = mStarts ? "" : "it is not there";
    return mStarts;
  }
  void Stop() override {}
  std::vector<Platform_PortInfo> Ports() override { return {}; }
  std::unique_ptr<Platform_DriverInput> OpenInput(const Platform_PortInfo&) override { return nullptr; }
  std::unique_ptr<Platform_DriverOutput> OpenOutput(const Platform_PortInfo&) override { return nullptr; }

 private:
  const std::string mName;
  const bool mStarts;
};

class Drivers : public ::testing::Test {
 protected:
  // Those that run of a choice, where some of all names can't start.
  Names Start(const std::optional<std::string>& iChoice, const std::set<std::string>& iBroken = {}) {
    const Test_Environment choice("MLOX_MIDI_DRIVERS", iChoice);
    Names names;
    for (const auto& driver :
         Platform_StartDrivers(&mHost, [&](const std::string& iName) -> std::unique_ptr<Platform_Driver> {
           if (iName == "unknown") {
             return nullptr;
           }
           return std::make_unique<FakeDriver>(iName, iBroken.count(iName) == 0);
         })) {
      names.emplace_back(driver->Name());
    }
    return names;
  }

  SilentHost mHost;
};

TEST_F(Drivers, ThoseThatWereBuiltStandInTheOrderOfPreferenceTheLoopbackLast) {
  const Names all = {"alsa", "jack", "loopback"};
  const Names built = Platform_DriverNames();
  auto at = all.begin();
  for (const std::string& name : built) {
    at = std::find(at, all.end(), name);
    ASSERT_NE(at, all.end()) << name;
    EXPECT_STREQ(Platform_MakeDriver(name)->Name(), name.c_str());
  }
  EXPECT_EQ(built.back(), "loopback");
  EXPECT_EQ(Platform_MakeDriver("unknown"), nullptr);
}

TEST_F(Drivers, AllThatAreChosenStartInTheOrderOfTheChoice) {
  EXPECT_EQ(Start("jack,,alsa,loopback"), (Names{"jack", "alsa", "loopback"}));
}

TEST_F(Drivers, OnesThatAreChosenAndUnknownOrNotThereAreLeftOut) {
  EXPECT_EQ(Start("unknown,jack,alsa", {"jack"}), Names{"alsa"});
  EXPECT_EQ(Start("unknown"), Names{});
}

TEST_F(Drivers, WithoutAChoiceTheFirstThatStartsIsTheOnlyOne) {
  for (const std::optional<std::string>& none :
       {std::optional<std::string>(), std::optional<std::string>("")}) {
    std::set<std::string> broken;
    for (const std::string& name : Platform_DriverNames()) {
      EXPECT_EQ(Start(none, broken), Names{name});
      broken.insert(name);
    }
    EXPECT_EQ(Start(none, broken), Names{});
  }
}

// A driver with ports, which notes whether it was stopped.
class DriverWithPorts : public FakeDriver {
 public:
  explicit DriverWithPorts(bool& oIsStopped) : FakeDriver("ports", true), mIsStopped(oIsStopped) {}
  void Stop() override { mIsStopped = true; }
  std::vector<Platform_PortInfo> Ports() override {
    std::vector<Platform_PortInfo> ports(3);
    ports[1].mIsInput = true;
    return ports;
  }

 private:
  bool& mIsStopped;
};

TEST_F(Drivers, ATrialCountsPortsAndStopsTheDriverAgain) {
  bool isStopped = false;
  const Platform_DriverTrial trial = Platform_TryDriver(
      "ports", [&](const std::string&) { return std::make_unique<DriverWithPorts>(isStopped); });
  EXPECT_TRUE(trial.mIsBuilt);
  EXPECT_TRUE(trial.mStarts);
  EXPECT_EQ(trial.mInputs, 1);
  EXPECT_EQ(trial.mOutputs, 2);
  EXPECT_TRUE(isStopped);
}

TEST_F(Drivers, ATrialTellsWhyADriverDoesNotStart) {
  const Platform_DriverTrial trial = Platform_TryDriver(
      "broken", [](const std::string& iName) { return std::make_unique<FakeDriver>(iName, false); });
  EXPECT_TRUE(trial.mIsBuilt);
  EXPECT_FALSE(trial.mStarts);
  EXPECT_EQ(trial.mReason, "it is not there");
}

TEST_F(Drivers, ATrialOfWhatWasNotBuiltSaysSo) {
  EXPECT_FALSE(Platform_TryDriver("unknown").mIsBuilt);
  const Platform_DriverTrial loopback = Platform_TryDriver("loopback");
  EXPECT_TRUE(loopback.mIsBuilt && loopback.mStarts);
  EXPECT_EQ(loopback.mInputs, loopback.mOutputs);
  EXPECT_GT(loopback.mOutputs, 0);
}

}  // namespace
