// SPDX-License-Identifier: MIT
#include "cmn/sys_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "cmn/sys_filelocposix.h"
#include "tests/support/test_temp_folder.h"

namespace {

Sys_FileLoc At(const std::string& iPath) {
  return Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cUnknown));
}

class Sys_FileOfSixBytes : public testing::Test {
 protected:
  Test_TempFolder mFolder;
  std::string mPath = mFolder.MakeFile("six", std::string("ab\0de\n", 6));
  std::array<char, 16> mBuffer{};
};

TEST_F(Sys_FileOfSixBytes, IsOnlineAndClosedAtFirst) {
  const Sys_File file(At(mPath));
  EXPECT_TRUE(file.IsOnline());
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetEOF(), 6);
  EXPECT_EQ(file.GetPosition(), 0);
}

TEST_F(Sys_FileOfSixBytes, ReadReturnsTheNumberOfBytesRead) {
  Sys_File file(At(mPath));
  ASSERT_TRUE(file.Open(Sys_File::cReadExisting));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(file.Read(mBuffer.data(), 4), 4);
  EXPECT_EQ(std::string(mBuffer.data(), 4), std::string("ab\0d", 4));
  EXPECT_EQ(file.GetPosition(), 4);
  EXPECT_EQ(file.Read(mBuffer.data(), 16), 2) << "the end comes first";
  EXPECT_EQ(std::string(mBuffer.data(), 2), "e\n");
  EXPECT_EQ(file.GetPosition(), 6);
  EXPECT_EQ(file.GetPosition(), file.GetEOF());
  EXPECT_EQ(file.Read(mBuffer.data(), 1), 0);
}

TEST_F(Sys_FileOfSixBytes, ReadingWhileClosedOrNothingReadsNothing) {
  Sys_File file(At(mPath));
  EXPECT_EQ(file.Read(mBuffer.data(), 1), 0);
  ASSERT_TRUE(file.Open(Sys_File::cReadExisting));
  EXPECT_EQ(file.Read(mBuffer.data(), 0), 0);
  EXPECT_EQ(file.Read(mBuffer.data(), -1), 0);
  EXPECT_EQ(file.GetPosition(), 0);
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.Read(mBuffer.data(), 1), 0);
  EXPECT_EQ(file.GetPosition(), 0);
}

TEST_F(Sys_FileOfSixBytes, OpensOnceAndOnlyForReading) {
  Sys_File file(At(mPath));
  EXPECT_FALSE(file.Open(0x111)) << "no other mode is known";
  EXPECT_TRUE(file.Open(0x112));
  EXPECT_FALSE(file.Open(0x112)) << "it is open already";
  file.Close();
  file.Close();
  EXPECT_TRUE(file.Open(0x112)) << "and may be opened again";
}

TEST_F(Sys_FileOfSixBytes, OpenerClosesAtTheEndOfItsScope) {
  Sys_File file(At(mPath));
  {
    const Sys_StFileOpener opener(file, Sys_File::cReadExisting);
    EXPECT_TRUE(file.IsOpen());
  }
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(Sys_FileOfSixBytes, FileThatIsRemovedGoesOfflineAndCanStillBeReadWhileOpen) {
  Sys_File file(At(mPath));
  ASSERT_TRUE(file.Open(Sys_File::cReadExisting));
  std::filesystem::remove(mPath);
  EXPECT_FALSE(file.IsOnline());
  EXPECT_EQ(file.GetEOF(), 6);
  EXPECT_EQ(file.Read(mBuffer.data(), 16), 6);
}

TEST(Sys_File, WhatIsNotThereIsOfflineAndDoesNotOpen) {
  const Test_TempFolder folder;
  for (const Sys_FileLoc& location : {At(folder / "missing"), Sys_FileLoc()}) {
    Sys_File file(location);
    EXPECT_FALSE(file.IsOnline());
    EXPECT_FALSE(file.Open(Sys_File::cReadExisting));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.GetEOF(), 0);
  }
}

TEST(Sys_File, FolderIsOnlineAndGivesNoBytes) {
  const Test_TempFolder folder;
  Sys_File file(At(folder.Path()));
  EXPECT_TRUE(file.IsOnline());
  file.Open(Sys_File::cReadExisting);
  char byte = 0;
  EXPECT_EQ(file.Read(&byte, 1), 0);
  EXPECT_EQ(file.GetEOF(), 0);
}

TEST(Sys_File, NameThatIsNotUTF8IsRead) {
  const Test_TempFolder folder;
  Sys_File file(At(folder.MakeFile("Fl\xFCgel", "x")));
  EXPECT_TRUE(file.IsOnline());
  ASSERT_TRUE(file.Open(Sys_File::cReadExisting));
  char byte = 0;
  EXPECT_EQ(file.Read(&byte, 1), 1);
  EXPECT_EQ(byte, 'x');
}

TEST(Sys_File, NameWithAZeroByteNamesNothing) {
  const Test_TempFolder folder;
  Sys_File file(At(folder.MakeFile("a", "x") + std::string("\0b", 2)));
  EXPECT_FALSE(file.IsOnline());
  EXPECT_FALSE(file.Open(Sys_File::cReadExisting));
}

TEST(Sys_File, OpeningAPipeDoesNotWaitForAWriter) {
  const Test_TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  Sys_File file(At(folder / "pipe"));
  file.Open(Sys_File::cReadExisting);
  char byte = 0;
  EXPECT_EQ(file.Read(&byte, 1), 0);
  EXPECT_EQ(file.GetEOF(), 0);
}

}  // namespace
