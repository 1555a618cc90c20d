// SPDX-License-Identifier: MIT
// Cards of one serial number and a file that can't be read yet when the studio opens: what cards are called
// until then is for the time being, and what the file says of them counts from then on.
#include "platform/studio/studioidentities.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/studio_fixture.h"

namespace {

using Result = Platform_StudioResult;
using Lines = std::vector<std::string>;

// How long the tests' own connections wait for a studio's thread, which may be closing the file yet.
constexpr int kBusyMilliseconds = 30000;

// Two cards of one serial that the file knows, A and B, each in a socket of its own. At the beginning of a
// test neither is plugged in and no studio is open.
class StudioIdentitiesTest : public Test_StudioFixture {
 protected:
  void SetUp() override {
    PlugCard(kA);
    PlugCard(kB);
    mGuidA = mRoot.GuidOfCard(kA);
    mGuidB = mRoot.GuidOfCard(kB);
    ASSERT_NE(mGuidA, mGuidB);
    CloseFile();
    mRoot.UnplugCard(kA);
    mRoot.UnplugCard(kB);
    mCards = CardsOfFile();
    ASSERT_EQ(mCards.size(), 2u);
  }

  void PlugCard(const std::string& iPath, const std::string& iSerial = "S1") {
    mRoot.Plug(Test_CardPort(iPath, iSerial));
  }

  // Nobody has the file any more, and all is in it.
  void CloseFile() {
    ASSERT_TRUE(Manage().Flush(Test_kPatience));
    Close();
    WaitUntilClosed();
  }
  void WaitUntilClosed() const {
    ASSERT_TRUE(Test_Eventually([this] { return !std::filesystem::exists(mPath + "-wal"); }));
  }

  // As in a process that has just begun: what it knew last are the cards of a file that has none.
  void ForgetCards() {
    Test_StudioRoot empty;
    const Test_TempFolder folder;
    const Platform_StudioFaces other = Platform_OpenStudio(&empty, folder / "other.db");
    ASSERT_TRUE(other.mManagement->WaitUntilRead(Test_kPatience));
  }

  // Opens the studio while somebody holds the file, in a process that has just begun.
  void OpenHeld() {
    ForgetCards();
    OpenHeldAgain();
  }
  void OpenHeldAgain() {
    Hold();
    mFaces = Platform_OpenStudio(&mRoot, mPath);
    ASSERT_FALSE(HasRead());
  }
  void Hold() {
    mHolderP = std::make_unique<SQLite::Database>(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
    mHolderP->exec("PRAGMA locking_mode = EXCLUSIVE");
    mHolderP->exec("BEGIN EXCLUSIVE; UPDATE device SET model = model; COMMIT");
  }
  void LetGo() {
    mHolderP.reset();
    ASSERT_TRUE(Test_Eventually([this] { return HasRead(); })) << Manage().Trouble();
  }
  bool HasRead() { return Manage().WaitUntilRead(std::chrono::milliseconds(0)); }

  Lines CardsOfFile() const { return Select("SELECT guid || ' ' || path FROM card ORDER BY path"); }
  Lines Select(const std::string& iQuery) const {
    SQLite::Database database(mPath, SQLite::OPEN_READWRITE, kBusyMilliseconds);
    SQLite::Statement query(database, iQuery);
    Lines lines;
    while (query.executeStep()) lines.push_back(query.getColumn(0).getString());
    return lines;
  }

  // The cards have their own names again, and the file says of them what it said.
  void ExpectThatAThirdSessionIsRight() {
    Open();
    for (const std::string& path : {kA, kB}) {
      if (mRoot.GuidOfCard(path).empty()) PlugCard(path);
    }
    EXPECT_EQ(mRoot.GuidOfCard(kA), mGuidA);
    EXPECT_EQ(mRoot.GuidOfCard(kB), mGuidB);
    CloseFile();
    EXPECT_EQ(CardsOfFile(), mCards);
  }

  // Whatever was told before comes before this.
  void ExpectThatNothingIsTold(Test_Subscriber& ioSubscriber) {
    const std::string user = Add("U");
    EXPECT_EQ(Manage().Rename(user, "V"), Result::kDone);
    EXPECT_EQ(ioSubscriber.Take(2), (Lines{"4 " + user + " destination", "4 " + user + " source"}));
  }

  inline static const std::string kA = "usb 1";
  inline static const std::string kB = "usb 2";
  std::string mGuidA;
  std::string mGuidB;
  Lines mCards;
  std::unique_ptr<SQLite::Database> mHolderP;
};

TEST_F(StudioIdentitiesTest, ACardThatIsAloneIsNotTakenForAnotherOfItsSerialOnceTheFileIsRead) {
  PlugCard(kB);
  OpenHeld();
  ASSERT_EQ(mRoot.GuidOfCard(kB), mGuidA) << "the first card of a serial goes by the serial, as A did";
  LetGo();
  EXPECT_EQ(mRoot.GuidOfCard(kB), mGuidB);
  EXPECT_NE(Find(mGuidB), nullptr);
  EXPECT_EQ(Find(mGuidA), nullptr);
  CloseFile();
  EXPECT_EQ(CardsOfFile(), mCards);
  ExpectThatAThirdSessionIsRight();
}

TEST_F(StudioIdentitiesTest, CardsThatAreSeenInTheOtherOrderDoNotChangePlacesOnceTheFileIsRead) {
  PlugCard(kB);
  PlugCard(kA);
  OpenHeld();
  ASSERT_EQ(mRoot.GuidOfCard(kB), mGuidA);
  ASSERT_NE(mRoot.GuidOfCard(kA), mGuidA);
  LetGo();
  EXPECT_EQ(mRoot.GuidOfCard(kA), mGuidA);
  EXPECT_EQ(mRoot.GuidOfCard(kB), mGuidB);
  EXPECT_NE(Find(mGuidA), nullptr);
  EXPECT_NE(Find(mGuidB), nullptr);
  CloseFile();
  EXPECT_EQ(CardsOfFile(), mCards);
  ExpectThatAThirdSessionIsRight();
}

TEST_F(StudioIdentitiesTest, ACardThatIsTheOnlyOneOfItsSerialKeepsItsGuidAllTheWhile) {
  Open();
  PlugCard("usb 3", "S2");
  const std::string guid = mRoot.GuidOfCard("usb 3");
  CloseFile();
  const Lines cards = CardsOfFile();
  ASSERT_EQ(cards.size(), 3u);
  OpenHeld();
  EXPECT_EQ(mRoot.GuidOfCard("usb 3"), guid);
  const auto subscriber = Subscribe();
  LetGo();
  EXPECT_EQ(mRoot.GuidOfCard("usb 3"), guid);
  ExpectThatNothingIsTold(*subscriber);
  CloseFile();
  EXPECT_EQ(CardsOfFile(), cards);
}

TEST_F(StudioIdentitiesTest, ACardThatTheFileDoesNotKnowKeepsItsGuidAndTheFileLearnsIt) {
  PlugCard("usb 3", "S2");
  OpenHeld();
  const std::string guid = mRoot.GuidOfCard("usb 3");
  const auto subscriber = Subscribe();
  LetGo();
  EXPECT_EQ(mRoot.GuidOfCard("usb 3"), guid);
  ExpectThatNothingIsTold(*subscriber);
  CloseFile();
  mCards.push_back(guid + " usb 3|0.0|in");
  EXPECT_EQ(CardsOfFile(), mCards);
}

TEST_F(StudioIdentitiesTest, CardsOfAFileThatIsHeldAllTheWhileHaveGuidsAndWorkAndTheFileKeepsItsOwn) {
  PlugCard(kB);
  PlugCard(kA);
  OpenHeld();
  const std::string first = mRoot.GuidOfCard(kB);
  const std::string second = mRoot.GuidOfCard(kA);
  EXPECT_NE(first, second);
  mRoot.UnplugCard(kB);
  PlugCard(kB);
  EXPECT_EQ(mRoot.GuidOfCard(kB), first) << "it lasts as long as the studio";
  EXPECT_EQ(mRoot.GuidOfCard(kA), second);
  const std::string user = Add("U");
  for (const std::string& guid : {first, second}) {
    EXPECT_NE(Find(guid), nullptr);
    EXPECT_EQ(Manage().Wire(user, guid), Result::kDone);
  }
  EXPECT_NE(Find(user), nullptr) << "it is wired to what is there";
  EXPECT_FALSE(HasRead());
  Close();
  const int timesSettled = mRoot.TimesSettled();
  // The studio's thread reads the file now, and writes the device. The root is the studio's no more.
  mHolderP.reset();
  EXPECT_TRUE(
      Test_Eventually([this] { return Select("SELECT guid FROM device WHERE name = 'U'").size() == 1; }));
  WaitUntilClosed();
  EXPECT_EQ(mRoot.TimesSettled(), timesSettled);
  EXPECT_EQ(CardsOfFile(), mCards);
}

TEST_F(StudioIdentitiesTest, CardsThatTheProcessKnowsKeepTheirGuidsWhenTheFileCanNotBeReadAgain) {
  PlugCard(kB);
  PlugCard(kA);
  for (int round = 0; round < 3; ++round) {
    OpenHeldAgain();
    EXPECT_EQ(mRoot.GuidOfCard(kA), mGuidA) << round;
    EXPECT_EQ(mRoot.GuidOfCard(kB), mGuidB) << round;
    Close();
    mHolderP.reset();
    WaitUntilClosed();
  }
  EXPECT_EQ(CardsOfFile(), mCards);
}

TEST_F(StudioIdentitiesTest, AStudioThatOpensHasCardsSettledAgainWhereAnotherWatchesAlready) {
  PlugCard(kB);
  OpenHeld();
  ASSERT_EQ(mRoot.GuidOfCard(kB), mGuidA);
  const std::string copy = mFolder / "copy.db";
  { const SQLite::Database database(copy, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE); }
  const int timesSettled = mRoot.TimesSettled();
  const Platform_StudioFaces second = Platform_OpenStudio(&mRoot, copy);
  EXPECT_GT(mRoot.TimesSettled(), timesSettled);
}

// The file is read while ports are listed, while all is settled again, or while the studio goes.
TEST_F(StudioIdentitiesTest, WheneverTheFileIsReadItsCardsStayAsTheyAre) {
  PlugCard(kB);
  PlugCard(kA);
  for (int round = 0; round < 20; ++round) {
    Hold();
    std::thread holder([this, round] {
      std::this_thread::sleep_for(std::chrono::milliseconds(round * 5));
      mHolderP.reset();
    });
    mFaces = Platform_OpenStudio(&mRoot, mPath);
    mRoot.UnplugCard(kB);
    PlugCard(kB);
    holder.join();
    Close();
    WaitUntilClosed();
  }
  ExpectThatAThirdSessionIsRight();
}

// ---- what a studio knows, and when it is written ----

const Platform_IdentityRow kRow{"{A}", "1235:8010", "S1", "usb 1|0.0|in"};
const Platform_IdentityRow kRowElsewhere{"{A}", "1235:8010", "S1", "usb 2|0.0|in"};

// "guid path" of each row.
Lines Texts(const std::vector<Platform_IdentityRow>& iRows) {
  Lines lines;
  for (const Platform_IdentityRow& row : iRows) lines.push_back(row.mGuid + " " + row.mPath);
  return lines;
}

Platform_StudioContents FileOf(const std::vector<Platform_IdentityRow>& iRows) {
  Platform_StudioContents contents;
  contents.mIdentities = iRows;
  return contents;
}

class StudioIdentityRowsTest : public ::testing::Test {
 protected:
  const std::shared_ptr<Platform_StudioCore> mCore = std::make_shared<Platform_StudioCore>();
  Platform_StudioIdentities mIdentities;
};

TEST_F(StudioIdentityRowsTest, WhatIsPutBeforeTheFileIsReadHoldsUntilThenAndIsNeverWritten) {
  mIdentities.Attach(mCore);
  EXPECT_TRUE(mIdentities.Rows().empty());
  mIdentities.Put(kRowElsewhere);
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 2|0.0|in"}));
  EXPECT_FALSE(mCore->HasChanges());
  EXPECT_TRUE(mCore->Replace(FileOf({kRow})));
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"}));
  EXPECT_FALSE(mCore->HasChanges());
}

TEST_F(StudioIdentityRowsTest, WhatTheFileDoesNotKnowIsDroppedAtItsFirstReadingAndKeptAtLaterOnes) {
  mIdentities.Attach(mCore);
  mIdentities.Put(kRow);
  EXPECT_TRUE(mCore->Replace({}));
  EXPECT_TRUE(mIdentities.Rows().empty());
  mIdentities.Put(kRow);
  EXPECT_TRUE(mCore->HasChanges()) << "from now on it is written";
  mCore->PopChanges(1);
  EXPECT_FALSE(mCore->Replace({})) << "the first time is over";
  EXPECT_EQ(mIdentities.Rows().size(), 1u);
}

TEST_F(StudioIdentityRowsTest, WhatAScanSettledWithoutTheFileIsIgnoredWhenTheFileWasReadMeanwhile) {
  mIdentities.Attach(mCore);
  mIdentities.Rows();
  mCore->Replace(FileOf({kRow}));
  mIdentities.Put(kRowElsewhere);
  EXPECT_FALSE(mCore->HasChanges());
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"}));
  mIdentities.Put(kRowElsewhere);
  EXPECT_TRUE(mCore->HasChanges()) << "that scan knew the file";
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 2|0.0|in"}));
}

TEST_F(StudioIdentityRowsTest, WhatANewFileIsToGetInThePlaceOfADamagedOneStays) {
  mIdentities.Attach(mCore);
  mIdentities.Put(kRow);
  mCore->QueueAll();
  EXPECT_TRUE(mCore->Replace({}));
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"}));
  ASSERT_EQ(mCore->FrontChanges(2).size(), 1u);
}

TEST_F(StudioIdentityRowsTest, WhatAFileKnewIsAnsweredUntilAStudioHasReadItsOwn) {
  mCore->Replace(FileOf({kRow}));
  mIdentities.Attach(mCore);
  mIdentities.Detach(mCore);
  const auto second = std::make_shared<Platform_StudioCore>();
  mIdentities.Attach(second);
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"}));
  mIdentities.Put({"{B}", "1235:8010", "S2", "usb 3|0.0|in"});
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in", "{B} usb 3|0.0|in"}));
  EXPECT_FALSE(second->HasChanges());
  mIdentities.Detach(second);
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"})) << "its file was never read";
  mIdentities.Attach(second);
  mIdentities.Rows();
  second->Replace(FileOf({kRowElsewhere}));
  mIdentities.Put(kRow);
  EXPECT_FALSE(second->HasChanges()) << "what follows from an older file goes into no newer one";
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 2|0.0|in"}));
}

TEST_F(StudioIdentityRowsTest, OfTwoStudiosThatGoWhatAFileKnewStays) {
  const auto unread = std::make_shared<Platform_StudioCore>();
  mCore->Replace(FileOf({kRow}));
  mIdentities.Attach(unread);
  mIdentities.Attach(mCore);
  mIdentities.Detach(mCore);
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"}));
  mIdentities.Detach(unread);
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"}));
}

TEST_F(StudioIdentityRowsTest, AStudioThatHasReadItsFileGoesBeforeOneThatHasNot) {
  const auto second = std::make_shared<Platform_StudioCore>();
  second->Replace(FileOf({kRow}));
  mIdentities.Attach(mCore);
  mIdentities.Attach(second);
  EXPECT_EQ(Texts(mIdentities.Rows()), (Lines{"{A} usb 1|0.0|in"}));
  mIdentities.Put(kRowElsewhere);
  EXPECT_FALSE(mCore->HasChanges());
  EXPECT_TRUE(second->HasChanges());
}

}  // namespace
