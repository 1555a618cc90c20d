// SPDX-License-Identifier: MIT
#include "platform/directmusic/jack/jack_names.h"

#include <gtest/gtest.h>

namespace {

using Keys = std::vector<std::pair<std::string, std::string>>;

TEST(JackNames, TheFirstDurableAliasIsTheAddress) {
  EXPECT_EQ(Platform_JackAddress("system:midi_capture_1", {"alsa_pcm:UM-1/midi_capture_1", "UM-1:midi/1"}),
            "alsa_pcm:UM-1/midi_capture_1");
}

TEST(JackNames, AnEmptyFirstAliasIsPassedOver) {
  EXPECT_EQ(Platform_JackAddress("synth-35:midi in", {"", "synth:midi in"}), "synth:midi in");
}

TEST(JackNames, AliasesMadeOfNumbersInOrderOfAppearanceAreNotDurable) {
  EXPECT_FALSE(Platform_IsDurableAlias(""));
  EXPECT_FALSE(Platform_IsDurableAlias("system:midi_capture_1"));
  EXPECT_FALSE(Platform_IsDurableAlias("alsa:seq:default:client_20:capture_0"));
  EXPECT_FALSE(Platform_IsDurableAlias("alsa_pcm:in-hw-1-0-0-UM-1"));
  EXPECT_FALSE(Platform_IsDurableAlias("alsa_pcm:hw:1,0/in1"));
  EXPECT_FALSE(Platform_IsDurableAlias("a2j:UM-1 [20] (capture): UM-1 MIDI 1"));
  EXPECT_TRUE(Platform_IsDurableAlias("Midi-Bridge:UM-1:(capture_0) UM-1 MIDI 1"));
  EXPECT_EQ(Platform_JackAddress("Midi-Bridge:in", {"alsa:seq:default:client_20:capture_0", "Bridge:UM-1"}),
            "Bridge:UM-1");
}

TEST(JackNames, WithoutADurableAliasTheNameLosesItsNumberInBrackets) {
  EXPECT_EQ(Platform_JackAddress("synth:midi in [3]", {"", ""}), "synth:midi in");
  EXPECT_EQ(Platform_JackAddress("synth:midi in[12]", {}), "synth:midi in");
  EXPECT_EQ(Platform_JackAddress("synth:midi in", {"", ""}), "synth:midi in");
  EXPECT_EQ(Platform_JackAddress("synth:midi [a]", {"", ""}), "synth:midi [a]");
  EXPECT_EQ(Platform_JackAddress("synth:midi []", {"", ""}), "synth:midi []");
  EXPECT_EQ(Platform_JackAddress("[3]", {"", ""}), "[3]") << "a name of nothing is no name";
  EXPECT_EQ(Platform_JackAddress("synth:out [3] left", {"", ""}), "synth:out [3] left");
}

TEST(JackNames, ANumberStandsOnlyAmongEqualApplications) {
  Platform_JackNumbers numbers;
  EXPECT_EQ(numbers.Assign({{"a", "synth"}, {"b", "organ"}}), (std::vector<int>{1, 1}));
  EXPECT_EQ(numbers.Assign({{"a", "synth"}, {"b", "organ"}, {"c", "synth"}}), (std::vector<int>{1, 1, 2}));
}

TEST(JackNames, APortKeepsItsNumberAndTheLowestFreeOneIsGivenAgain) {
  Platform_JackNumbers numbers;
  EXPECT_EQ(numbers.Assign({{"a", "synth"}, {"b", "synth"}, {"c", "synth"}}), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(numbers.Assign({{"a", "synth"}, {"c", "synth"}}), (std::vector<int>{1, 3}));
  EXPECT_EQ(numbers.Assign({{"d", "synth"}, {"c", "synth"}, {"a", "synth"}}), (std::vector<int>{2, 3, 1}));
  EXPECT_EQ(numbers.Assign({{"c", "synth"}}), (std::vector<int>{3}));
  EXPECT_EQ(numbers.Assign({{"c", "synth"}, {"e", "synth"}}), (std::vector<int>{3, 1}));
}

TEST(JackNames, APortThatTakesAnotherAddressIsAnotherOne) {
  Platform_JackNumbers numbers;
  EXPECT_EQ(numbers.Assign({{"a", "synth"}, {"b", "synth"}}), (std::vector<int>{1, 2}));
  EXPECT_EQ(numbers.Assign({{"a", "synth"}, {"b", "organ"}}), (std::vector<int>{1, 1}));
}

}  // namespace
