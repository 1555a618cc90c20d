// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/commandtree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tools/reference/small_program.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CommandTree : public testing::Test {
 protected:
  const tool::CommandOption& Option(std::size_t iCommand, const std::string& iName) const {
    for (const tool::CommandOption& option : mCommands.at(iCommand).mOptions) {
      if (option.mNames.back() == iName) return option;
    }
    ADD_FAILURE() << "no option " << iName;
    return mCommands.at(0).mOptions.at(0);
  }

  const SmallProgram mProgram;
  const std::vector<tool::Command> mCommands = tool::CommandsOf(mProgram.mApp);
};

TEST_F(CommandTree, HoldsTheProgramAndEveryCommandBehindTheOneItBelongsTo) {
  std::vector<std::string> paths;
  for (const tool::Command& command : mCommands) paths.push_back(command.mPath);
  EXPECT_THAT(paths, ElementsAre("small", "small play", "small studio", "small studio add"));
  EXPECT_THAT(mCommands[0].mSubcommands, ElementsAre("play", "studio"));
  EXPECT_THAT(mCommands[2].mSubcommands, ElementsAre("add"));
  EXPECT_THAT(mCommands[3].mSubcommands, IsEmpty());
}

TEST_F(CommandTree, TellsPositionalArgumentsFromOptionsAndFlags) {
  EXPECT_TRUE(Option(1, "SONG").mIsPositional);
  EXPECT_TRUE(Option(1, "SONG").mIsRequired);
  EXPECT_FALSE(Option(1, "SONG").mIsRepeated);
  EXPECT_TRUE(Option(1, "MORE").mIsRepeated);
  EXPECT_FALSE(Option(1, "--seconds").mIsPositional);
  EXPECT_EQ(Option(1, "--seconds").mValue, "S");
  EXPECT_EQ(Option(1, "--json").mValue, "");
  EXPECT_THAT(Option(1, "--json").mNames, ElementsAre("-j", "--json"));
}

TEST_F(CommandTree, KnowsTheChoicesOfAnOptionThatTakesNothingElse) {
  EXPECT_THAT(Option(1, "--through").mChoices, ElementsAre("buffered", "direct", "none"));
  EXPECT_THAT(Option(1, "--seconds").mChoices, IsEmpty());
}

TEST_F(CommandTree, LeavesOutAFooterThatOnlyRepeatsTheOneAbove) {
  EXPECT_EQ(mCommands[1].mFooter, "\nIt's .5 \\ long.\n.dots");
  EXPECT_EQ(mCommands[2].mFooter, "");
}

TEST_F(CommandTree, UsageNamesWhatIsRequiredAndWhatMayBeLeftOut) {
  EXPECT_EQ(tool::UsageOf(mCommands[0]), "small [OPTIONS] SUBCOMMAND");
  EXPECT_EQ(tool::UsageOf(mCommands[1]), "small play [OPTIONS] SONG [OUT] [MORE...]");
  EXPECT_EQ(tool::UsageOf(mCommands[3]), "small studio add [OPTIONS] --model TEXT PATH...");
}

}  // namespace
