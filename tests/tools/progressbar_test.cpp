// SPDX-License-Identifier: MIT
#include "tools/mlox/progressbar.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tests/support/test_terminal.h"

namespace {

using tool::ProgressBar;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

TEST(ProgressBar, DrawsOnATerminalAndWipesTheLineAtTheEnd) {
  const Test_Terminal terminal;
  ASSERT_NE(terminal.Stream(), nullptr);
  {
    ProgressBar bar(terminal.Stream());
    bar.Show(0.5);
    EXPECT_EQ(terminal.Take(), "\r[####################....................]  50 %");
    bar.Show(0.501);  // the same percentage: nothing
    bar.Show(1.0);
    EXPECT_EQ(terminal.Take(), "\r[########################################] 100 %");
    bar.Show(-1);
    EXPECT_EQ(terminal.Take(), "\r[........................................]   0 %");
  }
  EXPECT_EQ(terminal.Take(), "\r\x1b[K");
}

TEST(ProgressBar, ATerminalThatHasGoneEndsNothing) {
  Test_Terminal terminal;
  ASSERT_NE(terminal.Stream(), nullptr);
  // As standard error is.
  ASSERT_EQ(std::setvbuf(terminal.Stream(), nullptr, _IONBF, 0), 0);
  ProgressBar bar(terminal.Stream());
  bar.Show(0.5);
  terminal.HangUp();
  EXPECT_NO_THROW(bar.Show(0.6));
  EXPECT_NE(std::ferror(terminal.Stream()), 0);
}

TEST(ProgressBar, DrawsNothingElsewhere) {
  const Test_TempFolder folder;
  {
    const File file(std::fopen((folder / "log").c_str(), "w"), &std::fclose);
    ProgressBar bar(file.get());
    bar.Show(0.5);
  }
  EXPECT_EQ(Test_ReadFile(folder / "log"), "");
}

}  // namespace
