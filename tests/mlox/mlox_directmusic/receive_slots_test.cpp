// SPDX-License-Identifier: MIT
// Calls the interfaces of the receive side through their tables, by position, as another binary would.
// Nothing of the library may be included here.
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

#include "tests/mlox/mlox_directmusic/receive_slotobjects.h"
#include "tests/support/slot_table.h"

namespace {

constexpr std::int32_t kInvalid = static_cast<std::int32_t>(0x80070057u);

/// An input's id in memory.
struct Id {
  std::int32_t mServiceIndex;
  std::int32_t mNumber;
};

class ReceiveSlots : public ::testing::Test {
 protected:
  std::int32_t SourceCount(const Test_SlotTable& iTable) {
    std::int32_t count = -1;
    EXPECT_EQ((iTable.Call<std::int32_t, std::int32_t*>(2, &count)), 0);
    return count;
  }
  static std::int32_t IsListening(const Test_SlotTable& iTable, const Id& iId) {
    return iTable.Call<std::int32_t, const Id*>(5, &iId);
  }

  Test_ReceiveSlotObjects mObjects;
};

TEST_F(ReceiveSlots, ReceiverHasElevenOperationsInOrder) {
  const Test_SlotTable table(mObjects.mReceiverP, 1);
  EXPECT_EQ(SourceCount(table), 0);                                         // GetSourceCount
  EXPECT_EQ((table.Call<std::int32_t, void*>(9, mObjects.mSourceSPP)), 0);  // AddSource
  EXPECT_EQ(SourceCount(table), 1);
  EXPECT_EQ((table.Call<std::int32_t, int, void*>(3, 1, mObjects.mResultSourceSPP)), kInvalid);
  EXPECT_EQ((table.Call<std::int32_t, int, void*>(3, 0, mObjects.mResultSourceSPP)), 0);  // GetSource
  EXPECT_TRUE(mObjects.ResultSourceIsTheSource());
  EXPECT_EQ((table.Call<std::int32_t, void*>(8, mObjects.mOtherCallbackSPP)), 0);   // SetCallback
  EXPECT_EQ((table.Call<std::int32_t, void*>(4, mObjects.mResultCallbackSPP)), 0);  // GetCallback
  EXPECT_TRUE(mObjects.ResultCallbackIsTheOther());
  EXPECT_EQ(IsListening(table, {3, 7}), 0);  // IsListeningToID
  EXPECT_EQ(IsListening(table, {3, 8}), 1);
  EXPECT_EQ((table.Call<std::int32_t, void*>(6, mObjects.mResultSourceSPP)), 0);  // IsListeningTo
  EXPECT_EQ(table.Call<std::int32_t>(7), 1);                                      // IsSelective
  EXPECT_EQ(table.Call<std::int32_t>(10), 0);                                     // SetReceiveAll
  EXPECT_EQ(table.Call<std::int32_t>(7), 0);
  EXPECT_EQ(IsListening(table, {3, 8}), 0);
  EXPECT_EQ(table.Call<std::int32_t>(11), 0);  // Clear
  EXPECT_EQ(table.Call<std::int32_t>(7), 1);
  EXPECT_EQ(SourceCount(table), 0);
}

TEST_F(ReceiveSlots, CallbackHasReceiveInFrontOfItsDestructor) {
  const Test_SlotTable table(mObjects.mCallbackP, 2);
  EXPECT_EQ((table.Call<std::int32_t, void*>(1, mObjects.mRecordP)), 0);  // Receive
  EXPECT_EQ(mObjects.RawCalls(), 0);
  EXPECT_EQ((table.Call<std::int32_t, void*>(3, mObjects.mOtherCallbackSPP)), 1);  // IsDifferentFrom
  table.Call<void, void*>(4, mObjects.mRawReceiverP);                              // SetRawReceiver
  EXPECT_EQ((table.Call<std::int32_t, void*>(1, mObjects.mRecordP)), 0);
  EXPECT_EQ(mObjects.RawCalls(), 1);
}

TEST_F(ReceiveSlots, TaskHasItsBodyAndItsStopBehindThoseOfItsBase) {
  const Test_SlotTable table(mObjects.mTaskP, 1);
  table.Call<void, unsigned>(4, 1234u);  // SetKillTimeout
  EXPECT_EQ(mObjects.TaskKillTimeout(), 1234u);
  EXPECT_TRUE(table.Call<bool>(8));  // RequestStop
  EXPECT_FALSE(mObjects.TaskHasEnded());
  table.Call<void>(7);  // DoTask
  EXPECT_TRUE(mObjects.TaskHasEnded());
}

TEST_F(ReceiveSlots, TaskThatIsPausedRunsWhenItIsResumed) {
  const Test_SlotTable table(mObjects.mTaskP, 1);
  table.Call<void>(5);                               // Pause
  std::thread thread([&] { table.Call<void>(2); });  // Run
  EXPECT_FALSE(mObjects.TaskHasEnded());
  table.Call<void>(6);  // Resume
  thread.join();
  EXPECT_TRUE(mObjects.TaskHasEnded());
}

TEST_F(ReceiveSlots, TaskThatIsPausedRunsToItsEndWhenItIsStopped) {
  const Test_SlotTable table(mObjects.mTaskP, 1);
  table.Call<void>(5);               // Pause
  EXPECT_TRUE(table.Call<bool>(3));  // Stop
  table.Call<void>(2);               // Run
  EXPECT_TRUE(mObjects.TaskHasEnded());
}

TEST_F(ReceiveSlots, EachIsDestroyedThroughItsTable) {
  const Test_SlotTable receiver(mObjects.mReceiverP, 1);
  receiver.Call<std::int32_t, void*>(9, mObjects.mSourceSPP);
  const long uses = mObjects.SourceUses();
  receiver.Delete();
  EXPECT_EQ(mObjects.SourceUses(), uses - 1) << "the receiver's own";
  Test_SlotTable(mObjects.mCallbackP, 2).Delete();
  Test_SlotTable(mObjects.mTaskP, 1).Delete();
  mObjects.ForgetDestroyed();  // for these two the checker of leaks tells whether they went
}

}  // namespace
