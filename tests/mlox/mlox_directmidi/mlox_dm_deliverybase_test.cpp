// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmidi/mlox_dm_deliverybase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "cmn/sys_clock.h"
#include "cmn/sys_delayeddeletion.h"
#include "mlox/mlox_directmidi/mlox_dm_service.h"
#include "mlox/mlox_manager_listener.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/mlox/mlox_directmidi/direct_client.h"
#include "tests/support/assert_mode.h"
#include "tests/support/assert_recorder.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A node with nothing but its delivery. Its own references don't count.
class Node final : public Mlox_DM_DeliveryBase {
 public:
  using Mlox_DM_DeliveryBase::Mlox_DM_DeliveryBase;
  int32_t QueryInterface(const _qcfUID&, void** oResultP) override {
    *oResultP = nullptr;
    return kQCF_NoInterface;
  }
  uint32_t AddRef() override { return 1; }
  uint32_t Release() override { return 1; }

  /// A write as an output makes it.
  void Write(const Mdie_Timestamp& iTimestamp, const Mdie_Event& iEvent) {
    const Writing writing(*this);
    if (Mlox_DM_GeneralDelivery* const deliveryP = writing.GetCurrentDelivery()) {
      deliveryP->WriteEvent(iTimestamp, iEvent, 0, Mlox_Manager::Singleton()->GetImmediateOutputContext());
    }
  }
  void WriteNote(int iPitch) { Write(Test_At(10), Mdie_NoteOnEvent(static_cast<signed char>(iPitch), 100)); }
};

Test_Pulled NoteAt10(int iPitch) { return {10, {0x90, iPitch, 100}}; }

class PreSendListener final : public Mlox_Manager_Listener {
 public:
  void Mlox_Manager_OutputPreSendChanged() override { ++mCalls; }
  int mCalls = 0;
};

// A client that says when it dies can't be had: the delivery is what dies. It is seen by the count of what is
// pending.
class Mlox_DM_DeliveryBaseTest : public ::testing::Test {
 protected:
  Mlox_DM_DeliveryBaseTest()
      : mService(nullptr, &mAllocator, nullptr), mNodeP(std::make_unique<Node>(&mService)) {
    RunDelayedDeletion();
  }
  ~Mlox_DM_DeliveryBaseTest() override {
    mNodeP.reset();
    RunDelayedDeletion();
  }

  // Two passes, more than a second on.
  static void RunDelayedDeletion() {
    static int64_t sLater = 0;
    sLater += 10000000;
    Sys_Clock::SetSourceForTest([] { return sRealStart + sLater; });
    Sys_DelayedDeletion::RunPass();
    Sys_DelayedDeletion::RunPass();
    Sys_Clock::SetSourceForTest(nullptr);
  }
  static inline const int64_t sRealStart = Sys_Clock::Microseconds();

  uint64_t InUse() const { return mAllocator.GetCounters().mBlocksInUse; }

  Mem2_MasterAllocator mAllocator;
  Mlox_DM_Service mService;
  std::unique_ptr<Node> mNodeP;
};

TEST_F(Mlox_DM_DeliveryBaseTest, AtFirstWritesGoNowhereAndBothNumbersAre0) {
  Test_AssertRecorder recorder;
  EXPECT_EQ(mNodeP->GetCurrentDelivery(), nullptr);
  EXPECT_EQ(mNodeP->GetAdvanceScheduleRequirement(), 0);
  EXPECT_EQ(mNodeP->GetZeroJitterDelay(), 0);
  mNodeP->WriteNote(60);
  EXPECT_THAT(recorder.Texts(), IsEmpty()) << "a write with no delivery is dropped without a report";
  EXPECT_EQ(InUse(), 0u);
}

TEST_F(Mlox_DM_DeliveryBaseTest, TheNumbersAreStoredAndMarkPreSendAsChangedWithoutTellingAnybodyYet) {
  Mlox_Manager::Singleton()->CheckStudioSetup();
  PreSendListener listener;
  Mlox_Manager::Singleton()->AddListener(&listener);
  mNodeP->SetAdvanceScheduleRequirement(512);
  EXPECT_EQ(mNodeP->GetAdvanceScheduleRequirement(), 512);
  EXPECT_EQ(listener.mCalls, 0);
  Mlox_Manager::Singleton()->CheckStudioSetup();
  EXPECT_EQ(listener.mCalls, 1);
  mNodeP->SetZeroJitterDelay(-7);
  EXPECT_EQ(mNodeP->GetZeroJitterDelay(), -7);
  EXPECT_EQ(listener.mCalls, 1);
  Mlox_Manager::Singleton()->CheckStudioSetup();
  EXPECT_EQ(listener.mCalls, 2);
}

TEST_F(Mlox_DM_DeliveryBaseTest, ANumberThatIsSetAgainMarksPreSendAsChangedAgainAndANegativeOneIsStored) {
  const auto isMarked = [] {
    PreSendListener listener;
    Mlox_Manager::Singleton()->AddListener(&listener);
    Mlox_Manager::Singleton()->CheckStudioSetup();
    return listener.mCalls == 1;
  };
  mNodeP->SetAdvanceScheduleRequirement(-3);
  mNodeP->SetZeroJitterDelay(-7);
  EXPECT_EQ(mNodeP->GetAdvanceScheduleRequirement(), -3);
  EXPECT_TRUE(isMarked());
  EXPECT_FALSE(isMarked());
  mNodeP->SetAdvanceScheduleRequirement(-3);
  EXPECT_TRUE(isMarked());
  mNodeP->SetZeroJitterDelay(-7);
  EXPECT_TRUE(isMarked());
}

TEST_F(Mlox_DM_DeliveryBaseTest, SetBufferedDeliveryGivesOneReferenceAndTakesWrites) {
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  ASSERT_NE(deliveryP, nullptr);
  mNodeP->WriteNote(60);
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(60)));
  EXPECT_EQ(deliveryP->Release(), 0u);
  EXPECT_EQ(mNodeP->GetCurrentDelivery(), nullptr);
}

TEST_F(Mlox_DM_DeliveryBaseTest, ItsThreeStreamsAreImmediatePatchThruAndSlightlyEarlyInThisOrder) {
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  Mlox_Manager* const managerP = Mlox_Manager::Singleton();
  Mlox_DM_GeneralDelivery* const sinkP = mNodeP->GetCurrentDelivery();
  sinkP->WriteEvent(Test_At(10), Mdie_NoteOnEvent(3, 100), 0, managerP->GetSlightlyEarlyPlayerContext());
  sinkP->WriteEvent(Test_At(10), Mdie_NoteOnEvent(2, 100), 0, managerP->GetPatchThruContext());
  sinkP->WriteEvent(Test_At(10), Mdie_NoteOnEvent(1, 100), 0, managerP->GetImmediateOutputContext());
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(1), NoteAt10(2), NoteAt10(3)));
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest, ItHasNoStreamForTheDefaultContextNorForALaterOneReport) {
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  Mlox_Manager* const managerP = Mlox_Manager::Singleton();
  for (const Mlox_OutputContextRef context :
       {managerP->GetDefaultOutputContext(), managerP->CreateOutputContext()}) {
    Test_AssertRecorder recorder;
    Test_IgnoringThrow(
        [&] { mNodeP->GetCurrentDelivery()->WriteEvent(Test_At(10), Mdie_NoteOnEvent(1, 100), 0, context); });
    EXPECT_EQ(recorder.Count("it != mOutputContexts.end()"), 1);
    EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), IsEmpty());
  }
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest, SetBufferedDeliveryTwiceWritesToTheSecondAndTheFirstStaysValidForPulls) {
  IDirectMIDIBufferedDelivery* const firstP = mNodeP->SetBufferedDelivery();
  mNodeP->WriteNote(1);
  IDirectMIDIBufferedDelivery* const secondP = mNodeP->SetBufferedDelivery();
  mNodeP->WriteNote(2);
  EXPECT_THAT(Test_PullBlock(*firstP, 0, 63), ElementsAre(NoteAt10(1)));
  EXPECT_THAT(Test_PullBlock(*secondP, 0, 63), ElementsAre(NoteAt10(2)));
  firstP->Release();
  mNodeP->WriteNote(3);
  EXPECT_THAT(Test_PullBlock(*secondP, 0, 63), IsEmpty())
      << "the first one's release ended writes to the second";
  EXPECT_EQ(mNodeP->GetCurrentDelivery(), nullptr);
  secondP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest, BufferedDeliveryReleasedStopsTheWritesToABufferedDeliveryAndLeavesItsQueue) {
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  mNodeP->WriteNote(1);
  mNodeP->BufferedDeliveryReleased();
  EXPECT_EQ(mNodeP->GetCurrentDelivery(), nullptr);
  mNodeP->WriteNote(2);
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(1)));
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest,
       BufferedDeliveryReleasedStopsTheWritesToADirectDeliveryTooUntilOneIsSetAgain) {
  Test_DirectClient client;
  mNodeP->SetDirectDelivery(&client);
  mNodeP->BufferedDeliveryReleased();
  EXPECT_EQ(mNodeP->GetCurrentDelivery(), nullptr);
  mNodeP->WriteNote(1);
  mNodeP->SetDirectDelivery(&client);
  mNodeP->WriteNote(2);
  EXPECT_THAT(client.mPulled, ElementsAre(NoteAt10(2)));
}

TEST_F(Mlox_DM_DeliveryBaseTest, ReleasingABufferedDeliveryStopsADirectOneThatWasSetLater) {
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  Test_DirectClient client;
  mNodeP->SetDirectDelivery(&client);
  mNodeP->WriteNote(1);
  deliveryP->Release();
  mNodeP->WriteNote(2);
  EXPECT_THAT(client.mPulled, ElementsAre(NoteAt10(1)))
      << "it still exists and gets no writes: kept on purpose";
}

TEST_F(Mlox_DM_DeliveryBaseTest, SetDirectDeliveryNullAfterSetBufferedDeliveryStopsWritesAndPullsStayValid) {
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  mNodeP->WriteNote(1);
  mNodeP->SetDirectDelivery(nullptr);
  mNodeP->WriteNote(2);
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(1)));
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest, SetDirectDeliveryReplacesTheClient) {
  Test_DirectClient first, second;
  mNodeP->SetDirectDelivery(&first);
  mNodeP->WriteNote(1);
  mNodeP->SetDirectDelivery(&second);
  mNodeP->WriteNote(2);
  mNodeP->SetDirectDelivery(nullptr);
  mNodeP->WriteNote(3);
  EXPECT_THAT(first.mPulled, ElementsAre(NoteAt10(1)));
  EXPECT_THAT(second.mPulled, ElementsAre(NoteAt10(2)));
}

TEST_F(Mlox_DM_DeliveryBaseTest, SettingTheSameClientAgainTurnsTheWritesBackToIt) {
  Test_DirectClient client;
  mNodeP->SetDirectDelivery(&client);
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  mNodeP->SetDirectDelivery(&client);
  mNodeP->WriteNote(1);
  EXPECT_THAT(client.mPulled, ElementsAre(NoteAt10(1)));
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), IsEmpty());
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest, ABufferedDeliverySetAfterADirectOneGetsTheWrites) {
  Test_DirectClient client;
  mNodeP->SetDirectDelivery(&client);
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  mNodeP->WriteNote(1);
  EXPECT_THAT(client.mPulled, IsEmpty());
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(1)));
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest, WithNoServiceSetBufferedDeliveryReportsAndIsNull) {
  Test_AssertRecorder recorder;
  Node node(nullptr);
  EXPECT_EQ(node.SetBufferedDelivery(), nullptr);
  EXPECT_THAT(recorder.Texts(), ElementsAre("mServiceP"));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmidi/mlox_dm_deliverybase");
}

TEST_F(Mlox_DM_DeliveryBaseTest, AfterTheServiceIsGoneSetBufferedDeliveryReportsAndLeavesTheDeliveryAsItIs) {
  Test_AssertRecorder recorder;
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  mNodeP->SetDeliveryService(nullptr);
  EXPECT_EQ(mNodeP->SetBufferedDelivery(), nullptr);
  EXPECT_THAT(recorder.Texts(), ElementsAre("mServiceP"));
  mNodeP->WriteNote(1);
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(1)));
  deliveryP->Release();
}

// ---- who outlives whom ----

TEST_F(Mlox_DM_DeliveryBaseTest, AnOwnerDestroyedBeforeItsBufferedDeliveryIsNotCalledByTheLaterRelease) {
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  mNodeP->WriteNote(1);
  mNodeP.reset();
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(1))) << "the delivery survives alone";
  EXPECT_EQ(deliveryP->Release(), 0u);
  EXPECT_EQ(InUse(), 0u);
}

TEST_F(Mlox_DM_DeliveryBaseTest, EveryDeliveryOfADestroyedOwnerLosesItNotTheLastOneAlone) {
  IDirectMIDIBufferedDelivery* const firstP = mNodeP->SetBufferedDelivery();
  IDirectMIDIBufferedDelivery* const secondP = mNodeP->SetBufferedDelivery();
  IDirectMIDIBufferedDelivery* const thirdP = mNodeP->SetBufferedDelivery();
  secondP->Release();
  IDirectMIDIBufferedDelivery* const fourthP = mNodeP->SetBufferedDelivery();
  mNodeP.reset();
  EXPECT_FALSE(static_cast<Mlox_DM_BufferedDelivery*>(firstP)->HasOwner());
  EXPECT_FALSE(static_cast<Mlox_DM_BufferedDelivery*>(thirdP)->HasOwner());
  EXPECT_FALSE(static_cast<Mlox_DM_BufferedDelivery*>(fourthP)->HasOwner());
  EXPECT_EQ(firstP->Release(), 0u);
  EXPECT_EQ(thirdP->Release(), 0u);
  EXPECT_EQ(fourthP->Release(), 0u);
}

TEST_F(Mlox_DM_DeliveryBaseTest, TheLastReleaseOnAnotherThreadMayMeetTheOwnersDestruction) {
  for (int round = 0; round < 500; ++round) {
    auto nodeP = std::make_unique<Node>(&mService);
    IDirectMIDIBufferedDelivery* const firstP = nodeP->SetBufferedDelivery();
    IDirectMIDIBufferedDelivery* const secondP = nodeP->SetBufferedDelivery();
    nodeP->WriteNote(1);
    std::atomic<bool> go{false};
    std::thread releaser([&] {
      while (!go) std::this_thread::yield();
      EXPECT_EQ(firstP->Release(), 0u);
      EXPECT_EQ(secondP->Release(), 0u);
    });
    go = true;
    nodeP.reset();
    releaser.join();
  }
  RunDelayedDeletion();
  EXPECT_EQ(InUse(), 0u) << "each delivery was destroyed, at once or by the pass";
}

// ---- letting go ----

TEST_F(Mlox_DM_DeliveryBaseTest, ADeliveryLetGoWithNobodyInsideIsDestroyedAtOnce) {
  const int32_t live = CQCFUnknown::LiveCount();
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  EXPECT_EQ(CQCFUnknown::LiveCount(), live + 2);
  deliveryP->Release();
  EXPECT_EQ(CQCFUnknown::LiveCount(), live);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
}

TEST_F(Mlox_DM_DeliveryBaseTest, AWriteThatThrowsItsReportLeavesNobodyInside) {
  const Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  const int32_t live = CQCFUnknown::LiveCount();
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  const auto writeToNoStream = [&] {
    const Mlox_DM_DeliveryBase::Writing outer(*mNodeP);
    const Mlox_DM_DeliveryBase::Writing writing(*mNodeP);
    writing.GetCurrentDelivery()->WriteEvent(Test_At(1), Mdie_NoteOnEvent(60, 100), 0,
                                             Mlox_OutputContextRef());
  };
  EXPECT_THROW(writeToNoStream(), Cmn_AssertException);
  EXPECT_EQ(recorder.Count("it != mOutputContexts.end()"), 1);
  // With somebody left inside it would wait for the pass, and for ever.
  deliveryP->Release();
  EXPECT_EQ(CQCFUnknown::LiveCount(), live) << "destroyed at once";
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
}

TEST_F(Mlox_DM_DeliveryBaseTest, ABufferedDeliveryLetGoDuringAWriteIsDestroyedByThePassOnceTheWriteHasEnded) {
  const int32_t live = CQCFUnknown::LiveCount();
  IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
  {
    const Mlox_DM_DeliveryBase::Writing writing(*mNodeP);
    ASSERT_NE(writing.GetCurrentDelivery(), nullptr);
    EXPECT_EQ(deliveryP->Release(), 0u) << "nobody waits";
    for (int pass = 0; pass < 10; ++pass) RunDelayedDeletion();
    EXPECT_EQ(CQCFUnknown::LiveCount(), live + 2) << "not while the writer is held inside";
    writing.GetCurrentDelivery()->WriteEvent(Test_At(1), Mdie_NoteOnEvent(60, 100), 0,
                                             Mlox_Manager::Singleton()->GetImmediateOutputContext());
    EXPECT_EQ(InUse(), 1u);
  }
  RunDelayedDeletion();
  EXPECT_EQ(CQCFUnknown::LiveCount(), live);
  EXPECT_EQ(InUse(), 0u) << "what the late writer left was freed";
}

TEST_F(Mlox_DM_DeliveryBaseTest, AnEarlierDeliveryLetGoDuringAWriteWaitsForThePassToo) {
  const int32_t live = CQCFUnknown::LiveCount();
  IDirectMIDIBufferedDelivery* const firstP = mNodeP->SetBufferedDelivery();
  {
    const Mlox_DM_DeliveryBase::Writing writing(*mNodeP);
    IDirectMIDIBufferedDelivery* const secondP = mNodeP->SetBufferedDelivery();
    firstP->Release();
    secondP->Release();
    EXPECT_EQ(CQCFUnknown::LiveCount(), live + 4);
    writing.GetCurrentDelivery()->WriteEvent(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100), 0,
                                             Mlox_OutputContextRef());
  }
  RunDelayedDeletion();
  EXPECT_EQ(CQCFUnknown::LiveCount(), live);
}

TEST_F(Mlox_DM_DeliveryBaseTest, AClientMayReplaceItselfInsideItsOwnCall) {
  Test_DirectClient first, second;
  first.mOnCall = [&](IDirectMIDIMessage*) { mNodeP->SetDirectDelivery(&second); };
  mNodeP->SetDirectDelivery(&first);
  mNodeP->Write(Test_At(10), Test_BankAndProgram(1, 2, 3));
  mNodeP->WriteNote(4);
  EXPECT_EQ(first.mPulled.size(), 3u) << "an event is finished with the client that it began with";
  EXPECT_THAT(second.mPulled, ElementsAre(NoteAt10(4)));
  EXPECT_GT(Sys_DelayedDeletion::PendingCount(), 0u);
  RunDelayedDeletion();
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u);
}

TEST_F(Mlox_DM_DeliveryBaseTest, AClientMaySetNoDeliveryInsideItsOwnCall) {
  Test_DirectClient client;
  client.mOnCall = [&](IDirectMIDIMessage*) { mNodeP->SetDirectDelivery(nullptr); };
  mNodeP->SetDirectDelivery(&client);
  mNodeP->WriteNote(1);
  mNodeP->WriteNote(2);
  EXPECT_THAT(client.mPulled, ElementsAre(NoteAt10(1)));
}

TEST_F(Mlox_DM_DeliveryBaseTest, AClientMaySetABufferedDeliveryInsideItsOwnCall) {
  Test_DirectClient client;
  IDirectMIDIBufferedDelivery* deliveryP = nullptr;
  client.mOnCall = [&](IDirectMIDIMessage*) { deliveryP = mNodeP->SetBufferedDelivery(); };
  mNodeP->SetDirectDelivery(&client);
  mNodeP->WriteNote(1);
  EXPECT_EQ(Sys_DelayedDeletion::PendingCount(), 0u) << "the direct one wasn't let go: it stays, idle";
  mNodeP->WriteNote(2);
  EXPECT_THAT(client.mPulled, ElementsAre(NoteAt10(1)));
  ASSERT_NE(deliveryP, nullptr);
  EXPECT_THAT(Test_PullBlock(*deliveryP, 0, 63), ElementsAre(NoteAt10(2)));
  deliveryP->Release();
}

TEST_F(Mlox_DM_DeliveryBaseTest, AClientMayReleaseTheNodeInsideItsOwnCall) {
  Test_DirectClient client;
  client.mOnCall = [&](IDirectMIDIMessage*) { mNodeP.reset(); };
  mNodeP->SetDirectDelivery(&client);
  Node& node = *mNodeP;
  {
    const Mlox_DM_DeliveryBase::Writing writing(node);
    writing.GetCurrentDelivery()->WriteEvent(Test_At(10), Mdie_NoteOnEvent(1, 100), 0,
                                             Mlox_OutputContextRef());
  }
  EXPECT_THAT(client.mPulled, ElementsAre(NoteAt10(1)));
}

TEST_F(Mlox_DM_DeliveryBaseTest, DestroyingANodeDestroysItsDirectDelivery) {
  Test_DirectClient client;
  mNodeP->SetDirectDelivery(&client);
  mNodeP.reset();
  EXPECT_LE(Sys_DelayedDeletion::PendingCount(), 1u) << "the shared state alone may be left";
  EXPECT_THAT(client.mPulled, IsEmpty());
}

TEST_F(Mlox_DM_DeliveryBaseTest, WritersMeetChangesOfDeliveryWithoutLosingTheirObject) {
  std::atomic<bool> stop{false};
  std::atomic<int> written{0};
  Test_DirectClient client;
  client.mKeepsWhatItReads = false;
  std::vector<std::thread> writers;
  for (int i = 0; i < 2; ++i) {
    writers.emplace_back([&] {
      while (!stop) {
        mNodeP->Write(Mdie_Timestamp(), Mdie_NoteOnEvent(60, 100));
        ++written;
      }
    });
  }
  for (int change = 0; change < 300; ++change) {
    const int before = written;
    IDirectMIDIBufferedDelivery* const deliveryP = mNodeP->SetBufferedDelivery();
    while (written < before + 4) std::this_thread::yield();
    // Not until null: the writers may well be faster.
    for (int pull = 0; pull < 4; ++pull) {
      if (IDirectMIDIMessage* const messageP = deliveryP->GetNextMessageInSampleRange(0, 63))
        messageP->Release();
    }
    if (change % 2 == 0) mNodeP->SetDirectDelivery(&client);
    deliveryP->Release();
    if (change % 3 == 0) mNodeP->SetDirectDelivery(nullptr);
  }
  stop = true;
  for (auto& writer : writers) writer.join();
  RunDelayedDeletion();
  EXPECT_EQ(InUse(), mAllocator.GetCounters().mAbandoned);
}

}  // namespace
