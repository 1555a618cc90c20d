// SPDX-License-Identifier: MIT
#include "tools/mlox/outputfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

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

/// Writes "new" to a file under iPath, which takes its name, and keeps it or not.
void WriteNew(const std::string& iPath, bool iIsKept) {
  OutputFile file(iPath);
  file.WriteAll("new");
  file.TakeName();
  EXPECT_EQ(Test_ReadFile(iPath), "new");
  if (iIsKept) file.Keep();
}

/// What is in the folder, as "name: content", and a folder as "name/".
std::vector<std::string> ContentsOf(const Test_TempFolder& iFolder) {
  std::vector<std::string> contents;
  for (const std::string& name : Test_NamesIn(iFolder.Path())) {
    const bool isFolder = std::filesystem::is_directory(iFolder / name);
    contents.push_back(isFolder ? name + "/" : name + ": " + Test_ReadFile(iFolder / name));
  }
  return contents;
}

TEST(OutputFile, AppearsUnderItsNameOnlyWhenItTakesIt) {
  const Test_TempFolder folder;
  OutputFile file(folder / "a");
  EXPECT_EQ(file.Path(), folder / "a");
  file.WriteAll("content");
  EXPECT_FALSE(std::filesystem::exists(folder / "a"));
  EXPECT_EQ(Test_ReadFile(file.TemporaryPath()), "content");
  file.TakeName();
  EXPECT_THAT(ContentsOf(folder), ElementsAre("a: content"));
}

TEST(OutputFile, LeavesNothingWithoutAName) {
  const Test_TempFolder folder;
  {
    OutputFile file(folder / "a");
    file.WriteAll("half");
  }
  { OutputFile neverWritten(folder / "b"); }
  EXPECT_THAT(Test_NamesIn(folder.Path()), IsEmpty());
}

TEST(OutputFile, LeavesNothingWhenItIsNotKept) {
  const Test_TempFolder folder;
  WriteNew(folder / "a", false);
  EXPECT_THAT(Test_NamesIn(folder.Path()), IsEmpty());
}

TEST(OutputFile, LeavesAnOlderFileAsItWasWithoutAName) {
  const Test_TempFolder folder;
  folder.MakeFile("a", "old");
  { OutputFile(folder / "a").WriteAll("new"); }
  EXPECT_THAT(ContentsOf(folder), ElementsAre("a: old"));
}

TEST(OutputFile, GivesItsNameBackToTheOlderFileWhenItIsNotKept) {
  const Test_TempFolder folder;
  folder.MakeFile("a", "old");
  WriteNew(folder / "a", false);
  EXPECT_THAT(ContentsOf(folder), ElementsAre("a: old"));
}

TEST(OutputFile, ReplacesAnOlderFileAndLeavesNothingOfIt) {
  const Test_TempFolder folder;
  folder.MakeFile("a", "old");
  WriteNew(folder / "a", true);
  EXPECT_THAT(ContentsOf(folder), ElementsAre("a: new"));
}

TEST(OutputFile, ReplacesTheFileBehindALinkAndKeepsTheLink) {
  const Test_TempFolder folder;
  folder.MakeFile("real", "old");
  std::filesystem::create_symlink("real", folder / "link");
  WriteNew(folder / "link", true);
  EXPECT_EQ(Test_ReadFile(folder / "real"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

// What is in the place of the second name stands for a file system that knows none.
void LetThereBeNoSecondName(const OutputFile& iFile) {
  std::string older = iFile.TemporaryPath();
  older.replace(older.rfind(".part"), std::string::npos, ".old");
  std::ofstream(older) << "left by another run";
}

TEST(OutputFile, GivesItsNameBackAlsoWhereTheOlderFileCanHaveNoSecondName) {
  const Test_TempFolder folder;
  for (const bool isKept : {false, true}) {
    folder.MakeFile("a", "old");
    {
      OutputFile file(folder / "a");
      file.WriteAll("new");
      LetThereBeNoSecondName(file);
      file.TakeName();
      EXPECT_EQ(Test_ReadFile(folder / "a"), "new");
      if (isKept) file.Keep();
    }
    EXPECT_THAT(ContentsOf(folder), ElementsAre(isKept ? "a: new" : "a: old"));
  }
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
  EXPECT_THROW(file.TakeName(), tool::ToolError);
  EXPECT_TRUE(std::filesystem::is_directory(folder / "a"));
}

// The older file is moved or named a second time before the new one comes: both are undone.
TEST(OutputFile, LeavesTheOlderFileAsItWasWhenTheNewOneCannotTakeItsName) {
  for (const bool hasSecondName : {true, false}) {
    const Test_TempFolder folder;
    folder.MakeFile("a", "old");
    {
      OutputFile file(folder / "a");
      file.WriteAll("new");
      if (!hasSecondName) LetThereBeNoSecondName(file);
      ASSERT_TRUE(std::filesystem::remove(file.TemporaryPath()));
      EXPECT_THROW(file.TakeName(), tool::ToolError);
      EXPECT_THAT(ContentsOf(folder), ElementsAre("a: old"));
    }
    EXPECT_THAT(ContentsOf(folder), ElementsAre("a: old"));
  }
}

}  // namespace
