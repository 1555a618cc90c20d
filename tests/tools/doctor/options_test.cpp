// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/options.h"

#include <gtest/gtest.h>

#include "cmn/spsstartupoption.h"
#include "tests/support/test_environment.h"

namespace {

// Whether the library takes a value: then the default makes no difference.
bool IsTaken(const std::string& iValue) {
  const Test_Environment value("MLOX_TestOfDoctor", iValue);
  const SPSStartupOptionBool off("TestOfDoctor", false, SPSStartupOption_cHidden);
  const SPSStartupOptionBool on("TestOfDoctor", true, SPSStartupOption_cHidden);
  return off == on;
}

TEST(Options, ASwitchIsWhatTheLibraryTakes) {
  for (const char* const value : {"1", "0", "true", "False", "YES", "no", "on", "oFF", " 1 ", "\tyes\r", "",
                                  " ", "2", "01", "y", "maybe", "on off", "truely", "-1"}) {
    EXPECT_EQ(tool::IsSwitch(value), IsTaken(value)) << value;
  }
}

TEST(Options, ALineOfTheSettingsNamesAnOptionOrNone) {
  for (const char* const line : {"DisableBatchDelivery=1", " MLOX_DisableBatchDelivery = on \r"}) {
    const tool::SettingsLine setting = tool::ReadSettingsLine(line);
    EXPECT_TRUE(setting.mIsOption && setting.mIsUnderstood) << line;
    EXPECT_EQ(setting.mName, "DisableBatchDelivery");
  }
  const tool::SettingsLine odd = tool::ReadSettingsLine("DisableBatchDelivery=perhaps=1");
  EXPECT_TRUE(odd.mIsOption);
  EXPECT_FALSE(odd.mIsUnderstood);
  EXPECT_EQ(odd.mValue, "perhaps=1");
  for (const char* const line :
       {"", "DisableBatchDelivery", "[x]", "#DisableBatchDelivery=x", "disablebatchdelivery=x"}) {
    EXPECT_FALSE(tool::ReadSettingsLine(line).mIsOption) << line;
  }
}

}  // namespace
