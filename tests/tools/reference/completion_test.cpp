// SPDX-License-Identifier: MIT
// The scripts as the shells run them.
#include "tools/mlox/reference/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string>

#include "tests/support/test_temp_folder.h"
#include "tests/tools/reference/small_program.h"

namespace {

using testing::HasSubstr;

// With choices for a positional argument, which isn't the first.
struct ChoosingProgram : SmallProgram {
  ChoosingProgram() {
    CLI::App* printP = mApp.add_subcommand("print", "On paper");
    printP->add_option("SONG", mText, "What to print");
    printP->add_option("KIND", mKind, "How")->check(CLI::IsMember({"notes", "tablature"}));
    printP->add_option("MORE", mMore, "What next");
    printP->add_option("--size", mText, "How large");
  }
  std::string mKind;
};

class Completion : public testing::Test {
 protected:
  // What a shell's command prints.
  static std::string Run(const std::string& iCommand) {
    std::FILE* pipeP = popen(iCommand.c_str(), "r");
    if (pipeP == nullptr) return "no shell";
    std::string output;
    std::array<char, 512> piece{};
    while (std::fgets(piece.data(), static_cast<int>(piece.size()), pipeP) != nullptr) output += piece.data();
    return pclose(pipeP) == 0 ? output : "failed: " + output;
  }

  std::string Save(const std::string& iScript) const {
    const std::string path = mFolder.Path() + "/script";
    std::ofstream(path) << iScript;
    return path;
  }

  // The answers of bash for these words, of which the last is being typed.
  std::string Bash(const std::string& iWords) const {
    const std::string path = Save(tool::BashCompletion(tool::CommandsOf(mProgram.mApp)));
    return Run("bash -c 'source " + path + "; COMP_WORDS=(" + iWords +
               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _small; echo \"${COMPREPLY[*]}\"'");
  }

  // What zsh is told to do for these words, of which the last is being typed.
  std::string Zsh(const std::string& iWords) const {
    const std::string path = Save(tool::ZshCompletion(tool::CommandsOf(mProgram.mApp)));
    return Run(
        "zsh -f -c 'compset() { print -rn -- \"without $2: \"; }; compadd() { print -r -- choices $@; }; "
        "_describe() { print -r -- $1; }; _files() { print files; }; words=(" +
        iWords + "); CURRENT=$#words; PREFIX=$words[-1]; source " + path + "'");
  }

  const ChoosingProgram mProgram;
  const Test_TempFolder mFolder;
};

TEST_F(Completion, BashCompletesTheProgramBySourcingTheScriptAndFilesWhereItKnowsNothing) {
  const std::string path = Save(tool::BashCompletion(tool::CommandsOf(mProgram.mApp)));
  EXPECT_EQ(Run("bash -c 'source " + path + "; complete -p small'"), "complete -o default -F _small small\n");
}

TEST_F(Completion, BashKnowsCommandsByTheirBeginning) {
  EXPECT_EQ(Bash("small \"\""), "play studio print\n");
  EXPECT_EQ(Bash("small st"), "studio\n");
  EXPECT_EQ(Bash("small studio \"\""), "add\n");
}

TEST_F(Completion, BashKnowsTheOptionsOfTheCommandAtHand) {
  EXPECT_EQ(Bash("small play --"), "--help --seconds --through --json\n");
  EXPECT_EQ(Bash("small studio add --m"), "--model\n");
}

TEST_F(Completion, BashKnowsTheChoicesOfAnOptionAndNothingOfOtherValues) {
  EXPECT_EQ(Bash("small play --through \"\""), "buffered direct none\n");
  EXPECT_EQ(Bash("small play song --through d"), "direct\n");
  EXPECT_EQ(Bash("small play --seconds \"\""), "\n");
  EXPECT_EQ(Bash("small play \"\""), "\n");
}

TEST_F(Completion, BashKnowsTheChoicesBehindAnEqualsSignAtWhichItBreaksWords) {
  EXPECT_EQ(Bash("small play --through ="), "buffered direct none\n");
  EXPECT_EQ(Bash("small play --through = d"), "direct\n");
  EXPECT_EQ(Bash("small play --seconds = \"\""), "\n");
  EXPECT_EQ(Bash("small play --through = d --s"), "--seconds\n");
}

TEST_F(Completion, BashKnowsTheChoicesOfAPositionalArgumentAtItsPlace) {
  EXPECT_EQ(Bash("small print \"\""), "\n");
  EXPECT_EQ(Bash("small print song \"\""), "notes tablature\n");
  EXPECT_EQ(Bash("small print song t"), "tablature\n");
  EXPECT_EQ(Bash("small print song --s"), "--size\n");
  EXPECT_EQ(Bash("small print song notes \"\""), "\n");
}

TEST_F(Completion, BashCountsNeitherOptionsNorTheirValuesAsPositionalArguments) {
  EXPECT_EQ(Bash("small print --size 5 \"\""), "\n");
  EXPECT_EQ(Bash("small print --size 5 song n"), "notes\n");
  EXPECT_EQ(Bash("small print --size = 5 \"\""), "\n");
  EXPECT_EQ(Bash("small print song --size = 5 n"), "notes\n");
  EXPECT_EQ(Bash("small print a = song n"), "notes\n");
  EXPECT_EQ(Bash("small --help print song n"), "notes\n");
}

TEST_F(Completion, ZshReadsTheScriptAndItsQuotes) {
  const std::string script = tool::ZshCompletion(tool::CommandsOf(mProgram.mApp));
  EXPECT_THAT(script, testing::StartsWith("#compdef small\n"));
  EXPECT_THAT(script, HasSubstr("'play:Play it, don'\\''t wait'"));
  EXPECT_THAT(script, HasSubstr("'small play --through') compadd -- buffered direct none; return ;;"));
  EXPECT_EQ(Run("zsh -n " + Save(script) + " 2>&1"), "");
}

TEST_F(Completion, ZshAsksForTheCommandsAtHand) {
  const std::string path = Save(tool::ZshCompletion(tool::CommandsOf(mProgram.mApp)));
  // The completion system's own functions are replaced by ones that print what they are given.
  EXPECT_EQ(
      Run("zsh -f -c 'compdef() {}; _describe() { print -r -- $1 ${(P)2}; }; _files() { print files; }; "
          "words=(small studio \"\"); CURRENT=3; PREFIX=; source " +
          path + "'"),
      "command add:A new one\n");
  EXPECT_EQ(Run("zsh -f -c '_describe() { print -r -- $1; }; _files() { print files; }; "
                "words=(small play \"\"); CURRENT=3; PREFIX=; source " +
                path + "'"),
            "files\n");
}

TEST_F(Completion, ZshKnowsTheOptionsOfTheCommandAtHandAndTheChoicesOfAnOption) {
  const std::string path = Save(tool::ZshCompletion(tool::CommandsOf(mProgram.mApp)));
  EXPECT_EQ(Run("zsh -f -c '_describe() { print -r -- $1 ${(P)2}; }; "
                "words=(small studio add --); CURRENT=4; PREFIX=--; source " +
                path + "'"),
            "option -h:Print this help message and exit --help:Print this help message and exit --model:Its "
            "model\n");
  EXPECT_EQ(Run("zsh -f -c 'compadd() { print -r -- $@; }; _describe() { print -r -- $1; }; "
                "words=(small play --through \"\"); CURRENT=4; PREFIX=; source " +
                path + "'"),
            "-- buffered direct none\n");
}

TEST_F(Completion, ZshKnowsTheChoicesBehindAnEqualsSign) {
  EXPECT_EQ(Zsh("small play --through=d"), "without --through=: choices -- buffered direct none\n");
  EXPECT_EQ(Zsh("small play --seconds="), "without --seconds=: files\n");
}

TEST_F(Completion, ZshKnowsTheChoicesOfAPositionalArgumentAtItsPlace) {
  EXPECT_EQ(Zsh("small print \"\""), "files\n");
  EXPECT_EQ(Zsh("small print song t"), "choices -- notes tablature\n");
  EXPECT_EQ(Zsh("small print song notes \"\""), "files\n");
  EXPECT_EQ(Zsh("small print song --"), "option\n");
  EXPECT_EQ(Zsh("small print --size 5 \"\""), "files\n");
  EXPECT_EQ(Zsh("small print --size=5 --help song \"\""), "choices -- notes tablature\n");
}

}  // namespace
