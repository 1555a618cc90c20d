// SPDX-License-Identifier: MIT
#include "midixml/mlox_namesparserimpl.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/midixml/name_documents.h"

namespace {

std::string Device(const std::string& iName, const std::string& iManufacturer, const std::string& iModels) {
  return "<MasterDeviceNames><Device Name='" + iName + "'/>" +
         (iManufacturer.empty() ? "" : "<Manufacturer>" + iManufacturer + "</Manufacturer>") + iModels +
         "</MasterDeviceNames>";
}

// The name of the accepted device, or "none".
std::string Accepted(const std::string& iDevices, const std::string& iManufacturer,
                     const std::string& iModel) {
  const Test_MemoryFile file(Test_Document(iDevices));
  Mlox_NamesParserImpl parser;
  parser.SetWanted(0, iManufacturer, iModel);
  parser.ParseFile(file.Path());
  return parser.GetFoundDeviceNames() ? parser.GetFoundDeviceNames()->mDeviceName.AsString() : "none";
}

TEST(NamesParser, Step1TheFirstKeptRecordWins) {
  const std::string devices = Device("a", "M", "<Model>X</Model>") + Device("b", "M", "<Model>X</Model>");
  EXPECT_EQ(Accepted(devices, "M", "X"), "a");
}

TEST(NamesParser, Step2AWantedManufacturerMustFitInAnyLetterCase) {
  const std::string devices = Device("none", "", "<Model>X</Model>") +
                              Device("other", "N", "<Model>X</Model>") +
                              Device("fits", "AcMe", "<Model>X</Model>");
  EXPECT_EQ(Accepted(devices, "aCmE", "X"), "fits");
  EXPECT_EQ(Accepted(devices, "acme2", "X"), "none");
  EXPECT_EQ(Accepted(devices, "", "X"), "none") << "the first device is called none";
}

TEST(NamesParser, Step3EitherOfTwoModelsFindsADeviceInAnyLetterCase) {
  const std::string device = Device("d", "M", "<Model>One</Model><Model>Two</Model>");
  EXPECT_EQ(Accepted(device, "M", "one"), "d");
  EXPECT_EQ(Accepted(device, "M", "TWO"), "d");
  EXPECT_EQ(Accepted(device, "M", "Three"), "none");
}

TEST(NamesParser, Step3AnEmptyWantedModelAcceptsARecordWithAModelAndNoOther) {
  EXPECT_EQ(Accepted(Device("d", "M", ""), "M", ""), "none");
  EXPECT_EQ(Accepted(Device("d", "M", "<Model>X</Model>"), "M", ""), "d");
  EXPECT_EQ(Accepted(Device("d", "M", "<Model/>"), "M", ""), "d");
  EXPECT_EQ(Accepted(Device("d", "M", "<Model/>"), "M", "X"), "none");
}

TEST(NamesParser, ARefusedDeviceLeavesNothing) {
  EXPECT_EQ(Accepted(Device("d", "M", "<Model>X</Model>"), "other", "X"), "none");
}

TEST(NamesParser, ParsingAgainForgetsWhatWasFound) {
  const Test_MemoryFile first(Test_Document(Device("a", "M", "<Model>X</Model>")));
  const Test_MemoryFile second(Test_Document(""));
  Mlox_NamesParserImpl parser;
  parser.SetWanted(0, "", "");
  parser.ParseFile(first.Path());
  EXPECT_NE(parser.GetFoundDeviceNames(), nullptr);
  parser.ParseFile(second.Path());
  EXPECT_EQ(parser.GetFoundDeviceNames(), nullptr);
  EXPECT_EQ(parser.GetFoundChannelNameSet(), nullptr);
}

TEST(NamesParser, AFaultKeepsWhatWasAcceptedSoFar) {
  const Test_MemoryFile file(Test_Document(Device("a", "M", "<Model>X</Model>") + "<Patch/>"));
  Mlox_NamesParserImpl parser;
  parser.SetWanted(0, "", "");
  EXPECT_THROW(parser.ParseFile(file.Path()), int);
  ASSERT_NE(parser.GetFoundDeviceNames(), nullptr);
  EXPECT_EQ(parser.GetFoundDeviceNames()->mDeviceName.View(), "a");
}

TEST(NamesParser, TakingTheRecordMakesRoomForAnother) {
  const Test_MemoryFile file(Test_Document(Device("a", "M", "<Model>X</Model>")));
  Mlox_NamesParserImpl parser;
  parser.SetWanted(0, "", "");
  parser.ParseFile(file.Path());
  const auto record = parser.TakeFoundDeviceNames();
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(parser.GetFoundDeviceNames(), nullptr);
  parser.ParseFile("");
  EXPECT_NE(parser.GetFoundDeviceNames(), nullptr) << "an empty name parses the last file again";
}

}  // namespace
