// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/mending.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using tool::ShellWord;

TEST(Mending, APlainTextIsAWordAsItIs) {
  EXPECT_EQ(ShellWord("/home/ann/studio.db"), "/home/ann/studio.db");
  EXPECT_EQ(ShellWord("my studio.db"), "'my studio.db'");
  EXPECT_EQ(ShellWord("ann's"), "'ann'\\''s'");
  EXPECT_EQ(ShellWord("Fl\xC3\xBCgel"), "'Fl\xC3\xBCgel'");
  EXPECT_EQ(ShellWord(""), "''");
}

TEST(Mending, BytesThatCannotBeShownStandByTheirNumbers) {
  EXPECT_EQ(ShellWord("/tmp/\xFF.db"), "$'/tmp/\\xff.db'");
  EXPECT_EQ(ShellWord("a\nb\x7F"), "$'a\\x0ab\\x7f'");
  EXPECT_EQ(ShellWord("'\\\xC3"), "$'\\'\\\\\\xc3'");
}

TEST(Mending, AShellTakesEveryWordForTheTextThatItWas) {
  const Test_TempFolder folder;
  std::string every;
  for (int byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
  std::string backwards = every;
  std::reverse(backwards.begin(), backwards.end());
  const std::string answer = folder / "answer";
  for (const std::string& text :
       {every, backwards, std::string("$HOME `x` \"!\" ~ *"), std::string("\xFF\x30")}) {
    const std::string script =
        folder.MakeFile("script", fmt::format("printf %s {} >{}\n", ShellWord(text), ShellWord(answer)));
    for (const char* const shell : {"bash", "zsh"}) {
      ASSERT_EQ(std::system(fmt::format("{} {}", shell, script).c_str()), 0) << shell;
      EXPECT_EQ(Test_ReadFile(answer), text) << shell;
    }
  }
}

}  // namespace
