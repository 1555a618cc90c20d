// SPDX-License-Identifier: MIT
// The real studio over the real root and the loopback driver: two cards of one serial number, while somebody
// else holds the studio's file.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/directmusic/loopback/loopback_driver.h"
#include "tests/support/studio_fixture.h"
#include "tests/support/test_environment.h"

namespace {

constexpr int kBusyMilliseconds = 30000;

class StudioCardsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8,
                               reinterpret_cast<void**>(&mRootP)),
              S_OK);
  }
  void TearDown() override {
    mFaces = {};
    UnplugBoth();
  }

  void Open() { mFaces = Platform_OpenStudio(mRootP, mPath); }
  bool HasRead() { return mFaces.mManagement->WaitUntilRead(std::chrono::milliseconds(0)); }
  void Close() {
    ASSERT_TRUE(mFaces.mManagement->Flush(Test_kPatience));
    mFaces = {};
    ASSERT_TRUE(Test_Eventually([this] { return !std::filesystem::exists(mPath + "-wal"); }));
  }
  // As in a process that has just begun: what it knew last are the cards of a file that has none.
  void ForgetCards() {
    const Platform_StudioFaces other = Platform_OpenStudio(mRootP, mFolder / "other.db");
    ASSERT_TRUE(other.mManagement->WaitUntilRead(Test_kPatience));
  }
  static void Plug(const std::string& iName) { Platform_PlugLoopbackCard(iName, "one for all"); }
  static void UnplugBoth() {
    for (const char* const name : {"card A", "card B"}) Platform_LoopbackPorts::Unplug(name);
  }

  // The GUID under which the studio lists a card's output; empty while it doesn't.
  std::string GuidOf(const std::string& iName) { return GuidAmong(mFaces.mManagement->Entries(), iName); }
  static std::string GuidAmong(const std::vector<Platform_StudioEntry>& iEntries, const std::string& iName) {
    for (const Platform_StudioEntry& entry : iEntries) {
      if (entry.mName == iName && entry.mIsOnline && !entry.mIsSource) return entry.mGuid;
    }
    return "";
  }
  bool Are(const std::string& iGuidOfA, const std::string& iGuidOfB) {
    const std::vector<Platform_StudioEntry> entries = mFaces.mManagement->Entries();
    return GuidAmong(entries, "card A") == iGuidOfA && GuidAmong(entries, "card B") == iGuidOfB;
  }

  const Test_Environment mDrivers{"MLOX_MIDI_DRIVERS", "loopback"};
  const Test_TempFolder mFolder;
  const std::string mPath = mFolder / "studio.db";
  IDirectMusic8* mRootP = nullptr;
  Platform_StudioFaces mFaces;
};

TEST_F(StudioCardsTest, CardsThatWereSeenBeforeTheFileCouldBeReadGetTheirOwnNamesWhenItIs) {
  Open();
  Plug("card A");
  ASSERT_TRUE(Test_Eventually([this] { return !GuidOf("card A").empty(); }));
  Plug("card B");
  ASSERT_TRUE(Test_Eventually([this] { return !GuidOf("card B").empty(); }));
  const std::string guidA = GuidOf("card A");
  const std::string guidB = GuidOf("card B");
  Close();
  UnplugBoth();

  ForgetCards();
  auto holder = std::make_unique<SQLite::Database>(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
  holder->exec("PRAGMA locking_mode = EXCLUSIVE");
  holder->exec("BEGIN EXCLUSIVE; UPDATE device SET model = model; COMMIT");
  Plug("card B");
  Plug("card A");
  Open();
  ASSERT_FALSE(HasRead());
  ASSERT_EQ(GuidOf("card B"), guidA);
  ASSERT_FALSE(Are(guidA, guidB));
  holder.reset();
  ASSERT_TRUE(mFaces.mManagement->WaitUntilRead(Test_kPatience));
  EXPECT_TRUE(Are(guidA, guidB)) << "who has waited for the file counts what it says";
  Close();

  Open();
  EXPECT_TRUE(Test_Eventually([&] { return HasRead() && Are(guidA, guidB); }));
}

}  // namespace
