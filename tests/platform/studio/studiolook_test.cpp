// SPDX-License-Identifier: MIT
// Looking at a studio's file: what is found, and that nothing is changed by it.
#include "platform/studio/studiolook.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/studio/studiodatabase.h"
#include "platform/studio/studiofile.h"
#include "tests/support/studio_fixture.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_files.h"

namespace {

using Result = Platform_StudioLookResult;

class StudioLook : public ::testing::Test {
 protected:
  // A studio with a port, two devices of the user's, one of them wired.
  void MakeFile() const {
    Platform_StudioDatabase database(mPath);
    Platform_StudioContents contents;
    ASSERT_EQ(database.Open(contents), Platform_StudioStanding::kGood);
    ASSERT_EQ(database.Write(Changes()), Platform_StudioStanding::kGood);
  }

  static std::vector<Platform_StudioChange> Changes() {
    std::vector<Platform_StudioChange> changes;
    for (const char* const guid : {"{port}", "{one}", "{two}"}) {
      auto device = std::make_shared<Platform_StudioDevice>();
      device->mGuid = guid;
      device->mIsUserDefined = device->mGuid != "{port}";
      changes.emplace_back(Platform_StudioAddDevice{device});
    }
    changes.emplace_back(Platform_StudioPutWire{{"{one}", "{port}"}, true});
    return changes;
  }

  void Execute(const std::string& iSql) const {
    SQLite::Database database(mPath, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, 30000);
    database.exec(iSql);
  }

  // All that lies in the folder: names, times, and what tells other bytes.
  std::map<std::string, std::string> Everything() const {
    std::map<std::string, std::string> all;
    for (const std::string& name : Test_NamesIn(mFolder.Path())) {
      struct stat status {};
      EXPECT_EQ(::stat((mFolder / name).c_str(), &status), 0);
      all[name] = std::to_string(status.st_ino) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
                  std::to_string(status.st_mtim.tv_nsec) + " " +
                  std::to_string(std::hash<std::string>()(Test_ReadFile(mFolder / name)));
    }
    return all;
  }

  // Looks, and makes sure that nothing has changed.
  Platform_StudioLook Look() const {
    const auto before = Everything();
    const Platform_StudioLook look = Platform_LookAtStudio(mPath);
    EXPECT_EQ(Everything(), before);
    return look;
  }

  static void ExpectContents(const Platform_StudioLook& iLook) {
    EXPECT_EQ(iLook.mVersion, 1);
    EXPECT_EQ(iLook.mPorts, 1);
    EXPECT_EQ(iLook.mUserDefined, 2);
    EXPECT_EQ(iLook.mWires, 1);
  }

  const Test_TempFolder mFolder;
  const std::string mPath = mFolder / "studio.db";
};

TEST_F(StudioLook, WithoutAPathThereIsNothingToLookAt) {
  EXPECT_EQ(Platform_LookAtStudio("").mResult, Result::kNoPath);
}

TEST_F(StudioLook, AFileThatIsNotThereIsNotMade) {
  EXPECT_EQ(Look().mResult, Result::kAbsent);
  EXPECT_EQ(Look().mPath, mPath);
  EXPECT_EQ(Platform_LookAtStudio(mFolder / "a/b/studio.db").mResult, Result::kAbsent);
  EXPECT_TRUE(Test_NamesIn(mFolder.Path()).empty());
}

TEST_F(StudioLook, AGoodOneTellsWhatItHolds) {
  MakeFile();
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kGood) << look.mReason;
  ExpectContents(look);
  EXPECT_EQ(look.mReason, "");
}

TEST_F(StudioLook, ALinkIsFollowed) {
  MakeFile();
  mFolder.MakeLink("link", mPath);
  const Platform_StudioLook look = Platform_LookAtStudio(mFolder / "link");
  EXPECT_EQ(look.mResult, Result::kGood);
  EXPECT_EQ(look.mPath, mPath);
}

// A process that has the studio open, with everything in its log, until it is killed.
class OpenStudio {
 public:
  OpenStudio(const std::string& iPath, const std::vector<Platform_StudioChange>& iChanges) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe(ends), 0);
    mProcess = ::fork();
    if (mProcess == 0) {
      Platform_StudioDatabase database(iPath);
      Platform_StudioContents contents;
      const bool isDone = database.Open(contents) == Platform_StudioStanding::kGood &&
                          database.Write(iChanges) == Platform_StudioStanding::kGood;
      if (isDone && ::write(ends[1], "x", 1) == 1) ::pause();
      ::_exit(1);
    }
    ::close(ends[1]);
    char done = 0;
    EXPECT_EQ(::read(ends[0], &done, 1), 1);
    ::close(ends[0]);
  }
  ~OpenStudio() { Kill(); }
  OpenStudio(const OpenStudio&) = delete;
  OpenStudio& operator=(const OpenStudio&) = delete;

  void Kill() {
    if (mProcess <= 0) return;
    ::kill(mProcess, SIGKILL);
    ::waitpid(mProcess, nullptr, 0);
    mProcess = -1;
  }

 private:
  pid_t mProcess = -1;
};

TEST_F(StudioLook, WhatAnOpenStudioHasInItsLogIsSeen) {
  const OpenStudio studio(mPath, Changes());
  ASSERT_TRUE(std::filesystem::exists(mPath + "-wal"));
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kGood) << look.mReason;
  ExpectContents(look);
}

TEST_F(StudioLook, WhatAKilledStudioHasLeftInItsLogIsSeen) {
  OpenStudio studio(mPath, Changes());
  studio.Kill();
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kGood) << look.mReason;
  ExpectContents(look);
  // As in a copy, which takes no index with it.
  std::filesystem::remove(mPath + "-shm");
  EXPECT_EQ(Look().mResult, Result::kUnfinished);
}

TEST_F(StudioLook, AJournalThatWaitsIsNotLookedInto) {
  MakeFile();
  mFolder.MakeFile("studio.db-journal", "something");
  EXPECT_EQ(Look().mResult, Result::kUnfinished);
}

TEST_F(StudioLook, AnEmptyOneIsFine) {
  mFolder.MakeFile("studio.db");
  EXPECT_EQ(Look().mResult, Result::kEmpty);
  Execute("PRAGMA journal_mode = WAL");
  EXPECT_EQ(Look().mResult, Result::kEmpty);
}

TEST_F(StudioLook, WhatIsNoFileIsToldSo) {
  mFolder.MakeFolder("studio.db");
  const Platform_StudioLook folder = Platform_LookAtStudio(mPath);
  EXPECT_EQ(folder.mResult, Result::kFailed);
  EXPECT_EQ(folder.mReason, "it is a folder");
  ASSERT_EQ(::mkfifo((mFolder / "pipe").c_str(), 0600), 0);
  const Platform_StudioLook pipe = Platform_LookAtStudio(mFolder / "pipe");
  EXPECT_EQ(pipe.mResult, Result::kFailed);
  EXPECT_EQ(pipe.mReason, "it is no file");
  mFolder.MakeFile("file");
  const Platform_StudioLook below = Platform_LookAtStudio(mFolder / "file/studio.db");
  EXPECT_EQ(below.mResult, Result::kFailed);
  EXPECT_EQ(below.mReason, "Not a directory");
}

TEST_F(StudioLook, WithoutPermissionItIsNotRead) {
  MakeFile();
  ASSERT_EQ(::chmod(mPath.c_str(), 0), 0);
  const bool isRoot = ::geteuid() == 0;
  ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
  const Platform_StudioLook look = Platform_LookAtStudio(mPath);
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  EXPECT_EQ(look.mResult, Result::kNoPermission);
  EXPECT_NE(look.mReason, "");
}

TEST_F(StudioLook, BehindAClosedFolderItIsNotReached) {
  MakeFile();
  ASSERT_EQ(::chmod(mFolder.Path().c_str(), 0600), 0);
  const bool isRoot = ::geteuid() == 0;
  ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
  const Platform_StudioLook look = Platform_LookAtStudio(mPath);
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  EXPECT_EQ(look.mResult, Result::kNoPermission);
  ASSERT_EQ(::chmod(mFolder.Path().c_str(), 0755), 0);
}

TEST_F(StudioLook, OneThatCannotBeWrittenIsRead) {
  MakeFile();
  ASSERT_EQ(::chmod(mPath.c_str(), 0444), 0);
  ASSERT_EQ(::chmod(mFolder.Path().c_str(), 0555), 0);
  const bool isRoot = ::geteuid() == 0;
  ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
  const Platform_StudioLook look = Platform_LookAtStudio(mPath);
  ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
  ASSERT_EQ(::chmod(mFolder.Path().c_str(), 0755), 0);
  EXPECT_EQ(look.mResult, Result::kGood) << look.mReason;
  ExpectContents(look);
}

TEST_F(StudioLook, ANewerVersionIsReadAsFarAsItIsUnderstood) {
  MakeFile();
  Execute("PRAGMA user_version = 7; DROP TABLE card; DROP TABLE wire");
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kFutureVersion);
  EXPECT_EQ(look.mVersion, 7);
  EXPECT_EQ(look.mUserDefined, 2);
}

TEST_F(StudioLook, AnotherProgramsDatabaseIsTold) {
  Execute("CREATE TABLE theirs(x)");
  EXPECT_EQ(Look().mResult, Result::kNotOurs);
  Execute("PRAGMA application_id = 5; PRAGMA user_version = 1");
  EXPECT_EQ(Look().mResult, Result::kNotOurs);
}

TEST_F(StudioLook, WhatIsNoDatabaseIsDamaged) {
  mFolder.MakeFile("studio.db", std::string(5000, 'x'));
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kDamaged);
  EXPECT_NE(look.mReason, "");
}

TEST_F(StudioLook, DamageInTheMiddleIsFoundWhereAStudioFindsIt) {
  MakeFile();
  std::string bytes = Test_ReadFile(mPath);
  const std::size_t page = 4096;
  ASSERT_GT(bytes.size(), 4 * page);
  for (std::size_t at = page; at < bytes.size(); at += page) bytes[at] = '\x63';
  std::ofstream(mPath, std::ios::binary) << bytes;
  EXPECT_EQ(Look().mResult, Result::kDamaged);
}

TEST_F(StudioLook, AnIndexThatDoesNotFitIsDisorder) {
  MakeFile();
  // The rows stay; what finds them by their GUID is taken away.
  Execute(
      "PRAGMA writable_schema = ON;"
      "UPDATE sqlite_master SET rootpage = (SELECT rootpage FROM sqlite_master WHERE name ="
      " 'sqlite_autoindex_property_1') WHERE name = 'sqlite_autoindex_device_1'");
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kDisordered) << look.mReason;
  EXPECT_NE(look.mReason, "");
}

// What a studio makes of the file: a look must not call good what a studio refuses, nor the other way round.
Platform_StudioStanding StandingOf(const std::string& iPath) {
  Platform_StudioDatabase database(iPath);
  Platform_StudioContents contents;
  return database.Open(contents);
}

TEST_F(StudioLook, AViewInThePlaceOfATableIsRefusedAsAStudioRefusesIt) {
  MakeFile();
  Execute("DROP TABLE card; CREATE VIEW card AS SELECT 'a' guid, 'b' product, 'c' serial, 'd' path");
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kFailed);
  EXPECT_NE(look.mReason, "");
  EXPECT_EQ(StandingOf(mPath), Platform_StudioStanding::kFailed);
}

// Reading it would never end.
TEST_F(StudioLook, AViewWithoutEndKeepsNobody) {
  MakeFile();
  Execute(
      "PRAGMA foreign_keys = OFF; DROP TABLE device; CREATE VIEW device(ordinal, guid, user_defined, "
      "is_source,"
      " is_virtual, driver, name, manufacturer, model) AS WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT"
      " x + 1 FROM n) SELECT x, '', 0, 0, 0, '', '', '', '' FROM n WHERE x < 0");
  EXPECT_EQ(Look().mResult, Result::kFailed);
  Execute("PRAGMA user_version = 7");
  EXPECT_EQ(Look().mResult, Result::kFutureVersion);
}

// It would change what is written; a studio works on without it, and so the file is good.
TEST_F(StudioLook, ATriggerIsNobodysTrouble) {
  MakeFile();
  Execute("CREATE TRIGGER t AFTER INSERT ON device BEGIN DELETE FROM device; END");
  EXPECT_EQ(Look().mResult, Result::kGood);
  EXPECT_EQ(StandingOf(mPath), Platform_StudioStanding::kGood);
}

TEST_F(StudioLook, AValueOfMoreBytesThanAStudioTakesIsRefusedAsAStudioRefusesIt) {
  MakeFile();
  constexpr int kMost = 16 * 1024 * 1024;
  // The row holds some bytes beside the value.
  Execute("UPDATE device SET name = printf('%.*c', " + std::to_string(kMost - 1000) +
          ", 'x') WHERE ordinal = 1");
  EXPECT_EQ(Look().mResult, Result::kGood);
  EXPECT_EQ(StandingOf(mPath), Platform_StudioStanding::kGood);
  Execute("UPDATE device SET name = printf('%.*c', " + std::to_string(kMost + 1) +
          ", 'x') WHERE ordinal = 1");
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kFailed);
  EXPECT_NE(look.mReason, "");
  EXPECT_EQ(StandingOf(mPath), Platform_StudioStanding::kFailed);
}

TEST_F(StudioLook, WhatAFileSaysOfItselfIsOnePlainLine) {
  MakeFile();
  Execute(
      "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = 'CREATE TABLE \"x' || char(10, 27) || "
      "CAST(x'ff' AS TEXT)"
      " WHERE name = 'device'");
  const Platform_StudioLook look = Look();
  EXPECT_EQ(look.mResult, Result::kDamaged);
  EXPECT_EQ(look.mReason.find_first_of("\n\x1B\xFF"), std::string::npos) << look.mReason;
}

TEST_F(StudioLook, WhoHoldsItForASecondIsNamed) {
  MakeFile();
  SQLite::Database holder(mPath, SQLite::OPEN_READWRITE, 0);
  holder.exec("BEGIN IMMEDIATE");
  holder.exec("UPDATE device SET name = 'x'");
  const Platform_StudioLook look = Platform_LookAtStudio(mPath);
  EXPECT_EQ(look.mResult, Result::kHeld);
  EXPECT_EQ(look.mHolder, ::getpid());
  holder.exec("ROLLBACK");
  EXPECT_EQ(Platform_LookAtStudio(mPath).mResult, Result::kGood);
}

TEST_F(StudioLook, WhoKeepsEverybodyOutIsNamedToo) {
  MakeFile();
  SQLite::Database holder(mPath, SQLite::OPEN_READWRITE, 0);
  holder.exec("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE device SET name = 'x'");
  const Platform_StudioLook look = Platform_LookAtStudio(mPath);
  EXPECT_EQ(look.mResult, Result::kHeld);
  EXPECT_EQ(look.mHolder, ::getpid());
}

TEST_F(StudioLook, NoBytesEndTheLook) {
  MakeFile();
  const std::string whole = Test_ReadFile(mPath);
  std::uint32_t random = 1;
  for (int round = 0; round < 300; ++round) {
    std::string bytes = whole;
    for (int change = 0; change < 1 + round % 20; ++change) {
      random = random * 1664525 + 1013904223;
      bytes[random % bytes.size()] = static_cast<char>(random >> 24);
    }
    if (round % 7 == 0) bytes.resize(random % bytes.size());
    std::ofstream(mPath, std::ios::binary | std::ios::trunc) << bytes;
    const Platform_StudioLook look = Platform_LookAtStudio(mPath);
    EXPECT_NE(look.mResult, Result::kNoPath);
    EXPECT_NE(look.mResult, Result::kHeld);
  }
  for (const std::string& name : Test_NamesIn(mFolder.Path()))
    EXPECT_TRUE(name.starts_with("studio.db")) << name;
}

TEST_F(StudioLook, APathWithOddCharactersIsTheSameFile) {
  mFolder.MakeFolder("a ?b#c%41");
  const std::string odd = mFolder / "a ?b#c%41/studio.db";
  MakeFile();
  std::filesystem::copy_file(mPath, odd);
  EXPECT_EQ(Platform_LookAtStudio(odd).mResult, Result::kGood);
}

}  // namespace
