// SPDX-License-Identifier: MIT
#include "cmn/ps_atomicstructures.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "cmn/ps_thread.h"
#include "tests/support/assert_recorder.h"

namespace {

struct Item : SPSAtomicElementBase {
  int mNumber = 0;
};

// A queue that is made and used while statics are still being made.
struct EarlyUser {
  EarlyUser() : mQueueP(gPSAtomicStructures->NewFifoQueue(0, 0)) {
    mItem.mNumber = 5;
    mQueueP->Push(&mItem);
  }
  Item mItem;
  std::unique_ptr<SPSAtomicQueue> mQueueP;
};
EarlyUser sEarlyUser;

TEST(PSAtomicStructuresTest, WorksDuringStaticInitialisation) {
  auto* itemP = static_cast<Item*>(sEarlyUser.mQueueP->Pop());
  ASSERT_NE(itemP, nullptr);
  EXPECT_EQ(itemP->mNumber, 5);
}

TEST(PSAtomicStructuresTest, TheFactoryGivesIndependentEmptyQueues) {
  const std::unique_ptr<SPSAtomicQueue> firstP(gPSAtomicStructures->NewFifoQueue(0, 0));
  const std::unique_ptr<SPSAtomicQueue> secondP(gPSAtomicStructures->NewFifoQueue(0, 0));
  ASSERT_NE(firstP, nullptr);
  ASSERT_NE(secondP, nullptr);
  Item item;
  firstP->Push(&item);
  EXPECT_EQ(secondP->Pop(), nullptr);
  EXPECT_EQ(firstP->Pop(), &item);
  EXPECT_EQ(firstP->Pop(), nullptr);
}

TEST(PSAtomicStructuresTest, TheQueueKeepsItsContractThroughTheInterface) {
  const std::unique_ptr<SPSAtomicQueue> queueP(gPSAtomicStructures->NewFifoQueue(0, 0));
  std::vector<Item> items(4);
  for (Item& item : items) queueP->Push(&item);
  EXPECT_EQ(queueP->Pop(), &items[0]);
  queueP->TakeIn();
  SPSAtomicElementBase* chainP = queueP->TakeAll();
  ASSERT_EQ(chainP, &items[1]);
  ASSERT_EQ(chainP->GetNextInChain(), &items[2]);
  ASSERT_EQ(chainP->GetNextInChain()->GetNextInChain(), &items[3]);
  EXPECT_EQ(items[3].GetNextInChain(), nullptr);
  EXPECT_EQ(queueP->TakeAll(), nullptr);
}

TEST(PSAtomicStructuresTest, PushOfNullIsReportedAndIgnored) {
  const std::unique_ptr<SPSAtomicQueue> queueP(gPSAtomicStructures->NewFifoQueue(0, 0));
  Test_AssertRecorder recorder;
  queueP->Push(nullptr);
  EXPECT_EQ(recorder.Count("iElementP"), 1);
  EXPECT_EQ(queueP->Pop(), nullptr);
}

TEST(PSAtomicStructuresTest, EndingAQueueLeavesItsElementsAlone) {
  Item item;
  item.mNumber = 7;
  std::unique_ptr<SPSAtomicQueue> queueP(gPSAtomicStructures->NewFifoQueue(0, 0));
  queueP->Push(&item);
  queueP.reset();
  EXPECT_EQ(item.mNumber, 7);
}

TEST(PSAtomicStructuresTest, CopyingAnElementGivesAFreeLinkAndAssigningLeavesTheLinkAlone) {
  const std::unique_ptr<SPSAtomicQueue> queueP(gPSAtomicStructures->NewFifoQueue(0, 0));
  Item first, second, other;
  second.mNumber = 2;
  queueP->Push(&first);
  queueP->Push(&second);
  const Item copy = second;
  EXPECT_EQ(copy.GetNextInChain(), nullptr);
  second = other;
  EXPECT_EQ(second.mNumber, 0);
  EXPECT_EQ(queueP->Pop(), &first);
  EXPECT_EQ(queueP->Pop(), &second);
}

// Leaves with a status that says whether everything still worked.
void UseModulesAtExit() {
  Item item;
  const std::unique_ptr<SPSAtomicQueue> queueP(gPSAtomicStructures->NewFifoQueue(0, 0));
  queueP->Push(&item);
  const std::unique_ptr<PSMutex> mutexP(gPSThread->NewMutex("at exit"));
  mutexP->Lock();
  mutexP->Unlock();
  Cmn_Assert::HandleMagicAssertNoThrow(true, "at exit@$^$@tests", 1);
  std::_Exit(queueP->Pop() == &item ? 33 : 34);
}

TEST(PSAtomicStructuresExitTest, ModulesAndReportsWorkInExitHandlers) {
  EXPECT_EXIT(
      {
        std::atexit(&UseModulesAtExit);
        std::exit(0);
      },
      testing::ExitedWithCode(33), "check failed: at exit");
}

}  // namespace
