// SPDX-License-Identifier: MIT
// What can happen to a file under the studio: damage, a full disk, a file system that takes no writes. Never
// a crash, never a lost original, always one clear line.
#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "platform/studio/studiodatabase.h"
#include "tests/support/studio_fixture.h"
#include "tests/support/test_files.h"

namespace {

using Result = Platform_StudioResult;
using Standing = Platform_StudioStanding;

std::vector<Platform_StudioChange> SomeChanges() {
  std::vector<Platform_StudioChange> changes;
  for (int number = 0; number < 12; ++number) {
    auto device = std::make_shared<Platform_StudioDevice>();
    device->mGuid = "{device " + std::to_string(number) + "}";
    device->mIsUserDefined = number % 2 == 0;
    device->mName = std::string(static_cast<std::size_t>(200 * number), 'n');
    device->mProperties[{2, "{key}"}] = {"name", "value"};
    device->mLists[{2, "{list}"}] = {"modes", {"a", "b", "c"}};
    device->mBanks = {{"bank", "/file", "list"}};
    changes.emplace_back(Platform_StudioAddDevice{device});
    changes.emplace_back(Platform_StudioPutNumber{{{device->mGuid, 0, false}, "{id}"}, {"mloxID", number}});
    changes.emplace_back(Platform_StudioPutIdentity{{device->mGuid, "p", "s", "path"}});
  }
  changes.emplace_back(Platform_StudioPutWire{{"{device 0}", "{device 1}"}, true});
  changes.emplace_back(Platform_StudioPutWire{{"{device 2}", "{device 1}"}, true});
  return changes;
}

std::string MakeWholeFile(const std::string& iPath) {
  {
    Platform_StudioDatabase database(iPath);
    Platform_StudioContents contents;
    EXPECT_EQ(database.Open(contents), Standing::kGood) << database.Reason();
    EXPECT_EQ(database.Write(SomeChanges()), Standing::kGood) << database.Reason();
  }
  return Test_ReadFile(iPath);
}

void WriteFile(const std::string& iPath, const std::string& iBytes) {
  std::ofstream file(iPath, std::ios::binary | std::ios::trunc);
  file.write(iBytes.data(), static_cast<std::streamsize>(iBytes.size()));
}

// ---- a file system whose n-th write fails, and which waits for no disk: these are thousands of files ----

std::atomic<int> sWritesLeft{-1};
sqlite3_vfs* sRealFiles = nullptr;

struct FaultyFile {
  sqlite3_file mBase;
  sqlite3_file* mRealP;
};

sqlite3_file* RealOf(sqlite3_file* iFile) { return reinterpret_cast<FaultyFile*>(iFile)->mRealP; }

// Once the count is used up every write fails, as on a disk without room.
bool IsFull() {
  const int left = sWritesLeft.load();
  if (left < 0) return false;
  if (left == 0) return true;
  sWritesLeft.store(left - 1);
  return false;
}

int FaultyClose(sqlite3_file* iFile) {
  sqlite3_file* const real = RealOf(iFile);
  const int result = real->pMethods != nullptr ? real->pMethods->xClose(real) : SQLITE_OK;
  ::operator delete(real);
  return result;
}
int FaultyWrite(sqlite3_file* iFile, const void* iData, int iLength, sqlite3_int64 iAt) {
  return IsFull() ? SQLITE_FULL : RealOf(iFile)->pMethods->xWrite(RealOf(iFile), iData, iLength, iAt);
}
int FaultyShmMap(sqlite3_file* iFile, int iRegion, int iSize, int iExtend, void volatile** oData) {
  // Growing the shared index takes room too.
  if (iExtend != 0 && IsFull()) return SQLITE_IOERR_SHMSIZE;
  return RealOf(iFile)->pMethods->xShmMap(RealOf(iFile), iRegion, iSize, iExtend, oData);
}

const sqlite3_io_methods kFaultyMethods = {
    3,
    FaultyClose,
    [](sqlite3_file* f, void* d, int n, sqlite3_int64 at) {
      return RealOf(f)->pMethods->xRead(RealOf(f), d, n, at);
    },
    FaultyWrite,
    [](sqlite3_file* f, sqlite3_int64 n) { return RealOf(f)->pMethods->xTruncate(RealOf(f), n); },
    [](sqlite3_file*, int) { return IsFull() ? SQLITE_IOERR_FSYNC : SQLITE_OK; },
    [](sqlite3_file* f, sqlite3_int64* n) { return RealOf(f)->pMethods->xFileSize(RealOf(f), n); },
    [](sqlite3_file* f, int how) { return RealOf(f)->pMethods->xLock(RealOf(f), how); },
    [](sqlite3_file* f, int how) { return RealOf(f)->pMethods->xUnlock(RealOf(f), how); },
    [](sqlite3_file* f, int* o) { return RealOf(f)->pMethods->xCheckReservedLock(RealOf(f), o); },
    [](sqlite3_file* f, int op, void* p) { return RealOf(f)->pMethods->xFileControl(RealOf(f), op, p); },
    [](sqlite3_file* f) { return RealOf(f)->pMethods->xSectorSize(RealOf(f)); },
    [](sqlite3_file* f) { return RealOf(f)->pMethods->xDeviceCharacteristics(RealOf(f)); },
    FaultyShmMap,
    [](sqlite3_file* f, int at, int n, int flags) {
      return RealOf(f)->pMethods->xShmLock(RealOf(f), at, n, flags);
    },
    [](sqlite3_file* f) { RealOf(f)->pMethods->xShmBarrier(RealOf(f)); },
    [](sqlite3_file* f, int del) { return RealOf(f)->pMethods->xShmUnmap(RealOf(f), del); },
    [](sqlite3_file* f, sqlite3_int64 at, int n, void** o) {
      return RealOf(f)->pMethods->xFetch(RealOf(f), at, n, o);
    },
    [](sqlite3_file* f, sqlite3_int64 at, void* p) {
      return RealOf(f)->pMethods->xUnfetch(RealOf(f), at, p);
    },
};

int FaultyOpen(sqlite3_vfs*, const char* iName, sqlite3_file* ioFile, int iFlags, int* oFlags) {
  auto* const file = reinterpret_cast<FaultyFile*>(ioFile);
  file->mRealP = static_cast<sqlite3_file*>(::operator new(static_cast<std::size_t>(sRealFiles->szOsFile)));
  std::memset(file->mRealP, 0, static_cast<std::size_t>(sRealFiles->szOsFile));
  const int result = sRealFiles->xOpen(sRealFiles, iName, file->mRealP, iFlags, oFlags);
  if (result != SQLITE_OK) {
    ::operator delete(file->mRealP);
    ioFile->pMethods = nullptr;
    return result;
  }
  ioFile->pMethods = &kFaultyMethods;
  return SQLITE_OK;
}

// Every database of the process goes through the file system that fails, while it lives.
class FaultyDisk {
 public:
  FaultyDisk() {
    sRealFiles = sqlite3_vfs_find(nullptr);
    mFiles = *sRealFiles;
    mFiles.zName = "faulty";
    mFiles.szOsFile = sizeof(FaultyFile);
    mFiles.xOpen = FaultyOpen;
    mFiles.pNext = nullptr;
    sqlite3_vfs_register(&mFiles, 1);
    sWritesLeft = -1;
  }
  FaultyDisk(const FaultyDisk&) = delete;
  FaultyDisk& operator=(const FaultyDisk&) = delete;
  ~FaultyDisk() {
    sqlite3_vfs_unregister(&mFiles);
    sqlite3_vfs_register(sRealFiles, 1);
  }

 private:
  sqlite3_vfs mFiles{};
};

// ---- damage ----

std::string Damage(std::string iBytes, std::mt19937& ioRandom) {
  switch (ioRandom() % 4) {
    case 0:  // cut
      iBytes.resize(ioRandom() % iBytes.size());
      break;
    case 1: {  // a run of junk
      const std::size_t at = ioRandom() % iBytes.size();
      const std::size_t length = std::min<std::size_t>(1 + ioRandom() % 600, iBytes.size() - at);
      for (std::size_t i = 0; i < length; ++i) iBytes[at + i] = static_cast<char>(ioRandom());
      break;
    }
    default: {  // single bytes, often in the heads of pages, where they do most
      for (unsigned i = 0; i < 1 + ioRandom() % 8; ++i) {
        const std::size_t page = ioRandom() % (iBytes.size() / 4096) * 4096;
        const std::size_t at = ioRandom() % 2 == 0 ? page + ioRandom() % 128 : ioRandom() % iBytes.size();
        iBytes[at] = static_cast<char>(ioRandom());
      }
      break;
    }
  }
  return iBytes;
}

// 2,000 damaged files through opening, reading and writing. Whatever it ends with, nothing has crashed, what
// was set aside is what was there, and what wasn't good has a reason.
TEST(StudioFaultsTest, BytesDamagedAtRandomNeverCrashAndNeverLoseTheOriginal) {
  const FaultyDisk disk;
  const Test_TempFolder folder;
  const std::string whole = MakeWholeFile(folder / "whole.db");
  ASSERT_GT(whole.size(), 40000u);
  constexpr unsigned kSeed = 99;
  RecordProperty("seed", static_cast<int>(kSeed));
  std::mt19937 random(kSeed);
  int good = 0;
  int damaged = 0;
  int other = 0;
  const std::vector<Platform_StudioChange> more = SomeChanges();
  for (int round = 0; round < 2000; ++round) {
    SCOPED_TRACE(round);
    const std::string path = folder / "studio.db";
    const std::string bytes = Damage(whole, random);
    WriteFile(path, bytes);
    {
      Platform_StudioDatabase database(path);
      Platform_StudioContents contents;
      Standing standing = database.Open(contents);
      if (standing == Standing::kGood && round % 4 == 0) standing = database.Write(more);
      if (standing == Standing::kGood) {
        ++good;
      } else if (standing == Standing::kDamaged) {
        ++damaged;
        EXPECT_FALSE(database.Reason().empty());
        std::string aside;
        ASSERT_TRUE(database.SetAside(aside)) << database.Reason();
        ASSERT_TRUE(Test_ReadFile(aside) == bytes) << "not the bytes that were there";
        ASSERT_FALSE(std::filesystem::exists(path));
        ASSERT_EQ(database.Open(contents), Standing::kGood) << database.Reason();
      } else {
        ++other;
        EXPECT_FALSE(database.Reason().empty());
        ASSERT_TRUE(std::filesystem::exists(path));
      }
    }
    for (const std::string& name : Test_NamesIn(folder.Path()))
      if (name.starts_with("studio.db")) std::filesystem::remove(folder / name);
  }
  // The damage was neither too weak nor the reading too strict for the test to say something.
  EXPECT_GT(good, 100);
  EXPECT_GT(damaged, 200);
  EXPECT_GT(other, 10);
}

TEST(StudioFaultsTest, ADamagedFileMakesOneLineAndIsKeptByteForByte) {
  const Test_TempFolder folder;
  const std::string path = folder / "studio.db";
  std::string bytes = MakeWholeFile(path);
  // The page sizes of all trees but the first.
  for (std::size_t page = 4096; page < bytes.size(); page += 4096) bytes[page] = '\x77';
  WriteFile(path, bytes);
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, path);
  EXPECT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  EXPECT_EQ(Test_ReadFile(path + ".damaged-1"), bytes);
  EXPECT_EQ(lines.All().size(), 1u) << ::testing::PrintToString(lines.All());
}

// ---- full ----

// For each n: the disk is full at the n-th write. The change that hits it fails as a whole; those before it
// are in the file, and once there is room the same change goes through.
TEST(StudioFaultsTest, ADiskThatIsFullAtTheNthWriteLosesNothingForEveryN) {
  const FaultyDisk disk;
  const std::vector<Platform_StudioChange> changes = SomeChanges();
  int n = 0;
  for (bool isHit = true; isHit && n < 2000; ++n) {
    SCOPED_TRACE(n);
    const Test_TempFolder folder;
    Platform_StudioDatabase database(folder / "studio.db");
    Platform_StudioContents contents;
    isHit = false;
    sWritesLeft = n;
    Standing standing = database.Open(contents);
    if (standing != Standing::kGood) {
      isHit = true;
      EXPECT_NE(standing, Standing::kDamaged) << database.Reason();
      EXPECT_FALSE(database.Reason().empty());
      sWritesLeft = -1;
      ASSERT_EQ(database.Open(contents), Standing::kGood) << database.Reason();
    }
    for (const Platform_StudioChange& change : changes) {
      standing = database.Write({change});
      if (standing != Standing::kGood) {
        isHit = true;
        EXPECT_NE(standing, Standing::kDamaged) << database.Reason();
        EXPECT_NE(standing, Standing::kRefused) << database.Reason();
        sWritesLeft = -1;
        if (!database.IsOpen()) {
          ASSERT_EQ(database.Open(contents), Standing::kGood) << database.Reason();
        }
        ASSERT_EQ(database.Write({change}), Standing::kGood) << database.Reason();
      }
      if (isHit && sWritesLeft.load() >= 0) sWritesLeft = -1;
    }
    sWritesLeft = -1;
    ASSERT_EQ(database.Load(contents), Standing::kGood) << database.Reason();
    ASSERT_EQ(contents.mRecords.mDevices.size(), 12u);
    ASSERT_EQ(contents.mRecords.mWires.size(), 2u);
    ASSERT_EQ(contents.mNumbers.size(), 12u);
    ASSERT_EQ(contents.mIdentities.size(), 12u);
  }
  // It went on until no write was hit any more.
  EXPECT_GT(n, 50);
  EXPECT_LT(n, 2000);
}

TEST(StudioFaultsTest, AFullDiskMakesOneLineAndTheChangesAreWrittenOnceThereIsRoom) {
  const FaultyDisk disk;
  const Test_TempFolder folder;
  const std::string path = folder / "studio.db";
  const Test_StudioLines lines;
  {
    const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, path);
    ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
    sWritesLeft = 0;
    std::string guid;
    for (int i = 0; i < 5; ++i) ASSERT_EQ(faces.mManagement->Add("device", "", "", guid), Result::kDone);
    EXPECT_FALSE(faces.mManagement->Flush(std::chrono::milliseconds(2500)));
    EXPECT_EQ(faces.mManagement->Entries().size(), 5u);
    ASSERT_EQ(lines.All().size(), 1u) << ::testing::PrintToString(lines.All());
    EXPECT_NE(lines.All()[0].find("can't grow"), std::string::npos) << lines.All()[0];
    sWritesLeft = -1;
    EXPECT_TRUE(faces.mManagement->Flush(Test_kPatience));
    EXPECT_EQ(faces.mManagement->Trouble(), "");
  }
  EXPECT_EQ(lines.All().size(), 1u);
}

// ---- in a process of its own ----

// Runs a body in a child; what it returns is the exit status. 0 is good; a text before tells otherwise.
int InChild(int (*iBody)(const std::string&), const std::string& iFolder) {
  const pid_t child = ::fork();
  if (child == 0) {
    // One that hangs ends by a signal, which fails the test.
    ::alarm(240);
    ::_exit(iBody(iFolder));
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#define FAIL_CHILD_UNLESS(condition)                                   \
  do {                                                                 \
    if (!(condition)) {                                                \
      std::fprintf(stderr, "line %d: not " #condition "\n", __LINE__); \
      return 1;                                                        \
    }                                                                  \
  } while (false)

// A file system of 1 MB, filled to the brim, then with room again.
int LiveOnASmallDisk(const std::string& iFolder) {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("tmpfs", iFolder.c_str(), "tmpfs", 0, "size=1m") != 0) {
    std::fprintf(stderr, "can't mount a file system of 1 MB in a name space of its own: %s; run as root\n",
                 std::strerror(errno));
    return 2;
  }
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, iFolder + "/studio.db");
  FAIL_CHILD_UNLESS(faces.mManagement->WaitUntilRead(Test_kPatience));
  std::string guid;
  FAIL_CHILD_UNLESS(faces.mManagement->Add("before", "", "", guid) == Result::kDone);
  FAIL_CHILD_UNLESS(faces.mManagement->Flush(Test_kPatience));
  const std::string ballast = iFolder + "/ballast";
  {
    const int file = ::open(ballast.c_str(), O_WRONLY | O_CREAT, 0600);
    const std::string block(4096, 'b');
    while (::write(file, block.data(), block.size()) > 0) {
    }
    ::close(file);
  }
  for (int i = 0; i < 20; ++i)
    FAIL_CHILD_UNLESS(faces.mManagement->Add(std::string(4000, 'x'), "", "", guid) == Result::kDone);
  FAIL_CHILD_UNLESS(!faces.mManagement->Flush(std::chrono::milliseconds(2500)));
  FAIL_CHILD_UNLESS(faces.mManagement->Entries().size() == 21);
  FAIL_CHILD_UNLESS(lines.All().size() == 1);
  FAIL_CHILD_UNLESS(lines.All()[0].find("can't") != std::string::npos);
  ::unlink(ballast.c_str());
  FAIL_CHILD_UNLESS(faces.mManagement->Flush(Test_kPatience));
  const Platform_StudioFaces fresh = Platform_OpenStudio(nullptr, iFolder + "/studio.db");
  FAIL_CHILD_UNLESS(fresh.mManagement->WaitUntilRead(Test_kPatience));
  FAIL_CHILD_UNLESS(fresh.mManagement->Entries().size() == 21);
  for (const std::string& name : Test_NamesIn(iFolder))
    FAIL_CHILD_UNLESS(name.find("damaged") == std::string::npos);
  FAIL_CHILD_UNLESS(faces.mManagement->Entries()[0].mName == "before");
  return 0;
}

TEST(StudioFaultsTest, ARealDiskOf1MBThatGetsFullMakesOneLineAndLosesNothing) {
  const Test_TempFolder folder;
  EXPECT_EQ(InChild(LiveOnASmallDisk, folder.Path()), 0);
}

// Gives up all privileges; as root nothing is read-only.
int BecomeNobody() {
  constexpr uid_t kNobody = 65534;
  if (::getuid() != 0) return 0;
  return ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0 ? 0 : -1;
}

int LiveOnAReadOnlyFile(const std::string& iFolder) {
  FAIL_CHILD_UNLESS(BecomeNobody() == 0);
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, iFolder + "/studio.db");
  FAIL_CHILD_UNLESS(faces.mManagement->WaitUntilRead(Test_kPatience));
  FAIL_CHILD_UNLESS(faces.mManagement->Entries().size() == 12);
  std::string guid;
  FAIL_CHILD_UNLESS(faces.mManagement->Add("in memory", "", "", guid) == Result::kDone);
  FAIL_CHILD_UNLESS(!faces.mManagement->Flush(std::chrono::milliseconds(1500)));
  FAIL_CHILD_UNLESS(faces.mManagement->Entries().size() == 13);
  FAIL_CHILD_UNLESS(lines.All().size() == 1);
  FAIL_CHILD_UNLESS(lines.All()[0].find("can be read only") != std::string::npos);
  return 0;
}

TEST(StudioFaultsTest, AReadOnlyFileInAReadOnlyFolderIsReadAndLeftAsItIs) {
  const Test_TempFolder folder;
  const std::string bytes = MakeWholeFile(folder / "studio.db");
  ASSERT_EQ(::chmod((folder / "studio.db").c_str(), 0444), 0);
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0555), 0);
  EXPECT_EQ(InChild(LiveOnAReadOnlyFile, folder.Path()), 0);
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0755), 0);
  EXPECT_EQ(Test_ReadFile(folder / "studio.db"), bytes);
}

int LiveOnAFileWithoutPermission(const std::string& iFolder) {
  FAIL_CHILD_UNLESS(BecomeNobody() == 0);
  const Test_StudioLines lines;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, iFolder + "/studio.db");
  FAIL_CHILD_UNLESS(!faces.mManagement->WaitUntilRead(Test_kPatience));
  std::string guid;
  FAIL_CHILD_UNLESS(faces.mManagement->Add("in memory", "", "", guid) == Result::kDone);
  FAIL_CHILD_UNLESS(!faces.mManagement->Flush(std::chrono::milliseconds(1500)));
  FAIL_CHILD_UNLESS(faces.mManagement->Entries().size() == 1);
  FAIL_CHILD_UNLESS(lines.All().size() == 1);
  FAIL_CHILD_UNLESS(lines.All()[0].find("can't be opened") != std::string::npos);
  return 0;
}

TEST(StudioFaultsTest, AFileWithoutPermissionIsLeftAsItIsAndAnswersComeFromMemory) {
  const Test_TempFolder folder;
  const std::string bytes = MakeWholeFile(folder / "studio.db");
  ASSERT_EQ(::chmod((folder / "studio.db").c_str(), 0000), 0);
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0555), 0);
  EXPECT_EQ(InChild(LiveOnAFileWithoutPermission, folder.Path()), 0);
  ASSERT_EQ(::chmod(folder.Path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod((folder / "studio.db").c_str(), 0644), 0);
  EXPECT_EQ(Test_ReadFile(folder / "studio.db"), bytes);
}

}  // namespace
