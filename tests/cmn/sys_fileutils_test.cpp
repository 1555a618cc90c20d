// SPDX-License-Identifier: MIT
#include "cmn/sys_fileutils.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "cmn/sys_filelocposix.h"
#include "tests/support/test_temp_folder.h"

namespace {

Sys_FileType TypeOf(const std::string& iPath) {
  return Sys_FileUtils::GetFileType(
      Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cUnknown)));
}

TEST(Sys_FileUtils, TellsFoldersFromTheRest) {
  const Test_TempFolder folder;
  folder.MakeFolder("inner");
  folder.MakeFile("file");
  folder.MakeLink("to_folder", "inner");
  folder.MakeLink("to_nothing", "missing");
  EXPECT_EQ(TypeOf(folder / "inner"), Sys_FileType::cFolder);
  EXPECT_EQ(TypeOf(folder / "to_folder"), Sys_FileType::cFolder);
  EXPECT_EQ(TypeOf(folder / "file"), Sys_FileType::cUnknown);
  EXPECT_EQ(TypeOf(folder / "to_nothing"), Sys_FileType::cUnknown);
  EXPECT_EQ(TypeOf(folder / "missing"), Sys_FileType::cUnknown);
}

TEST(Sys_FileUtils, NoLocationAndANameWithAZeroByteAreUnknown) {
  const Test_TempFolder folder;
  folder.MakeFolder("inner");
  EXPECT_EQ(Sys_FileUtils::GetFileType(Sys_FileLoc()), Sys_FileType::cUnknown);
  EXPECT_EQ(TypeOf(folder / "inner" + std::string("\0x", 2)), Sys_FileType::cUnknown);
}

std::string IdentityOf(const std::string& iPath) {
  return Sys_FileUtils::GetIdentity(
      Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cUnknown)));
}

TEST(Sys_FileUtils, AllWaysToAFileHaveOneIdentity) {
  const Test_TempFolder folder;
  folder.MakeFolder("inner");
  folder.MakeFolder("other");
  folder.MakeLink("to_folder", "inner");
  folder.MakeLink("to_nothing", "missing");
  EXPECT_EQ(IdentityOf(folder / "to_folder"), IdentityOf(folder / "inner"));
  EXPECT_NE(IdentityOf(folder / "inner"), "");
  EXPECT_NE(IdentityOf(folder / "other"), IdentityOf(folder / "inner"));
  EXPECT_EQ(IdentityOf(folder / "to_nothing"), "");
  EXPECT_EQ(Sys_FileUtils::GetIdentity(Sys_FileLoc()), "");
}

}  // namespace
