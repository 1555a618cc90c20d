// SPDX-License-Identifier: MIT
#include "tools/mlox/standardstreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/tool_error.h"

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// In a process of its own, whose streams are these. The status is the look's answer.
int InChild(const std::function<bool()>& iLook) {
  std::fflush(nullptr);  // a checker writes out what is buffered also at the child's end
  const pid_t child = ::fork();
  if (child == 0) ::_exit(iLook() ? 0 : 1);
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool FailsAsClosed(ssize_t iCount) { return iCount < 0 && errno == EBADF; }

TEST(StandardStreams, NoFileGetsTheNumberOfAStreamThatWasClosed) {
  for (int closed = 0; closed < 8; ++closed) {
    const auto look = [closed] {
      for (int stream = 0; stream < 3; ++stream) {
        if ((closed >> stream & 1) != 0) ::close(stream);
      }
      tool::FillStandardStreams();
      return ::open("/dev/zero", O_RDWR) > STDERR_FILENO;
    };
    EXPECT_EQ(InChild(look), 0) << closed;
  }
}

TEST(StandardStreams, OneThatWasClosedGoesOnFailing) {
  const auto look = [] {
    for (int stream = 0; stream < 3; ++stream) ::close(stream);
    tool::FillStandardStreams();
    char byte = 0;
    return FailsAsClosed(::read(STDIN_FILENO, &byte, 1)) && FailsAsClosed(::write(STDOUT_FILENO, &byte, 1)) &&
           FailsAsClosed(::write(STDERR_FILENO, &byte, 1));
  };
  EXPECT_EQ(InChild(look), 0);
}

TEST(StandardStreams, OneThatIsOpenStaysAsItIs) {
  const Test_TempFolder folder;
  const std::string path = folder.MakeFile("out");
  const auto look = [&] {
    ::dup2(::open(path.c_str(), O_WRONLY), STDOUT_FILENO);
    ::close(STDERR_FILENO);
    tool::FillStandardStreams();
    return ::write(STDOUT_FILENO, "text", 4) == 4;
  };
  EXPECT_EQ(InChild(look), 0);
  EXPECT_EQ(Test_ReadFile(path), "text");
}

TEST(StandardStreams, WhatIsPrintedComesAtOnce) {
  const Test_TempFolder folder;
  const File file(std::fopen((folder / "log").c_str(), "w"), &std::fclose);
  ASSERT_NE(file, nullptr);
  tool::PrintAnyway(file.get(), "a {} b\n");
  EXPECT_EQ(Test_ReadFile(folder / "log"), "a {} b\n");
  testing::internal::CaptureStderr();
  tool::PrintError("to people\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "to people\n");
}

TEST(StandardStreams, WhatCannotBePrintedEndsNothing) {
  const File full(std::fopen("/dev/full", "w"), &std::fclose);
  ASSERT_NE(full, nullptr);
  tool::PrintAnyway(full.get(), std::string(100000, 'x'));
  EXPECT_NE(std::ferror(full.get()), 0);
}

std::string FaultOfPrinting(std::string_view iText) {
  try {
    tool::PrintWhole(iText);
  } catch (const tool::ToolError& error) {
    return error.what();
  }
  return "";
}

TEST(StandardStreams, PrintingWholeHandsAllOnAtOnce) {
  const Test_TempFolder folder;
  const std::string path = folder.MakeFile("out");
  const auto look = [&] {
    ::dup2(::open(path.c_str(), O_WRONLY), STDOUT_FILENO);
    return FaultOfPrinting("a {} b\n").empty() && Test_ReadFile(path) == "a {} b\n";
  };
  EXPECT_EQ(InChild(look), 0);
}

TEST(StandardStreams, PrintingWholeTellsWhatCannotBeWrittenHoweverLong) {
  for (const std::size_t length : {std::size_t{5}, std::size_t{100000}}) {
    const auto look = [&] {
      ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO);
      return FaultOfPrinting(std::string(length, 'x')) ==
             "standard output: cannot write: No space left on device";
    };
    EXPECT_EQ(InChild(look), 0) << length;
  }
}

TEST(StandardStreams, PrintingWholeIsNotEndedByAPipeThatNobodyReads) {
  const auto look = [] {
    int ends[2];
    if (::pipe(ends) != 0) return false;
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
    const bool isTold = FaultOfPrinting("text") == "standard output: cannot write: Broken pipe";
    struct sigaction now {};
    sigaction(SIGPIPE, nullptr, &now);
    return isTold && now.sa_handler == SIG_DFL;
  };
  EXPECT_EQ(InChild(look), 0);
}

}  // namespace
