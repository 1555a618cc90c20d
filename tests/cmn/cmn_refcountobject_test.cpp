// SPDX-License-Identifier: MIT
#include "cmn/cmn_refcountobject.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

namespace {

class Counted : public Cmn_RefCountObject {
 public:
  explicit Counted(int* ioDeletionsP) : mDeletionsP(ioDeletionsP) {}
  Counted(const Counted&) = default;
  Counted& operator=(const Counted&) = default;
  ~Counted() override { ++*mDeletionsP; }

 private:
  int* mDeletionsP;
};

static_assert(!std::is_constructible_v<Cmn_RefCountObject>, "constructors are protected");
static_assert(!std::is_copy_assignable_v<Cmn_RefCountObject>, "assignment is protected");
static_assert(!std::is_destructible_v<Cmn_RefCountObject>, "the destructor is protected");
static_assert(std::has_virtual_destructor_v<Cmn_RefCountObject>);

TEST(Cmn_RefCountObject, IsDeletedThroughItsVirtualDestructorByTheLastRelease) {
  int deletions = 0;
  const Cmn_RefCountObject* objectP = new Counted(&deletions);
  objectP->AddReference();
  objectP->AddReference();
  objectP->RemoveReference();
  EXPECT_EQ(deletions, 0);
  objectP->RemoveReference();
  EXPECT_EQ(deletions, 1);
}

TEST(Cmn_RefCountObject, CountStartsAtZeroSoThatTheFirstReferenceOwnsIt) {
  int deletions = 0;
  const auto* objectP = new Counted(&deletions);
  objectP->AddReference();
  objectP->RemoveReference();
  EXPECT_EQ(deletions, 1);
}

TEST(Cmn_RefCountObject, ReferencesAreTakenAndDroppedOnSeveralThreadsAtOnce) {
  constexpr int kRounds = 20000;
  int deletions = 0;
  const auto* objectP = new Counted(&deletions);
  objectP->AddReference();
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    objectP->AddReference();
    threads.emplace_back([objectP] {
      for (int round = 0; round < kRounds; ++round) {
        objectP->AddReference();
        objectP->RemoveReference();
      }
      objectP->RemoveReference();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(deletions, 0) << "the first reference is still there";
  objectP->RemoveReference();
  EXPECT_EQ(deletions, 1);
}

TEST(Cmn_RefCountObject, CopyStartsWithACountOfZero) {
  int deletions = 0;
  auto* originalP = new Counted(&deletions);
  originalP->AddReference();
  originalP->AddReference();
  auto* copyP = new Counted(*originalP);
  copyP->AddReference();
  copyP->RemoveReference();
  EXPECT_EQ(deletions, 1) << "the copy had one reference of its own";
  originalP->RemoveReference();
  EXPECT_EQ(deletions, 1) << "the original keeps its two";
  originalP->RemoveReference();
  EXPECT_EQ(deletions, 2);
}

TEST(Cmn_RefCountObject, AssigningLeavesBothCountsAlone) {
  int deletions = 0;
  auto* leftP = new Counted(&deletions);
  auto* rightP = new Counted(&deletions);
  leftP->AddReference();
  rightP->AddReference();
  rightP->AddReference();
  *leftP = *rightP;
  leftP->RemoveReference();
  EXPECT_EQ(deletions, 1);
  rightP->RemoveReference();
  EXPECT_EQ(deletions, 1);
  rightP->RemoveReference();
  EXPECT_EQ(deletions, 2);
}

}  // namespace
