// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/portnames.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "mlox/midiinputidmapper.h"
#include "mlox/midioutputidmapper.h"
#include "mlox/mlox_manager.h"
#include "tests/support/fake_service.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/tool_error.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

const std::vector<tool::NamedPort> kPorts{{"Synth", "1:00000001"}, {"Synth Two", "1:00000002"},
                                          {"Drums", "1:00000003"}, {"Twin", "1:00000004"},
                                          {"Twin", "1:00000005"},  {"1:00000003", "1:00000006"}};

std::string FaultOf(const std::string& iText) {
  try {
    tool::FindPort(kPorts, iText, "output");
  } catch (const tool::ToolError& error) {
    return error.what();
  }
  return "no fault";
}

TEST(IdText, ShowsServiceAndNumberAsEightDigits) {
  EXPECT_EQ(tool::IdText({1, 0x1A2B}), "1:00001a2b");
  EXPECT_EQ(tool::IdText({2, -1}), "2:ffffffff");
}

TEST(IntegerIdOf, IsTheNumberBehindThePrefixAndNothingElse) {
  EXPECT_EQ(tool::IntegerIdOf("id:0"), 0);
  EXPECT_EQ(tool::IntegerIdOf("id:17"), 17);
  EXPECT_EQ(tool::IntegerIdOf("id:2147483647"), 2147483647);
  for (const char* const text :
       {"id:", "id:-1", "id:+1", "id: 1", "id:1 ", "id:2147483648", "ID:1", "1", ""}) {
    EXPECT_EQ(tool::IntegerIdOf(text), std::nullopt) << text;
  }
}

std::string FaultOfSocket(const std::vector<tool::NamedPort>& iOutputs,
                          const std::vector<tool::NamedPort>& iInputs, const std::string& iText) {
  try {
    tool::FindSocket(iOutputs, iInputs, iText);
  } catch (const tool::ToolError& error) {
    return error.what();
  }
  return "no fault";
}

TEST(FindSocket, GivesBothHalvesOfOneName) {
  EXPECT_THAT(tool::FindSocket({{"A", "1"}, {"B", "2"}}, {{"B", "3"}}, "B"), ElementsAre("2", "3"));
  EXPECT_THAT(tool::FindSocket({{"Blue", "2"}}, {{"Blue", "3"}}, "Bl"), ElementsAre("2", "3"));
  EXPECT_THAT(tool::FindSocket({{"A", "1"}}, {{"B", "3"}}, "B"), ElementsAre("3"));
  EXPECT_THAT(tool::FindSocket({{"A", "1"}}, {{"A", "3"}}, "3"), ElementsAre("3"));
}

TEST(FindSocket, AnExactNameOfOneDirectionDoesNotNameTheBeginningOfTheOther) {
  EXPECT_THAT(tool::FindSocket({{"UM-1", "1"}}, {{"UM-1 Mixer", "2"}}, "UM-1"), ElementsAre("1"));
  EXPECT_THAT(tool::FindSocket({{"UM-1 Mixer", "1"}}, {{"UM-1", "2"}}, "UM-1"), ElementsAre("2"));
}

TEST(FindSocket, RefusesABeginningThatNamesTwoThingsOverBothDirections) {
  const std::string fault = FaultOfSocket({{"dump:input", "1"}}, {{"dum2:out", "2"}}, "du");
  EXPECT_THAT(fault, HasSubstr("several ports fit, name one by its id"));
  EXPECT_THAT(fault, AllOf(HasSubstr("\"dump:input\" (1)"), HasSubstr("\"dum2:out\" (2)")));
  EXPECT_THAT(FaultOfSocket({{"A", "1"}, {"A", "2"}}, {}, "A"), HasSubstr("several ports fit"));
  EXPECT_THAT(FaultOfSocket({{"A", "1"}, {"A", "2"}}, {{"A", "3"}}, "A"), HasSubstr("several ports fit"));
  EXPECT_THAT(FaultOfSocket({{"A", "1"}}, {{"B", "2"}}, "C"), HasSubstr("no port has this name"));
  EXPECT_THAT(FaultOfSocket({{"A", "1"}}, {{"B", "2"}}, ""), HasSubstr("no port has this name"));
}

TEST(FindPort, TakesAnExactNameAlsoWhenAnotherBeginsSo) {
  EXPECT_EQ(tool::FindPort(kPorts, "Synth", "output"), 0u);
}

TEST(FindPort, TakesTheBeginningOfOneNameOnly) {
  EXPECT_EQ(tool::FindPort(kPorts, "Synth T", "output"), 1u);
  EXPECT_EQ(tool::FindPort(kPorts, "D", "output"), 2u);
}

TEST(FindPort, TakesAnIdAndPrefersAnExactName) {
  EXPECT_EQ(tool::FindPort(kPorts, "1:00000005", "output"), 4u);
  EXPECT_EQ(tool::FindPort(kPorts, "1:00000003", "output"), 5u);
}

TEST(FindPort, ListsTheCandidatesOfAnAmbiguousName) {
  EXPECT_THAT(FaultOf("Twin"), AllOf(HasSubstr("\"Twin\" (1:00000004)"), HasSubstr("\"Twin\" (1:00000005)"),
                                     Not(HasSubstr("Drums"))));
  EXPECT_THAT(FaultOf("Sy"), AllOf(HasSubstr("\"Synth\""), HasSubstr("\"Synth Two\"")));
}

TEST(FindPort, TellsWhatThereIsWhenNoneFits) {
  EXPECT_THAT(FaultOf("synth"), AllOf(HasSubstr("no output"), HasSubstr("\"Drums\" (1:00000003)")));
  EXPECT_THAT(FaultOf(""), HasSubstr("no output"));
}

TEST(FindPort, SaysSoWhenThereAreNone) {
  try {
    tool::FindPort({}, "x", "input");
    FAIL() << "found something";
  } catch (const tool::ToolError& error) {
    EXPECT_STREQ(error.what(), "x: there is no input");
  }
}

TEST(FindPort, ShowsNoControlCharactersOfNames) {
  try {
    tool::FindPort({{"a\x1b[2Jb", "1:00000001"}}, "x", "input");
    FAIL() << "found something";
  } catch (const tool::ToolError& error) {
    EXPECT_THAT(error.what(), Not(HasSubstr("\x1b")));
  }
}

std::string FaultOfEither(const std::string& iText, const std::vector<tool::NamedPort>& iOutputs,
                          const std::vector<tool::NamedPort>& iInputs) {
  try {
    const tool::PortPlace place = tool::FindPortOfEither(iOutputs, iInputs, iText);
    return (place.mIsInput ? "input " : "output ") + std::to_string(place.mIndex);
  } catch (const tool::ToolError& error) {
    return error.what();
  }
}

TEST(FindPortOfEither, PrefersAnOutputToTheInputOfTheSameName) {
  EXPECT_EQ(FaultOfEither("Synth", kPorts, kPorts), "output 0");
  EXPECT_EQ(FaultOfEither("Dr", kPorts, kPorts), "output 2");
  EXPECT_EQ(FaultOfEither("1:00000004", kPorts, kPorts), "output 3");
}

TEST(FindPortOfEither, TakesAnInputWhereItFitsBetterOrNoOutputFits) {
  const std::vector<tool::NamedPort> outputs{{"UM-1 Mixer", "1:00000001"}};
  const std::vector<tool::NamedPort> inputs{{"Keys", "1:00000002"}, {"UM-1", "1:00000003"}};
  EXPECT_EQ(FaultOfEither("UM-1", outputs, inputs), "input 1");
  EXPECT_EQ(FaultOfEither("K", outputs, inputs), "input 0");
  EXPECT_EQ(FaultOfEither("1:00000003", outputs, inputs), "input 1");
}

TEST(FindPortOfEither, ListsTheCandidatesOfBothKinds) {
  const std::vector<tool::NamedPort> outputs{{"dump:input", "1:00000001"}};
  const std::vector<tool::NamedPort> inputs{{"dum2:out", "1:00000002"}};
  EXPECT_EQ(FaultOfEither("du", outputs, inputs),
            "du: several ports fit, name one by its id: output \"dump:input\" (1:00000001), input "
            "\"dum2:out\" (1:00000002)");
  // Ambiguous among the outputs, whatever the inputs are.
  EXPECT_THAT(FaultOfEither("Twin", kPorts, {{"Twin", "1:00000009"}}),
              AllOf(HasSubstr("output \"Twin\" (1:00000004)"), HasSubstr("output \"Twin\" (1:00000005)"),
                    HasSubstr("input \"Twin\" (1:00000009)")));
}

TEST(FindPortOfEither, TellsWhatThereIsOfBothKindsWhenNoneFits) {
  EXPECT_EQ(FaultOfEither("x", {{"A", "1:1"}}, {{"B", "1:2"}}),
            "x: no output or input has this name or id; there are output \"A\" (1:1), input \"B\" (1:2)");
  EXPECT_EQ(FaultOfEither("x", {}, {}), "x: there is no output or input");
}

// A service whose one device and one input have just gone: the lists still count them.
void AddServiceWithGoneOnes() {
  auto* serviceP = new Test_FakeService;
  serviceP->mDevices.emplace_back();
  serviceP->mInputs.emplace_back();
  Mlox_Manager::Singleton()->AddService(serviceP, 16);
  Mlox_Manager::Singleton()->ServiceInputListChanged(serviceP);
}

TEST(FindByIntegerId, OfWhatHasGoneSinceTheListWasMadeIsAnError) {
  const Test_TempFolder folder;
  const Test_Environment drivers("MLOX_MIDI_DRIVERS", "none");
  const Test_Environment studio("MLOX_STUDIO_DB", folder / "studio.db");
  const tool::PortSession session;
  AddServiceWithGoneOnes();
  // The gone ones are the last, whatever the driver that this process began with has.
  const std::string output = fmt::format("id:{}", MidiOutputIDMapper::GetMaxID());
  const std::string input = fmt::format("id:{}", MidiInputIDMapper::GetMaxID());
  EXPECT_THAT([&] { tool::FindOutput(session, output); },
              ThrowsMessage<tool::ToolError>(output + ": the output of this id has gone, see mlox list"));
  EXPECT_THAT([&] { tool::FindInput(session, input); },
              ThrowsMessage<tool::ToolError>(input + ": the input of this id has gone, see mlox list"));
  EXPECT_THAT([&] { tool::FindOutputOrInput(session, input); },
              ThrowsMessage<tool::ToolError>(input + ": the port of this id has gone, see mlox list"));
}

}  // namespace
