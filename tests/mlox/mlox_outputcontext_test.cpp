// SPDX-License-Identifier: MIT
#include "mlox/mlox_outputcontext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <utility>
#include <vector>

#include "tests/support/assert_recorder.h"

namespace {

using ::testing::ElementsAre;

constexpr char kCountText[] = "mBatchDeliveryCount > 0";

class Entry : public Mlox_OutputContextBatchDeliveryEntry {
 public:
  Entry(std::vector<int>* iDeliveredP, int iNumber) : mDeliveredP(iDeliveredP), mNumber(iNumber) {}
  void DeliverBatchEntry() override {
    mWasFree = GetListPtr() == nullptr;
    mDeliveredP->push_back(mNumber);
    if (mOnDeliver) mOnDeliver();
  }

  std::function<void()> mOnDeliver;
  bool mWasFree = false;

 private:
  std::vector<int>* mDeliveredP;
  int mNumber;
};

TEST(Mlox_OutputContext, StartsWithoutBatchAndEntries) {
  Mlox_OutputContext context;
  EXPECT_FALSE(context.IsAccumulatingForBatchDelivery());
  for (int index = 1; index < 4; ++index) EXPECT_EQ(context.GetServiceEntry(index), nullptr) << index;
}

TEST(Mlox_OutputContext, TwoStartsAndOneFlushDeliverNothingTheSecondFlushDeliversAllOldestFirst) {
  std::vector<int> delivered;
  Entry first(&delivered, 1), second(&delivered, 2), third(&delivered, 3);
  Mlox_OutputContext context;
  context.StartAccumulatingBatchDelivery();
  context.StartAccumulatingBatchDelivery();
  for (Entry* entryP : {&first, &second, &third}) context.AddBatchDeliveryEntry(entryP);
  context.FlushBatchDelivery();
  EXPECT_TRUE(delivered.empty());
  EXPECT_TRUE(context.IsAccumulatingForBatchDelivery());
  context.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1, 2, 3));
  EXPECT_FALSE(context.IsAccumulatingForBatchDelivery());
}

TEST(Mlox_OutputContext, AnEntryIsOffTheListBeforeItIsCalledAndMayDeleteItself) {
  std::vector<int> delivered;
  bool wasFree = false;
  auto* entryP = new Entry(&delivered, 1);
  entryP->mOnDeliver = [&] {
    wasFree = entryP->mWasFree;
    delete entryP;
  };
  Mlox_OutputContext context;
  context.StartAccumulatingBatchDelivery();
  context.AddBatchDeliveryEntry(entryP);
  context.FlushBatchDelivery();
  EXPECT_TRUE(wasFree);
  EXPECT_THAT(delivered, ElementsAre(1));
}

TEST(Mlox_OutputContext, AnEntryAddedDuringDeliveryIsDeliveredByTheSameFlush) {
  std::vector<int> delivered;
  Mlox_OutputContext context;
  Entry first(&delivered, 1), second(&delivered, 2), late(&delivered, 3);
  first.mOnDeliver = [&] { context.AddBatchDeliveryEntry(&late); };
  context.StartAccumulatingBatchDelivery();
  context.AddBatchDeliveryEntry(&first);
  context.AddBatchDeliveryEntry(&second);
  context.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1, 2, 3));
}

// Which batches are open counts when the flush begins, and not between two deliveries.
TEST(Mlox_OutputContext, ABatchOpenedDuringDeliveryDoesNotStopIt) {
  std::vector<int> delivered;
  Mlox_OutputContext context;
  Entry first(&delivered, 1), second(&delivered, 2), late(&delivered, 3);
  first.mOnDeliver = [&] {
    context.StartAccumulatingBatchDelivery();
    context.AddBatchDeliveryEntry(&late);
  };
  context.StartAccumulatingBatchDelivery();
  context.AddBatchDeliveryEntry(&first);
  context.AddBatchDeliveryEntry(&second);
  context.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1, 2, 3));
  EXPECT_TRUE(context.IsAccumulatingForBatchDelivery());
}

TEST(Mlox_OutputContext, EntriesAddedWithoutABatchStayUntilALaterFlush) {
  std::vector<int> delivered;
  Entry entry(&delivered, 1);
  Mlox_OutputContext context;
  context.AddBatchDeliveryEntry(&entry);
  EXPECT_TRUE(delivered.empty());
  context.StartAccumulatingBatchDelivery();
  context.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1));
}

TEST(Mlox_OutputContext, ANullEntryIsReportedAndIgnored) {
  const Test_AssertRecorder recorder;
  Mlox_OutputContext context;
  context.AddBatchDeliveryEntry(nullptr);
  ASSERT_EQ(recorder.Count(), 1);
  EXPECT_EQ(recorder.Reports()[0].mText, "iEntryP");
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_outputcontext");
  EXPECT_TRUE(recorder.Reports()[0].mFlag);
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST(Mlox_OutputContext, ASurplusFlushIsReportedDeliversNothingAndLeavesMinus1) {
  std::vector<int> delivered;
  Entry entry(&delivered, 1);
  Mlox_OutputContext context;
  context.AddBatchDeliveryEntry(&entry);
  const Test_AssertRecorder recorder;
  context.FlushBatchDelivery();
  EXPECT_EQ(recorder.Count(kCountText), 1);
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_outputcontext");
  EXPECT_TRUE(delivered.empty());
  EXPECT_FALSE(context.IsAccumulatingForBatchDelivery());
  // The count stays at -1: the next start only brings it back to 0, and one more opens a batch.
  context.StartAccumulatingBatchDelivery();
  EXPECT_FALSE(context.IsAccumulatingForBatchDelivery());
  context.StartAccumulatingBatchDelivery();
  EXPECT_TRUE(context.IsAccumulatingForBatchDelivery());
  context.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1));
}

TEST(Mlox_OutputContext, ACopyHasEntriesOfServicesAndCountAndAnEmptyList) {
  std::vector<int> delivered;
  int record = 0;
  Entry entry(&delivered, 1);
  Mlox_OutputContext source;
  source.SetServiceEntry(2, &record);
  source.StartAccumulatingBatchDelivery();
  source.AddBatchDeliveryEntry(&entry);

  Mlox_OutputContext copy(source);
  EXPECT_TRUE(copy.IsAccumulatingForBatchDelivery());
  EXPECT_EQ(copy.GetServiceEntry(2), &record);
  copy.FlushBatchDelivery();
  EXPECT_TRUE(delivered.empty());

  Mlox_OutputContext moved(std::move(source));
  EXPECT_TRUE(moved.IsAccumulatingForBatchDelivery());
  EXPECT_EQ(moved.GetServiceEntry(2), &record);
  moved.FlushBatchDelivery();
  EXPECT_TRUE(delivered.empty());

  // The source has kept its list, after the move too.
  EXPECT_EQ(source.GetServiceEntry(2), &record);
  source.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1));
}

TEST(Mlox_OutputContext, AssigningTakesEntriesOfServicesAndCountAndLeavesTheList) {
  std::vector<int> delivered;
  int record = 0;
  Entry own(&delivered, 1), others(&delivered, 2);
  Mlox_OutputContext source;
  source.SetServiceEntry(3, &record);
  source.StartAccumulatingBatchDelivery();
  source.AddBatchDeliveryEntry(&others);

  Mlox_OutputContext target;
  target.AddBatchDeliveryEntry(&own);
  target = source;
  EXPECT_EQ(target.GetServiceEntry(3), &record);
  target.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1));

  Mlox_OutputContext moveTarget;
  moveTarget = std::move(source);
  EXPECT_TRUE(moveTarget.IsAccumulatingForBatchDelivery());
  EXPECT_EQ(moveTarget.GetServiceEntry(3), &record);
  moveTarget.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1));

  // The source is as it was, after the move too.
  EXPECT_EQ(source.GetServiceEntry(3), &record);
  source.FlushBatchDelivery();
  EXPECT_THAT(delivered, ElementsAre(1, 2));
}

TEST(Mlox_OutputContext, DestructionFreesTheEntriesThatAreLeftAndDeletesNone) {
  std::vector<int> delivered;
  Entry entry(&delivered, 1);
  {
    Mlox_OutputContext context;
    context.AddBatchDeliveryEntry(&entry);
    EXPECT_NE(entry.GetListPtr(), nullptr);
  }
  EXPECT_EQ(entry.GetListPtr(), nullptr);
  EXPECT_TRUE(delivered.empty());
}

TEST(Mlox_OutputContext, IndicesOutside1To3AreReportedAndHaveNoEntry) {
  int record = 0;
  Mlox_OutputContext context;
  for (const int index : {-1, 0, 4}) {
    const Test_AssertRecorder recorder;
    context.SetServiceEntry(index, &record);
    EXPECT_EQ(context.GetServiceEntry(index), nullptr) << index;
    EXPECT_EQ(recorder.Count(), 2) << index;
  }
}

// The option is read when the library is loaded, so each value needs a process of its own.
class Mlox_OutputContextDeathTest : public ::testing::Test {
 protected:
  Mlox_OutputContextDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
  ~Mlox_OutputContextDeathTest() override { unsetenv("MLOX_DisableBatchDelivery"); }

  // 0 if batches do nothing at all, else the number of the expectation that failed.
  static int CheckThatBatchesDoNothing() {
    std::vector<int> delivered;
    Entry entry(&delivered, 1);
    Mlox_OutputContext context;
    context.StartAccumulatingBatchDelivery();
    if (context.IsAccumulatingForBatchDelivery()) return 1;
    context.AddBatchDeliveryEntry(&entry);
    const Test_AssertRecorder recorder;
    context.FlushBatchDelivery();
    if (recorder.Count() != 0) return 2;
    if (!delivered.empty()) return 3;
    if (entry.GetListPtr() == nullptr) return 4;
    return 0;
  }
};

TEST_F(Mlox_OutputContextDeathTest, WithDisableBatchDeliveryBatchesDoNothingAndEntriesStayOnTheList) {
  setenv("MLOX_DisableBatchDelivery", "1", 1);
  EXPECT_EXIT(std::exit(CheckThatBatchesDoNothing()), ::testing::ExitedWithCode(0), "");
}

TEST_F(Mlox_OutputContextDeathTest, WithoutTheOptionTheSameCheckFindsBatchesAtWork) {
  setenv("MLOX_DisableBatchDelivery", "0", 1);
  EXPECT_EXIT(std::exit(CheckThatBatchesDoNothing()), ::testing::ExitedWithCode(1), "");
}

}  // namespace
