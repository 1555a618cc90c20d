// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_applications.h"

#include <gtest/gtest.h>

namespace {

TEST(AlsaApplications, EqualNamesAreNumberedInTheOrderOfTheirClients) {
  Platform_AlsaApplications applications;
  applications.Settle({{130, "Synth"}, {128, "Synth"}, {129, "Other"}});
  EXPECT_EQ(applications.Address(128), "Synth");
  EXPECT_EQ(applications.Address(129), "Other");
  EXPECT_EQ(applications.Address(130), "Synth#2");
  EXPECT_EQ(applications.Address(131), "");
}

TEST(AlsaApplications, ANumberStaysWhileItsApplicationRuns) {
  Platform_AlsaApplications applications;
  applications.Settle({{128, "Synth"}, {129, "Synth"}});
  applications.Settle({{129, "Synth"}});
  EXPECT_EQ(applications.Address(129), "Synth#2");
  EXPECT_EQ(applications.Address(128), "");
}

TEST(AlsaApplications, TheNextOneGetsTheLowestFreeNumber) {
  Platform_AlsaApplications applications;
  applications.Settle({{128, "Synth"}, {129, "Synth"}, {130, "Synth"}});
  applications.Settle({{128, "Synth"}, {130, "Synth"}});
  applications.Settle({{128, "Synth"}, {130, "Synth"}, {131, "Synth"}});
  EXPECT_EQ(applications.Address(130), "Synth#3");
  EXPECT_EQ(applications.Address(131), "Synth#2");
}

TEST(AlsaApplications, AClientThatTakesAnotherNameIsAnotherApplication) {
  Platform_AlsaApplications applications;
  applications.Settle({{128, "Client-128"}, {129, "Synth"}});
  applications.Settle({{128, "Synth"}, {129, "Synth"}});
  EXPECT_EQ(applications.Address(129), "Synth");
  EXPECT_EQ(applications.Address(128), "Synth#2");
}

TEST(AlsaApplications, NamesThatDifferInTheirProcessNumberAreEqual) {
  Platform_AlsaApplications applications;
  applications.Settle({{128, "Synth (4711)"}, {129, "Synth (815)"}});
  EXPECT_EQ(applications.Address(128), "Synth");
  EXPECT_EQ(applications.Address(129), "Synth#2");
}

TEST(AlsaLastingName, LeavesOutABracketOfDigitsAndColonsAtTheEnd) {
  EXPECT_EQ(Platform_AlsaLastingName("Synth (4711)"), "Synth");
  EXPECT_EQ(Platform_AlsaLastingName("Synth input port (4711:0)"), "Synth input port");
  EXPECT_EQ(Platform_AlsaLastingName("Synth (4711) "), "Synth");
  EXPECT_EQ(Platform_AlsaLastingName("Synth (left)"), "Synth (left)");
  EXPECT_EQ(Platform_AlsaLastingName("Synth ()"), "Synth ()");
  EXPECT_EQ(Platform_AlsaLastingName("(4711)"), "(4711)");
  EXPECT_EQ(Platform_AlsaLastingName("Synth (1) b"), "Synth (1) b");
  EXPECT_EQ(Platform_AlsaLastingName(""), "");
}

TEST(AlsaPortName, IsThePortsOwnWhereThatTellsTheClient) {
  EXPECT_EQ(Platform_AlsaPortName("Box", "Box MIDI 1"), "Box MIDI 1");
  EXPECT_EQ(Platform_AlsaPortName("Midi Through", "Midi Through Port-0"), "Midi Through Port-0");
  EXPECT_EQ(Platform_AlsaPortName("Synth", "input "), "Synth input");
  EXPECT_EQ(Platform_AlsaPortName("Synth ", ""), "Synth");
  EXPECT_EQ(Platform_AlsaPortName("", "input"), "input");
}

}  // namespace
