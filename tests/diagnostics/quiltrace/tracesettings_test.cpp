// SPDX-License-Identifier: MIT
#include "diagnostics/quiltrace/tracesettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/test_environment.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What is read with one variable set and the others unset.
QuilTrace_Settings ReadWith(const std::string& iName, const std::string& iValue) {
  const Test_Environment trace("MLOX_TRACE", std::nullopt);
  const Test_Environment file("MLOX_TRACE_FILE", std::nullopt);
  const Test_Environment size("MLOX_TRACE_FILE_SIZE", std::nullopt);
  const Test_Environment files("MLOX_TRACE_FILES", std::nullopt);
  const Test_Environment one(iName.c_str(), iValue.c_str());
  return QuilTrace_Settings::Read();
}

TEST(QuilTrace_SettingsTest, WithoutVariablesTracingIsOffAndFilesAreOfTheUsualSize) {
  const QuilTrace_Settings settings = ReadWith("MLOX_TRACE", "");
  EXPECT_FALSE(settings.IsOn());
  EXPECT_EQ(settings.mFile, "");
  EXPECT_EQ(settings.mFileBytes, std::size_t{10 * 1024 * 1024});
  EXPECT_EQ(settings.mOlderFiles, 3U);
  EXPECT_THAT(settings.mFaults, IsEmpty());
}

TEST(QuilTrace_SettingsTest, CategoriesAreHexadecimalWithOrWithoutTheirPrefix) {
  const QuilTrace_Settings settings = ReadWith("MLOX_TRACE", "4000e0f,0x0200000E,,0Xffffffff");
  EXPECT_TRUE(settings.IsOn());
  EXPECT_FALSE(settings.mIsAll);
  EXPECT_THAT(settings.mCategories, ElementsAre(0x4000E0FU, 0x200000EU, 0xFFFFFFFFU));
}

TEST(QuilTrace_SettingsTest, TheWordAllIsEveryCategory) {
  const QuilTrace_Settings settings = ReadWith("MLOX_TRACE", "4000E0F,all");
  EXPECT_TRUE(settings.mIsAll);
  EXPECT_TRUE(settings.IsOn());
}

TEST(QuilTrace_SettingsTest, WordsThatAreNoCategoriesAreToldOneByOneAndTheOthersHold) {
  const QuilTrace_Settings settings = ReadWith("MLOX_TRACE", "sysex,0x,4000E0F0F,1,-2,ALL");
  EXPECT_THAT(settings.mCategories, ElementsAre(1U));
  EXPECT_THAT(settings.mFaults, ElementsAre("no trace category: \"sysex\"", "no trace category: \"0x\"",
                                            "no trace category: \"4000E0F0F\"", "no trace category: \"-2\"",
                                            "no trace category: \"ALL\""));
}

TEST(QuilTrace_SettingsTest, ASizeHasBytesOrALetterForPowersOf1024) {
  const std::vector<std::pair<std::string, std::size_t>> sizes = {
      {"5000", 5000},
      {"64k", 65536},
      {"2M", 2097152},
      {"3G", 3221225472},
      {"0", 0},
      {"0k", 0},
      {"10", 1024},
      {"5000000000", 5000000000},
      {"18446744073709551615", 18446744073709551615U},
      {"17179869183G", 17179869183U << 30},
  };
  for (const auto& [text, bytes] : sizes) {
    const QuilTrace_Settings settings = ReadWith("MLOX_TRACE_FILE_SIZE", text);
    EXPECT_EQ(settings.mFileBytes, bytes) << text;
    EXPECT_THAT(settings.mFaults, IsEmpty()) << text;
  }
}

TEST(QuilTrace_SettingsTest, WhatIsNoSizeIsToldAndTheUsualOneHolds) {
  for (const std::string text : {"big", "M", "5T", "5 k", "-1", "18446744073709551616", "17179869184G"}) {
    const QuilTrace_Settings settings = ReadWith("MLOX_TRACE_FILE_SIZE", text);
    EXPECT_EQ(settings.mFileBytes, QuilTrace_Settings::kUsualFileBytes) << text;
    EXPECT_THAT(settings.mFaults, ElementsAre("no size of a trace file: \"" + text + "\""));
  }
}

TEST(QuilTrace_SettingsTest, AsManyFilesAreKeptAsAreAskedForWithinReason) {
  EXPECT_EQ(ReadWith("MLOX_TRACE_FILES", "0").mOlderFiles, 0U);
  EXPECT_EQ(ReadWith("MLOX_TRACE_FILES", "12").mOlderFiles, 12U);
  EXPECT_EQ(ReadWith("MLOX_TRACE_FILES", "4000000000").mOlderFiles, 1000U);
  const QuilTrace_Settings settings = ReadWith("MLOX_TRACE_FILES", "many");
  EXPECT_EQ(settings.mOlderFiles, 3U);
  EXPECT_THAT(settings.mFaults, ElementsAre("no number of trace files: \"many\""));
}

}  // namespace
