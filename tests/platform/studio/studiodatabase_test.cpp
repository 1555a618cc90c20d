// SPDX-License-Identifier: MIT
// The studio and a file that can't be used: it is left in place, or set aside when it is damaged; one line
// tells, and answers come from memory.
#include "platform/studio/studiodatabase.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "platform/studio/studioschema.h"
#include "tests/support/studio_fixture.h"
#include "tests/support/test_environment.h"
#include "tests/support/test_files.h"

namespace {

using Result = Platform_StudioResult;

// How long the tests' own connections wait for a studio's thread, which may be closing the file yet.
constexpr int kBusyMilliseconds = 30000;

class StudioDatabaseTest : public ::testing::Test {
 protected:
  // Makes a studio with one user-defined device in the file, and closes it. The studio's thread may close the
  // file some time after the studio has gone; the log goes with it.
  std::string MakeFile() {
    std::string guid;
    {
      const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
      EXPECT_EQ(faces.mManagement->Add("kept", "", "", guid), Result::kDone);
      EXPECT_TRUE(faces.mManagement->Flush(Test_kPatience));
    }
    EXPECT_TRUE(Test_Eventually([this] { return !std::filesystem::exists(mPath + "-wal"); }));
    return guid;
  }

  void Execute(const std::string& iSql) const {
    SQLite::Database database(mPath, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, kBusyMilliseconds);
    database.exec(iSql);
  }

  static std::size_t CountOf(Platform_StudioManagement& iManagement) { return iManagement.Entries().size(); }

  // A studio over the file as it is must tell one line, keep the bytes, and still take changes in memory.
  void ExpectLeftInPlace(const std::string& iWord, std::size_t iReadable) {
    const std::string before = Test_ReadFile(mPath);
    {
      const Test_StudioLines lines;
      const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
      EXPECT_TRUE(Test_Eventually([&] { return !faces.mManagement->Trouble().empty(); }));
      EXPECT_TRUE(Test_Eventually([&] { return CountOf(*faces.mManagement) == iReadable; }));
      std::string guid;
      EXPECT_EQ(faces.mManagement->Add("in memory", "", "", guid), Result::kDone);
      EXPECT_EQ(CountOf(*faces.mManagement), iReadable + 1);
      // Long enough for another try.
      EXPECT_FALSE(faces.mManagement->Flush(std::chrono::milliseconds(1500)));
      EXPECT_EQ(CountOf(*faces.mManagement), iReadable + 1);
      ASSERT_EQ(lines.All().size(), 1u) << ::testing::PrintToString(lines.All());
      EXPECT_NE(lines.All()[0].find(mPath), std::string::npos) << lines.All()[0];
      EXPECT_NE(lines.All()[0].find(iWord), std::string::npos) << lines.All()[0];
      EXPECT_EQ(lines.All()[0].find('\n'), std::string::npos);
    }
    EXPECT_EQ(Test_ReadFile(mPath), before);
    for (const std::string& name : Test_NamesIn(mFolder.Path()))
      EXPECT_EQ(name.find("damaged"), std::string::npos) << name;
  }

  const Test_TempFolder mFolder;
  const std::string mPath = mFolder / "studio.db";
};

TEST_F(StudioDatabaseTest, TheFileIsTheOneThatMLOX_STUDIO_DBNames) {
  const Test_Environment named("MLOX_STUDIO_DB", "/named.db");
  EXPECT_EQ(Platform_StudioDefaultPath(), "/named.db");
}

TEST_F(StudioDatabaseTest, ElseItLiesInTheStateFolder) {
  const Test_Environment named("MLOX_STUDIO_DB", std::nullopt);
  const Test_Environment state("XDG_STATE_HOME", "/state");
  EXPECT_EQ(Platform_StudioDefaultPath(), "/state/mlox/studio.db");
}

TEST_F(StudioDatabaseTest, ElseInTheStateFolderOfTheUsersHome) {
  const Test_Environment named("MLOX_STUDIO_DB", "");
  const Test_Environment home("HOME", "/home/me");
  for (const char* const useless : {"", "relative"}) {
    const Test_Environment state("XDG_STATE_HOME", useless);
    EXPECT_EQ(Platform_StudioDefaultPath(), "/home/me/.local/state/mlox/studio.db");
  }
}

TEST_F(StudioDatabaseTest, WithoutAnyFolderItLivesInMemoryAndSaysSo) {
  const Test_Environment named("MLOX_STUDIO_DB", std::nullopt);
  const Test_Environment state("XDG_STATE_HOME", std::nullopt);
  const Test_Environment home("HOME", std::nullopt);
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr);
  std::string guid;
  EXPECT_EQ(faces.mManagement->Add("x", "", "", guid), Result::kDone);
  EXPECT_TRUE(Test_Eventually([&] { return !faces.mManagement->Trouble().empty(); }));
  EXPECT_EQ(CountOf(*faces.mManagement), 1u);
  EXPECT_EQ(lines.All().size(), 1u);
}

TEST_F(StudioDatabaseTest, FoldersThatLeadToItAreMadeForTheUserAlone) {
  const std::string path = mFolder / "a/b/studio.db";
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, path);
  EXPECT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  EXPECT_TRUE(std::filesystem::exists(path));
  struct stat status {};
  ASSERT_EQ(::stat((mFolder / "a/b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0700u);
}

TEST_F(StudioDatabaseTest, ItHasAWriteAheadLogAVersionAndAnApplicationId) {
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  SQLite::Database database(mPath);
  EXPECT_EQ(database.execAndGet("PRAGMA journal_mode").getString(), "wal");
  EXPECT_EQ(database.execAndGet("PRAGMA user_version").getInt(), 1);
  EXPECT_EQ(database.execAndGet("PRAGMA application_id").getInt(), 0x6D6C6F78);
}

// One may look at the file while the other makes its tables.
TEST_F(StudioDatabaseTest, TwoThatMakeTheFileAtOnceBothFindAStudio) {
  for (int round = 0; round < 300; ++round) {
    const std::string path = mFolder / "new" + std::to_string(round) + ".db";
    std::barrier start(2);
    const auto open = [&] {
      Platform_StudioDatabase database(path);
      Platform_StudioContents contents;
      start.arrive_and_wait();
      Platform_StudioStanding standing = Platform_StudioStanding::kBusy;
      while (standing == Platform_StudioStanding::kBusy) standing = database.Open(contents);
      return standing;
    };
    std::future<Platform_StudioStanding> other = std::async(std::launch::async, open);
    EXPECT_EQ(open(), Platform_StudioStanding::kGood) << round;
    EXPECT_EQ(other.get(), Platform_StudioStanding::kGood) << round;
  }
}

TEST_F(StudioDatabaseTest, ALinkLeadsToTheRealFileAndItsCompanionsLieThere) {
  mFolder.MakeFolder("real");
  mFolder.MakeLink("link.db", mFolder / "real/studio.db");
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mFolder / "link.db");
  ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  EXPECT_TRUE(std::filesystem::exists(mFolder / "real/studio.db.lock"));
  EXPECT_FALSE(std::filesystem::exists(mFolder / "link.db.lock"));
}

// ---- set aside ----

TEST_F(StudioDatabaseTest, AFileThatIsNoDatabaseIsSetAsideWithItsCompanions) {
  const std::string garbage(5000, 'x');
  for (const char* const name : {"studio.db", "studio.db-wal", "studio.db-shm"})
    mFolder.MakeFile(name, garbage);
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  EXPECT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  for (const char* const suffix : {"", "-wal"})
    EXPECT_EQ(Test_ReadFile(mPath + ".damaged-1" + suffix), garbage) << suffix;
  // The third is an index that every opening makes anew.
  EXPECT_TRUE(std::filesystem::exists(mPath + ".damaged-1-shm"));
  ASSERT_EQ(lines.All().size(), 1u) << ::testing::PrintToString(lines.All());
  EXPECT_NE(lines.All()[0].find(mPath + ".damaged-1"), std::string::npos) << lines.All()[0];
  EXPECT_EQ(faces.mManagement->Trouble(), "");
  std::string guid;
  EXPECT_EQ(faces.mManagement->Add("new", "", "", guid), Result::kDone);
  EXPECT_TRUE(faces.mManagement->Flush(Test_kPatience));
}

TEST_F(StudioDatabaseTest, ASecondDamagedFileGetsANameOfItsOwn) {
  mFolder.MakeFile("studio.db", std::string(4096, 'b'));
  mFolder.MakeFile("studio.db.damaged-1", "first");
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  EXPECT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  EXPECT_EQ(Test_ReadFile(mPath + ".damaged-1"), "first");
  EXPECT_EQ(Test_ReadFile(mPath + ".damaged-2"), std::string(4096, 'b'));
}

TEST_F(StudioDatabaseTest, ADamagedFileThatSomebodyElseHasOpenIsLeftUntilItIsFree) {
  mFolder.MakeFile("studio.db", std::string(4096, 'b'));
  const int lock = ::open((mPath + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(lock, 0);
  ASSERT_EQ(::flock(lock, LOCK_SH), 0);
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  EXPECT_TRUE(Test_Eventually([&] { return !faces.mManagement->Trouble().empty(); }));
  EXPECT_EQ(Test_ReadFile(mPath), std::string(4096, 'b'));
  EXPECT_NE(faces.mManagement->Trouble().find("somebody else has it open"), std::string::npos)
      << faces.mManagement->Trouble();
  ::close(lock);
  EXPECT_TRUE(Test_Eventually([&] { return faces.mManagement->Trouble().empty(); }));
  EXPECT_EQ(Test_ReadFile(mPath + ".damaged-1"), std::string(4096, 'b'));
}

TEST_F(StudioDatabaseTest, ADamagedFileThatAnotherProgramReadsIsLeftToo) {
  MakeFile();
  const pid_t child = ::fork();
  if (child == 0) {
    // A reader of the bytes that a database locks, with nothing of the lock beside it.
    const int file = ::open(mPath.c_str(), O_RDWR);
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0x40000002;
    lock.l_len = 1;
    ::fcntl(file, F_SETLK, &lock);
    mFolder.MakeFile("ready");
    ::pause();
    ::_exit(0);
  }
  ASSERT_TRUE(Test_Eventually([&] { return std::filesystem::exists(mFolder / "ready"); }));
  {
    std::fstream file(mPath, std::ios::in | std::ios::out | std::ios::binary);
    file.write("nonsense nonsense", 17);
  }
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  EXPECT_TRUE(Test_Eventually([&] { return !faces.mManagement->Trouble().empty(); }));
  EXPECT_EQ(Test_ReadFile(mPath).substr(0, 8), "nonsense");
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_TRUE(Test_Eventually([&] { return faces.mManagement->Trouble().empty(); }));
  EXPECT_EQ(Test_ReadFile(mPath + ".damaged-1").substr(0, 8), "nonsense");
}

TEST_F(StudioDatabaseTest, DamageDuringLifeLosesNothingThatMemoryKnows) {
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  std::string first;
  ASSERT_EQ(faces.mManagement->Add("first", "", "", first), Result::kDone);
  ASSERT_TRUE(faces.mManagement->Flush(Test_kPatience));
  {
    SQLite::Database database(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
    database.exec("PRAGMA wal_checkpoint(TRUNCATE)");
    // Another page each, so that the file's pages are read anew.
    std::fstream file(mPath, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    const std::string junk(4096 * 8, '\xA5');
    file.write(junk.data(), static_cast<std::streamsize>(junk.size()));
    file.flush();
    try {
      database.exec("PRAGMA user_version = 1");
    } catch (const SQLite::Exception&) {
      // It may meet the damage itself; what counts is that the file has changed.
    }
  }
  const Test_StudioLines lines;
  std::string second;
  ASSERT_EQ(faces.mManagement->Add("second", "", "", second), Result::kDone);
  EXPECT_TRUE(Test_Eventually([&] { return std::filesystem::exists(mPath + ".damaged-1"); }));
  EXPECT_TRUE(faces.mManagement->Flush(Test_kPatience));
  const Platform_StudioFaces fresh = Platform_OpenStudio(nullptr, mPath);
  EXPECT_TRUE(fresh.mManagement->WaitUntilRead(Test_kPatience));
  ASSERT_EQ(CountOf(*fresh.mManagement), 2u);
  EXPECT_EQ(fresh.mManagement->Entries()[0].mGuid, first);
  EXPECT_EQ(fresh.mManagement->Entries()[1].mGuid, second);
}

TEST_F(StudioDatabaseTest, AFileThatSomebodyRemovesIsMadeAnewOutOfMemory) {
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  std::string guid;
  ASSERT_EQ(faces.mManagement->Add("kept", "", "", guid), Result::kDone);
  ASSERT_TRUE(faces.mManagement->Flush(Test_kPatience));
  for (const char* const suffix : {"", "-wal", "-shm"}) std::filesystem::remove(mPath + suffix);
  EXPECT_TRUE(Test_Eventually([&] { return std::filesystem::exists(mPath); }));
  EXPECT_TRUE(Test_Eventually([&] {
    const Platform_StudioFaces fresh = Platform_OpenStudio(nullptr, mPath);
    return fresh.mManagement->WaitUntilRead(Test_kPatience) && CountOf(*fresh.mManagement) == 1;
  }));
}

TEST_F(StudioDatabaseTest, ThePortThatIsPluggedInGetsItsRowBackWhenSomebodyDeletesIt) {
  Test_StudioRoot root;
  root.Plug(Test_Port("P", false));
  const Platform_StudioFaces faces = Platform_OpenStudio(&root, mPath);
  ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  ASSERT_TRUE(faces.mManagement->Flush(Test_kPatience));
  SQLite::Database other(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
  const std::string row = " FROM device WHERE guid = '" + Test_PortGuid("P", false) + "' AND name = 'P'";
  ASSERT_EQ(other.exec("DELETE" + row), 1);
  EXPECT_TRUE(Test_Eventually([&] { return other.execAndGet("SELECT count(*)" + row).getInt() == 1; }));
  int count = 0;
  EXPECT_EQ(faces.mStudio->GetDeviceCount(VARIANT_TRUE, &count), S_OK);
  EXPECT_EQ(count, 1);
}

// ---- left in place ----

TEST_F(StudioDatabaseTest, AFutureVersionIsLeftInPlaceAndReadAsFarAsItIsUnderstood) {
  MakeFile();
  Execute("PRAGMA user_version = 2; DROP TABLE bank; ALTER TABLE device ADD COLUMN colour TEXT");
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  ExpectLeftInPlace("newer version", 1);
}

TEST_F(StudioDatabaseTest, AFutureVersionOfOtherTablesIsLeftInPlaceAndAnswersComeFromMemory) {
  MakeFile();
  Execute("PRAGMA user_version = 1000000; DROP TABLE device; CREATE TABLE device(id)");
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  ExpectLeftInPlace("newer version", 0);
}

TEST_F(StudioDatabaseTest, AnotherProgramsDatabaseIsLeftInPlace) {
  Execute("CREATE TABLE songs(name); INSERT INTO songs VALUES('x')");
  ExpectLeftInPlace("no studio database", 0);
}

TEST_F(StudioDatabaseTest, AnotherProgramsApplicationIdIsLeftInPlace) {
  MakeFile();
  Execute("PRAGMA application_id = 7");
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  ExpectLeftInPlace("no studio database", 0);
}

TEST_F(StudioDatabaseTest, AFileWithoutItsTablesIsLeftInPlace) {
  MakeFile();
  Execute("DROP TABLE wire");
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  ExpectLeftInPlace("no such table", 0);
}

TEST_F(StudioDatabaseTest, AFolderInItsPlaceIsLeftInPlace) {
  mFolder.MakeFolder("studio.db");
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  EXPECT_TRUE(Test_Eventually([&] { return !faces.mManagement->Trouble().empty(); }));
  EXPECT_EQ(lines.All().size(), 1u);
  EXPECT_TRUE(std::filesystem::is_directory(mPath));
}

// ---- held by others ----

TEST_F(StudioDatabaseTest, AFileThatAnotherHoldsAnswersFromMemoryAndIsReadWhenItIsFree) {
  const std::string guid = MakeFile();
  auto holder = std::make_unique<SQLite::Database>(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
  holder->exec("PRAGMA locking_mode = EXCLUSIVE");
  holder->exec("BEGIN EXCLUSIVE; UPDATE device SET model = 'held'; COMMIT");
  const Test_StudioLines lines;
  Test_StudioRoot root;
  root.Plug(Test_Port("P", false));
  const auto before = std::chrono::steady_clock::now();
  const Platform_StudioFaces faces = Platform_OpenStudio(&root, mPath);
  int count = 0;
  EXPECT_EQ(faces.mStudio->GetDeviceCount(VARIANT_TRUE, &count), S_OK);
  EXPECT_EQ(count, 1);
  std::string added;
  EXPECT_EQ(faces.mManagement->Add("added", "", "", added), Result::kDone);
  EXPECT_EQ(faces.mManagement->Wire(added, Test_PortGuid("P", false)), Result::kDone);
  // All of that, without having waited for the holder, who lets go below.
  EXPECT_LT(std::chrono::steady_clock::now() - before, Test_kPatience);
  EXPECT_TRUE(Test_Eventually([&] { return !faces.mManagement->Trouble().empty(); }));
  holder.reset();
  EXPECT_TRUE(Test_Eventually([&] { return CountOf(*faces.mManagement) == 3; }));
  EXPECT_TRUE(faces.mManagement->Flush(Test_kPatience));
  EXPECT_EQ(faces.mManagement->Entries()[0].mGuid, guid);
  EXPECT_EQ(faces.mManagement->Trouble(), "");
  ASSERT_EQ(lines.All().size(), 1u) << ::testing::PrintToString(lines.All());
  EXPECT_NE(lines.All()[0].find("held by another process"), std::string::npos);
}

TEST_F(StudioDatabaseTest, ChangesWaitForAWriterAndNobodyWaitsForThem) {
  MakeFile();
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  SQLite::Database writer(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
  writer.exec("BEGIN IMMEDIATE");
  std::string guid;
  EXPECT_EQ(faces.mManagement->Add("added", "", "", guid), Result::kDone);
  EXPECT_EQ(CountOf(*faces.mManagement), 2u);
  EXPECT_FALSE(faces.mManagement->Flush(std::chrono::milliseconds(200)));
  writer.exec("COMMIT");
  EXPECT_TRUE(faces.mManagement->Flush(Test_kPatience));
}

TEST_F(StudioDatabaseTest, AStudioThatGoesLeavesItsLastChangesToItsThread) {
  MakeFile();
  SQLite::Database writer(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
  {
    const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
    ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
    writer.exec("BEGIN IMMEDIATE");
    std::string guid;
    EXPECT_EQ(faces.mManagement->Add("last", "", "", guid), Result::kDone);
  }
  writer.exec("COMMIT");
  EXPECT_TRUE(Test_Eventually(
      [&] { return writer.execAndGet("SELECT count(*) FROM device WHERE name = 'last'").getInt() == 1; }));
}

// ---- how long an application waits ----

class StudioPatienceTest : public StudioDatabaseTest {
 protected:
  // Studios come, make a device each and go; that of the last one is called "last". The file is waited for
  // for 50 ms, and a busy machine takes its time beside that, but not in every round.
  void ExpectThatNobodyWaits() const {
    constexpr std::chrono::milliseconds kAtMost{150};
    constexpr int kRounds = 5;
    Times quickest;
    for (int round = 1; round <= kRounds; ++round) {
      quickest = Quicker(quickest, TimesOfARound(round == kRounds ? "last" : "earlier"));
    }
    EXPECT_LT(quickest.mOpening, kAtMost);
    EXPECT_LT(quickest.mEdit, kAtMost);
    EXPECT_LT(quickest.mAnswer, kAtMost);
    EXPECT_LT(quickest.mClosing, kAtMost);
  }
  // The studio's thread, which goes on after it, has written the device and let go of the file.
  void ExpectThatTheLastDeviceIsWritten() const {
    EXPECT_TRUE(Test_Eventually([&] {
      SQLite::Database database(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
      return database.execAndGet("SELECT count(*) FROM device WHERE name = 'last'").getInt() == 1;
    }));
    EXPECT_TRUE(Test_Eventually([this] { return !std::filesystem::exists(mPath + "-wal"); }));
  }

 private:
  using Duration = std::chrono::steady_clock::duration;
  struct Times {
    Duration mOpening = Duration::max();
    Duration mEdit = Duration::max();
    Duration mAnswer = Duration::max();
    Duration mClosing = Duration::max();
  };

  static Times Quicker(const Times& iLeft, const Times& iRight) {
    return {std::min(iLeft.mOpening, iRight.mOpening), std::min(iLeft.mEdit, iRight.mEdit),
            std::min(iLeft.mAnswer, iRight.mAnswer), std::min(iLeft.mClosing, iRight.mClosing)};
  }
  Times TimesOfARound(const std::string& iName) const {
    Times times;
    Platform_StudioFaces faces;
    times.mOpening = TimeOf([&] { faces = Platform_OpenStudio(nullptr, mPath); });
    std::string guid;
    times.mEdit = TimeOf([&] { faces.mManagement->Add(iName, "", "", guid); });
    times.mAnswer = TimeOf([&] { CountOf(*faces.mManagement); });
    times.mClosing = TimeOf([&] { faces = {}; });
    return times;
  }
  static Duration TimeOf(const std::function<void()>& iCall) {
    const auto start = std::chrono::steady_clock::now();
    iCall();
    return std::chrono::steady_clock::now() - start;
  }
};

TEST_F(StudioPatienceTest, NobodyWaitsForWhoHoldsTheFile) {
  MakeFile();
  {
    SQLite::Database holder(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
    holder.exec("PRAGMA locking_mode = EXCLUSIVE");
    holder.exec("BEGIN EXCLUSIVE; UPDATE device SET model = 'held'; COMMIT");
    ExpectThatNobodyWaits();
  }
  ExpectThatTheLastDeviceIsWritten();
}

// A disk that doesn't answer: whatever file a database opens, it waits until the disk goes on.
class StillDisk {
 public:
  StillDisk() {
    Gate().lock();
    sRealFiles = sqlite3_vfs_find(nullptr);
    sFiles = *sRealFiles;
    sFiles.zName = "still";
    sFiles.pNext = nullptr;
    sFiles.xOpen = [](sqlite3_vfs*, const char* iName, sqlite3_file* ioFile, int iFlags, int* oFlags) {
      { const std::lock_guard wait(Gate()); }
      return sRealFiles->xOpen(sRealFiles, iName, ioFile, iFlags, oFlags);
    };
    sqlite3_vfs_register(&sFiles, 1);
  }
  StillDisk(const StillDisk&) = delete;
  StillDisk& operator=(const StillDisk&) = delete;
  ~StillDisk() {
    sqlite3_vfs_unregister(&sFiles);
    sqlite3_vfs_register(sRealFiles, 1);
    Gate().unlock();
  }

 private:
  static std::mutex& Gate() {
    static std::mutex sGate;
    return sGate;
  }
  static inline sqlite3_vfs* sRealFiles = nullptr;
  static inline sqlite3_vfs sFiles{};  // databases that were opened by it keep it
};

TEST_F(StudioPatienceTest, NobodyWaitsForADiskThatDoesNotAnswer) {
  MakeFile();
  {
    const StillDisk disk;
    ExpectThatNobodyWaits();
  }
  ExpectThatTheLastDeviceIsWritten();
}

// ---- rows that make no sense ----

TEST_F(StudioDatabaseTest, RowsThatMakeNoSenseAreLeftOut) {
  const std::string guid = MakeFile();
  Execute(
      "INSERT INTO device VALUES(50, '{P}', 0, 1, 0, '', 'port', '', '');"
      "INSERT INTO device VALUES(51, '', 0, 1, 0, '', 'nameless', '', '');"
      "INSERT INTO wire(user, port) VALUES('{P}', '{P}'), ('{P}', '" +
      guid +
      "');"
      "INSERT INTO property VALUES('" +
      guid + "', 9, 'k', 'n', 1), ('" + guid + "', 1, 'big', 'n', 99999999999), ('" + guid +
      "', 1, 'blob', 'n', x'00FF'), ('" + guid +
      "', 1, 'good', 'n', 'v');"
      "INSERT INTO identifier VALUES('" +
      guid + "', 5, 0, 'k', 'n', 1), ('" + guid + "', 0, 0, 'k', 'n', 'text');");
  Platform_StudioDatabase database(mPath);
  Platform_StudioContents contents;
  ASSERT_EQ(database.Open(contents), Platform_StudioStanding::kGood) << database.Reason();
  EXPECT_EQ(contents.mRecords.mDevices.size(), 2u);
  EXPECT_TRUE(contents.mRecords.mWires.empty());
  EXPECT_TRUE(contents.mNumbers.empty());
  ASSERT_EQ(contents.mRecords.mDevices[0]->mProperties.size(), 1u);
  EXPECT_EQ(contents.mRecords.mDevices[0]->mProperties.begin()->first.mKey, "good");
}

TEST_F(StudioDatabaseTest, IllFormedTextIsMendedAndCutAtAZero) {
  MakeFile();
  Execute("UPDATE device SET name = CAST(x'61FF62006364' AS TEXT)");
  Platform_StudioDatabase database(mPath);
  Platform_StudioContents contents;
  ASSERT_EQ(database.Open(contents), Platform_StudioStanding::kGood) << database.Reason();
  EXPECT_EQ(contents.mRecords.mDevices[0]->mName,
            "a\xEF\xBF\xBD"
            "b");
}

// Reading it would never end.
TEST_F(StudioDatabaseTest, AFileWithAViewInThePlaceOfATableIsLeftInPlace) {
  MakeFile();
  Execute(
      "DROP TABLE card; CREATE VIEW card(guid, product, serial, path) AS WITH RECURSIVE n(x) AS (SELECT 1"
      " UNION ALL SELECT x + 1 FROM n) SELECT x, x, x, x FROM n");
  ExpectLeftInPlace("can't be used", 0);
}

TEST_F(StudioDatabaseTest, ATriggerInTheFileChangesNothing) {
  const std::string guid = MakeFile();
  Execute("CREATE TRIGGER t AFTER INSERT ON device BEGIN DELETE FROM device; END");
  {
    const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
    std::string other;
    EXPECT_EQ(faces.mManagement->Add("other", "", "", other), Result::kDone);
    EXPECT_TRUE(faces.mManagement->Flush(Test_kPatience));
  }
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  EXPECT_EQ(CountOf(*faces.mManagement), 2u);
}

// SQLite's messages quote the file.
TEST_F(StudioDatabaseTest, WhatAFileHoldsCantBreakTheLineThatTellsOfIt) {
  MakeFile();
  Execute(
      "PRAGMA writable_schema = ON; UPDATE sqlite_master SET name = 'a' || char(10) || 'b' || char(27) ||"
      " '[2J', sql = 'CREATE TABLE ' || char(10) WHERE name = 'card'; PRAGMA writable_schema = RESET");
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, mPath);
  ASSERT_TRUE(Test_Eventually([&] { return !lines.All().empty(); }));
  const std::string line = lines.All()[0];
  for (const char character : line) {
    EXPECT_GE(static_cast<unsigned char>(character), 0x20) << line;
  }
}

}  // namespace
