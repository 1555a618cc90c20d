// SPDX-License-Identifier: MIT
#include "cmn/sys_threadsaferefcountobject.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

class Object : public Sys_ThreadSafeRefCountObject {
 public:
  explicit Object(std::atomic<int>* iDeadP) : mDeadP(iDeadP) {}
  Object(const Object&) = default;
  Object& operator=(const Object&) = default;
  ~Object() override { mDeadP->fetch_add(1); }
  std::atomic<int>* mDeadP;
};

class Kept : public Sys_ThreadSafeRefCountObject {
 public:
  int mDeletions = 0;

 protected:
  void RefCountDelete() override { ++mDeletions; }
};

TEST(Sys_ThreadSafeRefCountObjectTest, TheCountStartsAt0AndTheLastReleaseDeletes) {
  std::atomic<int> dead{0};
  auto* objectP = new Object(&dead);
  EXPECT_EQ(objectP->GetRefCount(), 0);
  objectP->AddReference();
  objectP->AddReference();
  EXPECT_EQ(objectP->GetRefCount(), 2);
  objectP->RemoveReference();
  EXPECT_EQ(dead, 0);
  objectP->RemoveReference();
  EXPECT_EQ(dead, 1);
}

TEST(Sys_ThreadSafeRefCountObjectTest, ReferencesToConstShareInTheLifetime) {
  std::atomic<int> dead{0};
  const Object* objectP = new Object(&dead);
  objectP->AddReference();
  objectP->RemoveReference();
  EXPECT_EQ(dead, 1);
}

TEST(Sys_ThreadSafeRefCountObjectTest, SmartDeletionCallsTheVirtualOperation) {
  Kept kept;
  kept.AddReference();
  kept.RemoveReference();
  EXPECT_EQ(kept.mDeletions, 1);
  kept.SmartDeletion();
  EXPECT_EQ(kept.mDeletions, 2);
}

TEST(Sys_ThreadSafeRefCountObjectTest, ACopyStartsAt0AndAssigningLeavesBothCountsAlone) {
  std::atomic<int> dead{0};
  auto* firstP = new Object(&dead);
  firstP->AddReference();
  firstP->AddReference();
  auto* copyP = new Object(*firstP);
  EXPECT_EQ(copyP->GetRefCount(), 0);
  copyP->AddReference();
  *copyP = *firstP;
  EXPECT_EQ(copyP->GetRefCount(), 1);
  EXPECT_EQ(firstP->GetRefCount(), 2);
  copyP->RemoveReference();
  firstP->RemoveReference();
  firstP->RemoveReference();
  EXPECT_EQ(dead, 2);
}

TEST(Sys_ThreadSafeRefCountObjectTest, NoChangeOfTheCountIsLostBetweenThreads) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 1000000;  // long enough to be interrupted on a machine that does much else
  Kept kept;
  kept.AddReference();
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&] {
      ready.fetch_add(1);
      while (ready != kThreads) std::this_thread::yield();
      for (int round = 0; round < kRounds; ++round) kept.AddReference();
      for (int round = 0; round < kRounds; ++round) kept.RemoveReference();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(kept.GetRefCount(), 1);
  EXPECT_EQ(kept.mDeletions, 0) << "the first reference was there all the time";
}

TEST(Sys_ThreadSafeRefCountObjectTest, OneOfManyThreadsDeletes) {
  std::atomic<int> dead{0};
  constexpr int kThreads = 4;
  constexpr int kRounds = 5000;
  auto* objectP = new Object(&dead);
  for (int thread = 0; thread < kThreads; ++thread) objectP->AddReference();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([objectP] {
      for (int round = 0; round < kRounds; ++round) {
        objectP->AddReference();
        objectP->RemoveReference();
      }
      objectP->RemoveReference();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(dead, 1);
}

}  // namespace
