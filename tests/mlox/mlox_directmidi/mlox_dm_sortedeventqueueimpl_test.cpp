// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cmn/cmn_assert.h"
#include "mlox/mlox_directmidi/mlox_dm_queuedevent.h"
#include "tests/mlox/mlox_directmidi/call_on_report.h"
#include "tests/mlox/mlox_directmidi/trace_site.h"
#include "tests/support/assert_mode.h"
#include "tests/support/assert_recorder.h"

namespace {

using ::testing::ElementsAre;

Mlox_DM_QueuedEvent EventAt(int64_t iTime) {
  Mlox_DM_QueuedEvent event;
  event.mTimedEvent.mTimestamp = Mdie_Timestamp(Time_Sample(iTime));
  return event;
}

class Mlox_DM_SortedEventQueueTest : public ::testing::Test {
 protected:
  void SetUp() override { mQueueP.reset(NewSortedEventQueue(3)); }

  // What is left in the streams would be reported.
  void TearDown() override {
    if (mQueueP) mQueueP->ClearEvents();
  }

  int64_t PullTime() {
    Mlox_DM_QueuedEvent* const eventP = mQueueP->PeekNextEvent();
    if (eventP == nullptr) return -1000000;
    mQueueP->RemoveHeadEvent(eventP);
    return eventP->mTimedEvent.mTimestamp.AsSample().AsInt64();
  }

  // Events outlive the test's body: the tear-down still finds them in the streams.
  Mlox_DM_QueuedEvent& At(int64_t iTime) { return mEvents.emplace_back(EventAt(iTime)); }

  std::deque<Mlox_DM_QueuedEvent> mEvents;
  std::unique_ptr<Mlox_DM_SortedEventQueue> mQueueP;
};

TEST_F(Mlox_DM_SortedEventQueueTest, AllStreamsEmptyGiveNullAndLeaveTheHeadsNull) {
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
  EXPECT_EQ(mQueueP->ClearEvents(), 0) << "no head was there to be dropped";
}

TEST_F(Mlox_DM_SortedEventQueueTest, TwoStreamsMergeByTime) {
  auto &five = At(5), &six = At(6), &seven = At(7);
  mQueueP->AddEvent(&five, 0);
  mQueueP->AddEvent(&seven, 0);
  mQueueP->AddEvent(&six, 1);
  EXPECT_EQ(PullTime(), 5);
  EXPECT_EQ(PullTime(), 6);
  EXPECT_EQ(PullTime(), 7);
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
}

TEST_F(Mlox_DM_SortedEventQueueTest, OfEqualTimesTheLowestStreamComesFirstWhicheverWasWrittenFirst) {
  auto &low = At(40), &high = At(40);
  mQueueP->AddEvent(&high, 2);
  mQueueP->AddEvent(&low, 0);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &low);
  mQueueP->RemoveHeadEvent(&low);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &high);
  mQueueP->RemoveHeadEvent(&high);

  mQueueP->AddEvent(&low, 0);
  mQueueP->AddEvent(&high, 2);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &low);
  mQueueP->RemoveHeadEvent(&low);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &high);
}

TEST_F(Mlox_DM_SortedEventQueueTest, EqualTimesInOneStreamKeepTheOrderOfWriting) {
  auto &first = At(8), &second = At(8);
  mQueueP->AddEvent(&first, 1);
  mQueueP->AddEvent(&second, 1);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &first);
  mQueueP->RemoveHeadEvent(&first);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &second);
}

TEST_F(Mlox_DM_SortedEventQueueTest, NothingInsideAStreamIsReordered) {
  auto &nine = At(9), &three = At(3), &five = At(5);
  mQueueP->AddEvent(&nine, 0);
  mQueueP->AddEvent(&three, 0);
  EXPECT_EQ(PullTime(), 9);
  EXPECT_EQ(PullTime(), 3);

  mQueueP->AddEvent(&nine, 0);
  mQueueP->AddEvent(&three, 0);
  mQueueP->AddEvent(&five, 1);
  EXPECT_EQ(PullTime(), 5);
  EXPECT_EQ(PullTime(), 9);
  EXPECT_EQ(PullTime(), 3);
}

TEST_F(Mlox_DM_SortedEventQueueTest, AHeadOutOfOrderHoldsBackWhatIsBehindItInItsStreamAlone) {
  auto &nine = At(9), &three = At(3), &ten = At(10);
  mQueueP->AddEvent(&nine, 0);
  mQueueP->AddEvent(&three, 0);
  mQueueP->AddEvent(&ten, 1);
  EXPECT_EQ(PullTime(), 9);
  EXPECT_EQ(PullTime(), 3);
  EXPECT_EQ(PullTime(), 10);
}

TEST_F(Mlox_DM_SortedEventQueueTest, PeekingTwiceGivesTheSameEventUnlessAnEarlierOneArrives) {
  auto &late = At(20), &early = At(10);
  mQueueP->AddEvent(&late, 0);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &late);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &late);
  mQueueP->AddEvent(&early, 1);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &early);
  mQueueP->RemoveHeadEvent(&early);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &late) << "it stayed in its head";
}

TEST_F(Mlox_DM_SortedEventQueueTest, AnEarlierEventBehindAWaitingHeadOfItsStreamIsNotSeen) {
  auto &late = At(20), &early = At(10);
  mQueueP->AddEvent(&late, 0);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &late);
  mQueueP->AddEvent(&early, 0);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &late) << "at most one event of a stream is outside its FIFO";
}

// A FIFO links its elements with the newest first until the reader turns them round, and so the links tell
// what work is left for a later pop.
TEST(Mlox_DM_SortedEventQueueImplTest, TakingInOrdersWhatArrivedInEachStreamAndDoesNoWorkTwice) {
  Mlox_DM_SortedEventQueueImpl queue(2);
  std::array<Mlox_DM_QueuedEvent, 6> events;
  for (std::size_t i = 0; i < events.size(); ++i) events[i] = EventAt(static_cast<int64_t>(10 * i));
  queue.AddEvent(&events[0], 0);
  EXPECT_EQ(queue.PeekNextEvent(), &events[0]);

  for (const std::size_t i : {1u, 2u, 3u}) queue.AddEvent(&events[i], 0);
  for (const std::size_t i : {4u, 5u}) queue.AddEvent(&events[i], 1);
  EXPECT_EQ(events[3].GetNextInChain(), &events[2]) << "as they arrived: the newest points at the one before";
  EXPECT_EQ(events[5].GetNextInChain(), &events[4]);
  queue.TakeIn();
  EXPECT_EQ(events[1].GetNextInChain(), &events[2]);
  EXPECT_EQ(events[2].GetNextInChain(), &events[3]);
  EXPECT_EQ(events[4].GetNextInChain(), &events[5]) << "the streams behind the first as well";

  queue.TakeIn();
  EXPECT_EQ(events[1].GetNextInChain(), &events[2]) << "what is in order isn't touched again";
  EXPECT_EQ(queue.PeekNextEvent(), &events[0]) << "nothing was taken out";
  EXPECT_EQ(queue.ClearEvents(), 6);
}

TEST_F(Mlox_DM_SortedEventQueueTest, ANegativeTimeSortsBeforeZero) {
  auto &zero = At(0), &negative = At(-1);
  mQueueP->AddEvent(&zero, 0);
  mQueueP->AddEvent(&negative, 2);
  EXPECT_EQ(PullTime(), -1);
  EXPECT_EQ(PullTime(), 0);
}

TEST_F(Mlox_DM_SortedEventQueueTest, AnEventOfTheLastStreamBeatsNullHeadsAtLowerIndices) {
  auto& only = At(3);
  mQueueP->AddEvent(&only, 2);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &only);
}

TEST_F(Mlox_DM_SortedEventQueueTest, RemoveOfWhatIsNoHeadReportsAndLeavesTheHeads) {
  Test_AssertRecorder recorder;
  auto &head = At(1), &other = At(2);
  mQueueP->AddEvent(&head, 0);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &head);
  EXPECT_FALSE(Test_IgnoringThrow(false, [&] { return mQueueP->RemoveHeadEvent(&other); }));
  EXPECT_EQ(recorder.Count("it != end(mQueueHeads)"), 1);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &head);
  EXPECT_TRUE(mQueueP->RemoveHeadEvent(&head));
  EXPECT_EQ(recorder.Count("it != end(mQueueHeads)"), 1);
}

TEST_F(Mlox_DM_SortedEventQueueTest, RemoveComparesPointersAndNotTimes) {
  auto &low = At(7), &high = At(7);
  mQueueP->AddEvent(&low, 0);
  mQueueP->AddEvent(&high, 2);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &low);
  EXPECT_TRUE(mQueueP->RemoveHeadEvent(&high));
  EXPECT_EQ(mQueueP->PeekNextEvent(), &low) << "the other head of that time still waits";
  EXPECT_TRUE(mQueueP->RemoveHeadEvent(&low));
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
}

TEST_F(Mlox_DM_SortedEventQueueTest, RemoveOfNullFindsAnEmptyHeadAndReportsOnlyWhenThereIsNone) {
  Test_AssertRecorder recorder;
  mQueueP->AddEvent(&At(1), 0);
  mQueueP->AddEvent(&At(2), 1);
  EXPECT_NE(mQueueP->PeekNextEvent(), nullptr);
  EXPECT_TRUE(mQueueP->RemoveHeadEvent(nullptr)) << "the head of the last stream";
  EXPECT_EQ(recorder.Count(), 0);
  mQueueP->AddEvent(&At(3), 2);
  EXPECT_NE(mQueueP->PeekNextEvent(), nullptr);
  EXPECT_FALSE(Test_IgnoringThrow(false, [&] { return mQueueP->RemoveHeadEvent(nullptr); }));
  EXPECT_EQ(recorder.Count("it != end(mQueueHeads)"), 1);
}

TEST_F(Mlox_DM_SortedEventQueueTest, RemoveOfAnEventStillInItsFifoReports) {
  Test_AssertRecorder recorder;
  auto &first = At(1), &second = At(2);
  mQueueP->AddEvent(&first, 0);
  mQueueP->AddEvent(&second, 0);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &first);
  EXPECT_FALSE(Test_IgnoringThrow(false, [&] { return mQueueP->RemoveHeadEvent(&second); }));
  EXPECT_EQ(recorder.Count("it != end(mQueueHeads)"), 1);
  EXPECT_EQ(PullTime(), 1);
  EXPECT_EQ(PullTime(), 2);
}

TEST_F(Mlox_DM_SortedEventQueueTest, AddAtTheNumberOfStreamsReportsAndQueuesNothing) {
  Test_AssertRecorder recorder;
  auto& event = At(1);
  Test_IgnoringThrow([&] { mQueueP->AddEvent(&event, 3); });
  EXPECT_THAT(recorder.Texts(), ElementsAre("inQueueIndex < mEventQueues.size()"));
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
}

TEST_F(Mlox_DM_SortedEventQueueTest, AddAtANegativeIndexReportsAndQueuesNothing) {
  Test_AssertRecorder recorder;
  auto& event = At(1);
  Test_IgnoringThrow([&] { mQueueP->AddEvent(&event, -1); });
  EXPECT_THAT(recorder.Texts(), ElementsAre("inQueueIndex < mEventQueues.size()"));
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
}

TEST_F(Mlox_DM_SortedEventQueueTest, AddOfNullReportsInElementAloneAndQueuesNothing) {
  Test_AssertRecorder recorder;
  Test_IgnoringThrow([&] { mQueueP->AddEvent(nullptr, 7); });
  EXPECT_THAT(recorder.Texts(), ElementsAre("inElement"));
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
}

TEST_F(Mlox_DM_SortedEventQueueTest, EachOfTheFourReportsIsTracedNamesItsSourceAndUsesTheThrowingForm) {
  Test_AssertRecorder recorder;
  const Test_TraceSite trace(0x4000E0F);
  auto& event = At(1);
  Test_IgnoringThrow([&] { mQueueP->AddEvent(nullptr, 0); });
  Test_IgnoringThrow([&] { mQueueP->AddEvent(&event, 3); });
  Test_IgnoringThrow(false, [&] { return mQueueP->RemoveHeadEvent(&event); });
  mQueueP->AddEvent(&event, 2);
  mQueueP.reset();
  const std::string conditions[] = {"inElement", "inQueueIndex < mEventQueues.size()",
                                    "it != end(mQueueHeads)", "!junk"};
  ASSERT_EQ(recorder.Reports().size(), 4u);
  ASSERT_EQ(trace.sLines.size(), 4u) << "one line each";
  for (std::size_t i = 0; i < 4; ++i) {
    const Test_AssertRecorder::Report report = recorder.Reports()[i];
    EXPECT_EQ(report.mText, conditions[i]);
    EXPECT_EQ(report.mSource, "mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl");
    EXPECT_TRUE(report.mThrowing);
    EXPECT_EQ(trace.sLines[i], "CMN_TRACEASSERT " + conditions[i] +
                                   " mlox/mlox_directmidi/mlox_dm_sortedeventqueueimpl line " +
                                   std::to_string(report.mLine));
  }
}

TEST_F(Mlox_DM_SortedEventQueueTest, AReportOfAnImmediateStampIsNotTraced) {
  Test_AssertRecorder recorder;
  const Test_TraceSite trace(0x4000E0F);
  auto& zero = At(0);
  Mlox_DM_QueuedEvent& immediate = mEvents.emplace_back();
  mQueueP->AddEvent(&zero, 0);
  mQueueP->AddEvent(&immediate, 1);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &zero);
  EXPECT_EQ(recorder.Count("!mIsImmediate"), 1);
  EXPECT_TRUE(trace.sLines.empty());
}

TEST_F(Mlox_DM_SortedEventQueueTest, InThrowModeAnAddThatReportsThrowsAndQueuesNothing) {
  Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  auto& event = At(1);
  EXPECT_THROW(mQueueP->AddEvent(nullptr, 0), Cmn_AssertException);
  EXPECT_THROW(mQueueP->AddEvent(&event, 3), Cmn_AssertException);
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
  EXPECT_EQ(recorder.Texts().size(), 2u) << "both reports came";
}

TEST_F(Mlox_DM_SortedEventQueueTest, AfterClearEventsNothingIsPending) {
  auto &head = At(1), &behind = At(2), &elsewhere = At(3);
  mQueueP->AddEvent(&head, 0);
  mQueueP->AddEvent(&behind, 0);
  mQueueP->AddEvent(&elsewhere, 2);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &head);
  EXPECT_EQ(mQueueP->ClearEvents(), 3) << "two heads and one in a FIFO";
  EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
}

TEST_F(Mlox_DM_SortedEventQueueTest, AnEventDroppedByClearEventsWhilePeekedAtIsNoHeadAnyMoreAndReports) {
  Test_AssertRecorder recorder;
  auto& event = At(1);
  mQueueP->AddEvent(&event, 0);
  Mlox_DM_QueuedEvent* const peekedP = mQueueP->PeekNextEvent();
  EXPECT_EQ(mQueueP->ClearEvents(), 1);
  EXPECT_FALSE(Test_IgnoringThrow(false, [&] { return mQueueP->RemoveHeadEvent(peekedP); }))
      << "the clear has it: it must not be freed as well";
  EXPECT_EQ(recorder.Count("it != end(mQueueHeads)"), 1);
}

// An event without a time doesn't belong here, and is reported when times are compared: there the report
// stands for a clear on another thread.
TEST_F(Mlox_DM_SortedEventQueueTest,
       APeekAnswersWithAnEventThatItComparedThoughAClearTakesThemMeanwhileReport) {
  const Test_AssertMode mode(Cmn_Assert::kReport);
  for (const int64_t time : {1, -1}) {
    auto &timed = At(time), &untimed = mEvents.emplace_back();
    mQueueP->AddEvent(&timed, 0);
    mQueueP->AddEvent(&untimed, 1);
    int cleared = 0;
    const Test_CallOnReport clear([&] { cleared += mQueueP->ClearEvents(); });
    EXPECT_EQ(mQueueP->PeekNextEvent(), time < 0 ? &timed : &untimed);
    EXPECT_EQ(cleared, 2);
    EXPECT_EQ(mQueueP->PeekNextEvent(), nullptr);
  }
}

TEST_F(Mlox_DM_SortedEventQueueTest, DestroyingAQueueWithAnEventInAFifoReportsJunkForEachStream) {
  Test_AssertRecorder recorder;
  auto &one = At(1), &two = At(2), &three = At(3);
  mQueueP->AddEvent(&one, 0);
  mQueueP->AddEvent(&two, 0);
  mQueueP->AddEvent(&three, 1);
  mQueueP.reset();
  EXPECT_THAT(recorder.Texts(), ElementsAre("!junk", "!junk")) << "one for each stream that isn't empty";
}

TEST_F(Mlox_DM_SortedEventQueueTest, DestroyingAQueueInThrowModeReportsJunkAndDoesNotThrow) {
  Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  auto& one = At(1);
  mQueueP->AddEvent(&one, 0);
  mQueueP.reset();
  EXPECT_THAT(recorder.Texts(), ElementsAre("!junk"));
}

TEST_F(Mlox_DM_SortedEventQueueTest, DestroyingAQueueWithAnEventOnlyInAHeadIsSilent) {
  Test_AssertRecorder recorder;
  auto& event = At(1);
  mQueueP->AddEvent(&event, 0);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &event);
  mQueueP.reset();
  EXPECT_TRUE(recorder.Texts().empty());
}

TEST_F(Mlox_DM_SortedEventQueueTest, ComparingAnImmediateStampReportsEachSideAndUsesTheStoredValue) {
  Test_AssertRecorder recorder;
  auto& zero = At(0);
  auto& negative = At(-5);
  Mlox_DM_QueuedEvent& immediate = mEvents.emplace_back();  // immediate, with a stored value of 0
  mQueueP->AddEvent(&negative, 0);
  mQueueP->AddEvent(&immediate, 1);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &negative);
  EXPECT_THAT(recorder.Texts(), ElementsAre("!mIsImmediate")) << "of entry j alone";
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mdie_timestamp");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  mQueueP->RemoveHeadEvent(&negative);
  mQueueP->AddEvent(&zero, 2);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &immediate) << "equal values: the lower stream";
  EXPECT_EQ(recorder.Count("!mIsImmediate"), 2) << "now of the best entry";
}

TEST_F(Mlox_DM_SortedEventQueueTest, TheTimeTypeTakesNoPartInTheComparison) {
  // A stamp can only be built from samples, so the bytes of the type are turned by hand.
  auto &ticks = At(6), &samples = At(7);
  static_assert(sizeof(Mdie_Timestamp) == 24);
  reinterpret_cast<unsigned char*>(&ticks.mTimedEvent.mTimestamp)[16] = 1;
  ASSERT_EQ(ticks.mTimedEvent.mTimestamp.GetTime().GetType(), Time_cTicks);
  mQueueP->AddEvent(&samples, 0);
  mQueueP->AddEvent(&ticks, 1);
  EXPECT_EQ(mQueueP->PeekNextEvent(), &ticks);
}

TEST(Mlox_DM_SortedEventQueueFactoryTest, ANegativeCountThrowsTheToldText) {
  try {
    std::unique_ptr<Mlox_DM_SortedEventQueue> queueP(NewSortedEventQueue(-1));
    FAIL() << "a count of -1 is a huge one";
  } catch (const std::length_error& error) {
    EXPECT_STREQ(error.what(), "vector<T> too long");
  }
}

TEST(Mlox_DM_SortedEventQueueFactoryTest, OneStreamIsEnough) {
  std::unique_ptr<Mlox_DM_SortedEventQueue> queueP(NewSortedEventQueue(1));
  auto event = EventAt(4);
  queueP->AddEvent(&event, 0);
  EXPECT_EQ(queueP->PeekNextEvent(), &event);
  EXPECT_TRUE(queueP->RemoveHeadEvent(&event));
}

TEST(Mlox_DM_SortedEventQueueConcurrencyTest, WritersOnEachStreamAndOneReaderLoseAndReorderNothing) {
  constexpr int kEvents = 20000;
  std::unique_ptr<Mlox_DM_SortedEventQueue> queueP(NewSortedEventQueue(3));
  std::vector<std::vector<Mlox_DM_QueuedEvent>> events(3);
  for (auto& stream : events) {
    for (int i = 0; i < kEvents; ++i) stream.push_back(EventAt(i));
  }
  std::vector<std::thread> writers;
  for (int32_t stream = 0; stream < 3; ++stream) {
    writers.emplace_back([&, stream] {
      for (auto& event : events[static_cast<std::size_t>(stream)]) queueP->AddEvent(&event, stream);
    });
  }
  std::array<int64_t, 3> next{};
  for (int pulled = 0; pulled < 3 * kEvents;) {
    Mlox_DM_QueuedEvent* const eventP = queueP->PeekNextEvent();
    if (eventP == nullptr) {
      std::this_thread::yield();
      continue;
    }
    ASSERT_TRUE(queueP->RemoveHeadEvent(eventP));
    ++pulled;
    std::size_t stream = 0;
    while (eventP < events[stream].data() || eventP >= events[stream].data() + kEvents) ++stream;
    ASSERT_EQ(eventP->mTimedEvent.mTimestamp.AsSample().AsInt64(), next[stream]++);
  }
  for (auto& writer : writers) writer.join();
  EXPECT_EQ(queueP->PeekNextEvent(), nullptr);
}

}  // namespace
