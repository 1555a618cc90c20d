// SPDX-License-Identifier: MIT
#include "cmn/sys_delayeddeletion.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "cmn/cmn_aliasedrefcountptr.h"
#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeleterefcntobj.h"
#include "cmn/sys_delayeddeletionobject.h"

namespace {

std::atomic<std::int64_t> sNow{0};
std::int64_t Now() { return sNow.load(); }

constexpr std::int64_t kSecond = 1000000;

class Counted : public Sys_DelayedDeleteRefCntObj {
 public:
  explicit Counted(std::atomic<int>* iDeadP) : mDeadP(iDeadP) {}
  Counted(const Counted&) = default;
  Counted& operator=(const Counted&) = default;
  ~Counted() override {
    mMark.store(0xDEAD);
    mDeadP->fetch_add(1);
  }

  std::atomic<int>* mDeadP;
  struct Mark : std::atomic<int> {
    Mark() : std::atomic<int>(0xA11E) {}
    Mark(const Mark&) : Mark() {}
    Mark& operator=(const Mark&) { return *this; }
  } mMark;
};

class Plain : public Sys_DelayedDeletionObject {
 public:
  explicit Plain(std::atomic<int>* iDeadP) : mDeadP(iDeadP) {}
  ~Plain() override { mDeadP->fetch_add(1); }
  std::atomic<int>* mDeadP;
};

class Sys_DelayedDeletionTest : public testing::Test {
 protected:
  Sys_DelayedDeletionTest() {
    Sys_Clock::SetSourceForTest(&Now);
    sNow = 50 * kSecond;
  }
  ~Sys_DelayedDeletionTest() override {
    sNow += 10 * kSecond;
    Sys_DelayedDeletion::RunPass();
    Sys_DelayedDeletion::RunPass();
    EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
    Sys_Clock::SetSourceForTest(nullptr);
  }

  // An object that has had one reference and lost it.
  Counted* MakeReleased() {
    auto* objectP = new Counted(&mDead);
    objectP->AddReference();
    objectP->RemoveReference();
    return objectP;
  }

  std::atomic<int> mDead{0};
};

TEST_F(Sys_DelayedDeletionTest, TheLastReleaseOnlyListsTheObject) {
  MakeReleased();
  EXPECT_EQ(mDead, 0);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, AnObjectIsASecondOldWhenItIsDeleted) {
  MakeReleased();
  sNow += kSecond - 1;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  EXPECT_EQ(mDead, 0);
  sNow += 1;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
}

TEST_F(Sys_DelayedDeletionTest, TenPassesSpareAnObjectWhileAWriterIsHeldInsideAndTwoDeleteItOnceItLeaves) {
  std::atomic<bool> isInside{false};
  std::atomic<bool> mayLeave{false};
  std::atomic<bool> hasLeft{false};
  auto* objectP = new Counted(&mDead);
  objectP->AddReference();
  std::thread writer([&] {
    {
      const Sys_EpochGuard guard;
      isInside = true;
      while (!mayLeave) std::this_thread::yield();
      EXPECT_EQ(objectP->mMark.load(), 0xA11E);
    }
    hasLeft = true;
  });
  while (!isInside) std::this_thread::yield();
  objectP->RemoveReference();
  for (int pass = 0; pass < 10; ++pass) {
    sNow += 2 * kSecond;
    EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  }
  EXPECT_EQ(mDead, 0);
  mayLeave = true;
  while (!hasLeft) std::this_thread::yield();
  Sys_DelayedDeletion::RunPass();
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(mDead, 1);
  writer.join();
}

TEST_F(Sys_DelayedDeletionTest, AWriterThatEnteredAfterTheFirstPassDoesntHoldTheObject) {
  MakeReleased();
  Sys_DelayedDeletion::RunPass();
  sNow += 2 * kSecond;
  const Sys_EpochGuard guard;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
}

TEST_F(Sys_DelayedDeletionTest, NestedGuardsHoldUntilTheOuterOneFalls) {
  auto outerP = std::make_unique<Sys_EpochGuard>();
  MakeReleased();
  sNow += 2 * kSecond;
  { const Sys_EpochGuard inner; }
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  outerP.reset();
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

// Holds a pointer for others to read. While it is being read, something else is retired and grows old.
class PointerThatIsWatched {
 public:
  PointerThatIsWatched(Counted* iObjectP, std::atomic<int>* iDeadP) : mObjectP(iObjectP), mDeadP(iDeadP) {}

  Counted* get() const {
    ++mReads;
    Sys_DelayedDeletion::Retire(new Plain(mDeadP));
    sNow += kSecond;
    mDeletedInside += Sys_DelayedDeletion::RunPass();
    return mObjectP;
  }

  Counted* mObjectP;
  std::atomic<int>* mDeadP;
  mutable int mReads = 0;
  mutable std::size_t mDeletedInside = 0;
};

TEST_F(Sys_DelayedDeletionTest, AnEpochPointerEntersBeforeItReads) {
  std::atomic<int> othersDead{0};
  const PointerThatIsWatched shared(nullptr, &othersDead);
  {
    const Sys_EpochPointer pointer(shared);
    EXPECT_FALSE(pointer);
    EXPECT_EQ(shared.mReads, 1);
    EXPECT_EQ(shared.mDeletedInside, 0u) << "the reading thread was inside";
  }
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, AnEpochPointerKeepsWhatItHasFoundUntilItGoes) {
  Cmn_AliasedRefCountPtr<Counted, std::atomic<Counted*>> shared(new Counted(&mDead));
  Counted* const foundP = shared.get();
  {
    const Sys_EpochPointer pointer(shared);
    shared = nullptr;
    for (int pass = 0; pass < 10; ++pass) {
      sNow += 2 * kSecond;
      EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
    }
    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer.operator->(), foundP);
    EXPECT_EQ(pointer->mMark.load(), 0xA11E);
  }
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
}

// A thread that stands inside a guard for as long as this lives.
class Visitor {
 public:
  Visitor()
      : mThread([this] {
          const Sys_EpochGuard guard;
          mIsInside = true;
          mIsInside.notify_one();
          mMayLeave.wait(false);
        }) {
    mIsInside.wait(false);
  }
  ~Visitor() {
    mMayLeave = true;
    mMayLeave.notify_one();
    mThread.join();
  }
  Visitor(const Visitor&) = delete;
  Visitor& operator=(const Visitor&) = delete;

 private:
  std::atomic<bool> mIsInside{false};
  std::atomic<bool> mMayLeave{false};
  std::thread mThread;
};

TEST_F(Sys_DelayedDeletionTest, OfAllWhoAreInsideOnlyThoseFromBeforeTheRetirementHoldTheObject) {
  auto earlyP = std::make_unique<Visitor>();
  MakeReleased();
  Sys_DelayedDeletion::RunPass();
  // Many, so that whatever places the guards have, some of these lie before that of the first and some
  // behind.
  std::vector<std::unique_ptr<Visitor>> late;
  for (int i = 0; i < 24; ++i) late.push_back(std::make_unique<Visitor>());
  sNow += 2 * kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  earlyP.reset();
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, WhatHasReferencesAgainLeavesTheListAlsoWhileAGuardStands) {
  const auto guardP = std::make_unique<Sys_EpochGuard>();
  Counted* objectP = MakeReleased();
  objectP->AddReference();
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
  objectP->RemoveReference();
}

TEST_F(Sys_DelayedDeletionTest, AnObjectThatHasReferencesAgainIsSparedAndLeavesTheList) {
  Counted* objectP = MakeReleased();
  objectP->AddReference();
  sNow += 2 * kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
  EXPECT_EQ(mDead, 0);
  objectP->RemoveReference();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 1u) << "unmarked, so it is listed anew";
  sNow += 2 * kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

// A pass takes off the list what has references again and what it looks at. So objects with references tell
// which ones a pass has looked at.
TEST_F(Sys_DelayedDeletionTest, APassLooksAtNothingThatCantHaveBecomeOldEnough) {
  std::vector<Counted*> objects;
  for (int i = 0; i < 100; ++i) {
    objects.push_back(MakeReleased());
    sNow += 1000;
  }
  Sys_DelayedDeletion::RunPass();
  for (const Counted* objectP : objects) objectP->AddReference();
  sNow = 50 * kSecond + kSecond - 1;
  Sys_DelayedDeletion::RunPass();
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 100u) << "none is a second old";
  sNow = 50 * kSecond + kSecond + 9 * 1000;
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 90u) << "ten are";
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
  for (const Counted* objectP : objects) objectP->RemoveReference();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 100u);
}

TEST_F(Sys_DelayedDeletionTest, APassLooksAtNothingThatAGuardStillHolds) {
  auto earlyP = std::make_unique<Visitor>();
  Counted* firstP = MakeReleased();
  Sys_DelayedDeletion::RunPass();
  auto lateP = std::make_unique<Visitor>();
  Counted* secondP = MakeReleased();
  sNow += kSecond;
  Sys_DelayedDeletion::RunPass();
  firstP->AddReference();
  secondP->AddReference();
  sNow += kSecond;
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 2u);
  earlyP.reset();
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 1u) << "the late one holds only the second";
  lateP.reset();
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
  firstP->RemoveReference();
  secondP->RemoveReference();
}

TEST_F(Sys_DelayedDeletionTest, WhatIsHeldOrYoungDoesntHoldBackWhatIsRetiredBehindIt) {
  auto guardP = std::make_unique<Visitor>();
  MakeReleased();
  Sys_DelayedDeletion::RunPass();
  sNow += kSecond;
  Sys_DelayedDeletion::RunPass();
  MakeReleased();
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  sNow -= kSecond / 2;  // so that the third is old enough ahead of the second
  Sys_DelayedDeletion::RunPass();
  Sys_DelayedDeletion::RunPass();
  MakeReleased();
  sNow += kSecond / 4;
  Sys_DelayedDeletion::RunPass();
  sNow += kSecond / 4 * 3;
  guardP.reset();
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 2u) << "the first and the third";
  sNow += kSecond / 2;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, AnObjectThatIsRetiredAnewWithAnEarlierTimeIsDeletedByTheSecondPassAfterIt) {
  Counted* youngP = MakeReleased();
  Sys_DelayedDeletion::RunPass();
  sNow -= 20 * kSecond;
  youngP->AddReference();
  youngP->RemoveReference();
  sNow += kSecond;
  const std::size_t deleted = Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(deleted + Sys_DelayedDeletion::RunPass(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, WhatIsHeldIsYoungAgainIfTheClockStepsBack) {
  auto guardP = std::make_unique<Visitor>();
  MakeReleased();
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  sNow -= 1;
  guardP.reset();
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  sNow += 1;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, AnObjectThatIsReleasedTwiceIsListedOnceAndItsAgeBeginsAnew) {
  Counted* objectP = MakeReleased();
  sNow += kSecond;
  objectP->AddReference();
  objectP->RemoveReference();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 1u);
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
}

// Lets a test act in the middle of a release: the count is 0, the object isn't listed by this release yet.
class Watched : public Counted {
 public:
  Watched(std::atomic<int>* iDeadP, std::function<void()> iAtRelease)
      : Counted(iDeadP), mAtRelease(std::move(iAtRelease)) {}

 protected:
  void RefCountDelete() override {
    mAtRelease();
    Counted::RefCountDelete();
  }

 private:
  std::function<void()> mAtRelease;
};

TEST_F(Sys_DelayedDeletionTest, APassInTheMiddleOfAReleaseSparesTheObject) {
  int releases = 0;
  auto* objectP = new Watched(&mDead, [&] {
    if (++releases == 1) return;
    sNow += 2 * kSecond;
    EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u) << "on the list since the first release, and old enough";
    EXPECT_EQ(mDead, 0);
  });
  objectP->AddReference();
  objectP->RemoveReference();
  Sys_DelayedDeletion::RunPass();  // which finds it too young
  objectP->AddReference();
  objectP->RemoveReference();
  EXPECT_EQ(releases, 2);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 1u);
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
}

// A pass asks for the time after it has looked who is inside, and before it looks at the objects.
std::atomic<bool> sPassHasLooked{false};
std::atomic<bool> sMayPassGoOn{false};

std::int64_t NowOfAPassThatWaits() {
  if (!sPassHasLooked.exchange(true)) {
    while (!sMayPassGoOn) std::this_thread::yield();
  }
  return sNow;
}

TEST_F(Sys_DelayedDeletionTest, AReleaseThatBeginsInTheMiddleOfAPassSparesTheObject) {
  std::atomic<bool> isPassOver{false};
  int releases = 0;
  auto* objectP = new Watched(&mDead, [&] {
    if (++releases == 1) return;
    sMayPassGoOn = true;
    while (!isPassOver) std::this_thread::yield();
    EXPECT_EQ(mDead, 0) << "while its release is inside it";
  });
  objectP->AddReference();
  objectP->RemoveReference();
  sNow += 2 * kSecond;
  objectP->AddReference();  // taken back; no pass has been since
  sPassHasLooked = false;
  sMayPassGoOn = false;
  std::thread releaser([objectP] {
    while (!sPassHasLooked) std::this_thread::yield();
    objectP->RemoveReference();
  });
  Sys_Clock::SetSourceForTest(&NowOfAPassThatWaits);
  const std::size_t deleted = Sys_DelayedDeletion::RunPass();
  isPassOver = true;
  releaser.join();
  Sys_Clock::SetSourceForTest(&Now);
  EXPECT_EQ(deleted, 0u);
  EXPECT_EQ(releases, 2);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 1u);
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
}

TEST_F(Sys_DelayedDeletionTest, AnObjectWithoutACountIsDeletedToo) {
  Sys_DelayedDeletion::Retire(new Plain(&mDead));
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
}

TEST_F(Sys_DelayedDeletionTest, AnObjectWithoutACountIsHeldByAGuardToo) {
  auto guardP = std::make_unique<Sys_EpochGuard>();
  Sys_DelayedDeletion::Retire(new Plain(&mDead));
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u);
  EXPECT_EQ(mDead, 0);
  guardP.reset();
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

class Parent : public Sys_DelayedDeleteRefCntObj {
 public:
  Parent(Counted* iChildP, std::size_t* oInnerPassP) : mChildP(iChildP), mInnerPassP(oInnerPassP) {
    mChildP->AddReference();
  }
  ~Parent() override {
    mChildP->RemoveReference();
    sNow += kSecond;
    *mInnerPassP = Sys_DelayedDeletion::RunPass();
  }

 private:
  Counted* mChildP;
  std::size_t* mInnerPassP;
};

TEST_F(Sys_DelayedDeletionTest, ADestructorMayReleaseOthersAndAPassInsideItDoesNothing) {
  std::size_t innerPass = 99;
  auto* parentP = new Parent(new Counted(&mDead), &innerPass);
  parentP->AddReference();
  parentP->RemoveReference();
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(innerPass, 0u) << "though the child is old enough";
  EXPECT_EQ(mDead, 0);
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  EXPECT_EQ(mDead, 1);
}

TEST_F(Sys_DelayedDeletionTest, MoreGuardsThanSlotsStillHold) {
  constexpr int kThreads = 200;
  std::atomic<int> inside{0};
  std::atomic<int> leaving{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      const Sys_EpochGuard guard;
      inside = i + 1;
      inside.notify_one();
      for (int now = leaving; now <= i; now = leaving) leaving.wait(now);
    });
    inside.wait(i);
  }
  MakeReleased();
  sNow += kSecond;
  // First come, first go: whoever came last has found no slot, and holds the object alone at the end.
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 0u) << i;
    leaving = i + 1;
    leaving.notify_all();
    threads[static_cast<std::size_t>(i)].join();
  }
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, CopyingGivesAnObjectWithACountOf0ThatIsOnNoList) {
  Counted* objectP = MakeReleased();
  auto* copyP = new Counted(*objectP);
  EXPECT_EQ(copyP->GetRefCount(), 0);
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
  copyP->AddReference();
  copyP->RemoveReference();
  sNow += kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), 1u);
}

TEST_F(Sys_DelayedDeletionTest, AssigningLeavesBothCountsAlone) {
  auto* firstP = new Counted(&mDead);
  auto* secondP = new Counted(&mDead);
  firstP->AddReference();
  firstP->AddReference();
  secondP->AddReference();
  *firstP = *secondP;
  EXPECT_EQ(firstP->GetRefCount(), 2);
  EXPECT_EQ(secondP->GetRefCount(), 1);
  firstP->RemoveReference();
  firstP->RemoveReference();
  secondP->RemoveReference();
}

// Writers read a shared pointer inside a guard and use the object without a reference, while the main thread
// replaces the object and runs passes.
TEST_F(Sys_DelayedDeletionTest, WritersNeverMeetADeletedObject) {
  std::atomic<Counted*> currentP{new Counted(&mDead)};
  currentP.load()->AddReference();
  std::atomic<bool> isOver{false};
  std::atomic<int> faults{0};
  std::atomic<std::uint64_t> uses{0};
  std::vector<std::thread> writers;
  for (int i = 0; i < 3; ++i) {
    writers.emplace_back([&] {
      while (!isOver) {
        const Sys_EpochGuard guard;
        Counted* objectP = currentP.load();
        if (uses.fetch_add(1) % 64 == 0) std::this_thread::yield();
        if (objectP->mMark.load() != 0xA11E) faults.fetch_add(1);
      }
    });
  }
  int replaced = 0;
  std::size_t deletedWhileRunning = 0;
  while (replaced < 2000 || uses < 20000) {
    auto* newP = new Counted(&mDead);
    newP->AddReference();
    currentP.exchange(newP)->RemoveReference();
    ++replaced;
    sNow += kSecond;
    deletedWhileRunning += Sys_DelayedDeletion::RunPass();
    if (replaced % 16 == 0) std::this_thread::yield();
  }
  isOver = true;
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(faults, 0);
  EXPECT_GT(deletedWhileRunning, 0u);
  currentP.load()->RemoveReference();
  sNow += kSecond;
  Sys_DelayedDeletion::RunPass();
  sNow += kSecond;
  Sys_DelayedDeletion::RunPass();
  EXPECT_EQ(mDead, replaced + 1);
}

// Threads take objects back from the list and release them again while passes run, which find them too young
// for anything but unmarking, and look at them all since the clock steps back from one to the next. No
// release may be forgotten: at the end every object is listed, once.
TEST_F(Sys_DelayedDeletionTest, ARevivalThatMeetsThePassIsNeitherForgottenNorListedTwice) {
  constexpr std::size_t kObjects = 20;
  std::vector<Counted*> objects;
  for (std::size_t i = 0; i < kObjects; ++i) objects.push_back(MakeReleased());
  std::atomic<bool> isOver{false};
  std::atomic<std::uint64_t> revivals{0};
  std::vector<std::thread> threads;
  for (std::uint32_t seed = 0; seed < 3; ++seed) {
    threads.emplace_back([&, seed] {
      std::mt19937 random(seed);
      while (!isOver) {
        Counted* objectP = objects[random() % kObjects];
        objectP->AddReference();
        if (random() % 4 == 0) std::this_thread::yield();
        objectP->RemoveReference();
        revivals.fetch_add(1);
      }
    });
  }
  constexpr int kMostPasses = 5000000;  // the threads may do all of theirs before the first
  std::uint64_t unmarked = 0;
  for (int pass = 0; pass < 2000 || revivals < 5000 || (unmarked == 0 && pass < kMostPasses); ++pass) {
    const std::size_t before = Sys_DelayedDeletion::PendingCount();
    --sNow;
    Sys_DelayedDeletion::RunPass();
    if (Sys_DelayedDeletion::PendingCount() < before) ++unmarked;
    if (pass % 16 == 0) std::this_thread::yield();
  }
  isOver = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(unmarked, 0u);
  EXPECT_EQ(mDead, 0);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), kObjects);
  sNow = 60 * kSecond;
  EXPECT_EQ(Sys_DelayedDeletion::RunPass(), kObjects);
  EXPECT_EQ(mDead, static_cast<int>(kObjects));
}

// The pass asks whether the object has references, finds one, and unmarks it. A release that comes between
// the two sees the mark, lists nothing, and leaves it to the pass. The clock steps back, so passes look
// again.
TEST_F(Sys_DelayedDeletionTest, AReleaseWhileThePassUnmarksTheObjectIsNotForgotten) {
  constexpr int kRounds = 5000;
  Counted* objectP = MakeReleased();
  std::atomic<int> begun{0};
  std::atomic<int> done{0};
  std::thread reviver([&] {
    for (int round = 1; round <= kRounds; ++round) {
      while (begun < round) std::this_thread::yield();
      objectP->AddReference();
      objectP->RemoveReference();
      done = round;
    }
  });
  int forgotten = 0;
  for (int round = 1; round <= kRounds; ++round) {
    begun = round;
    while (done < round) {
      --sNow;
      Sys_DelayedDeletion::RunPass();
    }
    if (Sys_DelayedDeletion::PendingCount() != 1) ++forgotten;
  }
  reviver.join();
  sNow = 60 * kSecond;
  EXPECT_EQ(forgotten, 0);
}

}  // namespace
