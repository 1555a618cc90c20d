// SPDX-License-Identifier: MIT
#include "tools/mlox/commandline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Words(std::vector<const char*> iArguments) {
  iArguments.insert(iArguments.begin(), "mlox");
  return tool::WordsOf(static_cast<int>(iArguments.size()), iArguments.data());
}

TEST(CommandLine, ThereMayBeNoWords) { EXPECT_THAT(Words({}), IsEmpty()); }

TEST(CommandLine, WordsStayAsTheyAre) {
  EXPECT_THAT(Words({"names", "", "-c", "--mode", "", "--mode=M", "a=", "--mode=a="}),
              ElementsAre("names", "", "-c", "--mode", "", "--mode=M", "a=", "--mode=a="));
}

TEST(CommandLine, AnEmptyValueBehindASignIsAWordOfItsOwn) {
  EXPECT_THAT(Words({"--model=", "--mode=", "M"}), ElementsAre("--model", "", "--mode", "", "M"));
}

TEST(CommandLine, BehindTwoDashesNothingIsAnOption) {
  EXPECT_THAT(Words({"--model=", "--", "--mode="}), ElementsAre("--model", "", "--", "--mode="));
}

}  // namespace
