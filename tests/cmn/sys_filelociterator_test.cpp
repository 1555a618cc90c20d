// SPDX-License-Identifier: MIT
#include "cmn/sys_filelociterator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cmn/sys_filelocposix.h"
#include "cmn/sys_fileutils.h"
#include "tests/support/test_temp_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Sys_FileLoc FolderAt(const std::string& iPath) {
  return Sys_FileLoc(Sys_FileLocPosix::FromSystemPath(iPath, Sys_FileType::cFolder));
}

// The paths met, without that of the folder walked.
std::vector<std::string> Walk(const std::string& iFolder, EIterType iIterType, unsigned iDepth,
                              const std::vector<Sys_FileType>& iTypes = {}) {
  std::vector<std::string> met;
  for (Sys_FileLocIterator item(FolderAt(iFolder), iTypes, iIterType, iDepth); item; ++item)
    met.push_back((*item).GetFullPath().substr(iFolder.size() + 1));
  return met;
}

// The walk of one who makes an iterator for each folder that is met, as the scan for documents does.
void WalkByHand(const Sys_FileLoc& iFolder, std::vector<std::string>& ioNames) {
  for (Sys_FileLocIterator item(iFolder, {}, cIterFilesAndFolders, 1); item; ++item) {
    ioNames.push_back(item->GetName(cKeepExtension));
    if (Sys_FileUtils::GetFileType(*item) == Sys_FileType::cFolder) WalkByHand(*item, ioNames);
  }
}

TEST(Sys_FileLocIterator, MeetsItemsInByteOrderOfTheirNames) {
  const Test_TempFolder folder;
  for (const char* nameP : {"b", "a", "B", "\xC3\xA4", "10", "9", ".x", "\xFF"}) folder.MakeFile(nameP);
  folder.MakeFolder("aa");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 1),
              ElementsAre(".x", "10", "9", "B", "a", "aa", "b", "\xC3\xA4", "\xFF"));
}

TEST(Sys_FileLocIterator, DepthLimitsTheLevels) {
  const Test_TempFolder folder;
  folder.MakeFile("a/b/c");
  folder.MakeFile("a/z");
  folder.MakeFile("q");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 0), IsEmpty());
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 1), ElementsAre("a", "q"));
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 2), ElementsAre("a", "a/b", "a/z", "q"));
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 9), ElementsAre("a", "a/b", "a/b/c", "a/z", "q"));
}

TEST(Sys_FileLocIterator, StopsAtFilesOnlyOrFoldersOnlyAndEntersFoldersAllTheSame) {
  const Test_TempFolder folder;
  folder.MakeFile("a/b/c");
  folder.MakeFile("a/z");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesOnly, 9), ElementsAre("a/b/c", "a/z"));
  EXPECT_THAT(Walk(folder.Path(), cIterFoldersOnly, 9), ElementsAre("a", "a/b"));
}

TEST(Sys_FileLocIterator, StopsAtTheTypesGiven) {
  const Test_TempFolder folder;
  folder.MakeFile("a/b");
  folder.MakeFile("c");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 9, {Sys_FileType::cFolder}), ElementsAre("a"));
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 9, {Sys_FileType::cUnknown}),
              ElementsAre("a/b", "c"));
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 9, {Sys_FileType::cFolder, Sys_FileType::cUnknown}),
              ElementsAre("a", "a/b", "c"));
  EXPECT_THAT(Walk(folder.Path(), cIterFilesOnly, 9, {Sys_FileType::cFolder}), IsEmpty());
}

TEST(Sys_FileLocIterator, ItemsKnowWhetherTheyAreFolders) {
  const Test_TempFolder folder;
  folder.MakeFolder("a");
  folder.MakeFile("b");
  Sys_FileLocIterator item(FolderAt(folder.Path()), {}, cIterFilesAndFolders, 1);
  ASSERT_TRUE(item);
  EXPECT_EQ((*item).GetStdFullPath(), folder / "a/");
  ++item;
  ASSERT_TRUE(item);
  EXPECT_EQ((*item).GetStdFullPath(), folder / "b");
  ++item;
  EXPECT_FALSE(item);
  ++item;
  EXPECT_FALSE(item) << "behind the end nothing happens";
}

TEST(Sys_FileLocIterator, EmptyFoldersAreSteppedOver) {
  const Test_TempFolder folder;
  folder.MakeFolder("a/empty");
  folder.MakeFolder("b");
  folder.MakeFile("c/d");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesOnly, 9), ElementsAre("c/d"));
  EXPECT_THAT(Walk(folder / "b", cIterFilesAndFolders, 9), IsEmpty());
}

TEST(Sys_FileLocIterator, NoLocationNoFolderAndNothingThereGiveAnEmptyWalk) {
  const Test_TempFolder folder;
  folder.MakeFile("file");
  EXPECT_FALSE(Sys_FileLocIterator(Sys_FileLoc(), {}, cIterFilesAndFolders, 1));
  EXPECT_FALSE(Sys_FileLocIterator(FolderAt(folder / "file"), {}, cIterFilesAndFolders, 1));
  EXPECT_FALSE(Sys_FileLocIterator(FolderAt(folder / "missing"), {}, cIterFilesAndFolders, 1));
}

TEST(Sys_FileLocIterator, NamesThatAreNotUTF8AndThoseWithBackslashesCanBeOpened) {
  const Test_TempFolder folder;
  folder.MakeFile("Fl\xFCgel/Bl\xE4ser\\1", "x");
  Sys_FileLocIterator item(FolderAt(folder.Path()), {}, cIterFilesOnly, 2);
  ASSERT_TRUE(item);
  EXPECT_TRUE(std::filesystem::exists((*item).GetFullPath()));
  EXPECT_EQ((*item).GetName(cKeepExtension), "Bl\xE4ser\\1");
}

TEST(Sys_FileLocIterator, LinksToFilesAndFoldersAreMetAsWhatTheyLeadTo) {
  const Test_TempFolder folder;
  folder.MakeFile("real/file");
  folder.MakeFolder("walked");
  folder.MakeLink("walked/folder", "../real");
  folder.MakeLink("walked/item", "../real/file");
  EXPECT_THAT(Walk(folder / "walked", cIterFoldersOnly, 9), ElementsAre("folder"));
  EXPECT_THAT(Walk(folder / "walked", cIterFilesOnly, 9), ElementsAre("folder/file", "item"));
}

TEST(Sys_FileLocIterator, LinksToNothingAndPipesAreLeftOut) {
  const Test_TempFolder folder;
  folder.MakeLink("dangling", "missing");
  folder.MakeLink("itself", "itself");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  folder.MakeFile("file");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 9), ElementsAre("file"));
}

TEST(Sys_FileLocIterator, LinkThatLeadsBackIsLeftOut) {
  const Test_TempFolder folder;
  folder.MakeFile("a/file");
  folder.MakeLink("a/here", ".");
  folder.MakeLink("a/up", "..");
  folder.MakeLink("a/root", "/");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 50), ElementsAre("a", "a/file"));
}

TEST(Sys_FileLocIterator, LinksThatLeadIntoEachOtherEnd) {
  const Test_TempFolder folder;
  folder.MakeFolder("a");
  folder.MakeFolder("b");
  folder.MakeLink("a/to_b", "../b");
  folder.MakeLink("b/to_a", "../a");
  EXPECT_THAT(Walk(folder.Path(), cIterFilesAndFolders, 50), ElementsAre("a", "a/to_b", "b", "b/to_a"));
}

TEST(Sys_FileLocIterator, WalkByAnIteratorForEachFolderEndsToo) {
  const Test_TempFolder folder;
  folder.MakeFile("a/file");
  folder.MakeFolder("b");
  folder.MakeLink("a/to_b", "../b");
  folder.MakeLink("b/to_a", "../a");
  folder.MakeLink("b/up", "..");
  std::vector<std::string> names;
  WalkByHand(FolderAt(folder.Path()), names);
  EXPECT_THAT(names, ElementsAre("a", "file", "to_b", "b", "to_a", "file"));
}

// Runs as a user whom permissions bind: the tests may run as root.
int WalkAsNobody(const std::string& iFolder) {
  if (getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return 2;
  const std::vector<std::string> met = Walk(iFolder, cIterFilesAndFolders, 9);
  return met == std::vector<std::string>{"closed", "open", "open/file"} ? 0 : 1;
}

TEST(Sys_FileLocIterator, FolderWithoutPermissionIsSkippedAndTheWalkGoesOn) {
  const Test_TempFolder folder;
  folder.MakeFile("closed/secret");
  folder.MakeFile("open/file");
  ASSERT_EQ(chmod((folder / "closed").c_str(), 0), 0);
  const pid_t child = fork();
  if (child == 0) _exit(WalkAsNobody(folder.Path()));
  ASSERT_GT(child, 0);
  int status = 0;
  waitpid(child, &status, 0);
  chmod((folder / "closed").c_str(), 0700);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(Sys_FileLocIterator, RootCanBeWalked) {
  Sys_FileLocIterator item(FolderAt("/"), {}, cIterFoldersOnly, 1);
  ASSERT_TRUE(item);
  EXPECT_EQ((*item).GetFullPath().rfind('/'), 0U);
}

}  // namespace
