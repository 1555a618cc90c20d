// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/helpformatter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/tools/reference/small_program.h"
#include "tools/mlox/reference/commandtree.h"

namespace {

using testing::HasSubstr;

TEST(HelpFormatter, PrintsTheUsageOfTheManualPage) {
  const SmallProgram program;
  const auto commands = tool::CommandsOf(program.mApp);
  EXPECT_THAT(program.mApp.help(), HasSubstr("\nUsage: " + tool::UsageOf(commands[0]) + "\n"));
  const CLI::App* const studioP = program.mApp.get_subcommand("studio");
  EXPECT_THAT(studioP->get_subcommand("add")->help("small studio"),
              HasSubstr("\nUsage: small studio add [OPTIONS] --model TEXT PATH...\n"));
}

}  // namespace
