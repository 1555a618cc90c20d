// SPDX-License-Identifier: MIT
// The order of operations in the tables of the interfaces that plug-ins hold or implement. It is a promise to
// binaries, so nothing of the library is included here: objects are addresses, and calls go by position.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "tests/mlox/mlox_directmidi/delivery_slot_objects.h"
#include "tests/support/slot_table.h"

namespace {

struct Id {
  uint32_t mFirst;
  uint16_t mSecond, mThird;
  uint8_t mRest[8];
};

constexpr Id DirectMIDIId(uint32_t iFirst) {
  return {iFirst, 0x2A48, 0x11D6, {0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6}};
}
constexpr Id kMessage = DirectMIDIId(0xE59D7664);
constexpr Id kBufferedDelivery = DirectMIDIId(0xE59D7665);
constexpr Id kDeliverySetup = DirectMIDIId(0xE59D7668);
constexpr Id kUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr uint32_t kNoInterface = 0x80000004u;

// The interfaces have no destructor in their tables.
Test_SlotTable TableOf(void* iInterfaceP) { return Test_SlotTable(iInterfaceP, 0); }

int32_t Query(const Test_SlotTable& iTable, const Id& iId, void** oResultP) {
  return iTable.Call<int32_t, const Id*, void**>(1, &iId, oResultP);
}
uint32_t AddRef(const Test_SlotTable& iTable) { return iTable.Call<uint32_t>(2); }
uint32_t Release(const Test_SlotTable& iTable) { return iTable.Call<uint32_t>(3); }

TEST(DeliverySlotsTest, IQCFUnknownHasQueryAddRefRelease) {
  void* const messageP = Test_MakeSlotMessage();
  void* unknownP = nullptr;
  ASSERT_EQ(Query(TableOf(messageP), kUnknown, &unknownP), 0);
  const Test_SlotTable unknown = TableOf(unknownP);
  EXPECT_EQ(AddRef(unknown), 3u);
  EXPECT_EQ(Release(unknown), 2u);
  EXPECT_EQ(Release(unknown), 1u);
  EXPECT_EQ(Release(unknown), 0u);
  Test_DestroySlotMessage();
}

TEST(DeliverySlotsTest, IDirectMIDIMessageHasItsSevenOperationsInOrder) {
  void* const messageP = Test_MakeSlotMessage();
  const Test_SlotTable message = TableOf(messageP);
  void* resultP = nullptr;
  EXPECT_EQ(Query(message, kMessage, &resultP), 0);
  EXPECT_EQ(resultP, messageP);
  EXPECT_EQ(static_cast<uint32_t>(Query(message, kBufferedDelivery, &resultP)), kNoInterface);
  EXPECT_EQ(resultP, nullptr);
  EXPECT_EQ(AddRef(message), 3u);
  EXPECT_EQ(Release(message), 2u);
  EXPECT_EQ(message.Call<int32_t>(4), 3);
  signed char bytes[3] = {};
  message.Call<void, signed char*>(5, bytes);
  EXPECT_EQ(std::memcmp(bytes, "\x95\x3C\x64", 3), 0);
  signed char part[2] = {};
  message.Call<void, signed char*, int32_t, int32_t>(6, part, 1, 2);
  EXPECT_EQ(std::memcmp(part, "\x3C\x64", 2), 0);
  EXPECT_EQ(message.Call<int64_t>(7), 4242);
  Release(message);
  Release(message);
  Test_DestroySlotMessage();
}

TEST(DeliverySlotsTest, IDirectMIDIBufferedDeliveryHasItsFourOperationsInOrder) {
  const Test_SlotTable node = TableOf(Test_MakeSlotNode());
  void* const deliveryP = node.Call<void*>(7);
  ASSERT_NE(deliveryP, nullptr);
  const Test_SlotTable delivery = TableOf(deliveryP);
  void* resultP = nullptr;
  EXPECT_EQ(Query(delivery, kBufferedDelivery, &resultP), 0);
  EXPECT_EQ(resultP, deliveryP);
  EXPECT_EQ(AddRef(delivery), 3u);
  EXPECT_EQ(Release(delivery), 2u);
  EXPECT_EQ(Release(delivery), 1u);
  Test_WriteToSlotNode();
  void* const noneP = delivery.Call<void*, int64_t, int64_t>(4, 0, 29);
  EXPECT_EQ(noneP, nullptr);
  void* const messageP = delivery.Call<void*, int64_t, int64_t>(4, 30, 30);
  ASSERT_NE(messageP, nullptr);
  EXPECT_EQ(TableOf(messageP).Call<int64_t>(7), 30);
  EXPECT_EQ(Release(TableOf(messageP)), 0u);
  EXPECT_EQ(Release(delivery), 0u);
  Test_DestroySlotNode();
}

TEST(DeliverySlotsTest, IDirectMIDIOutputDeliverySetupHasItsSevenOperationsInOrder) {
  void* const nodeP = Test_MakeSlotNode();
  const Test_SlotTable node = TableOf(nodeP);
  void* resultP = nullptr;
  EXPECT_EQ(Query(node, kDeliverySetup, &resultP), 0);
  EXPECT_EQ(resultP, nodeP);
  EXPECT_EQ(AddRef(node), 1001u);
  EXPECT_EQ(Release(node), 1002u);
  node.Call<void, int32_t>(4, 256);
  EXPECT_EQ(Test_GetSlotNodeState().mAdvanceScheduleRequirement, 256);
  EXPECT_EQ(Test_GetSlotNodeState().mZeroJitterDelay, 0);
  node.Call<void, int32_t>(5, 33);
  EXPECT_EQ(Test_GetSlotNodeState().mAdvanceScheduleRequirement, 256);
  EXPECT_EQ(Test_GetSlotNodeState().mZeroJitterDelay, 33);
  int calls = 0;
  node.Call<void, void*>(6, Test_MakeSlotClient(&calls));
  Test_WriteToSlotNode();
  EXPECT_EQ(calls, 1);
  void* const deliveryP = node.Call<void*>(7);
  Test_WriteToSlotNode();
  EXPECT_EQ(calls, 1) << "writes go to the buffered delivery now";
  EXPECT_EQ(Release(TableOf(deliveryP)), 0u);
  Test_DestroySlotNode();
  Test_DestroySlotClient();
}

TEST(DeliverySlotsTest, IDirectMIDIOutput_DirectDeliveryClientHasItsOperationFirst) {
  int calls = 0;
  const Test_SlotTable client = TableOf(Test_MakeSlotClient(&calls));
  void* const messageP = Test_MakeSlotMessage();
  client.Call<void, void*>(1, messageP);
  EXPECT_EQ(calls, 1);
  Test_DestroySlotMessage();
  Test_DestroySlotClient();
}

#if !defined(MLOX_TEST_CALLS_CHECK_TYPES)
// A client as another compiler would lay it out: a pointer to a table of one entry.
struct ForeignClient {
  void** mTableP;
  int64_t mHeardAt;
};

void ForeignReceive(ForeignClient* ioClientP, void* iMessageP) {
  const Test_SlotTable message = TableOf(iMessageP);
  ioClientP->mHeardAt = message.Call<int64_t>(7);
  Release(message);
}

TEST(DeliverySlotsTest, TheLibraryCallsTheFirstEntryOfAForeignClient) {
  void* table[1] = {reinterpret_cast<void*>(&ForeignReceive)};
  ForeignClient client{table, 0};
  const Test_SlotTable node = TableOf(Test_MakeSlotNode());
  node.Call<void, void*>(6, &client);
  Test_WriteToSlotNode();
  EXPECT_EQ(client.mHeardAt, 30);
  Test_DestroySlotNode();
}

#endif

TEST(DeliverySlotsTest, Mlox_DM_GeneralDeliveryHasDestructorThenWriteEvent) {
  int calls = 0;
  const Test_SlotTable delivery(Test_MakeSlotDirectDelivery(Test_MakeSlotClient(&calls)), 1);
  delivery.Call<void, const void*, const void*, int16_t, const void*>(
      2, Test_SlotTimestamp(), Test_SlotEvent(), 3, Test_SlotContext());
  EXPECT_EQ(calls, 1);
  delivery.Delete();
  Test_DestroySlotClient();
}

TEST(DeliverySlotsTest, Mlox_DM_SortedEventQueueHasItsFiveOperationsInOrder) {
  const Test_SlotTable queue(Test_MakeSlotSortedQueue(), 1);
  void* const eventP = Test_MakeSlotEvent(7);
  EXPECT_EQ(queue.Call<void*>(2), nullptr);
  queue.Call<void, void*, int32_t>(4, eventP, 1);
  EXPECT_EQ(queue.Call<void*>(2), eventP);
  queue.Call<void, void*>(3, eventP);
  EXPECT_EQ(queue.Call<void*>(2), nullptr);
  queue.Call<void, void*, int32_t>(4, eventP, 2);
  queue.Call<void>(5);
  EXPECT_EQ(queue.Call<void*>(2), nullptr);
  queue.Delete();
}

}  // namespace
