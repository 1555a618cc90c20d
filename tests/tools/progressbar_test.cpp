// SPDX-License-Identifier: MIT
#include "tools/mlox/progressbar.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using tool::ProgressBar;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// A terminal that nobody sees: what is written to one end comes out at the other.
class Terminal {
 public:
  Terminal() : mOtherEnd(::posix_openpt(O_RDWR | O_NOCTTY)), mFile(nullptr, &std::fclose) {
    EXPECT_EQ(::grantpt(mOtherEnd), 0);
    EXPECT_EQ(::unlockpt(mOtherEnd), 0);
    mFile.reset(std::fopen(::ptsname(mOtherEnd), "w"));
  }
  ~Terminal() { HangUp(); }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void HangUp() {
    if (mOtherEnd >= 0) ::close(mOtherEnd);
    mOtherEnd = -1;
  }

  std::FILE* Stream() const { return mFile.get(); }

  std::string Take() const {
    std::array<char, 4096> text{};
    const ssize_t count = ::read(mOtherEnd, text.data(), text.size());
    return {text.data(), static_cast<std::size_t>(count > 0 ? count : 0)};
  }

 private:
  int mOtherEnd;
  File mFile;
};

TEST(ProgressBar, DrawsOnATerminalAndWipesTheLineAtTheEnd) {
  const Terminal terminal;
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
  Terminal terminal;
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
