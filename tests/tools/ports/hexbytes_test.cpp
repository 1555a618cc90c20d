// SPDX-License-Identifier: MIT
#include "tools/mlox/ports/hexbytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tools/mlox/tool_error.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;
using testing::HasSubstr;

std::string FaultOf(const std::function<void()>& iFunction) {
  try {
    iFunction();
  } catch (const tool::UsageError& error) {
    return error.what();
  }
  return "no fault";
}

TEST(ParseHexBytes, TakesWordsRunsAndPrefixes) {
  EXPECT_EQ(tool::ParseHexBytes({"90", "3c", "64"}), (Bytes{0x90, 0x3C, 0x64}));
  EXPECT_EQ(tool::ParseHexBytes({"903C64"}), (Bytes{0x90, 0x3C, 0x64}));
  EXPECT_EQ(tool::ParseHexBytes({"0x90 0X3c,64"}), (Bytes{0x90, 0x3C, 0x64}));
  EXPECT_EQ(tool::ParseHexBytes({"f8", "7"}), (Bytes{0xF8, 0x07}));
  EXPECT_TRUE(tool::ParseHexBytes({}).empty());
}

TEST(ParseHexBytes, RefusesWhatIsNoByteAndNamesIt) {
  for (const char* const word : {"9g", "0x", "903", "-1", "x90"}) {
    EXPECT_THAT(FaultOf([&] { tool::ParseHexBytes({"90", word}); }), HasSubstr(word));
  }
}

TEST(HexText, WritesTwoDigitsABlankBetween) {
  EXPECT_EQ(tool::HexText(Bytes{0x90, 0x0C, 0x64}), "90 0c 64");
  EXPECT_EQ(tool::HexText(Bytes{}), "");
}

TEST(SplitMessages, CutsByTheLengthOfEachStatus) {
  const Bytes bytes{0x90, 60, 100, 0xC1, 5, 0xE2, 0,    64,   0xF1, 3,
                    0xF2, 1,  2,   0xF3, 9, 0xF6, 0xF8, 0xF0, 1,    0xF7};
  EXPECT_THAT(tool::SplitMessages(bytes),
              ElementsAre(Bytes{0x90, 60, 100}, Bytes{0xC1, 5}, Bytes{0xE2, 0, 64}, Bytes{0xF1, 3},
                          Bytes{0xF2, 1, 2}, Bytes{0xF3, 9}, Bytes{0xF6}, Bytes{0xF8}, Bytes{0xF0, 1, 0xF7}));
}

TEST(SplitMessages, RefusesADataByteWhereAStatusBelongs) {
  EXPECT_THAT(FaultOf([] { tool::SplitMessages(Bytes{0x90, 60, 100, 61, 100}); }), HasSubstr("byte 4 (3d)"));
}

TEST(SplitMessages, RefusesAMessageThatIsCutShort) {
  EXPECT_THAT(FaultOf([] { tool::SplitMessages(Bytes{0xF8, 0x90, 60}); }), HasSubstr("byte 2 (90)"));
}

TEST(SplitMessages, RefusesAStatusWhereADataByteBelongs) {
  EXPECT_THAT(FaultOf([] { tool::SplitMessages(Bytes{0x90, 60, 0x80}); }), HasSubstr("byte 3 (80)"));
}

TEST(SplitMessages, RefusesStatusesThatDoNotExist) {
  for (const int status : {0xF4, 0xF5, 0xF7, 0xF9, 0xFD}) {
    EXPECT_THAT(FaultOf([&] { tool::SplitMessages(Bytes{static_cast<std::uint8_t>(status)}); }),
                HasSubstr("no message begins"));
  }
}

TEST(SplitMessages, RefusesASystemExclusiveMessageWithoutItsEndOrWithAStatusInside) {
  EXPECT_THAT(FaultOf([] { tool::SplitMessages(Bytes{0xF0, 1, 2}); }), HasSubstr("no f7"));
  EXPECT_THAT(FaultOf([] { tool::SplitMessages(Bytes{0xF0, 1, 0xF8, 0xF7}); }), HasSubstr("byte 3 (f8)"));
}

}  // namespace
