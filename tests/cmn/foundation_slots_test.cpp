// SPDX-License-Identifier: MIT
// The order of the foundation's virtual operations, called by position. No header of the library is included
// here.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/slot_table.h"

std::string Test_TakeCalls();
void* Test_NewComponent();
void* Test_PrivateUnknownOf(void* iComponentP);
void* Test_NewCounted();
void* Test_NewDelayed();
void* Test_NewTask();
void* Test_AtomicStructures();
void* Test_Thread();

namespace {

struct InterfaceID {
  std::uint32_t mData1;
  std::uint16_t mData2;
  std::uint16_t mData3;
  std::uint8_t mData4[8];
};
const InterfaceID kRootID = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

TEST(FoundationSlotsTest, TheRootInterfaceQueriesAddsAndReleases) {
  Test_TakeCalls();
  void* componentP = Test_NewComponent();
  void* unknownP = Test_PrivateUnknownOf(componentP);
  const Test_SlotTable unknown(unknownP, 0);
  void* resultP = nullptr;
  EXPECT_EQ((unknown.Call<std::int32_t, const InterfaceID*, void**>(1, &kRootID, &resultP)), 0);
  EXPECT_EQ(resultP, unknownP);
  EXPECT_EQ(unknown.Call<std::uint32_t>(2), 2u);
  EXPECT_EQ(unknown.Call<std::uint32_t>(3), 1u);
  EXPECT_EQ(unknown.Call<std::uint32_t>(3), 0u);
  EXPECT_EQ(Test_TakeCalls(), "last reclaim destructor ");
}

TEST(FoundationSlotsTest, TheComponentBaseHasItsSevenOperationsInOrder) {
  Test_TakeCalls();
  void* componentP = Test_NewComponent();
  const Test_SlotTable component(componentP);
  EXPECT_EQ(component.Call<std::int32_t>(2), 0);
  EXPECT_EQ(Test_TakeCalls(), "hook ");
  component.Call<void>(3);
  EXPECT_EQ(Test_TakeCalls(), "last ");
  void* resultP = nullptr;
  EXPECT_EQ((component.Call<std::int32_t, const InterfaceID*, void**>(5, &kRootID, &resultP)), 0);
  EXPECT_EQ(resultP, Test_PrivateUnknownOf(componentP));
  EXPECT_EQ(component.Call<std::uint32_t>(6), 2u);
  EXPECT_EQ(component.Call<std::uint32_t>(7), 1u);
  EXPECT_EQ(Test_TakeCalls(), "");
  component.Call<void>(4);
  EXPECT_EQ(Test_TakeCalls(), "reclaim destructor ");
}

TEST(FoundationSlotsTest, ASharedCountedObjectHasItsDestructorAndThenItsDeletion) {
  Test_TakeCalls();
  const Test_SlotTable counted(Test_NewCounted());
  counted.Call<void>(2);
  EXPECT_EQ(Test_TakeCalls(), "refcountdelete ");
  counted.Delete();
  EXPECT_EQ(Test_TakeCalls(), "destructor ");
}

TEST(FoundationSlotsTest, DelayedDeletionAddsNoOperationInFrontOfThoseOfSubclasses) {
  Test_TakeCalls();
  const Test_SlotTable delayed(Test_NewDelayed());
  delayed.Call<void>(2);
  EXPECT_EQ(Test_TakeCalls(), "refcountdelete ");
  delayed.Call<void>(3);
  EXPECT_EQ(Test_TakeCalls(), "own ");
  delayed.Delete();
  EXPECT_EQ(Test_TakeCalls(), "destructor ");
}

TEST(FoundationSlotsTest, AThreadsTaskHasItsEightOperationsInOrder) {
  Test_TakeCalls();
  const Test_SlotTable task(Test_NewTask());
  task.Call<void>(2);
  EXPECT_TRUE(task.Call<bool>(3));
  task.Call<void, unsigned>(4, 4711u);
  task.Call<void>(5);
  task.Call<void>(6);
  task.Call<void>(7);
  EXPECT_TRUE(task.Call<bool>(8));
  EXPECT_EQ(Test_TakeCalls(), "run stop timeout pause resume dotask requeststop ");
  task.Delete();
  EXPECT_EQ(Test_TakeCalls(), "destructor ");
}

TEST(FoundationSlotsTest, TheFactoryOfQueuesIsTheSecondOperation) {
  const Test_SlotTable structures(Test_AtomicStructures(), 0);
  void* queueP = structures.Call<void*, int, int>(2, 0, 0);
  ASSERT_NE(queueP, nullptr);
  const Test_SlotTable queue(queueP);
  EXPECT_EQ(queue.Call<void*>(3), nullptr);
  queue.Delete();
}

TEST(FoundationSlotsTest, TheFactoryOfMutexesIsTheFifthOperation) {
  const Test_SlotTable thread(Test_Thread(), 0);
  void* mutexP = thread.Call<void*, const char*>(5, "Mlox_PortActivator_Mutex");
  ASSERT_NE(mutexP, nullptr);
  const Test_SlotTable mutex(mutexP);
  mutex.Call<void>(2);
  mutex.Call<void>(3);
  mutex.Delete();
}

}  // namespace
