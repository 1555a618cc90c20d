// SPDX-License-Identifier: MIT
#include "cmn/sys_filelocposix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Sys_FileLocPosix, PathIsTidiedButKeepsItsWayUp) {
  EXPECT_EQ(Sys_FileLocPosix("/a//b/./c").GetFullPath(), "/a/b/c");
  EXPECT_EQ(Sys_FileLocPosix("/a/../b").GetFullPath(), "/a/../b") << "a link may stand in between";
}

TEST(Sys_FileLocPosix, RelativePathHangsOnTheWorkingFolder) {
  const std::string here = std::filesystem::current_path().string();
  EXPECT_EQ(Sys_FileLocPosix("x/y").GetFullPath(), here + "/x/y");
  EXPECT_EQ(Sys_FileLocPosix("").GetFullPath(), here);
}

TEST(Sys_FileLocPosix, SystemPathKeepsItsBackslashes) {
  EXPECT_EQ(Sys_FileLocPosix::FromSystemPath("/a/b\\c", Sys_FileType::cUnknown)->GetFullPath(), "/a/b\\c");
  EXPECT_EQ(Sys_FileLocPosix::FromSystemPath("/a/b\\c", Sys_FileType::cUnknown)->GetName(cKeepExtension),
            "b\\c");
}

TEST(Sys_FileLocPosix, ExtensionIsWhatFollowsTheLastDot) {
  EXPECT_EQ(Sys_FileLocPosix("/a/b.tar.gz").GetExtension(), ".gz");
  EXPECT_EQ(Sys_FileLocPosix("/a/b.tar.gz").GetName(cStripExtension), "b.tar");
  EXPECT_EQ(Sys_FileLocPosix("/a.d/b").GetExtension(), "");
  EXPECT_EQ(Sys_FileLocPosix("/a/.hidden").GetExtension(), "");
  EXPECT_EQ(Sys_FileLocPosix("/a/.hidden").GetName(cStripExtension), ".hidden");
  EXPECT_EQ(Sys_FileLocPosix("/a/b.").GetName(cStripExtension), "b");
}

TEST(Sys_FileLocPosix, ComponentsAndParents) {
  const Sys_FileLocPosix location("/a/b/c");
  EXPECT_THAT(location.GetPathComponents(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(location.GetParentFolder()->GetStdFullPath(), "/a/b/");
  EXPECT_EQ(location.GetVolume()->GetFullPath(), "/");
  EXPECT_FALSE(location.IsVolumeRoot());
}

TEST(Sys_FileLocPosix, RootIsAVolumeWithoutNameAndParent) {
  const Sys_FileLocPosix root("/");
  EXPECT_TRUE(root.IsVolumeRoot());
  EXPECT_EQ(root.GetFullPath(), "/");
  EXPECT_EQ(root.GetStdFullPath(), "/");
  EXPECT_EQ(root.GetName(cKeepExtension), "");
  EXPECT_EQ(root.GetExtension(), "");
  EXPECT_EQ(root.GetParentFolder(), nullptr);
  EXPECT_THAT(root.GetPathComponents(), IsEmpty());
  EXPECT_EQ(root.GetChild("a", Sys_FileType::cFolder)->GetStdFullPath(), "/a/");
}

TEST(Sys_FileLocPosix, NetworkPathIsRemembered) {
  Sys_FileLocPosix location("/a/b");
  EXPECT_EQ(location.GetFullUNCPath(), "");
  location.SetFullUNCPath("\\\\server\\share\\b");
  EXPECT_EQ(location.GetFullUNCPath(), "\\\\server\\share\\b");
  EXPECT_EQ(location.GetFullPath(), "/a/b");
}

TEST(Sys_FileLocPosix, PrintsValidTextWhateverTheNameHolds) {
  EXPECT_EQ(Sys_FileLocPosix("/a/Fl\xFCgel").Print(), "/a/Fl\xEF\xBF\xBDgel");
}

TEST(Sys_FileLocPosix, URLEscapesAllButPlainCharacters) {
  EXPECT_EQ(Sys_FileLocPosix("/a b/\xC3\xBC#%.txt").GetFileURLStringForWeb(),
            "file:///a%20b/%C3%BC%23%25.txt");
  EXPECT_EQ(Sys_FileLocPosix("/dir-1_2~/", Sys_FileType::cFolder).GetFileURLStringForWeb(),
            "file:///dir-1_2~/");
}

}  // namespace
