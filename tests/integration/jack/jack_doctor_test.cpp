// SPDX-License-Identifier: MIT
// `mlox doctor` on a machine with a JACK server: one that answers, one that stands still, and none.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/platform/directmusic/conformance/driver_test_support.h"
#include "tests/platform/directmusic/jack/jack_test_client.h"
#include "tests/platform/directmusic/jack/jack_test_server.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using nlohmann::json;

class JackDoctor : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("MLOX_MIDI_DRIVERS", "jack", 1);
    ::setenv("HOME", mFolder.Path().c_str(), 1);
    ASSERT_EQ(mServer.Start(), "");
  }
  void TearDown() override { mServer.Stop(); }

  // What is said of one thing.
  json Ask(const std::string& iName) const {
    const std::string answer = mFolder / "answer";
    const int status = std::system((MLOX_TEST_TOOL " doctor --json >" + answer + " 2>/dev/null").c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= 1) << status;
    const json all = json::parse(Test_ReadFile(answer));
    for (const json& finding : all["findings"]) {
      if (finding["name"] == iName) {
        return finding;
      }
    }
    ADD_FAILURE() << "no finding " << iName;
    return {};
  }
  static std::string Seen(const json& iFinding) { return iFinding["seen"]; }
  static std::string Server() { return Test_IsPipeWire() ? "PipeWire (" : "a JACK server ("; }

  Test_TempFolder mFolder;
  Test_JackServer mServer;
};

TEST_F(JackDoctor, TellsOfAServerThatAnswersAndOfItsPorts) {
  Test_JackClient peer;
  ASSERT_EQ(peer.Open("peer"), "");
  ASSERT_TRUE(peer.AddSink("sink"));
  json jack;
  // A port that is just being made may come late.
  EXPECT_TRUE(Test_WaitFor([&] {
    jack = Ask("jack");
    return Seen(jack).find(" 0 outputs") == std::string::npos;
  })) << jack;
  EXPECT_EQ(jack["state"], "ok") << jack;
  EXPECT_TRUE(Seen(jack).starts_with(Server())) << jack;
  EXPECT_NE(Seen(jack).find(") answers: "), std::string::npos) << jack;
  EXPECT_EQ(Seen(Ask("drivers")), "ports come from jack (MLOX_MIDI_DRIVERS=jack)");
  const json pipewire = Ask("pipewire");
  EXPECT_EQ(pipewire["state"], Test_IsPipeWire() ? "note" : "ok") << pipewire;
  peer.Close();
}

TEST_F(JackDoctor, LetsTheUsersSettingsOfPipeWireCount) {
  if (Test_IsPipeWire()) {
    const std::string command = Ask("pipewire")["mend"][0].get<std::string>() + " && " +
                                Ask("pipewire")["mend"][1].get<std::string>();
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  EXPECT_EQ(Ask("pipewire")["state"], "ok");
}

TEST_F(JackDoctor, DoesNotWaitForAServerThatStandsStill) {
  ASSERT_EQ(::kill(mServer.ProcessId(), SIGSTOP), 0);
  const auto begin = std::chrono::steady_clock::now();
  const json jack = Ask("jack");
  const auto taken = std::chrono::steady_clock::now() - begin;
  ASSERT_EQ(::kill(mServer.ProcessId(), SIGCONT), 0);
  EXPECT_EQ(jack["state"], "wrong") << jack;
  EXPECT_TRUE(Seen(jack).starts_with(Server())) << jack;
  EXPECT_NE(Seen(jack).find(") does not answer"), std::string::npos) << jack;
  EXPECT_EQ(jack["mend"].size(), 1u);
  // Longer than the driver itself may take, were it asked in the tool's own process.
  EXPECT_LT(taken, std::chrono::seconds(60));
}

TEST_F(JackDoctor, SaysThatThereIsNoneAndStartsNone) {
  mServer.Stop();
  const json jack = Ask("jack");
  EXPECT_EQ(jack["state"], "wrong") << jack;
  EXPECT_FALSE(jack["mend"].empty());
  EXPECT_EQ(Ask("drivers")["state"], "wrong");
  EXPECT_EQ(Ask("jack"), jack);
}

}  // namespace
