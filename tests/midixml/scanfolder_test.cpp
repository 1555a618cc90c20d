// SPDX-License-Identifier: MIT
#include "midixml/scanfolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "cmn/sys_filelocposix.h"
#include "midixml/scanpatchfilenamesdir.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_temp_folder.h"

namespace {

using Names = std::vector<std::string>;

Sys_FileLoc At(const std::string& iPath) {
  return Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cFolder));
}

Names Scan(const std::string& iPath, bool iWantPatchFiles = true) {
  Names names;
  const int count = midixml::ScanFolder(&names, At(iPath), iWantPatchFiles);
  EXPECT_EQ(count, static_cast<int>(names.size()));
  return names;
}

class ScanFolderTest : public testing::Test {
 protected:
  void MakeFiles(const Names& iNames) {
    for (const std::string& name : iNames) mFolder.MakeFile(name);
  }
  Test_TempFolder mFolder;
};

TEST_F(ScanFolderTest, Step1GivesNothingForNoVectorNoFolderAndWhatIsNone) {
  MakeFiles({"a.midnam"});
  Names names;
  EXPECT_EQ(midixml::ScanFolder(nullptr, At(mFolder.Path()), true), 0);
  EXPECT_EQ(midixml::ScanFolder(&names, Sys_FileLoc(), true), 0);
  EXPECT_EQ(midixml::ScanFolder(&names, At(mFolder / "nothing"), true), 0);
  EXPECT_EQ(midixml::ScanFolder(&names, At(mFolder / "a.midnam"), true), 0);
  EXPECT_TRUE(names.empty());
}

TEST_F(ScanFolderTest, Step2TheExtensionIsThatOfTheKind) {
  MakeFiles({"a.midnam", "b.middev", "c.xml", "d"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"a"}));
  EXPECT_EQ(Scan(mFolder.Path(), false), (Names{"b"}));
}

TEST_F(ScanFolderTest, Step3TheItemsComeInByteOrderOfTheirNames) {
  MakeFiles({"b.midnam", "a.midnam", "B.midnam", "\xC3\xA4.midnam", "a b.midnam", "ab/x.midnam"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"B", "a b", "a", "ab\\x", "b", "\xC3\xA4"}));
}

TEST_F(ScanFolderTest, Step3ANameIsCutBehindItsLastColonOrBackslash) {
  MakeFiles({"x:y.midnam", "p\\q.midnam", "m:n\\o:r.midnam"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"o:r", "q", "y"}));
}

TEST_F(ScanFolderTest, Step4FoldersAreScannedRecursively) {
  MakeFiles({"maker/model/deep/x.midnam", "maker/y.midnam", "maker/empty/readme.txt", "z.midnam"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"maker\\model\\deep\\x", "maker\\y", "z"}));
}

TEST_F(ScanFolderTest, Step5AnyLetterCaseOfTheExtensionCounts) {
  MakeFiles({"Foo.MIDNAM", "bar.MidNam", "baz.midname", "qux.midna"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"Foo", "bar"}));
}

TEST_F(ScanFolderTest, Step5TheLastDotDecides) {
  MakeFiles({"a.b.midnam", "c.midnam.bak", ".midnam", "nodot"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"", "a.b"}));
}

TEST_F(ScanFolderTest, NamesAreAppendedToThoseThatAreThere) {
  MakeFiles({"a.midnam", "f/b.midnam"});
  Names names = {"before"};
  EXPECT_EQ(midixml::ScanFolder(&names, At(mFolder.Path()), true), 2);
  EXPECT_EQ(names, (Names{"before", "a", "f\\b"}));
}

TEST_F(ScanFolderTest, NamesThatAreNoUTF8ComeByteForByte) {
  MakeFiles({"\xFF\xFE.midnam", "\xE4/x.midnam"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"\xE4\\x", "\xFF\xFE"}));
}

TEST_F(ScanFolderTest, LinksInACircleEnd) {
  MakeFiles({"a/x.midnam", "b/y.midnam"});
  mFolder.MakeLink("a/up", "..");
  mFolder.MakeLink("a/self", ".");
  mFolder.MakeLink("a/toB", "../b");
  mFolder.MakeLink("b/toA", "../a");
  mFolder.MakeLink("nowhere.midnam", "missing");
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"a\\toB\\y", "a\\x", "b\\toA\\x", "b\\y"}));
}

TEST_F(ScanFolderTest, FoldersThatAllLinkToEachOtherEndAfterSixteenVisitsOfEach) {
  // 12 folders: more than a thousand million ways lead through them.
  constexpr int kFolders = 12;
  const auto name = [](int iFolder) { return std::string("f") + static_cast<char>('a' + iFolder); };
  for (int folder = 0; folder < kFolders; ++folder) {
    MakeFiles({name(folder) + "/x.midnam"});
    for (int other = 0; other < kFolders; ++other) {
      if (other != folder) mFolder.MakeLink(name(folder) + "/" + name(other), "../" + name(other));
    }
  }
  EXPECT_EQ(Scan(mFolder.Path()).size(), 12u * 16u);
}

TEST_F(ScanFolderTest, SixteenWaysToAFolderCount) {
  MakeFiles({"z/x.midnam"});
  for (char link = 'a'; link < 'a' + 16; ++link) mFolder.MakeLink(std::string(1, link), "z");
  const Names names = Scan(mFolder.Path());
  ASSERT_EQ(names.size(), 16u);
  EXPECT_EQ(names.front(), "a\\x");
  EXPECT_EQ(names.back(), "p\\x");
}

TEST_F(ScanFolderTest, LinksToDocumentsCount) {
  MakeFiles({"a.midnam"});
  mFolder.MakeLink("b.midnam", "a.midnam");
  EXPECT_EQ(Scan(mFolder.Path()), (Names{"a", "b"}));
}

TEST_F(ScanFolderTest, FoldersWithoutPermissionGiveNothing) {
  MakeFiles({"closed/x.midnam", "open/y.midnam"});
  ASSERT_EQ(chmod((mFolder / "closed").c_str(), 0), 0);
  // The superuser may read all: then another user's rights are what counts.
  const bool isRoot = geteuid() == 0;
  ASSERT_TRUE(!isRoot || seteuid(65534) == 0);
  const Names names = Scan(mFolder.Path());
  ASSERT_TRUE(!isRoot || seteuid(0) == 0);
  ASSERT_EQ(chmod((mFolder / "closed").c_str(), 0700), 0);
  EXPECT_EQ(names, (Names{"open\\y"}));
}

TEST_F(ScanFolderTest, DeepFoldersAreScanned) {
  std::string path;
  std::string name;
  for (int depth = 0; depth < 300; ++depth) {
    path += "d/";
    name += "d\\";
  }
  MakeFiles({path + "x.midnam"});
  EXPECT_EQ(Scan(mFolder.Path()), (Names{name + "x"}));
}

// ---- the base folder ----

class ScanPatchFileNamesDirTest : public ScanFolderTest {
 protected:
  Names ScanIn(const std::string& iFolder) {
    Names names;
    const int count = ScanPatchFileNamesDir(&names, iFolder);
    EXPECT_EQ(count, static_cast<int>(names.size()));
    return names;
  }
  Test_Environment mBase{"MLOX_PATCH_NAMES_DIR", mFolder.Path()};
  Test_Environment mTypesBase{"MLOX_DEVICE_TYPES_DIR", mFolder.Path()};
};

TEST_F(ScanPatchFileNamesDirTest, NullVectorGivesNothing) {
  EXPECT_EQ(ScanPatchFileNamesDir(nullptr), 0);
  EXPECT_EQ(ScanPatchFileNamesDir(nullptr, "x"), 0);
  EXPECT_EQ(ScanDeviceTypesNamesDir(nullptr), 0);
}

TEST_F(ScanPatchFileNamesDirTest, TheBaseFolderIsScannedForEachKind) {
  MakeFiles({"a.midnam", "f/b.midnam", "c.middev"});
  Names names;
  EXPECT_EQ(ScanPatchFileNamesDir(&names), 2);
  EXPECT_EQ(names, (Names{"a", "f\\b"}));
  names.clear();
  EXPECT_EQ(ScanDeviceTypesNamesDir(&names), 1);
  EXPECT_EQ(names, (Names{"c"}));
}

TEST_F(ScanPatchFileNamesDirTest, ThreeStepsInOrderOfPrecedence) {
  MakeFiles({"Acme/x.midnam", "Acme/sub/y.midnam", "Quilsonics/q.midnam", "z.midnam"});
  EXPECT_EQ(ScanIn("Acme"), (Names{"Acme\\sub\\y", "Acme\\x", "Quilsonics\\q", "Acme\\sub\\y", "Acme\\x",
                                   "Quilsonics\\q", "z"}));
}

TEST_F(ScanPatchFileNamesDirTest, WithoutAFolderTheFirstStepIsLeftOut) {
  MakeFiles({"Acme/x.midnam", "Quilsonics/q.midnam"});
  EXPECT_EQ(ScanIn(""), (Names{"Quilsonics\\q", "Acme\\x", "Quilsonics\\q"}));
}

TEST_F(ScanPatchFileNamesDirTest, ANameInTwoStepsComesTwice) {
  MakeFiles({"Quilsonics/same.midnam", "same.midnam"});
  EXPECT_EQ(ScanIn("nothing"), (Names{"Quilsonics\\same", "Quilsonics\\same", "same"}));
}

TEST_F(ScanPatchFileNamesDirTest, ABackslashInTheFolderIsASeparator) {
  MakeFiles({"a/b/x.midnam"});
  EXPECT_EQ(ScanIn("a\\b"), (Names{"a\\b\\x", "a\\b\\x"}));
}

TEST_F(ScanPatchFileNamesDirTest, PrefixesAreAppliedByPositionFromTheStart) {
  MakeFiles({"Acme/x.midnam"});
  Names names = {"before"};
  EXPECT_EQ(ScanPatchFileNamesDir(&names, "Acme"), 2);
  EXPECT_EQ(names, (Names{"Acme\\before", "x", "Acme\\x"}));
}

TEST_F(ScanPatchFileNamesDirTest, ABaseFolderThatIsNotThereGivesNothing) {
  const Test_Environment other("MLOX_PATCH_NAMES_DIR", mFolder / "nothing");
  EXPECT_EQ(ScanIn("Acme"), Names{});
}

}  // namespace
