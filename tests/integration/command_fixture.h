// SPDX-License-Identifier: MIT
/// \file
/// The command `mlox` run by a shell, with what it left behind.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tests/support/test_terminal.h"

/// What a command left.
struct Test_CommandResult {
  int mStatus = -1;
  std::string mOutput;
  std::string mError;
};

/// Runs commands in a folder of their own. $MLOX is the tool.
class Test_Command : public testing::Test {
 protected:
  Test_CommandResult Shell(const std::string& iScript) const {
    const std::string script =
        "cd " + mFolder.Path() + " && { " + iScript + "\n} >" + mLogs / "out" + " 2>" + mLogs / "err";
    const int status = std::system(("MLOX=" MLOX_TEST_TOOL "; " + script).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Test_ReadFile(mLogs / "out"),
            Test_ReadFile(mLogs / "err")};
  }

  /// As Shell; standard error is a terminal.
  Test_CommandResult ShellOnTerminal(const std::string& iScript) const {
    Test_Terminal terminal;
    std::string shown;
    std::thread reader([&] { shown = terminal.TakeAll(); });
    Test_CommandResult result = Shell("{ " + iScript + "\n} 2>" + terminal.Path());
    terminal.CloseStream();
    reader.join();
    result.mError += shown;
    return result;
  }

  Test_CommandResult Mlox(const std::string& iArguments) const { return Shell("$MLOX " + iArguments); }

  std::vector<std::string> Names() const { return Test_NamesIn(mFolder.Path()); }

  /// One line on standard error, nothing on standard output, this status.
  static void ExpectFault(const Test_CommandResult& iResult, int iStatus, const std::string& iError) {
    EXPECT_EQ(iResult.mStatus, iStatus);
    EXPECT_EQ(iResult.mOutput, "");
    EXPECT_EQ(iResult.mError, iError + "\n");
  }

  static void ExpectOneLineWith(const Test_CommandResult& iResult, int iStatus, const std::string& iPart) {
    EXPECT_EQ(iResult.mStatus, iStatus);
    EXPECT_EQ(iResult.mOutput, "");
    EXPECT_THAT(iResult.mError, testing::StartsWith("mlox: "));
    EXPECT_THAT(iResult.mError, testing::HasSubstr(iPart));
    EXPECT_EQ(std::count(iResult.mError.begin(), iResult.mError.end(), '\n'), 1) << iResult.mError;
    EXPECT_THAT(iResult.mError, testing::EndsWith("\n"));
  }

  Test_TempFolder mFolder;

 private:
  Test_TempFolder mLogs;
};
