// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/filelook.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <limits>

#include "tests/support/test_environment.h"
#include "tests/support/test_files.h"
#include "tests/support/test_temp_folder.h"

namespace {

using tool::PathFacts;
using tool::PathKind;

// As a user whom permissions stop.
template <class Facts>
Facts AsNobody(const std::function<Facts()>& iLook) {
  const bool isRoot = ::geteuid() == 0;
  EXPECT_TRUE(!isRoot || ::seteuid(65534) == 0);
  Facts facts = iLook();
  EXPECT_TRUE(!isRoot || ::seteuid(0) == 0);
  return facts;
}

class FileLook : public testing::Test {
 protected:
  PathFacts LookAsNobody(const std::string& iPath) const {
    return AsNobody<PathFacts>([&] { return tool::LookAtPath(iPath); });
  }

  const Test_TempFolder mFolder;
};

TEST_F(FileLook, WhatLiesAtAPathIsTold) {
  const std::string file = mFolder.MakeFile("file");
  mFolder.MakeLink("link", file);
  mFolder.MakeLink("lost", mFolder / "nothing");
  EXPECT_EQ(tool::LookAtPath(file).mKind, PathKind::kFile);
  EXPECT_EQ(tool::LookAtPath(mFolder / "link").mKind, PathKind::kFile);
  EXPECT_EQ(tool::LookAtPath(mFolder.Path()).mKind, PathKind::kFolder);
  EXPECT_EQ(tool::LookAtPath("/dev/null").mKind, PathKind::kOther);
  for (const char* const name : {"nothing", "lost"}) {
    const PathFacts facts = tool::LookAtPath(mFolder / name);
    EXPECT_EQ(facts.mKind, PathKind::kNothing);
    EXPECT_EQ(facts.mFault, 0);
    EXPECT_EQ(facts.mPath, mFolder / name);
  }
  EXPECT_EQ(tool::LookAtPath(mFolder / "file/below").mFault, ENOTDIR);
  EXPECT_TRUE(tool::LookAtPath(file).mIsOurs);
}

TEST_F(FileLook, RightsAreThoseOfWhoAsks) {
  const std::string file = mFolder.MakeFile("file");
  ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
  EXPECT_TRUE(LookAsNobody(file).mIsReadable);
  EXPECT_FALSE(LookAsNobody(file).mIsWritable);
  ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
  if (::geteuid() == 0) {
    EXPECT_FALSE(LookAsNobody(file).mIsReadable);
    EXPECT_FALSE(LookAsNobody(file).mIsOurs);
  }
}

TEST_F(FileLook, AFolderThatCannotBeEnteredCannotBeRead) {
  mFolder.MakeFile("closed/file");
  ASSERT_EQ(::chmod((mFolder / "closed").c_str(), 0444), 0);
  EXPECT_FALSE(LookAsNobody(mFolder / "closed").mIsReadable);
  EXPECT_EQ(LookAsNobody(mFolder / "closed/file").mFault, EACCES);
  ASSERT_EQ(::chmod((mFolder / "closed").c_str(), 0755), 0);
  EXPECT_TRUE(LookAsNobody(mFolder / "closed").mIsReadable);
}

TEST_F(FileLook, TheNearestFolderOfAStudioThatIsNotThereIsTold) {
  const tool::StudioFacts facts = tool::LookAtStudio(mFolder / "a/b/studio.db");
  EXPECT_EQ(facts.mLook.mResult, Platform_StudioLookResult::kAbsent);
  EXPECT_EQ(facts.mFile.mKind, PathKind::kNothing);
  EXPECT_EQ(facts.mFolder.mPath, mFolder.Path());
  EXPECT_FALSE(facts.mIsFolderThere);
  EXPECT_TRUE(facts.mFolder.mIsWritable);
  EXPECT_GT(facts.mFreeBytes, 0);
  EXPECT_TRUE(Test_NamesIn(mFolder.Path()).empty());
}

TEST_F(FileLook, StudiosThatWereSetAsideAreFound) {
  mFolder.MakeFile("studio.db");
  mFolder.MakeFile("studio.db.damaged-1");
  mFolder.MakeFile("studio.db.damaged-2");
  mFolder.MakeFile("studio.db.damaged-9");
  const tool::StudioFacts facts = tool::LookAtStudio(mFolder / "studio.db");
  EXPECT_EQ(facts.mDamaged,
            (std::vector<std::string>{mFolder / "studio.db.damaged-1", mFolder / "studio.db.damaged-2"}));
  EXPECT_TRUE(facts.mIsFolderThere);
  EXPECT_EQ(facts.mFile.mKind, PathKind::kFile);
}

TEST_F(FileLook, WithoutAPathThereIsNoStudio) {
  const tool::StudioFacts facts = tool::LookAtStudio("");
  EXPECT_EQ(facts.mLook.mResult, Platform_StudioLookResult::kNoPath);
  EXPECT_EQ(facts.mLook.mPath, "");
}

TEST_F(FileLook, WhatIsFreeOnADiskIsToldForWhoAsks) {
  struct statvfs disk {};
  disk.f_frsize = 4096;
  disk.f_blocks = 1000;
  disk.f_bfree = 50;
  disk.f_bavail = 7;
  EXPECT_EQ(tool::FreeBytes(disk, true, false), 50 * 4096);
  EXPECT_EQ(tool::FreeBytes(disk, false, false), 7 * 4096);
  disk.f_files = 100;
  EXPECT_EQ(tool::FreeBytes(disk, false, false), 0);
  EXPECT_EQ(tool::FreeBytes(disk, false, true), 7 * 4096);
  disk.f_favail = 1;
  EXPECT_EQ(tool::FreeBytes(disk, false, false), 7 * 4096);
  disk.f_bavail = 0;
  EXPECT_EQ(tool::FreeBytes(disk, false, true), 0);
}

TEST_F(FileLook, ADiskWithoutASizeIsNotFull) {
  const struct statvfs disk {};
  EXPECT_EQ(tool::FreeBytes(disk, true, false), std::numeric_limits<std::int64_t>::max());
}

TEST_F(FileLook, WhereTheKernelShowsItselfIsNoDisk) {
  for (const char* const path : {"/proc/studio.db", "/proc/x/y/studio.db", "/sys/x/studio.db"}) {
    EXPECT_TRUE(tool::LookAtStudio(path).mIsOfKernel) << path;
    EXPECT_TRUE(tool::LookAtLog(path).mIsOfKernel) << path;
  }
  EXPECT_FALSE(tool::LookAtStudio(mFolder / "studio.db").mIsOfKernel);
  EXPECT_FALSE(tool::LookAtLog(mFolder / "x/log").mIsOfKernel);
}

TEST_F(FileLook, DocumentsAreCountedWhereTheLibraryFindsThem) {
  mFolder.MakeFile("names/a.midnam");
  mFolder.MakeFile("names/deep/b.MIDNAM");
  mFolder.MakeFile("names/c.middev");
  mFolder.MakeFile("types/c.middev");
  const Test_Environment names("MLOX_PATCH_NAMES_DIR", mFolder / "names");
  const Test_Environment types("MLOX_DEVICE_TYPES_DIR", mFolder / "types");
  EXPECT_EQ(tool::LookAtDocuments(false).mCount, 2);
  EXPECT_EQ(tool::LookAtDocuments(false).mFolder.mPath, mFolder / "names");
  EXPECT_EQ(tool::LookAtDocuments(true).mCount, 1);
  EXPECT_EQ(tool::LookAtDocuments(true).mFolder.mPath, mFolder / "types");
}

TEST_F(FileLook, TheBeginningOfATextIsRead) {
  EXPECT_EQ(tool::LookAtText(mFolder.MakeFile("short", "a\r\nb")).mText, "a\r\nb");
  EXPECT_EQ(tool::LookAtText(mFolder.MakeFile("long", std::string(100000, 'x'))).mText.size(), 65536u);
  EXPECT_EQ(tool::LookAtText(mFolder / "none").mText, "");
  EXPECT_EQ(tool::LookAtText(mFolder.Path()).mFile.mKind, PathKind::kFolder);
  ASSERT_EQ(::mkfifo((mFolder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(tool::LookAtText(mFolder / "pipe").mFile.mKind, PathKind::kOther);
}

TEST_F(FileLook, ALogIsTheFileAndItsFolder) {
  const tool::LogFacts facts = tool::LookAtLog(mFolder / "none/log");
  EXPECT_EQ(facts.mFile.mPath, mFolder / "none/log");
  EXPECT_EQ(facts.mFolder.mPath, mFolder / "none");
  EXPECT_EQ(facts.mFolder.mKind, PathKind::kNothing);
  EXPECT_EQ(tool::LookAtLog("log").mFolder.mKind, PathKind::kFolder);
  EXPECT_EQ(facts.mNearest.mPath, mFolder.Path());
  EXPECT_EQ(tool::LookAtLog(mFolder / "a/b/log").mNearest.mPath, mFolder.Path());
  EXPECT_EQ(tool::LookAtLog("log").mNearest.mKind, PathKind::kFolder);
  EXPECT_EQ(tool::LookAtLog("").mFile.mPath, "");
}

}  // namespace
