// SPDX-License-Identifier: MIT
#include "cmn/sys_fileloc.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "cmn/sys_filelocwin32.h"

namespace {

Sys_FileLoc At(const std::string& iPath) { return Sys_FileLoc(std::make_shared<Sys_FileLocWin32>(iPath)); }

TEST(Sys_FileLoc, DefaultAndNullImplementationAreNoLocation) {
  const Sys_FileLoc none;
  EXPECT_FALSE(none);
  EXPECT_FALSE(Sys_FileLoc(std::shared_ptr<Sys_FileLocImpl>()));
  EXPECT_EQ(none.GetName(cKeepExtension), "");
  EXPECT_EQ(none.GetFullPath(), "");
  EXPECT_EQ(none.GetStdFullPath(), "");
}

TEST(Sys_FileLoc, IsMadeFromAFullPath) {
  const Sys_FileLoc location = At("/data/names/Grand Piano.midnam");
  EXPECT_TRUE(location);
  EXPECT_EQ(location.GetFullPath(), "/data/names/Grand Piano.midnam");
  EXPECT_EQ(location.GetName(cKeepExtension), "Grand Piano.midnam");
  EXPECT_EQ(location.GetName(cStripExtension), "Grand Piano");
}

TEST(Sys_FileLoc, IsMadeFromParentNameAndType) {
  const Sys_FileLoc folder(At("/data"), "names", Sys_FileType::cFolder);
  const Sys_FileLoc file(folder, "a.midnam", Sys_FileType::cUnknown);
  EXPECT_EQ(file.GetFullPath(), "/data/names/a.midnam");
}

TEST(Sys_FileLoc, ChildOfNoneOrWithoutANameIsNone) {
  EXPECT_FALSE(Sys_FileLoc(Sys_FileLoc(), "a", Sys_FileType::cFolder));
  EXPECT_FALSE(Sys_FileLoc(At("/data"), "", Sys_FileType::cFolder));
  EXPECT_FALSE(Sys_FileLoc(At("/data"), "/", Sys_FileType::cFolder));
}

TEST(Sys_FileLoc, BackslashInsideARelativeNameIsASeparator) {
  const Sys_FileLoc file(At("/data"), "Maker\\Old\\Synth.midnam", Sys_FileType::cUnknown);
  EXPECT_EQ(file.GetFullPath(), "/data/Maker/Old/Synth.midnam");
  EXPECT_EQ(file.GetName(cStripExtension), "Synth");
  EXPECT_EQ(At("/data/Maker\\Synth.midnam").GetFullPath(), "/data/Maker/Synth.midnam")
      << "a scanned name appended to a folder's path";
}

TEST(Sys_FileLoc, StandardPathOfAFolderEndsWithASeparatorSoThatANameCanBeAppended) {
  const Sys_FileLoc folder(At("/data"), "names", Sys_FileType::cFolder);
  EXPECT_EQ(folder.GetFullPath(), "/data/names");
  EXPECT_EQ(folder.GetStdFullPath(), "/data/names/");
  EXPECT_EQ(At("/data/names/").GetStdFullPath(), "/data/names/");
  EXPECT_EQ(Sys_FileLoc(folder, "a", Sys_FileType::cUnknown).GetStdFullPath(), "/data/names/a");
}

TEST(Sys_FileLoc, CopiesAndAssignmentsNameTheSamePlace) {
  const Sys_FileLoc original = At("/data/a");
  const Sys_FileLoc copy(original);
  Sys_FileLoc assigned;
  assigned = original;
  EXPECT_EQ(copy.GetFullPath(), "/data/a");
  EXPECT_EQ(assigned.GetFullPath(), "/data/a");
  assigned = Sys_FileLoc();
  EXPECT_FALSE(assigned);
  EXPECT_TRUE(original);
}

TEST(Sys_FileLoc, NameThatIsNotUTF8Survives) {
  const Sys_FileLoc file(At("/data"), "Fl\xFCgel.midnam", Sys_FileType::cUnknown);
  EXPECT_EQ(file.GetName(cKeepExtension), "Fl\xFCgel.midnam");
  EXPECT_EQ(At(file.GetFullPath()).GetFullPath(), "/data/Fl\xFCgel.midnam");
}

}  // namespace
