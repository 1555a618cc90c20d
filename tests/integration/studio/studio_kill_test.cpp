// SPDX-License-Identifier: MIT
// A writer of the studio database is killed again and again: the file holds each change that was said to be
// done, and at most the one under way beside them.
#include <SQLiteCpp/SQLiteCpp.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "platform/studio/studiomanagement.h"
#include "tests/support/studio_fixture.h"
#include "tests/support/test_files.h"

namespace {

// A process that writes, its standard output in a pipe.
class Writer {
 public:
  explicit Writer(const std::string& iPath) {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    mProcess = ::fork();
    if (mProcess == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::execl(MLOX_TEST_STUDIO_WRITER, MLOX_TEST_STUDIO_WRITER, iPath.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    mOutput = ends[0];
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() {
    Kill();
    ::close(mOutput);
  }

  // Waits for the first bytes that it says; false when it ends without.
  bool WaitForWord() {
    char byte = 0;
    if (::read(mOutput, &byte, 1) != 1) return false;
    mText.push_back(byte);
    return true;
  }
  void Kill() {
    if (mProcess <= 0) return;
    ::kill(mProcess, SIGKILL);
    ::waitpid(mProcess, nullptr, 0);
    mProcess = -1;
  }
  // All that it said, once it is dead.
  std::string Text() {
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(mOutput, bytes, sizeof(bytes))) > 0;)
      mText.append(bytes, static_cast<std::size_t>(count));
    return mText;
  }

 private:
  pid_t mProcess = -1;
  int mOutput = -1;
  std::string mText;
};

std::set<std::string> NamesIn(const std::string& iPath) {
  std::set<std::string> names;
  SQLite::Database database(iPath, SQLite::OPEN_READWRITE, 10000);
  EXPECT_EQ(database.execAndGet("PRAGMA integrity_check").getString(), "ok");
  SQLite::Statement query(database, "SELECT name FROM device");
  while (query.executeStep()) names.insert(query.getColumn(0).getString());
  return names;
}

int Rounds() {
  const char* const wanted = std::getenv("MLOX_TEST_KILLS");
  return wanted != nullptr ? std::atoi(wanted) : 200;
}

// MLOX_TEST_KILLS names another number.
TEST(StudioKillTest, AKilledWriterLosesAtMostTheChangeUnderWay) {
  const Test_TempFolder folder;
  const std::string path = folder / "studio.db";
  std::mt19937 random(20260101);
  std::set<std::string> done;
  std::set<std::string> begun;
  int lost = 0;
  for (int round = 0; round < Rounds(); ++round) {
    Writer writer(path);
    ASSERT_TRUE(writer.WaitForWord());
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
    writer.Kill();
    std::istringstream lines(writer.Text());
    std::string last;
    for (std::string word, name; lines >> word >> name;) {
      (word == "done" ? done : begun).insert(name);
      last = word;
    }
    lost += last == "begin" ? 1 : 0;
    const std::set<std::string> names = NamesIn(path);
    for (const std::string& name : done) ASSERT_EQ(names.count(name), 1u) << name << " is lost";
    for (const std::string& name : names) ASSERT_EQ(begun.count(name), 1u) << name << " was never begun";
    ASSERT_LE(begun.size() - done.size(), static_cast<std::size_t>(round) + 1);
  }
  // The proof is worth something only if kills hit the middle of changes and changes were made.
  EXPECT_GT(lost, 0);
  EXPECT_GT(done.size(), static_cast<std::size_t>(Rounds()));
  for (const std::string& name : Test_NamesIn(folder.Path()))
    EXPECT_EQ(name.find("damaged"), std::string::npos) << name;
  RecordProperty("changes", static_cast<int>(done.size()));
}

TEST(StudioKillTest, WhatAnotherProcessChangesIsToldHereWithinASecondOrSo) {
  const Test_TempFolder folder;
  const std::string path = folder / "studio.db";
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, path);
  ASSERT_TRUE(faces.mManagement->WaitUntilRead(Test_kPatience));
  Writer writer(path);
  ASSERT_TRUE(writer.WaitForWord());
  EXPECT_TRUE(Test_Eventually([&] { return faces.mManagement->Entries().size() > 3; }));
}

}  // namespace
