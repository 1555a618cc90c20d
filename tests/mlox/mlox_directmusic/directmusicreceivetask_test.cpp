// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/directmusicreceivetask.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "mlox/mlox_directmusic/directmusicreceivers.h"
#include "tests/mlox/mlox_directmusic/client_fixture.h"
#include "tests/mlox/mlox_directmusic/receive_support.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Access = Test_ReceiveTaskAccess;
using Bytes = std::vector<std::uint8_t>;

constexpr Mlox_InputID kPort(3, 100);
constexpr Mlox_InputID kOther(3, 200);
constexpr Mlox_InputID kA(3, 1);
constexpr Mlox_InputID kB(3, 2);

class ReceiveTask : public Test_ClientFixture {
 protected:
  ReceiveTask() { MakeRoot(); }
  ~ReceiveTask() override {
    SetDirectMusicReceivers({});
    sReceiveThread = nullptr;
    mTask.reset();
    EXPECT_EQ(mRoot.BufferReferences(), 0);
  }

  static HANDLE NewEvent() { return CreateEventW(nullptr, FALSE, FALSE, OLESTR("event")); }
  static PortInputGroupList GroupsOf(const std::vector<PortInputGroup>& iGroups) {
    PortInputGroupList groups;
    for (const PortInputGroup& group : iGroups) groups.push_back(std::make_unique<PortInputGroup>(group));
    return groups;
  }
  // A task for mPort with one group.
  DirectMusicReceiveTask& MakeTask(const PortInputGroup& iGroup = {kPort, kPort}) {
    mPort.AddRef();
    mTask =
        std::make_unique<DirectMusicReceiveTask>(std::vector<HANDLE>{NewEvent(), NewEvent()},
                                                 GroupsOf({iGroup}), std::vector<IDirectMusicPort*>{&mPort});
    return *mTask;
  }
  // Delivering asks for the thread's pointer, and for no more.
  void PretendThread() { sReceiveThread = reinterpret_cast<Sys_RawThread*>(this); }
  // One receiver of everything.
  void ReceiveAll(Test_WaitableReceiver& ioRaw) {
    const auto receiver = Test_NewReceiver(ioRaw);
    receiver->SetReceiveAll();
    DirectMusicReceiverList receivers = *GetDirectMusicReceivers();
    receivers.push_back(receiver);
    SetDirectMusicReceivers(receivers);
  }
  std::vector<Bytes> ReadInto(Access::Batch& ioBatch) {
    Access::Read(*mTask, mPort, ioBatch);
    return BytesOf(ioBatch);
  }
  static std::vector<Bytes> BytesOf(const Access::Batch& iBatch) {
    std::vector<Bytes> bytes;
    for (int i = 0; i < iBatch.mCount; ++i) {
      const Mlox_MidiData& record = iBatch.mPieces[i].mRecord;
      bytes.emplace_back(record.mData, record.mData + record.mLength);
    }
    return bytes;
  }

  Test_AttachedService mService;
  Test_FakePort& mPort = mRoot.AddInput(1, "In");
  Test_WaitableReceiver mRaw;
  std::unique_ptr<DirectMusicReceiveTask> mTask;
  std::unique_ptr<Access::Batch> mBatch = std::make_unique<Access::Batch>();
};

// ---- making ----

TEST_F(ReceiveTask, HasItsNameAndSignatureAndABufferForOneWholePiece) {
  const DirectMusicReceiveTask& task = MakeTask();
  EXPECT_EQ(task.GetName(), "DirectMusicReceiveTask");
  EXPECT_EQ(task.GetSignature(), 0x6D697772);
  EXPECT_THAT(Calls().Lines(), ElementsAre("CreateMusicBuffer 28 0 4120"));
}

TEST_F(ReceiveTask, ListsThatDoNotFitMakeAnEmptyTaskThatEndsAtOnce) {
  ReceiveAll(mRaw);
  const std::vector<HANDLE> none;
  mTask =
      std::make_unique<DirectMusicReceiveTask>(none, PortInputGroupList{}, std::vector<IDirectMusicPort*>{});
  EXPECT_EQ(Access::EventCount(*mTask), 0u);
  mTask->Run();
  EXPECT_TRUE(mTask->HasEnded());
  const HANDLE event = NewEvent();
  mTask = std::make_unique<DirectMusicReceiveTask>(std::vector<HANDLE>{event}, GroupsOf({{kPort, kPort}}),
                                                   std::vector<IDirectMusicPort*>{&mPort});
  EXPECT_EQ(Access::EventCount(*mTask), 0u);
  mTask->Run();
  EXPECT_TRUE(mTask->HasEnded());
  mTask = std::make_unique<DirectMusicReceiveTask>(
      std::vector<HANDLE>{event, event}, GroupsOf({{kPort, kPort}}), std::vector<IDirectMusicPort*>{});
  EXPECT_EQ(Access::EventCount(*mTask), 0u);
  CloseHandle(event);
}

TEST_F(ReceiveTask, BodyReturnsAtOnceWithoutReceivers) {
  MakeTask().Run();
  EXPECT_TRUE(mTask->HasEnded());
  EXPECT_EQ(Calls().CountBeginning("GetMasterClock"), 0);
}

TEST_F(ReceiveTask, BodyReturnsAtOnceWithoutABuffer) {
  ReceiveAll(mRaw);
  Calls().Fail("CreateMusicBuffer", E_OUTOFMEMORY);
  MakeTask().Run();
  EXPECT_TRUE(mTask->HasEnded());
  EXPECT_EQ(Calls().CountBeginning("GetMasterClock"), 0);
}

TEST_F(ReceiveTask, OneThatNeverRanClosesItsEvents) {
  const std::ptrdiff_t before = Test_OpenDescriptors();
  MakeTask();
  EXPECT_EQ(Test_OpenDescriptors(), before + 2);
  mTask.reset();
  EXPECT_EQ(Test_OpenDescriptors(), before);
}

// ---- reading ----

TEST_F(ReceiveTask, RecordHoldsThePieceAndTheHostsTimeOfNow) {
  MakeTask();
  Test_FakeTime::Set(123456);
  mPort.Feed({0x90, 60, 100});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0x90, 60, 100}));
  const Mlox_MidiData& record = mBatch->mPieces[0].mRecord;
  EXPECT_EQ(record.mTime, 123456);
  EXPECT_TRUE(record.mIsTimeValid);
  EXPECT_EQ(record.mTimeKind, 0u);
  EXPECT_EQ(record.mSysexState, Mlox_MidiData::kNoSysex);
  EXPECT_EQ(record.mInputID, Mlox_InputID(0, 0));
}

TEST_F(ReceiveTask, BufferIsFlushedOnceAndReadUntilThePortRunsDry) {
  MakeTask();
  mPort.FeedAll({{0xF8}, {0xFA}});
  Calls().Clear();
  ReadInto(*mBatch);
  EXPECT_THAT(Calls().Lines(),
              ElementsAre("Flush", "In: Read", "ResetReadPtr", "GetNextEvent", "GetNextEvent", "In: Read",
                          "ResetReadPtr", "GetNextEvent", "GetNextEvent", "In: Read"));
}

TEST_F(ReceiveTask, PortAndBufferAreHeldWhileTheyAreRead) {
  MakeTask();
  int portReferences = 0;
  int bufferReferences = 0;
  Calls().mOnCall = [&](const std::string& iLine) {
    if (iLine != "In: Read") return;
    portReferences = mPort.References();
    bufferReferences = mRoot.BufferReferences();
  };
  ReadInto(*mBatch);
  Calls().mOnCall = nullptr;
  EXPECT_EQ(portReferences, 2);
  EXPECT_EQ(bufferReferences, 2);
  EXPECT_EQ(mPort.References(), 1);
  EXPECT_EQ(mRoot.BufferReferences(), 1);
}

TEST_F(ReceiveTask, PieceOf4097BytesIsCutTo4096) {
  MakeTask();
  Bytes piece(4097, 0x11);
  piece[4095] = 0x22;
  mPort.Feed(piece);
  const std::vector<Bytes> read = ReadInto(*mBatch);
  ASSERT_EQ(read.size(), 1u);
  EXPECT_EQ(read[0].size(), 4096u);
  EXPECT_EQ(read[0].back(), 0x22);
  EXPECT_EQ(mBatch->mPieces[0].mRecord.mLength, 4096u);
}

TEST_F(ReceiveTask, EmptyPieceIsARecordWithoutBytes) {
  MakeTask();
  mPort.Feed({});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{}));
}

TEST_F(ReceiveTask, BatchEndsAt39PiecesAndTheRestStaysInThePort) {
  MakeTask();
  std::vector<Bytes> pieces;
  for (std::uint8_t i = 0; i < 41; ++i) pieces.push_back({0x90, i, 1});
  mPort.FeedAll(pieces);
  EXPECT_EQ(ReadInto(*mBatch).size(), 39u);
  EXPECT_EQ(mPort.Waiting(), 2u);
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0x90, 39, 1}, Bytes{0x90, 40, 1}));
}

TEST_F(ReceiveTask, FailureOfReadEndsTheBatchWithWhatWasRead) {
  MakeTask();
  mPort.FeedAll({{0xF8}, {0xFA}});
  Calls().Fail("Read", E_FAIL, 1, 1);
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0xF8}));
}

TEST_F(ReceiveTask, FailureOfGetNextEventEndsTheBufferNotTheBatch) {
  MakeTask();
  mPort.FeedAll({{0xF8}, {0xFA}});
  Calls().Fail("GetNextEvent", E_FAIL, 1);
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0xFA}));
}

TEST_F(ReceiveTask, PortThatNeverRunsDryDoesNotOutlastAStop) {
  MakeTask();
  Calls().Fail("Read", S_OK);  // successes that bring nothing
  int reads = 0;
  Calls().mOnCall = [&](const std::string& iLine) {
    if (iLine == "In: Read" && ++reads == 100) Access::RequestStop(*mTask);
  };
  EXPECT_THAT(ReadInto(*mBatch), IsEmpty());
  Calls().mOnCall = nullptr;
  EXPECT_EQ(reads, 100);
}

// ---- quarter frames ----

TEST_F(ReceiveTask, TwoQuarterFramesOfOneMicrosecondAreTheLaterOne) {
  MakeTask();
  mPort.FeedAll({{0xF8}, {0xF1, 0x01}, {0xF1, 0x12}});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0xF8}, Bytes{0xF1, 0x12}));
}

TEST_F(ReceiveTask, QuarterFramesOfDifferentStampsAllStay) {
  MakeTask();
  Test_FakeTime::SetStep(1);
  mPort.FeedAll({{0xF1, 0x01}, {0xF1, 0x12}, {0xF1, 0x23}});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0xF1, 0x01}, Bytes{0xF1, 0x12}, Bytes{0xF1, 0x23}));
}

TEST_F(ReceiveTask, ComparedIsTheStampRememberedLast) {
  MakeTask();
  int reads = 0;
  Calls().mOnCall = [&](const std::string& iLine) {
    if (iLine == "In: Read" && ++reads == 2) Test_FakeTime::Advance(5);
  };
  mPort.FeedAll({{0xF1, 0x01}, {0xF1, 0x12}, {0xF1, 0x23}});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0xF1, 0x01}, Bytes{0xF1, 0x23}));
  Calls().mOnCall = nullptr;
}

TEST_F(ReceiveTask, ThreeBytesThatBeginWithF1AreNoTimeCode) {
  MakeTask();
  mPort.FeedAll({{0xF1, 0x01, 0x00}, {0xF1, 0x12, 0x00}, {0xF1}});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0xF1, 0x01, 0x00}, Bytes{0xF1, 0x12, 0x00}, Bytes{0xF1}));
}

TEST_F(ReceiveTask, SurvivingQuarterFrameSharesItsBytesWithTheNextPieceOfTheBatch) {
  // The thinned frame was put where the next piece comes: accepted, and not to be mended.
  MakeTask();
  mPort.FeedAll({{0xF1, 0x01}, {0xF1, 0x12}, {0x90, 60, 100}});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0x90, 60}, Bytes{0x90, 60, 100}));
}

TEST_F(ReceiveTask, NextBatchHasAreasOfItsOwnAgain) {
  MakeTask();
  mPort.FeedAll({{0xF1, 0x01}, {0xF1, 0x12}});
  ReadInto(*mBatch);
  mPort.FeedAll({{0x90, 60, 100}, {0x90, 61, 100}});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0x90, 60, 100}, Bytes{0x90, 61, 100}));
}

TEST_F(ReceiveTask, QuarterFrameOfAnEarlierBatchIsForgotten) {
  MakeTask();
  mPort.Feed({0xF1, 0x01});
  ReadInto(*mBatch);
  mPort.Feed({0xF1, 0x12});
  EXPECT_THAT(ReadInto(*mBatch), ElementsAre(Bytes{0xF1, 0x12}));
}

// ---- delivering ----

class Delivery : public ReceiveTask {
 protected:
  Delivery() {
    MakeTask();
    PretendThread();
    ReceiveAll(mRaw);
  }
  std::vector<Mlox_InputID> IDsFor(const PortInputGroup& iGroup) {
    mPort.Feed({0x90, 60, 100});
    ReadInto(*mBatch);
    Access::Deliver(*mBatch, iGroup);
    return mRaw.IDs();
  }
};

TEST_F(Delivery, WholePortCountsWhenItIsTheOnlyInput) {
  EXPECT_THAT(IDsFor({kPort, kPort}), ElementsAre(kPort));
}

TEST_F(Delivery, EachInputGetsTheMessageInOrder) {
  EXPECT_THAT(IDsFor({kPort, kA, kB}), ElementsAre(kA, kB));
}

TEST_F(Delivery, WholePortIsPassedOverBesideAnotherInput) {
  EXPECT_THAT(IDsFor({kPort, kPort, kA}), ElementsAre(kA));
}

TEST_F(Delivery, SingleInputThatIsNotThePortCounts) { EXPECT_THAT(IDsFor({kPort, kA}), ElementsAre(kA)); }

TEST_F(Delivery, EachReceiverGetsItsOwnRecordAndTheSharedBytes) {
  Test_WaitableReceiver second;
  ReceiveAll(second);
  mRaw.mOnReceive = [](Mlox_MidiData& ioData) {
    ioData.mLength = 0;
    ioData.mTime = -1;
    return 0;
  };
  IDsFor({kPort, kA});
  ASSERT_EQ(mRaw.Count(), 1u);
  ASSERT_EQ(second.Count(), 1u);
  EXPECT_EQ(second.Bytes(), mRaw.Bytes());
  EXPECT_EQ(second.Received()[0].mTime, mRaw.Received()[0].mTime);
  EXPECT_EQ(second.Received()[0].mDataP, mRaw.Received()[0].mDataP);
}

TEST_F(Delivery, RecordsComeInOrderEachForAllInputs) {
  mPort.FeedAll({{0xF8}, {0xFA}});
  ReadInto(*mBatch);
  Access::Deliver(*mBatch, {kPort, kA, kB});
  EXPECT_THAT(mRaw.IDs(), ElementsAre(kA, kB, kA, kB));
  EXPECT_THAT(mRaw.Bytes(), ElementsAre(Bytes{0xF8}, Bytes{0xF8}, Bytes{0xFA}, Bytes{0xFA}));
}

TEST_F(Delivery, ReceiverThatDoesNotListenAndOneWithoutACallbackAreSkipped) {
  Test_WaitableReceiver deaf;
  auto headless = std::make_shared<CGenericMIDIReceiver>();
  headless->SetReceiveAll();
  SetDirectMusicReceivers({Test_NewReceiver(deaf), headless, GetDirectMusicReceivers()->front()});
  EXPECT_THAT(IDsFor({kPort, kA}), ElementsAre(kA));
  EXPECT_EQ(deaf.Count(), 0u);
}

TEST_F(Delivery, ReceiverThatLeavesDuringTheDeliveryStillFinishesIt) {
  Test_WaitableReceiver second;
  ReceiveAll(second);
  mRaw.mOnReceive = [](Mlox_MidiData&) {
    SetDirectMusicReceivers({});
    return 0;
  };
  IDsFor({kPort, kA, kB});
  EXPECT_EQ(mRaw.Count(), 1u);
  EXPECT_EQ(second.Count(), 1u);
}

TEST_F(Delivery, WithoutAReceiveThreadTheProcessEndsByABareRethrow) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        sReceiveThread = nullptr;
        Access::RequireReceiveThread();
      },
      "terminate called without an active exception");
}

// ---- groups that wait ----

TEST_F(ReceiveTask, WaitingGroupsTakeThePlaceOfThoseWithTheSamePort) {
  MakeTask({kPort, kA});
  mTask->PublishGroups(GroupsOf({{kOther, kB}, {}, {kPort, kA, kB}}));
  EXPECT_THAT(*Access::Groups(*mTask)[0], ElementsAre(kPort, kA));
  Access::ApplyPendingGroups(*mTask);
  ASSERT_EQ(Access::Groups(*mTask).size(), 1u);
  EXPECT_THAT(*Access::Groups(*mTask)[0], ElementsAre(kPort, kA, kB));
}

TEST_F(ReceiveTask, WaitingGroupsOfAllPortsAreAppliedAtOnce) {
  Test_FakePort& second = mRoot.AddInput(2, "Second");
  mTask = std::make_unique<DirectMusicReceiveTask>(std::vector<HANDLE>{NewEvent(), NewEvent(), NewEvent()},
                                                   GroupsOf({{kPort, kA}, {kOther, kB}}),
                                                   std::vector<IDirectMusicPort*>{&mPort, &second});
  mTask->PublishGroups(GroupsOf({{kPort, kA, kB}, {kOther, kA, kB}}));
  Access::ApplyPendingGroups(*mTask);
  EXPECT_THAT(*Access::Groups(*mTask)[0], ElementsAre(kPort, kA, kB));
  EXPECT_THAT(*Access::Groups(*mTask)[1], ElementsAre(kOther, kA, kB));
}

TEST_F(ReceiveTask, LaterGroupsReplaceEarlierOnesThatStillWait) {
  MakeTask({kPort, kA});
  mTask->PublishGroups(GroupsOf({{kPort, kA, kB}}));
  mTask->PublishGroups(GroupsOf({{kPort, kB}}));
  Access::ApplyPendingGroups(*mTask);
  EXPECT_THAT(*Access::Groups(*mTask)[0], ElementsAre(kPort, kB));
}

TEST_F(ReceiveTask, EmptyListOfWaitingGroupsChangesNothing) {
  MakeTask({kPort, kA});
  mTask->PublishGroups({});
  Access::ApplyPendingGroups(*mTask);
  Access::ApplyPendingGroups(*mTask);
  EXPECT_THAT(*Access::Groups(*mTask)[0], ElementsAre(kPort, kA));
}

// ---- stopping ----

TEST_F(ReceiveTask, StopDisarmsEveryPortAndSignalsTheLastEvent) {
  Test_FakePort& second = mRoot.AddInput(2, "Second");
  const std::vector<HANDLE> events = {NewEvent(), NewEvent(), NewEvent()};
  mTask = std::make_unique<DirectMusicReceiveTask>(events, GroupsOf({{kPort, kA}, {kOther, kB}}),
                                                   std::vector<IDirectMusicPort*>{&mPort, &second});
  Calls().Clear();
  Calls().mOnCall = [&](const std::string&) {
    EXPECT_EQ(MsgWaitForMultipleObjects(1, &events.back(), FALSE, 0, 0), WAIT_TIMEOUT) << "the ports first";
  };
  EXPECT_TRUE(mTask->Stop());
  Calls().mOnCall = nullptr;
  EXPECT_THAT(Calls().Lines(), ElementsAre("In: SetReadNotificationHandle null", "In: Activate 0",
                                           "Second: SetReadNotificationHandle null", "Second: Activate 0"));
  EXPECT_EQ(MsgWaitForMultipleObjects(3, events.data(), FALSE, 0, 0), 2u);
}

TEST_F(ReceiveTask, EventOfANullPortOrANullGroupGoesBackToTheWait) {
  PretendThread();
  ReceiveAll(mRaw);
  PortInputGroupList groups = GroupsOf({{kOther, kA}, {kOther, kB}, {kPort, kA}});
  groups[1] = nullptr;
  Test_FakePort& groupless = mRoot.AddInput(2, "Groupless");
  const std::vector<HANDLE> events = {NewEvent(), NewEvent(), NewEvent(), NewEvent()};
  mTask = std::make_unique<DirectMusicReceiveTask>(
      events, std::move(groups), std::vector<IDirectMusicPort*>{nullptr, &groupless, &mPort});
  mPort.SetReadNotificationHandle(events[2]);
  SetEvent(events[0]);
  SetEvent(events[1]);
  std::thread thread([&] { mTask->Run(); });
  // No event is served twice while another waits, so after two of the third the others were served.
  for (std::size_t i = 1; i <= 2; ++i) {
    mPort.Feed({0xF8});
    EXPECT_TRUE(mRaw.WaitFor(i));
  }
  mTask->Stop();
  thread.join();
  EXPECT_EQ(Calls().Count("Groupless: Read"), 0);
}

TEST_F(ReceiveTask, StopOfAnEmptyTaskIsGranted) {
  mTask = std::make_unique<DirectMusicReceiveTask>(std::vector<HANDLE>{}, PortInputGroupList{},
                                                   std::vector<IDirectMusicPort*>{});
  EXPECT_TRUE(mTask->Stop());
}

TEST_F(ReceiveTask, StopBeforeTheBodyBeginsEndsItAtOnceAndLeavesNothingButThePortsReference) {
  ReceiveAll(mRaw);
  MakeTask();
  mTask->Stop();
  mTask->Run();
  EXPECT_TRUE(mTask->HasEnded());
  EXPECT_EQ(Access::EventCount(*mTask), 0u);
  EXPECT_EQ(mRoot.BufferReferences(), 0);
  EXPECT_EQ(mRoot.MasterClock().References(), 0);
  EXPECT_EQ(mPort.References(), 1) << "ports are never given back";
}

TEST_F(ReceiveTask, ComIsThereBeforeTheClockAndGoesBehindEverythingElse) {
  struct References {
    int mClock;
    int mBuffer;
    bool operator==(const References&) const = default;
  };
  static Test_FakeDirectMusic* sRootP;
  static std::vector<References> sSeen;
  static constexpr auto kLook = [] {
    sSeen.push_back({sRootP->MasterClock().References(), sRootP->BufferReferences()});
  };
  sRootP = &mRoot;
  sSeen.clear();
  ReceiveAll(mRaw);
  MakeTask();
  mTask->Stop();
  Platform_SetComInitializer(
      [](DWORD) {
        kLook();
        return S_OK;
      },
      [] { kLook(); });
  mTask->Run();
  Platform_SetComInitializer(nullptr);
  EXPECT_THAT(sSeen, ElementsAre(References{0, 1}, References{0, 0}));
  EXPECT_EQ(Calls().CountBeginning("GetMasterClock"), 1) << "in between";
}

TEST_F(ReceiveTask, BufferIsFlushedOnceMoreBeforeItIsGivenBack) {
  ReceiveAll(mRaw);
  MakeTask();
  mTask->Stop();
  Calls().Clear();
  mTask->Run();
  EXPECT_EQ(Calls().Count("Flush"), 1);
}

TEST_F(ReceiveTask, NoThreadButItsOwnIsTheReceiveThread) {
  EXPECT_FALSE(DirectMusicReceiveTask::IsReceiveThread());
  EXPECT_FALSE(DirectMusicReceiveTask::IsStopRequestedOnThisThread());
}

TEST_F(ReceiveTask, WaitForDeliveryReturnsAtOnceWhenThereIsNone) {
  MakeTask().WaitForDelivery();
  EXPECT_FALSE(mTask->HasEnded());
}

}  // namespace
