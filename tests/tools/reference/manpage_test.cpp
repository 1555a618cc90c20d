// SPDX-License-Identifier: MIT
#include "tools/mlox/reference/manpage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/tools/reference/small_program.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ManualPage : public testing::Test {
 protected:
  const SmallProgram mProgram;
  const std::string mPage = tool::ManualPage(tool::CommandsOf(mProgram.mApp), "small 1.0.0");
};

TEST_F(ManualPage, HasAHeadWithoutADateAndASectionForEachCommand) {
  EXPECT_THAT(mPage, HasSubstr(".TH SMALL 1 \"\" \"small 1.0.0\" \"User Commands\"\n"));
  EXPECT_THAT(mPage, HasSubstr(".SH NAME\nsmall \\- A small program.\n"));
  EXPECT_THAT(mPage, HasSubstr(".SS \"small play [OPTIONS] SONG [OUT] [MORE...]\"\nPlay it, don't wait\n"));
  EXPECT_THAT(mPage, HasSubstr(".SS \"small studio [OPTIONS] SUBCOMMAND\"\n"));
  EXPECT_THAT(mPage, HasSubstr(".SS \"small studio add [OPTIONS] \\-\\-model TEXT PATH...\"\n"));
  EXPECT_THAT(mPage, Not(HasSubstr("secret")));
}

TEST_F(ManualPage, ShowsEachOptionWithHyphensThatCanBeCopied) {
  EXPECT_THAT(mPage, HasSubstr(".TP\n\\fB\\-j, \\-\\-json\\fR\nAs JSON\n"));
  EXPECT_THAT(mPage, HasSubstr(".TP\n\\fB\\-\\-seconds\\fR S\nHow long\n"));
}

TEST_F(ManualPage, MarksWhatIsRequiredAndWhatMayBeRepeated) {
  EXPECT_THAT(mPage, HasSubstr(".TP\n\\fBSONG\\fR (required)\nWhat to play\n"));
  EXPECT_THAT(mPage, HasSubstr(".TP\n\\fBOUT\\fR\nWhere to\n"));
  EXPECT_THAT(mPage, HasSubstr(".TP\n\\fBMORE\\fR...\nWhat next\n"));
  EXPECT_THAT(mPage, HasSubstr(".TP\n\\fB\\-\\-model\\fR TEXT (required)\nIts model\n"));
}

TEST_F(ManualPage, LetsNoTextBecomeARequestOrACharacterCommand) {
  EXPECT_THAT(mPage, HasSubstr(".nf\nIt's .5 \\e long.\n\\&.dots\n.fi\n"));
}

}  // namespace
