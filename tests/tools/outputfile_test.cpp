// SPDX-License-Identifier: MIT
#include "tools/mlox/outputfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"
#include "tools/mlox/tool_error.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tool::OutputFile;

std::string ErrorOf(const std::string& iPath) {
  try {
    OutputFile file(iPath);
  } catch (const tool::ToolError& error) {
    return error.what();
  }
  return "no error";
}

TEST(OutputFile, AppearsUnderItsNameOnlyWhenCommitted) {
  const Test_TempFolder folder;
  OutputFile file(folder / "a");
  EXPECT_EQ(file.Path(), folder / "a");
  file.WriteAll("content");
  EXPECT_FALSE(std::filesystem::exists(folder / "a"));
  EXPECT_EQ(Test_ReadFile(file.TemporaryPath()), "content");
  file.Commit();
  EXPECT_EQ(Test_ReadFile(folder / "a"), "content");
  EXPECT_THAT(Test_NamesIn(folder.Path()), ElementsAre("a"));
}

TEST(OutputFile, LeavesNothingWithoutCommit) {
  const Test_TempFolder folder;
  {
    OutputFile file(folder / "a");
    file.WriteAll("half");
  }
  { OutputFile neverWritten(folder / "b"); }
  EXPECT_THAT(Test_NamesIn(folder.Path()), IsEmpty());
}

TEST(OutputFile, LeavesAnOlderFileAsItWasWithoutCommit) {
  const Test_TempFolder folder;
  folder.MakeFile("a", "old");
  { OutputFile(folder / "a").WriteAll("new"); }
  EXPECT_EQ(Test_ReadFile(folder / "a"), "old");
}

TEST(OutputFile, ReplacesAnOlderFile) {
  const Test_TempFolder folder;
  folder.MakeFile("a", "old");
  OutputFile file(folder / "a");
  file.WriteAll("new");
  file.Commit();
  EXPECT_EQ(Test_ReadFile(folder / "a"), "new");
}

TEST(OutputFile, ReplacesTheFileBehindALinkAndKeepsTheLink) {
  const Test_TempFolder folder;
  folder.MakeFile("real", "old");
  std::filesystem::create_symlink("real", folder / "link");
  OutputFile file(folder / "link");
  file.WriteAll("new");
  file.Commit();
  EXPECT_EQ(Test_ReadFile(folder / "real"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST(OutputFile, IsNotMadeWhereThereIsNoFolder) {
  const Test_TempFolder folder;
  const std::string path = folder / "none/a";
  EXPECT_EQ(ErrorOf(path), path + ": cannot write: No such file or directory");
}

TEST(OutputFile, DoesNotReplaceAFolder) {
  const Test_TempFolder folder;
  EXPECT_EQ(ErrorOf(folder.Path()), folder.Path() + ": cannot write: it is a folder");
}

TEST(OutputFile, DoesNotReplaceADevice) {
  EXPECT_EQ(ErrorOf("/dev/null"), "/dev/null: cannot write: it is not a regular file");
}

TEST(OutputFile, TellsWhenItsNameWasTakenByAFolderMeanwhile) {
  const Test_TempFolder folder;
  OutputFile file(folder / "a");
  file.WriteAll("new");
  std::filesystem::create_directory(folder / "a");
  EXPECT_THROW(file.Commit(), tool::ToolError);
}

}  // namespace
