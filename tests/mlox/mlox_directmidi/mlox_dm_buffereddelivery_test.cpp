// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_buffereddelivery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "cmn/cmn_assert.h"
#include "mdid/mdie_systemevents.h"
#include "mlox/mlox_directmidi/mlox_dm_queuedevent.h"
#include "tests/mlox/mlox_directmidi/call_on_report.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/mlox/mlox_directmidi/trace_site.h"
#include "tests/mlox/mlox_directmidi/uncopyable_sysex.h"
#include "tests/support/assert_mode.h"
#include "tests/support/assert_recorder.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kLaterMessage[] = "it != end(mQueueHeads)";
constexpr char kStillHeld[] = "mMessageP->GetInterfaceRefCount() == 0";

Mdie_NoteOnEvent Note(int iPitch) { return Mdie_NoteOnEvent(static_cast<signed char>(iPitch), 100); }

Test_Pulled NoteAt(int64_t iTime, int iPitch) { return {iTime, {0x90, iPitch, 100}}; }

// ---- the record ----

static_assert(sizeof(Mlox_DM_QueuedEvent) <= 136, "a queued event takes at most 136 bytes");
static_assert(std::is_base_of_v<SPSAtomicElementBase, Mlox_DM_QueuedEvent>);
static_assert(offsetof(Mlox_DM_TimedEvent, mTimestamp) == 0);
static_assert(offsetof(Mlox_DM_TimedEvent, mEvent) == sizeof(Mdie_Timestamp),
              "the event lies immediately behind its stamp");

TEST(Mlox_DM_BufferedDeliveryTest, AQueuedEventIsLinkThenTimedEventThenChannel) {
  const Mlox_DM_QueuedEvent event;
  const auto offsetOf = [&event](const void* iMemberP) {
    return static_cast<const char*>(iMemberP) - reinterpret_cast<const char*>(&event);
  };
  EXPECT_EQ(offsetOf(static_cast<const SPSAtomicElementBase*>(&event)), 0);
  EXPECT_EQ(offsetOf(&event.mTimedEvent), 16);
  EXPECT_EQ(offsetOf(&event.mChannel), 120);
  EXPECT_EQ(event.mChannel, 0);
}

// ---- which events a block has ----

TEST(Mlox_DM_BufferedDeliveryTest, APullOnAnEmptyDeliveryIsNullAndStillReadsImmediateEventsFirst) {
  Test_Delivery delivery;
  EXPECT_EQ(delivery->GetNextMessageInSampleRange(0, 63), nullptr);
  delivery.Write(10, Note(1));
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(0, 2), NoteAt(10, 1)));
}

TEST(Mlox_DM_BufferedDeliveryTest, TheRangeIsInclusiveAtBothEnds) {
  Test_Delivery delivery;
  delivery.Write(1000, Note(1));
  delivery.Write(1063, Note(2));
  EXPECT_THAT(delivery.Pull(1000, 1063), ElementsAre(NoteAt(1000, 1), NoteAt(1063, 2)));
}

TEST(Mlox_DM_BufferedDeliveryTest, AnEventBehindTheEndWaitsForALaterRange) {
  Test_Delivery delivery;
  delivery.Write(1064, Note(1));
  EXPECT_EQ(delivery->GetNextMessageInSampleRange(1000, 1063), nullptr);
  EXPECT_EQ(delivery->GetNextMessageInSampleRange(1000, 1063), nullptr);
  EXPECT_THAT(delivery.Pull(1064, 1127), ElementsAre(NoteAt(1064, 1)));
}

TEST(Mlox_DM_BufferedDeliveryTest, ALateEventIsDeliveredNowWithTheTimeOfTheLastMessage) {
  Test_Delivery delivery;
  delivery.Write(100, Note(1));
  EXPECT_THAT(delivery.Pull(0, 127), ElementsAre(NoteAt(100, 1)));
  delivery.Write(500, Note(2));
  EXPECT_THAT(delivery.Pull(1000, 1999), ElementsAre(NoteAt(100, 2))) << "which lies before the block";
}

TEST(Mlox_DM_BufferedDeliveryTest, ALateEventBehindADeliveredOneTakesThatOnesTime) {
  Test_Delivery delivery;
  delivery.Write(1500, Note(1), 0);
  delivery.Write(400, Note(2), 0);  // out of order in its stream
  delivery.Write(1600, Note(3), 0);
  EXPECT_THAT(delivery.Pull(1000, 1999), ElementsAre(NoteAt(1500, 1), NoteAt(1500, 2), NoteAt(1600, 3)))
      << "a late event takes no time back behind the message before it";
}

TEST(Mlox_DM_BufferedDeliveryTest, AJumpBackResetsTheLastTimeToTheStartOfTheRange) {
  Test_Delivery delivery;
  delivery.Write(5000, Note(1));
  EXPECT_THAT(delivery.Pull(4096, 5119), ElementsAre(NoteAt(5000, 1)));
  EXPECT_THAT(delivery.Pull(0, 1023), IsEmpty());
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(1024, 2047), ElementsAre(NoteAt(0, 2))) << "the reset was to 0, the start";
}

TEST(Mlox_DM_BufferedDeliveryTest, AJumpBackIsNoticedOnlyWhenTheLastTimeLiesBehindTheEnd) {
  Test_Delivery delivery;
  delivery.Write(1023, Note(1));
  EXPECT_THAT(delivery.Pull(512, 1023), ElementsAre(NoteAt(1023, 1)));
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(500, 1023), ElementsAre(NoteAt(1023, 2))) << "equal to the end: kept";
  delivery.WriteNow(Note(3));
  EXPECT_THAT(delivery.Pull(500, 1022), ElementsAre(NoteAt(500, 3)));
}

TEST(Mlox_DM_BufferedDeliveryTest, AJumpBackWithoutAStopHoldsLaterEvents) {
  Test_Delivery delivery;
  delivery.Write(9000, Note(1), 0);
  EXPECT_THAT(delivery.Pull(8000, 8063), IsEmpty());
  delivery.Write(10, Note(2), 0);
  EXPECT_THAT(delivery.Pull(0, 63), IsEmpty()) << "it waits behind the later event of its stream";
  EXPECT_THAT(delivery.Pull(9000, 9063), ElementsAre(NoteAt(9000, 1), NoteAt(9000, 2)));
}

TEST(Mlox_DM_BufferedDeliveryTest, ABlockThatCrossesZeroDeliversEverything) {
  Test_Delivery delivery;
  delivery.Write(50, Note(1));
  delivery.Write(100000, Note(2));
  EXPECT_THAT(delivery.Pull(-32, 31), ElementsAre(NoteAt(0, 1), NoteAt(0, 2)))
      << "as unsigned, its start lies behind every time";
}

TEST(Mlox_DM_BufferedDeliveryTest, ABlockBeforeZeroEndsBehindEveryTimeSoThatNoJumpBackIsNoticed) {
  Test_Delivery delivery;
  delivery.Write(100, Note(1));
  EXPECT_THAT(delivery.Pull(64, 127), ElementsAre(NoteAt(100, 1)));
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(-64, -1), ElementsAre(NoteAt(100, 2))) << "as unsigned, -1 is the latest time";
}

TEST(Mlox_DM_BufferedDeliveryTest, ABlockBeforeZeroDeliversItsOwnEventsAtTheirTimesAndReadingThoseReports) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  delivery.Write(-5, Note(1));
  EXPECT_THAT(delivery.Pull(-64, -1), ElementsAre(NoteAt(-5, 1)));
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(-64, -1), ElementsAre(NoteAt(-5, 2)));
  delivery.WriteNow(Note(3));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(0, 3))) << "as unsigned, this is a jump back";
  EXPECT_THAT(recorder.Texts(), ElementsAre("result >= 0", "result >= 0"));
}

TEST(Mlox_DM_BufferedDeliveryTest, ANegativeStampIsNotYetDueAndHoldsBackEverythingUntilAClear) {
  Test_Delivery delivery;
  delivery.Write(-5, Note(1), 1);
  delivery.Write(10, Note(2), 0);
  EXPECT_THAT(delivery.Pull(0, 63), IsEmpty());
  EXPECT_THAT(delivery.Pull(0, std::numeric_limits<int64_t>::max()), IsEmpty());
  delivery->ClearQueues();
  EXPECT_EQ(delivery.Abandoned(), 2u) << "the drain ends at the event that isn't due";
  delivery.Write(20, Note(3), 0);
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(20, 3)));
}

TEST(Mlox_DM_BufferedDeliveryTest, OfEqualTimesTheImmediateContextComesFirstThenPatchThruThenSlightlyEarly) {
  Test_Delivery delivery;
  delivery.Write(30, Note(3), 2);
  delivery.Write(30, Note(2), 1);
  delivery.Write(30, Note(1), 0);
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(30, 1), NoteAt(30, 2), NoteAt(30, 3)));
}

// ---- immediate events ----

TEST(Mlox_DM_BufferedDeliveryTest, ImmediateEventsComeFirstInOrderOfWritingWithTheTimeOfTheLastMessage) {
  Test_Delivery delivery;
  delivery.Write(70, Note(1));
  EXPECT_THAT(delivery.Pull(64, 127), ElementsAre(NoteAt(70, 1)));
  delivery.Write(128, Note(2));
  delivery.WriteNow(Note(3));
  delivery.WriteNow(Note(4));
  EXPECT_THAT(delivery.Pull(128, 191), ElementsAre(NoteAt(70, 3), NoteAt(70, 4), NoteAt(128, 2)));
}

TEST(Mlox_DM_BufferedDeliveryTest, AnImmediateEventWrittenDuringTheTimedPhaseWaitsUntilItHasEndedWithNull) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  delivery.Write(2, Note(2));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));
  delivery.WriteNow(Note(3));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(2, 2));
  EXPECT_EQ(delivery->GetNextMessageInSampleRange(0, 63), nullptr);
  EXPECT_EQ(delivery.PullOne(64, 127), NoteAt(2, 3));
}

TEST(Mlox_DM_BufferedDeliveryTest, TheTimedPhaseAlsoEndsAtAnEventThatIsNotDue) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  delivery.Write(64, Note(2));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));
  delivery.WriteNow(Note(3));
  EXPECT_EQ(delivery->GetNextMessageInSampleRange(0, 63), nullptr);
  EXPECT_THAT(delivery.Pull(64, 127), ElementsAre(NoteAt(1, 3), NoteAt(64, 2)));
}

TEST(Mlox_DM_BufferedDeliveryTest, AnyContextIsFineForAnImmediateWrite) {
  Test_Delivery delivery;
  delivery->WriteEvent(Mdie_Timestamp(), Note(1), 0, Mlox_Manager::Singleton()->GetDefaultOutputContext());
  delivery->WriteEvent(Mdie_Timestamp(), Note(2), 0, Mlox_Manager::Singleton()->CreateOutputContext());
  delivery->WriteEvent(Mdie_Timestamp(), Note(3), 0, Mlox_OutputContextRef());
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(0, 1), NoteAt(0, 2), NoteAt(0, 3)));
}

// ---- events of no message and of several ----

TEST(Mlox_DM_BufferedDeliveryTest, AnEventWithNoMessagesIsSkippedAndFreed) {
  Test_Delivery delivery;
  delivery.WriteNow(Mdie_Event());
  delivery.Write(1, Mdie_Event());
  delivery.Write(2, Note(1));
  EXPECT_EQ(delivery.InUse(), 3u);
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(2, 1)));
  EXPECT_EQ(delivery.InUse(), 0u);
}

TEST(Mlox_DM_BufferedDeliveryTest, ATimedEventOfSeveralMessagesReportsFromTheSecondOnAndDeliversAll) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  delivery.Write(5, Test_BankAndProgram(1, 2, 3), 0, 6);
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(Test_Pulled{5, {0xB6, 0, 1}}, Test_Pulled{5, {0xB6, 0x20, 2}},
                                                Test_Pulled{5, {0xC6, 3}}));
  EXPECT_THAT(recorder.Texts(), ElementsAre(kLaterMessage, kLaterMessage));
  EXPECT_EQ(delivery.InUse(), 0u);
}

TEST(Mlox_DM_BufferedDeliveryTest, AnImmediateEventOfSeveralMessagesReportsFromTheSecondOnToo) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  delivery.WriteNow(Test_BankAndProgram(1, 2, 3), 6);
  EXPECT_THAT(delivery.Pull(10, 63), ElementsAre(Test_Pulled{0, {0xB6, 0, 1}},
                                                 Test_Pulled{0, {0xB6, 0x20, 2}}, Test_Pulled{0, {0xC6, 3}}));
  EXPECT_THAT(recorder.Texts(), ElementsAre(kLaterMessage, kLaterMessage));
  EXPECT_TRUE(recorder.Reports()[0].mThrowing);
  EXPECT_TRUE(recorder.Reports()[0].mRealTime);
}

TEST(Mlox_DM_BufferedDeliveryTest, InThrowModeAPullReportsLaterMessagesAndDoesNotThrow) {
  Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  Test_Delivery delivery;
  delivery.Write(5, Test_BankAndProgram(1, 2, 3));
  EXPECT_EQ(delivery.Pull(0, 63).size(), 3u);
  EXPECT_EQ(recorder.Count(kLaterMessage), 2);
}

TEST(Mlox_DM_BufferedDeliveryTest, InThrowModeAClearReportsLaterMessagesAndDoesNotThrow) {
  Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  Test_Delivery delivery;
  delivery.Write(5, Test_BankAndProgram(1, 2, 3));
  delivery->ClearQueues();
  EXPECT_EQ(recorder.Count(kLaterMessage), 2);
  EXPECT_EQ(delivery.InUse(), 0u);
  delivery.Write(5, Test_BankAndProgram(1, 2, 3));
  delivery.Release();
  EXPECT_EQ(recorder.Count(kLaterMessage), 4) << "the destructor clears too";
  EXPECT_EQ(delivery.InUse(), 0u);
}

TEST(Mlox_DM_BufferedDeliveryTest, ALaterMessageBehindTheEndIsLostWithItsEventWhichIsReportedAsAbandoned) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  delivery.Write(50, Test_BankAndProgram(1, 2, 3));
  EXPECT_EQ(delivery.PullOne(0, 63), (Test_Pulled{50, {0xB0, 0, 1}}));
  EXPECT_EQ(delivery->GetNextMessageInSampleRange(0, 31), nullptr) << "the transport jumped back in between";
  EXPECT_THAT(delivery.Pull(0, 63), IsEmpty()) << "its remaining messages are lost";
  EXPECT_EQ(delivery.InUse(), 1u);
  EXPECT_EQ(delivery.Abandoned(), 1u);
  EXPECT_THAT(recorder.Texts(), IsEmpty()) << "the loss itself isn't reported";
}

// ---- one reader, one message ----

TEST(Mlox_DM_BufferedDeliveryTest, AMessageStaysReadableUntilTheNextPull) {
  Test_Delivery delivery;
  delivery.Write(1, Test_Sysex(200));
  IDirectMIDIMessage* const messageP = delivery->GetNextMessageInSampleRange(0, 63);
  ASSERT_NE(messageP, nullptr);
  messageP->Release();
  EXPECT_EQ(delivery.InUse(), 1u);
  EXPECT_EQ(Test_Read(*messageP), (Test_Pulled{1, Test_SysexBytes(200)}));
  EXPECT_EQ(delivery->GetNextMessageInSampleRange(0, 63), nullptr);
  EXPECT_EQ(delivery.InUse(), 0u);
  EXPECT_EQ(messageP->GetMessageLength(), 0) << "its record was cleared before it was freed";
}

TEST(Mlox_DM_BufferedDeliveryTest, APullWhileTheMessageIsHeldReportsAndTheHeldMessageChanges) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  delivery.Write(2, Note(2));
  IDirectMIDIMessage* const heldP = delivery->GetNextMessageInSampleRange(0, 63);
  ASSERT_NE(heldP, nullptr);
  EXPECT_EQ(Test_Read(*heldP), NoteAt(1, 1));
  IDirectMIDIMessage* const nextP = delivery->GetNextMessageInSampleRange(0, 63);
  EXPECT_EQ(nextP, heldP);
  EXPECT_THAT(recorder.Texts(), ElementsAre(kStillHeld));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_buffereddelivery");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_EQ(Test_Read(*heldP), NoteAt(2, 2));
  heldP->Release();
  nextP->Release();
}

// Each of two threads takes what it can get, and the try-lock lets one in at a time. What was pulled may be
// freed by the other's next pull, so nothing but the count is looked at. A pull reports when the other thread
// hasn't released its message yet; how often that happens, if at all, is up to the scheduler.
TEST(Mlox_DM_BufferedDeliveryTest, ASecondConcurrentPullIsNullAndDisturbsTheFirstByNothingButAReport) {
  Test_Delivery delivery;
  constexpr int kEvents = 30000;
  std::atomic<bool> done{false};
  std::atomic<int> first{0}, second{0};
  std::thread writer([&] {
    for (int i = 0; i < kEvents; ++i) delivery.Write(i, Note(i & 0x7F));
    done = true;
  });
  const auto pull = [&](std::atomic<int>& ioCount) {
    for (;;) {
      const bool finished = done;
      bool any = false;
      if (IDirectMIDIMessage* const messageP = delivery->GetNextMessageInSampleRange(0, kEvents)) {
        messageP->Release();
        ++ioCount;
        any = true;
      }
      if (!any && finished && first + second >= kEvents) return;
      if (!any) std::this_thread::yield();
    }
  };
  Test_AssertRecorder recorder;
  std::thread other([&] { pull(second); });
  pull(first);
  writer.join();
  other.join();
  EXPECT_EQ(first + second, kEvents) << "each event was handed out once";
  EXPECT_EQ(recorder.Count(), recorder.Count(kStillHeld));
}

// ---- writing ----

TEST(Mlox_DM_BufferedDeliveryTest, TheChannelOfTheWriteIsImposedAndMinus1KeepsTheEventsOwn) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1), 0, 9);
  delivery.Write(2, Mdie_SysexPacketEvent(3, std::array<unsigned char, 3>{0x95, 1, 100}.data()), 0, -1);
  EXPECT_THAT(delivery.Pull(0, 63),
              ElementsAre(Test_Pulled{1, {0x99, 1, 100}}, Test_Pulled{2, {0x95, 1, 100}}));
}

TEST(Mlox_DM_BufferedDeliveryTest, TheLowEightBitsOfTheChannelAreImposed) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1), 0, 0x0103);
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(Test_Pulled{1, {0x93, 1, 100}}));
}

TEST(Mlox_DM_BufferedDeliveryTest, ALongSysexIsCopiedWithTheWriteAndFreedWithItsEvent) {
  const auto before = Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse;
  {
    Test_Delivery delivery;
    {
      Mdie_SysexEvent sysex = Test_Sysex(500);
      delivery.Write(1, sysex);
      EXPECT_EQ(Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse, before + 2);
    }
    EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(Test_Pulled{1, Test_SysexBytes(500)}));
    EXPECT_EQ(Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse, before);
  }
}

TEST(Mlox_DM_BufferedDeliveryTest, ALongSysexWhoseCopyFindsNoBlockReportsAndIsNeverPulled) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  Test_UncopyableSysex sysex;
  delivery.Write(1, sysex);
  delivery.WriteNow(sysex);
  EXPECT_THAT(recorder.Texts(), ElementsAre("blockP != nullptr", "blockP != nullptr"));
  delivery.Write(2, Note(2));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(2, 2)));
  EXPECT_EQ(delivery.InUse(), 0u);
}

constexpr std::size_t kSmallPool = 1024 * 1024;

TEST(Mlox_DM_BufferedDeliveryTest, AnEventForWhichThereIsNoBlockIsDroppedWithoutAWord) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery(kSmallPool);
  constexpr uint64_t kWrites = 20000;  // more blocks than such a pool ever has
  for (uint64_t i = 0; i < kWrites; ++i) delivery.WriteNow(Note(1));
  const auto counters = delivery.mAllocator.GetCounters();
  ASSERT_GT(counters.mRefused, 0u);
  EXPECT_EQ(delivery.InUse(), kWrites - counters.mRefused);
  EXPECT_EQ(delivery.Pull(0, 63).size(), kWrites - counters.mRefused);
  EXPECT_EQ(delivery.InUse(), 0u);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(0, 2))) << "nothing else is wrong";
}

TEST(Mlox_DM_BufferedDeliveryTest, AnApplicationsPoolHoldsThousandsOfQueuedEventsBeforeItHasToGrow) {
  Mem2_MasterAllocator allocator;
  auto* const deliveryP = new Mlox_DM_BufferedDelivery(&allocator, nullptr, {});
  deliveryP->AddRef();
  for (int i = 0; i < 4000; ++i) deliveryP->WriteEvent(Mdie_Timestamp(), Note(1), 0, Mlox_OutputContextRef());
  EXPECT_EQ(allocator.GetCounters().mBlocksInUse, 4000u);
  EXPECT_EQ(allocator.GetCounters().mGrownInPlace, 0u);
  deliveryP->Release();
}

TEST(Mlox_DM_BufferedDeliveryTest, ATimedWriteThroughTheDefaultContextReportsAndIsNotQueued) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  const auto context = Mlox_Manager::Singleton()->GetDefaultOutputContext();
  Test_IgnoringThrow([&] { delivery->WriteEvent(Test_At(1), Note(1), 0, context); });
  EXPECT_THAT(delivery.Pull(0, 63), IsEmpty());
  EXPECT_EQ(recorder.Count("it != mOutputContexts.end()"), 1);
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_buffereddelivery");
  EXPECT_TRUE(recorder.Reports()[0].mThrowing);
  EXPECT_EQ(delivery.InUse(), 1u) << "the element isn't freed";
  EXPECT_EQ(delivery.Abandoned(), 1u) << "and that is counted";
  delivery->WriteEvent(Mdie_Timestamp(), Note(2), 0, context);
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(0, 2)))
      << "the same write with an immediate stamp arrives";
}

TEST(Mlox_DM_BufferedDeliveryTest, AReportOfAnUnknownContextIsTracedOnce) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  const Test_TraceSite trace(0x4000E0F);
  Test_IgnoringThrow([&] { delivery->WriteEvent(Test_At(1), Note(1), 0, Mlox_OutputContextRef()); });
  ASSERT_GE(trace.sLines.size(), 1u);
  EXPECT_EQ(Test_WithoutLineNumber(trace.sLines[0]),
            "CMN_TRACEASSERT it != mOutputContexts.end() "
            "mlox/mlox_directmidi/mlox_dm_buffereddelivery line #");
}

TEST(Mlox_DM_BufferedDeliveryTest, ATimedWriteThroughALaterContextReportsBothAssertions) {
  Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kReport);
  Test_Delivery delivery;
  delivery->WriteEvent(Test_At(1), Note(1), 0, Mlox_Manager::Singleton()->CreateOutputContext());
  EXPECT_THAT(recorder.Texts(),
              ElementsAre("it != mOutputContexts.end()", "inQueueIndex < mEventQueues.size()"));
  EXPECT_THAT(delivery.Pull(0, 63), IsEmpty());
}

TEST(Mlox_DM_BufferedDeliveryTest, InThrowModeAWriterThroughAnUnknownContextGetsTheExceptionReportOnce) {
  Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  Test_Delivery delivery;
  EXPECT_THROW(delivery->WriteEvent(Test_At(1), Note(1), 0, Mlox_OutputContextRef()), Cmn_AssertException);
  EXPECT_THAT(recorder.Texts(), ElementsAre("it != mOutputContexts.end()"));
  EXPECT_EQ(delivery.Abandoned(), 1u);
  EXPECT_THAT(delivery.Pull(0, 63), IsEmpty());
}

// ---- clearing ----

TEST(Mlox_DM_BufferedDeliveryTest, AClearFreesEverythingUpToSample262142AndDropsTheRest) {
  Test_Delivery delivery;
  delivery.WriteNow(Note(1));
  delivery.Write(0, Note(2), 0);
  delivery.Write(262142, Note(3), 1);
  delivery.Write(262143, Note(4), 2);
  delivery->ClearQueues();
  EXPECT_THAT(delivery.Pull(0, std::numeric_limits<int64_t>::max()), IsEmpty());
  EXPECT_EQ(delivery.InUse(), 1u) << "the one behind the limit stays allocated";
  EXPECT_EQ(delivery.Abandoned(), 1u);
}

TEST(Mlox_DM_BufferedDeliveryTest, AClearTakesPartInTheTimesThatArePulled) {
  Test_Delivery delivery;
  delivery.Write(200000, Note(1));
  delivery->ClearQueues();
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(262144, 262207), ElementsAre(NoteAt(200000, 2)));
}

TEST(Mlox_DM_BufferedDeliveryTest, AClearBehindSample262142StartsTheTimesAnewFromZero) {
  Test_Delivery delivery;
  delivery.Write(262143, Note(1));
  EXPECT_THAT(delivery.Pull(262080, 262143), ElementsAre(NoteAt(262143, 1)));
  delivery->ClearQueues();
  delivery.WriteNow(Note(2));
  delivery.Write(262100, Note(3));
  EXPECT_THAT(delivery.Pull(262144, 262207), ElementsAre(NoteAt(0, 2), NoteAt(0, 3)))
      << "the range of the drain begins at 0, and to it a last time behind its end is a jump back";
}

TEST(Mlox_DM_BufferedDeliveryTest, AClearAtSample262142KeepsTheLastTime) {
  Test_Delivery delivery;
  delivery.Write(262142, Note(1));
  EXPECT_THAT(delivery.Pull(262080, 262143), ElementsAre(NoteAt(262142, 1)));
  delivery->ClearQueues();
  delivery.WriteNow(Note(2));
  EXPECT_THAT(delivery.Pull(262144, 262207), ElementsAre(NoteAt(262142, 2)));
}

TEST(Mlox_DM_BufferedDeliveryTest, AClearWhileTheMessageIsHeldDropsTimedEventsAndLeavesImmediateOnes) {
  Test_Delivery delivery;
  delivery.Write(1, Test_Sysex(200));
  IDirectMIDIMessage* const heldP = delivery->GetNextMessageInSampleRange(0, 63);
  ASSERT_NE(heldP, nullptr);
  delivery.Write(2, Note(2));
  delivery.WriteNow(Note(3));
  delivery->ClearQueues();
  EXPECT_EQ(Test_Read(*heldP), (Test_Pulled{1, Test_SysexBytes(200)}))
      << "what the plug-in reads isn't freed";
  heldP->Release();
  EXPECT_EQ(delivery.Abandoned(), 1u);
  EXPECT_THAT(delivery.Pull(64, 127), IsEmpty()) << "the timed phase ends first";
  EXPECT_THAT(delivery.Pull(128, 191), ElementsAre(NoteAt(1, 3)));
  EXPECT_EQ(delivery.InUse(), 1u) << "the dropped one";
}

TEST(Mlox_DM_BufferedDeliveryTest, AClearFreesTheEventThatThePullBeforeLeft) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));
  EXPECT_EQ(delivery.InUse(), 1u);
  delivery->ClearQueues();
  EXPECT_EQ(delivery.InUse(), 0u);
}

TEST(Mlox_DM_BufferedDeliveryTest, AfterAClearImmediateEventsComeFirstAgain) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  delivery.Write(2, Note(2));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));  // now in the timed phase
  delivery->ClearQueues();
  delivery.Write(20, Note(3));
  delivery.WriteNow(Note(4));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(2, 4), NoteAt(20, 3)));
}

TEST(Mlox_DM_BufferedDeliveryTest, AClearInTheTimedPhaseEndsWithItAndLeavesImmediateEvents) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  delivery.Write(2, Note(2));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));
  delivery.WriteNow(Note(3));
  delivery->ClearQueues();
  EXPECT_EQ(delivery.InUse(), 1u);
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(2, 3)));
}

// The block of a long sysex belongs to another pool than the event, and is as lost.
TEST(Mlox_DM_BufferedDeliveryTest, ADroppedLongSysexIsCountedByThePoolOfItsBlockTooWhateverIsReported) {
  Test_AssertRecorder recorder;
  const Mem2_MasterAllocator::Counters before = Mem2_MasterAllocator::Shared().GetCounters();
  const auto abandoned = [&before] {
    return Mem2_MasterAllocator::Shared().GetCounters().mAbandoned - before.mAbandoned;
  };
  {
    Test_Delivery delivery;
    delivery.Write(300000, Test_Sysex(200));
    delivery.Write(300000, Test_Sysex(200));
    delivery.Write(300001, Note(1));
    EXPECT_THAT(delivery.Pull(0, 63), IsEmpty()) << "the first is a head now";
    delivery->ClearQueues();
    EXPECT_EQ(abandoned(), 2u) << "a head and one behind it; a note has no block";
    Test_IgnoringThrow(
        [&] { delivery->WriteEvent(Test_At(1), Test_Sysex(200), 0, Mlox_OutputContextRef()); });
    EXPECT_EQ(abandoned(), 3u) << "of a context that isn't known";
    delivery.Write(1, Note(1));
    EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));
    delivery.WriteNow(Test_Sysex(200));
  }
  EXPECT_EQ(abandoned(), 4u) << "left behind by a delivery that died among timed events";
  EXPECT_EQ(Mem2_MasterAllocator::Shared().GetCounters().mBlocksInUse - before.mBlocksInUse, abandoned());
}

// ---- life ----

TEST(Mlox_DM_BufferedDeliveryTest,
     DestroyingADeliveryInTheTimedPhaseReportsImmediateEventsLeftAndAbandonsThem) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));
  delivery.WriteNow(Note(2));
  delivery.WriteNow(Note(3));
  delivery.Release();
  EXPECT_THAT(recorder.Texts(), ElementsAre("!eventQueueImmediateJunk"));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_buffereddelivery");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_EQ(delivery.InUse(), 2u);
  EXPECT_EQ(delivery.Abandoned(), 2u);
}

TEST(Mlox_DM_BufferedDeliveryTest, TheLastReleaseTellsTheOwnerOnceAndFreesWhatIsQueued) {
  Test_Delivery delivery;
  const int32_t live = CQCFUnknown::LiveCount();
  delivery.Write(1, Test_Sysex(200));
  delivery.Write(300000, Note(1));
  delivery.WriteNow(Note(2));
  delivery->AddRef();
  delivery->Release();
  EXPECT_EQ(delivery.mOwner.mReleased, 0);
  delivery.Release();
  EXPECT_EQ(delivery.mOwner.mReleased, 1);
  EXPECT_EQ(CQCFUnknown::LiveCount(), live - 2) << "the delivery and its message";
  EXPECT_EQ(delivery.InUse(), 1u);
  EXPECT_EQ(delivery.Abandoned(), 1u) << "the one behind the limit of the drain";
}

TEST(Mlox_DM_BufferedDeliveryTest, TheOwnerIsToldBeforeTheDeliveryIsDestroyed) {
  class Owner final : public Mlox_DM_BufferedDelivery_Owner {
   public:
    void BufferedDeliveryReleased() override { mLiveWhenTold = CQCFUnknown::LiveCount(); }
    int32_t mLiveWhenTold = 0;
  };
  Mem2_MasterAllocator allocator;
  Owner owner;
  const int32_t live = CQCFUnknown::LiveCount();
  auto* const deliveryP = new Mlox_DM_BufferedDelivery(&allocator, &owner, {});
  deliveryP->AddRef();
  deliveryP->Release();
  EXPECT_EQ(owner.mLiveWhenTold, live + 2) << "the delivery and its message";
  EXPECT_EQ(CQCFUnknown::LiveCount(), live);
}

TEST(Mlox_DM_BufferedDeliveryTest, TheLastReleaseAfterTheOwnerDiedDoesNotTouchTheOwner) {
  Test_Delivery delivery;
  delivery->ClearOwner();
  delivery.Release();
  EXPECT_EQ(delivery.mOwner.mReleased, 0);
}

TEST(Mlox_DM_BufferedDeliveryTest, ADeliveryWithoutAnOwnerEndsQuietly) {
  Mem2_MasterAllocator allocator;
  auto* const deliveryP = new Mlox_DM_BufferedDelivery(&allocator, nullptr, {});
  const int32_t live = CQCFUnknown::LiveCount();
  deliveryP->AddRef();
  EXPECT_EQ(deliveryP->Release(), 0u);
  EXPECT_EQ(CQCFUnknown::LiveCount(), live - 2);
}

TEST(Mlox_DM_BufferedDeliveryTest, DestroyingADeliveryWhoseMessageIsHeldReportsAndDrainsAllTheSame) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  delivery.Write(2, Note(2));
  ASSERT_NE(delivery->GetNextMessageInSampleRange(0, 63), nullptr);
  delivery.Release();
  EXPECT_THAT(recorder.Texts(), ElementsAre(kStillHeld, kStillHeld)) << "one by the drain, one at the end";
  EXPECT_EQ(delivery.InUse(), 0u);
  EXPECT_EQ(delivery.Abandoned(), 0u);
}

// ---- trace lines ----

TEST(Mlox_DM_BufferedDeliveryTest, WithTracingOnAnAllocationAndAFreeWriteOneLineEach) {
  Test_Delivery delivery;
  const Test_TraceSite trace(0x2000F27);
  delivery.Write(1, Note(1));
  ASSERT_EQ(trace.sLines.size(), 1u);
  const std::string& alloc = trace.sLines[0];
  EXPECT_TRUE(alloc.starts_with("Mlox_DM_BufferedDelivery alloc 0x")) << alloc;
  EXPECT_TRUE(alloc.ends_with(" " + std::to_string(sizeof(Mlox_DM_QueuedEvent)))) << alloc;
  const std::string pointer = alloc.substr(31, alloc.rfind(' ') - 31);
  delivery.Pull(0, 63);
  ASSERT_EQ(trace.sLines.size(), 2u);
  EXPECT_EQ(trace.sLines[1], "Mlox_DM_BufferedDelivery free " + pointer);
}

TEST(Mlox_DM_BufferedDeliveryTest, WithTheCategoryOffNothingIsTraced) {
  Test_Delivery delivery;
  const Test_TraceSite trace(0x2000F27);
  Test_TraceSite::sCategoryOn = 0x2000F28;
  delivery.Write(1, Note(1));
  delivery.Pull(0, 63);
  EXPECT_THAT(trace.sLines, IsEmpty());
}

TEST(Mlox_DM_BufferedDeliveryTest, WhatStopsDropForGoodTakesNothingFromWhatMayWait) {
  Test_Delivery delivery(kSmallPool);
  constexpr int kStops = 100;
  constexpr int kAhead = 1000;
  constexpr int64_t kLater = 480000;  // farther than a stop drains
  for (int stop = 0; stop < kStops; ++stop) {
    for (int i = 0; i < kAhead; ++i) delivery.Write(kLater, Note(1));
    delivery->ClearQueues();
  }
  EXPECT_EQ(delivery.Abandoned(), static_cast<uint64_t>(kStops) * kAhead);
  EXPECT_EQ(delivery.mAllocator.GetCounters().mRefused, 0u);
  delivery.Write(1, Note(2));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(1, 2)));
}

TEST(Mlox_DM_BufferedDeliveryTest, TheAllocationIsTracedAlsoWhenThereIsNoBlock) {
  Test_Delivery delivery(kSmallPool);
  for (int i = 0; i < 20000; ++i) delivery.WriteNow(Note(1));
  ASSERT_GT(delivery.mAllocator.GetCounters().mRefused, 0u);
  const Test_TraceSite trace(0x2000F27);
  delivery.WriteNow(Note(1));
  ASSERT_EQ(trace.sLines.size(), 1u);
  EXPECT_TRUE(trace.sLines[0].starts_with("Mlox_DM_BufferedDelivery alloc (nil) ")) << trace.sLines[0];
}

// Where the block that a trace line tells of lies.
Mlox_DM_QueuedEvent* BlockOf(const std::string& iLine) {
  void* blockP = nullptr;
  EXPECT_EQ(std::sscanf(iLine.c_str(), "Mlox_DM_BufferedDelivery alloc %p", &blockP), 1) << iLine;
  return static_cast<Mlox_DM_QueuedEvent*>(blockP);
}

// Writes a timed event and tells where its block lies.
Mlox_DM_QueuedEvent* WriteToKnownBlock(Test_Delivery& ioDelivery, int64_t iSample, const Mdie_Event& iEvent,
                                       std::size_t iContext) {
  const Test_TraceSite trace(0x2000F27);
  ioDelivery.Write(iSample, iEvent, iContext);
  return trace.sLines.empty() ? nullptr : BlockOf(trace.sLines[0]);
}

// The work of a pull is bounded by what has arrived since the pull that ended the block before, however long
// the head of a stream has waited: each such pull leaves the arrivals linked oldest first, ready to be
// popped. (They arrive linked newest first.)
TEST(Mlox_DM_BufferedDeliveryTest, EachBlockOrdersItsOwnArrivalsWhileTheHeadOfTheStreamWaits) {
  Test_Delivery delivery;
  delivery.Write(100000, Note(0));
  EXPECT_THAT(delivery.Pull(0, 63), IsEmpty()) << "this one waits as the head from now on";
  std::vector<const Mlox_DM_QueuedEvent*> written;
  for (int block = 1; block <= 8; ++block) {
    {
      const Test_TraceSite trace(0x2000F27);
      for (int i = 0; i < 5; ++i) delivery.Write(100000 + block, Note(block));
      for (const std::string& line : trace.sLines) written.push_back(BlockOf(line));
    }
    ASSERT_EQ(written.size(), static_cast<std::size_t>(5 * block));
    EXPECT_THAT(delivery.Pull(64 * block, 64 * block + 63), IsEmpty());
    for (std::size_t i = 1; i < written.size(); ++i) {
      EXPECT_EQ(written[i - 1]->GetNextInChain(), written[i]) << "block " << block << ", event " << i;
    }
  }
  EXPECT_EQ(delivery.Pull(99968, 100031).size(), 41u);
}

// The trace line of a freed event is written in the middle of a pull, and so stands for another thread there.
TEST(Mlox_DM_BufferedDeliveryTest, APullInTheMiddleOfAPullIsNullAndDoesNotDisturbIt) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  delivery.Write(2, Note(2));
  delivery.Write(3, Note(3));
  const Test_TraceSite trace(0x2000F27);
  int inner = 0;
  Test_TraceSite::sOnLine = [&] {
    ++inner;
    EXPECT_EQ(delivery->GetNextMessageInSampleRange(0, 63), nullptr);
  };
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(1, 1), NoteAt(2, 2), NoteAt(3, 3)));
  EXPECT_EQ(inner, 3);
}

TEST(Mlox_DM_BufferedDeliveryTest, AClearInTheMiddleOfAPullDropsTimedEventsAndLeavesImmediateOnes) {
  Test_Delivery delivery;
  delivery.Write(1, Note(1));
  EXPECT_EQ(delivery.PullOne(0, 63), NoteAt(1, 1));
  delivery.Write(2, Note(2));
  delivery.Write(3, Note(3), 1);
  delivery.WriteNow(Note(4));
  {
    const Test_TraceSite trace(0x2000F27);
    Test_TraceSite::sOnLine = [&] { delivery->ClearQueues(); };
    EXPECT_EQ(delivery->GetNextMessageInSampleRange(0, 63), nullptr);
  }
  EXPECT_THAT(delivery.Pull(64, 127), ElementsAre(NoteAt(1, 4)));
  EXPECT_EQ(delivery.InUse(), 2u) << "the drain was skipped: the two timed ones stay allocated";
  EXPECT_EQ(delivery.Abandoned(), 2u);
}

// A clear between a pull's look at an event and its taking counts the event as dropped; freed as well, its
// block would belong to two. The report tells that the two have met: one core may need many rounds for that.
TEST(Mlox_DM_BufferedDeliveryTest, AnEventThatAClearDropsUnderAPullIsReportedAndCountedAndNotFreedAsWell) {
  const Test_AssertRecorder recorder;
  for (int round = 0; round < 3000 && recorder.Count() == 0; ++round) {
    Test_Delivery delivery;
    std::atomic<bool> done{false};
    std::thread clearer([&] {
      while (!done) {
        delivery->ClearQueues();
        for (std::atomic<int> rest{20}; rest > 0;) --rest;
      }
    });
    for (int i = 0; i < 5000; ++i) {
      delivery.Write(0, Note(i & 0x7F));
      for (int pull = 0; pull < 2; ++pull) {
        if (IDirectMIDIMessage* const messageP = delivery->GetNextMessageInSampleRange(0, 63))
          messageP->Release();
      }
    }
    done = true;
    clearer.join();
    delivery->ClearQueues();
    ASSERT_EQ(delivery.InUse(), delivery.Abandoned());
  }
  EXPECT_GT(recorder.Count(), 0) << "no clear met a pull";
  EXPECT_EQ(recorder.Count(), recorder.Count(kLaterMessage));
}

// A drain's reports come at once, and here each stands for another thread. An event without a time is
// reported when a pull has looked at the heads and compares their times: a clear takes both away. The other
// report comes when the first message of the event that was chosen is on its way out: the transport jumps
// back, so that the next message lies behind the end of the range.
TEST(Mlox_DM_BufferedDeliveryTest, AnEventThatAClearTakesUnderAPullAndAJumpBackCutsShortIsCountedOnceReport) {
  const Test_AssertMode mode(Cmn_Assert::kReport);
  Test_Delivery delivery;
  Mlox_DM_QueuedEvent* const chosenP = WriteToKnownBlock(delivery, 0, Test_BankAndProgram(1, 2, 3), 0);
  Mlox_DM_QueuedEvent* const untimedP = WriteToKnownBlock(delivery, 0, Note(1), 1);
  ASSERT_TRUE(chosenP != nullptr && untimedP != nullptr);
  untimedP->mTimedEvent.mTimestamp = Mdie_Timestamp();
  int reports = 0;
  {
    const Test_CallOnReport otherThread([&] {
      if (++reports == 1) return delivery->ClearQueues();
      chosenP->mTimedEvent.mTimestamp = Test_At(262143);
    });
    delivery->ClearQueues();
  }
  EXPECT_EQ(reports, 2);
  EXPECT_EQ(delivery.InUse(), 2u);
  EXPECT_EQ(delivery.Abandoned(), 2u)
      << "the clear has counted both, and the event cut short isn't counted anew";
  delivery.Write(1, Note(2));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(1, 2)));
  EXPECT_EQ(delivery.InUse(), 2u) << "the event behind it is freed";
  EXPECT_EQ(delivery.Abandoned(), 2u);
}

// As above, with an event that no pull hands out: what was taken away under it is left alone all the same.
TEST(Mlox_DM_BufferedDeliveryTest, AnEventOfNoMessagesThatAClearTakesUnderAPullIsNotFreedAsWellReport) {
  const Test_AssertMode mode(Cmn_Assert::kReport);
  Test_Delivery delivery;
  delivery.Write(0, Mdie_Event(), 0);
  Mlox_DM_QueuedEvent* const untimedP = WriteToKnownBlock(delivery, 0, Note(1), 1);
  ASSERT_NE(untimedP, nullptr);
  untimedP->mTimedEvent.mTimestamp = Mdie_Timestamp();
  int reports = 0;
  {
    const Test_CallOnReport otherThread([&] {
      if (++reports == 1) delivery->ClearQueues();
    });
    delivery->ClearQueues();
  }
  EXPECT_EQ(reports, 2) << "a time that is none, and an event that is no head any more";
  EXPECT_EQ(delivery.Abandoned(), 2u);
  EXPECT_EQ(delivery.InUse(), 2u)
      << "freed as well, its block would be the next writer's and counted as lost";
  delivery.Write(1, Mdie_Event());
  delivery.Write(2, Note(2));
  EXPECT_THAT(delivery.Pull(0, 63), ElementsAre(NoteAt(2, 2)));
  EXPECT_EQ(delivery.InUse(), 2u) << "the events behind it are freed";
  EXPECT_EQ(delivery.Abandoned(), 2u);
}

// ---- queries ----

TEST(Mlox_DM_BufferedDeliveryTest, QueryInterfaceAnswersForTheDeliveryInterface) {
  Test_Delivery delivery;
  void* resultP = nullptr;
  EXPECT_EQ(delivery->QueryInterface(IDirectMIDIBufferedDelivery::kUID, &resultP), 0);
  EXPECT_EQ(resultP, static_cast<IDirectMIDIBufferedDelivery*>(&*delivery));
  EXPECT_EQ(delivery->Release(), 1u) << "the query took a reference";
}

TEST(Mlox_DM_BufferedDeliveryTest, QueryInterfaceAnswersForTheUnknownWithTheDeliveryInterface) {
  Test_Delivery delivery;
  void* resultP = nullptr;
  EXPECT_EQ(delivery->QueryInterface(IQCFUnknown::kUID, &resultP), 0);
  EXPECT_EQ(resultP, static_cast<IDirectMIDIBufferedDelivery*>(&*delivery));
  EXPECT_EQ(delivery->Release(), 1u);
}

TEST(Mlox_DM_BufferedDeliveryTest, QueryInterfaceAnswersAnyOtherIdWithNull) {
  Test_Delivery delivery;
  void* resultP = &delivery;
  EXPECT_EQ(static_cast<uint32_t>(delivery->QueryInterface(IDirectMIDIMessage::kUID, &resultP)), 0x80000004u);
  EXPECT_EQ(resultP, nullptr);
  EXPECT_EQ(delivery->AddRef(), 2u) << "no reference was taken";
  delivery->Release();
}

TEST(Mlox_DM_BufferedDeliveryTest, QueryInterfaceWithoutAPlaceForTheResultReportsAndAnswersNone) {
  Test_AssertRecorder recorder;
  Test_Delivery delivery;
  EXPECT_EQ(static_cast<uint32_t>(delivery->QueryInterface(IDirectMIDIBufferedDelivery::kUID, nullptr)),
            0x80000004u);
  EXPECT_THAT(recorder.Texts(), ElementsAre("oResultPP"));
  EXPECT_EQ(delivery->AddRef(), 2u) << "no reference was taken";
  delivery->Release();
}

TEST(Mlox_DM_BufferedDeliveryTest, TheInterfaceIdIsTheToldOne) {
  const unsigned char kBytes[16] = {0x65, 0x76, 0x9D, 0xE5, 0x48, 0x2A, 0xD6, 0x11,
                                    0x80, 0x69, 0x00, 0x02, 0x55, 0x20, 0xEA, 0xA6};
  EXPECT_EQ(std::memcmp(&IDirectMIDIBufferedDelivery::kUID, kBytes, 16), 0);
}

}  // namespace
