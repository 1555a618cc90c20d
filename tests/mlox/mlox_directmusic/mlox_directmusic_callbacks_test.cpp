// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_directmusic_callbacks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mlox/mlox_directmusic/ccombstrlite.h"
#include "mlox/mlox_directmusic/directmusicreceivers.h"
#include "mlox/mlox_directmusic/directmusicsubsystemlock.h"
#include "mlox/mlox_directmusic/getter_wrapper.h"
#include "mlox/mlox_directmusic/mlox_directmusic_input.h"
#include "mlox/mlox_manager.h"
#include "platform/directmusic/windows_com.h"
#include "tests/mlox/mlox_directmusic/client_fixture.h"
#include "tests/mlox/mlox_directmusic/receive_support.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/fake_service.h"
#include "tests/support/open_files.h"

/// Reaches the groups and the making of events and of the thread.
struct Test_ReceivePortSetAccess {
  using EventMaker = decltype(&CreateEventW);
  using ThreadMaker = decltype(&Sys_RawThread::Create);
  static void MakeEventsBy(EventMaker iMakerP) { ReceivePortSet::sCreateEventP = iMakerP; }
  static void MakeThreadBy(ThreadMaker iMakerP) { ReceivePortSet::sCreateThreadP = iMakerP; }
  static std::string Umid(const ReceivePortSet& iSet) { return iSet.mUmid.AsString(); }
  static std::vector<PortInputGroup> Groups(const ReceivePortSet& iSet) {
    const DirectMusicSubsystemLock lock;
    std::vector<PortInputGroup> groups;
    for (const auto& group : iSet.mGroups) groups.push_back(*group);
    return groups;
  }
};

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;
using InputRef = Cmn_AliasedRefCountPtr<Mlox_DirectMusic_Input>;
using Receiver = std::shared_ptr<CGenericMIDIReceiver>;

constexpr int kServiceIndex = 1;

// A service whose inputs are hardware inputs.
class InputsService : public Test_FakeService {
 public:
  void AddInputsToList(Mlox_InputList* ioInputsP, Mlox_EInputVirtualSelection iVirtual,
                       Mlox_EInputSyncSelection iSync) override {
    EXPECT_EQ(iVirtual, 2);
    EXPECT_EQ(iSync, 2);
    for (const InputRef& input : mHardwareInputs) ioInputsP->push_back(input);
    ioInputsP->push_back(mForeign);
  }

  std::vector<InputRef> mHardwareInputs;
  Mlox_InputRef mForeign = AddInput("Foreign", 5);
};

// One input port of the machine, with its place in the studio.
struct Line {
  Test_FakePort* mPortP = nullptr;
  Test_StudioNode* mNodeP = nullptr;
  InputRef mInput;
  Mlox_InputID ID() const { return mInput->GetInputID(); }
};

class ReceivePorts : public Test_ClientFixture {
 protected:
  ReceivePorts() {
    Mlox_Manager::Singleton()->RemoveAllServices();
    Mlox_Manager::Singleton()->AddService(mInputsP, 0);
    SetDirectMusicServiceIndex(kServiceIndex);
    Mlox_DirectMusic_ServiceHandle::Singleton().SetStudio(mStudio);
    MakeRoot();
  }
  ~ReceivePorts() override {
    mSet.Shutdown();
    ReceivePortSet::Singleton().Shutdown();
    Mlox_Manager::Singleton()->RemoveAllServices();
    EXPECT_EQ(mRoot.BufferReferences(), 0);
    EXPECT_EQ(mRoot.MasterClock().References(), 0);
  }

  Line AddLine(DWORD iNumber, const std::string& iName) {
    Line line;
    line.mPortP = &mRoot.AddInput(iNumber, iName);
    line.mNodeP = &mStudio->AddPort(line.mPortP->GuidText(), iName, true);
    line.mInput = NewInput(*line.mNodeP);
    return line;
  }
  // A user-defined input that is wired to a line.
  Line AddUserLine(const std::string& iName, const Line& iLine) {
    Line line;
    line.mPortP = iLine.mPortP;
    line.mNodeP = &mStudio->AddPort("{" + iName + "}", iName, true, true);
    Test_FakeStudio::Wire(*line.mNodeP, *iLine.mNodeP);
    line.mInput = NewInput(*line.mNodeP);
    return line;
  }
  InputRef NewInput(Test_StudioNode& ioNode) {
    const InputRef input(new Mlox_DirectMusic_Input(mStudio->DeviceOf(*ioNode.mParentP->mParentP),
                                                    mStudio->EntityOf(*ioNode.mParentP),
                                                    mStudio->EndpointOf(ioNode)));
    mInputsP->mHardwareInputs.push_back(input);
    input->GetInputID();
    return input;
  }
  void Rewire(const Line& iUser, const Line& iFrom, const Line& iTo) {
    Test_FakeStudio::Unwire(*iUser.mNodeP, *iFrom.mNodeP);
    Test_FakeStudio::Wire(*iUser.mNodeP, *iTo.mNodeP);
    iUser.mInput->UpdateWithRawProperties(mStudio->DeviceOf(*iUser.mNodeP->mParentP->mParentP),
                                          mStudio->EntityOf(*iUser.mNodeP->mParentP),
                                          mStudio->EndpointOf(*iUser.mNodeP));
  }
  Receiver NewReceiver(Mlox_RawMidiReceiver& ioRaw, const std::vector<Line>& iLines) {
    Receiver receiver = Test_NewReceiver(ioRaw);
    for (const Line& line : iLines) receiver->AddSource(mStudio->IDsOf(*line.mNodeP));
    return receiver;
  }
  HRESULT Apply(Mlox_RawMidiReceiver& ioRaw, const std::vector<Line>& iLines) {
    return mSet.Apply(NewReceiver(ioRaw, iLines));
  }
  std::vector<std::string> TakeCallsOn(const std::string& iPort) {
    std::vector<std::string> lines = Calls().LinesBeginning(iPort + ": ");
    Calls().Clear();
    return lines;
  }
  std::vector<PortInputGroup> Groups() const { return Test_ReceivePortSetAccess::Groups(mSet); }
  static bool IsRunning() { return sReceiveTask.load() != nullptr && sReceiveThread.load() != nullptr; }

  Test_AttachedService mService;
  InputsService* mInputsP = new InputsService;
  Test_WaitableReceiver mRaw;
  Test_WaitableReceiver mSecond;
  ReceivePortSet mSet;
};

// ---- opening ----

TEST_F(ReceivePorts, NothingIsOpenedForNobody) {
  AddLine(1, "In");
  EXPECT_EQ(mSet.Apply(nullptr), 0);
  EXPECT_EQ(Apply(mRaw, {}), 0);
  EXPECT_FALSE(IsRunning());
  EXPECT_THAT(TakeCallsOn("In"), IsEmpty());
}

TEST_F(ReceivePorts, WantedPortIsOpenedActivatedAndArmed) {
  const Line line = AddLine(1, "In");
  EXPECT_EQ(Apply(mRaw, {line}), 0);
  EXPECT_TRUE(IsRunning());
  EXPECT_EQ(Calls().Count("CreatePort " + Guid(1)), 1);
  EXPECT_THAT(TakeCallsOn("In"), ElementsAre("In: Activate 1", "In: SetReadNotificationHandle event"));
  EXPECT_TRUE(Test_WaitUntil([&] { return mRoot.References() == 3; })) << "the thread's clock holds one";
}

TEST_F(ReceivePorts, PortsThatNobodyWantsAndOutputsStayClosed) {
  const Line line = AddLine(1, "In");
  AddLine(2, "Unwanted");
  // Opened by its GUID, another class of port would be the input over again.
  constexpr DWORD kNeitherClass = 2;
  mRoot.AddPort(1, "Out with the same GUID", DMUS_PC_OUTPUTCLASS);
  mRoot.AddPort(1, "Neither with the same GUID", kNeitherClass);
  Apply(mRaw, {line});
  EXPECT_THAT(Calls().LinesBeginning("CreatePort"), ElementsAre("CreatePort " + Guid(1)));
  EXPECT_EQ(line.mPortP->References(), 1);
  EXPECT_THAT(TakeCallsOn("In"), ElementsAre("In: Activate 1", "In: SetReadNotificationHandle event"));
  EXPECT_THAT(Groups(), ElementsAre(PortInputGroup{line.ID(), line.ID()}));
}

TEST_F(ReceivePorts, MessageArrivesWithIdAndHostTimeOnTheReceiveThread) {
  const Line line = AddLine(1, "In");
  Apply(mRaw, {line});
  Test_FakeTime::Set(7777777);
  line.mPortP->Feed({0x90, 60, 100});
  ASSERT_TRUE(mRaw.WaitFor(1));
  const Test_Received received = mRaw.Received()[0];
  EXPECT_EQ(received.mID, line.ID());
  EXPECT_EQ(received.mBytes, (Bytes{0x90, 60, 100}));
  EXPECT_EQ(received.mTime, 7777777);
  EXPECT_TRUE(received.mIsTimeValid);
  EXPECT_EQ(received.mTimeKind, 0u);
  EXPECT_NE(received.mThread, std::this_thread::get_id());
}

TEST_F(ReceivePorts, RecordCorrectionOfTheManagerIsNotApplied) {
  const Line line = AddLine(1, "In");
  Mlox_Manager::Singleton()->SetGlobalTimeStampedRecordCorrection(Time_SampleLength(1000));
  Apply(mRaw, {line});
  Test_FakeTime::Set(5);
  line.mPortP->Feed({0xF8});
  ASSERT_TRUE(mRaw.WaitFor(1));
  EXPECT_EQ(mRaw.Received()[0].mTime, 5);
  Mlox_Manager::Singleton()->SetGlobalTimeStampedRecordCorrection(Time_SampleLength());
}

TEST_F(ReceivePorts, EachMessageWakesTheThreadOnceAndNothingElseDoes) {
  const Line line = AddLine(1, "In");
  Apply(mRaw, {line});
  constexpr int kMessages = 20;
  for (std::size_t i = 1; i <= kMessages; ++i) {
    line.mPortP->Feed({0xF8});
    ASSERT_TRUE(mRaw.WaitFor(i));
  }
  // Two for each: one that brings the message, and one that brings nothing.
  EXPECT_EQ(Calls().Count("In: Read"), 2 * kMessages);
}

TEST_F(ReceivePorts, PortWithMoreThanABatchDeliversEverythingInOrder) {
  const Line line = AddLine(1, "In");
  Apply(mRaw, {line});
  std::vector<Bytes> pieces;
  for (int i = 0; i < 100; ++i) pieces.push_back({0x90, static_cast<std::uint8_t>(i), 1});
  line.mPortP->FeedAll(pieces);
  ASSERT_TRUE(mRaw.WaitFor(100));
  EXPECT_EQ(mRaw.Bytes(), pieces);
}

TEST_F(ReceivePorts, WhatWaitsInThePortWhenItIsArmedIsDelivered) {
  const Line line = AddLine(1, "In");
  line.mPortP->Feed({0xFA});
  Apply(mRaw, {line});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

TEST_F(ReceivePorts, TwoApplicationPortsOnOneInputBothGetTheMessage) {
  const Line line = AddLine(1, "In");
  Apply(mRaw, {line});
  Apply(mSecond, {line});
  line.mPortP->Feed({0x90, 60, 100});
  ASSERT_TRUE(mRaw.WaitFor(1));
  ASSERT_TRUE(mSecond.WaitFor(1));
  EXPECT_EQ(mRaw.Bytes(), mSecond.Bytes());
  EXPECT_EQ(mRaw.Received()[0].mDataP, mSecond.Received()[0].mDataP);
}

TEST_F(ReceivePorts, VanishedPortLeavesTheOthersAlone) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  Apply(mRaw, {first, second});
  mRoot.RemovePort(*first.mPortP);
  second.mPortP->Feed({0xF8});
  ASSERT_TRUE(mRaw.WaitFor(1));
  EXPECT_EQ(mRaw.IDs(), std::vector<Mlox_InputID>{second.ID()});
}

// A wait takes 64 handles on Windows, and the index of one may not be taken for the end of a time either,
// which is 258 there.
TEST_F(ReceivePorts, ThreeHundredPortsAreHeard) {
  std::vector<Line> lines;
  for (DWORD i = 1; i <= 300; ++i) lines.push_back(AddLine(i, "In" + std::to_string(i)));
  Apply(mRaw, lines);
  EXPECT_EQ(Calls().CountBeginning("CreatePort"), 300);
  std::vector<Mlox_InputID> heard;
  for (const std::size_t index : {0u, 62u, 63u, 127u, 257u, 258u, 299u}) {
    lines[index].mPortP->Feed({0xF8});
    heard.push_back(lines[index].ID());
    ASSERT_TRUE(mRaw.WaitFor(static_cast<int>(heard.size()))) << index;
  }
  EXPECT_EQ(mRaw.IDs(), heard);
}

TEST_F(ReceivePorts, NoMorePortsAreOpenedThanOneWaitTakesBesideTheEndOfTheThread) {
  const Test_OpenFiles files(2 * MAXIMUM_WAIT_OBJECTS);
  std::vector<Line> lines;
  for (DWORD i = 1; i <= MAXIMUM_WAIT_OBJECTS; ++i) lines.push_back(AddLine(i, "In" + std::to_string(i)));
  Apply(mRaw, lines);
  EXPECT_EQ(Calls().CountBeginning("CreatePort"), MAXIMUM_WAIT_OBJECTS - 2);
  EXPECT_EQ(Groups().size(), lines.size());
  lines[MAXIMUM_WAIT_OBJECTS - 3].mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

// ---- changing ----

TEST_F(ReceivePorts, SameSourcesAgainDoNotTouchTheThread) {
  const Line line = AddLine(1, "In");
  Apply(mRaw, {line});
  const DirectMusicReceiveTask* const taskP = sReceiveTask.load();
  Calls().Clear();
  EXPECT_EQ(Apply(mRaw, {line}), 0);
  EXPECT_EQ(sReceiveTask.load(), taskP);
  EXPECT_EQ(Calls().CountBeginning("EnumPort"), 0);
  line.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

TEST_F(ReceivePorts, InputOnAnOpenPortDoesNotRestartTheThread) {
  const Line line = AddLine(1, "In");
  const Line user = AddUserLine("User", line);
  Apply(mRaw, {line});
  const DirectMusicReceiveTask* const taskP = sReceiveTask.load();
  Calls().Clear();
  Apply(mSecond, {user});
  EXPECT_EQ(sReceiveTask.load(), taskP);
  EXPECT_THAT(TakeCallsOn("In"), IsEmpty());
  EXPECT_EQ(Groups()[0], (PortInputGroup{line.ID(), line.ID(), user.ID()}));
}

TEST_F(ReceivePorts, FirstInputOfAClosedPortRestartsTheThread) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  Apply(mRaw, {first});
  Calls().Clear();
  Apply(mSecond, {second});
  EXPECT_THAT(TakeCallsOn("First"),
              ElementsAre("First: SetReadNotificationHandle null", "First: Activate 0", "First: Activate 1",
                          "First: SetReadNotificationHandle event"));
  EXPECT_EQ(first.mPortP->References(), 2) << "what was opened stays held";
  first.mPortP->Feed({0xF8});
  second.mPortP->Feed({0xFA});
  EXPECT_TRUE(mRaw.WaitFor(1));
  EXPECT_TRUE(mSecond.WaitFor(1));
}

TEST_F(ReceivePorts, LastInputOfAPortThatMovesToAnotherRestarts) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  Apply(mRaw, {first});
  Apply(mRaw, {second});
  EXPECT_FALSE(first.mPortP->IsArmed());
  EXPECT_FALSE(first.mPortP->IsActive());
  EXPECT_TRUE(second.mPortP->IsArmed());
  second.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

TEST_F(ReceivePorts, LastReceiverThatGoesEndsTheThread) {
  const Line line = AddLine(1, "In");
  Apply(mRaw, {line});
  EXPECT_EQ(Apply(mRaw, {}), 0);
  EXPECT_FALSE(IsRunning());
  EXPECT_FALSE(line.mPortP->IsArmed());
  EXPECT_THAT(Groups(), IsEmpty());
}

TEST_F(ReceivePorts, ChangeThatWaitsTakesEffectOnlyAfterTheNextMessageOfAnyPort) {
  const Line line = AddLine(1, "In");
  const Line other = AddLine(2, "Other");
  const Line user = AddUserLine("User", line);
  Apply(mRaw, {line, other});
  Apply(mSecond, {user});
  line.mPortP->Feed({0x90, 1, 1});  // still for the old group: the whole port alone
  ASSERT_TRUE(mRaw.WaitFor(1));
  // From here the group is [port, port, user], where the whole port is passed over.
  ASSERT_TRUE(Test_WaitUntil([&] {
    line.mPortP->Feed({0x90, 2, 1});
    return mSecond.Count() > 0;
  }));
  EXPECT_EQ(mRaw.IDs()[0], line.ID());
  EXPECT_EQ(mSecond.IDs()[0], user.ID());
  EXPECT_EQ(mSecond.Bytes()[0], (Bytes{0x90, 2, 1})) << "the first message came before the change";
}

TEST_F(ReceivePorts, RewiredInputMovesAtTheNextCallOfAnyReceiver) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  const Line user = AddUserLine("User", first);
  Apply(mRaw, {first, second, user});
  Rewire(user, first, second);
  Apply(mSecond, {first});
  EXPECT_THAT(Groups(), ElementsAre(PortInputGroup{first.ID(), first.ID()},
                                    PortInputGroup{second.ID(), second.ID(), user.ID()}));
}

TEST_F(ReceivePorts, ThreadThatBeganWithoutReceiversIsReplacedWhenOneComes) {
  const Line line = AddLine(1, "In");
  const Line other = AddLine(2, "Other");
  const Line user = AddUserLine("User", line);
  Apply(mRaw, {line, other});
  Apply(mRaw, {line, other});  // the user-defined input has joined the port's group
  Apply(mRaw, {});             // and stays there: the thread begins anew with nobody to deliver to
  EXPECT_THAT(*GetDirectMusicReceivers(), IsEmpty());
  Apply(mRaw, {user});
  line.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

// ---- everything ----

TEST_F(ReceivePorts, ReceiveAllOpensEverySourceOfBothGroups) {
  const Line online = AddLine(1, "Online");
  const Line offline = AddLine(2, "Offline");
  Test_StudioNode& device = *offline.mNodeP->mParentP->mParentP;
  mStudio->RemoveDevice(device);
  mStudio->ReturnDevice(device, false);
  mStudio->AddPort("{out}", "Out", false);
  const Receiver receiver = Test_NewReceiver(mRaw);
  receiver->SetReceiveAll();
  EXPECT_EQ(mSet.Apply(receiver), 0);
  EXPECT_THAT(Groups(), ElementsAre(PortInputGroup{online.ID(), online.ID()},
                                    PortInputGroup{offline.ID(), offline.ID()}));
}

TEST_F(ReceivePorts, WalkEndsAtTheFirstCallThatFails) {
  const Line first = AddLine(1, "First");
  AddLine(2, "Second");
  const Receiver receiver = Test_NewReceiver(mRaw);
  receiver->SetReceiveAll();
  mStudio->Calls().Fail("GetDevice -1 1", E_FAIL);
  mStudio->Calls().Clear();
  mSet.Apply(receiver);
  EXPECT_THAT(Groups(), ElementsAre(PortInputGroup{first.ID(), first.ID()}));
  EXPECT_EQ(mStudio->Calls().Count("GetDeviceCount 0"), 0);
}

TEST_F(ReceivePorts, WalkEndsAtTheFirstEntityOrEndpointThatFailsToo) {
  const Line first = AddLine(1, "First");
  AddLine(2, "Second");
  const Line third = AddLine(3, "Third");
  const Receiver receiver = Test_NewReceiver(mRaw);
  receiver->SetReceiveAll();
  for (const char* callP : {"GetEntityCount", "GetEntity 0", "GetEndpointCount", "GetEndpoint", "GetIDs 0"}) {
    mStudio->Calls().Fail(callP, E_FAIL, 1, 1);
    mSet.Apply(receiver);
    EXPECT_THAT(Groups(), ElementsAre(PortInputGroup{first.ID(), first.ID()})) << callP;
    mStudio->Calls().Mend(callP);
    mSet.Shutdown();
  }
  mSet.Apply(receiver);
  EXPECT_EQ(Groups().back(), (PortInputGroup{third.ID(), third.ID()})) << "none has failed";
}

TEST_F(ReceivePorts, WithoutAStudioEverythingIsNothing) {
  AddLine(1, "In");
  Mlox_DirectMusic_ServiceHandle::Singleton().SetStudio(nullptr);
  const Receiver receiver = Test_NewReceiver(mRaw);
  receiver->SetReceiveAll();
  EXPECT_EQ(mSet.Apply(receiver), 0);
  EXPECT_THAT(Groups(), IsEmpty());
}

// ---- failures ----

TEST_F(ReceivePorts, WithoutARootTheGroupsStandAndNoThreadRuns) {
  const Line line = AddLine(1, "In");
  DirectMusicClient::ReleaseDirectMusicPtr();
  EXPECT_EQ(Apply(mRaw, {line}), E_UNEXPECTED);
  EXPECT_FALSE(IsRunning());
  EXPECT_THAT(Groups(), ElementsAre(PortInputGroup{line.ID(), line.ID()}));
}

TEST_F(ReceivePorts, UnchangedSetWithoutAThreadAsksForTheRootAgain) {
  const Line line = AddLine(1, "In");
  DirectMusicClient::ReleaseDirectMusicPtr();
  EXPECT_EQ(Apply(mRaw, {line}), E_UNEXPECTED);
  EXPECT_EQ(Apply(mRaw, {line}), E_UNEXPECTED);
}

TEST_F(ReceivePorts, OneIsASuccessOfOpeningAndOfArmingAndTwoIsAFailure) {
  for (const char* callP : {"CreatePort", "SetReadNotificationHandle"}) {
    for (const HRESULT result : {S_FALSE, HRESULT{2}}) {
      const Line line = AddLine(static_cast<DWORD>(mInputsP->mHardwareInputs.size()) + 1, "In");
      Calls().Fail(callP, result);
      EXPECT_EQ(Apply(mRaw, {line}), 0);
      EXPECT_EQ(IsRunning(), result == S_FALSE) << callP << " " << result;
      Calls().Mend(callP);
      mSet.Shutdown();
    }
  }
}

TEST_F(ReceivePorts, PortThatCannotBeOpenedIsLeftOutAndJoinsAtTheNextRestart) {
  const Line bad = AddLine(1, "Bad");
  const Line good = AddLine(2, "Good");
  const Line later = AddLine(3, "Later");
  Calls().Fail("CreatePort " + Guid(1), E_ACCESSDENIED, 1);
  EXPECT_EQ(Apply(mRaw, {bad, good}), 0);
  EXPECT_FALSE(bad.mPortP->IsArmed());
  EXPECT_TRUE(good.mPortP->IsArmed());
  EXPECT_EQ(Groups().size(), 2u) << "its group is kept";
  Apply(mSecond, {good});
  EXPECT_FALSE(bad.mPortP->IsArmed()) << "no restart, no new attempt";
  Apply(mSecond, {good, later});
  EXPECT_TRUE(bad.mPortP->IsArmed());
  bad.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

TEST_F(ReceivePorts, PortThatCannotBeArmedIsClosedAgain) {
  const Line bad = AddLine(1, "Bad");
  const Line good = AddLine(2, "Good");
  Calls().Fail("Bad: SetReadNotificationHandle event", E_FAIL, 1);
  EXPECT_EQ(Apply(mRaw, {bad, good}), 0);
  EXPECT_THAT(TakeCallsOn("Bad"), ElementsAre("Bad: Activate 1", "Bad: SetReadNotificationHandle event",
                                              "Bad: SetReadNotificationHandle null", "Bad: Activate 0"));
  EXPECT_EQ(bad.mPortP->References(), 0);
  good.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1)) << "events, groups and ports still fit each other";
  EXPECT_EQ(mRaw.IDs()[0], good.ID());
}

TEST_F(ReceivePorts, EventOfAPortThatCannotBeArmedIsClosed) {
  const Line bad = AddLine(1, "Bad");
  Calls().Fail("Bad: SetReadNotificationHandle event", E_FAIL);
  const std::ptrdiff_t before = Test_OpenDescriptors();
  EXPECT_EQ(Apply(mRaw, {bad}), 0);
  EXPECT_FALSE(IsRunning());
  EXPECT_EQ(Test_OpenDescriptors(), before);
}

TEST_F(ReceivePorts, SuccessThatGivesNoPortLeavesItOut) {
  const Line none = AddLine(1, "None");
  const Line good = AddLine(2, "Good");
  mRoot.mWithheldPort = 1;
  EXPECT_EQ(Apply(mRaw, {none, good}), 0);
  EXPECT_THAT(TakeCallsOn("None"), IsEmpty());
  good.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
  EXPECT_EQ(mRaw.IDs()[0], good.ID());
}

TEST_F(ReceivePorts, WhenNoPortCanBeOpenedNoThreadRuns) {
  const Line line = AddLine(1, "In");
  Calls().Fail("CreatePort", E_FAIL);
  EXPECT_EQ(Apply(mRaw, {line}), 0);
  EXPECT_FALSE(IsRunning());
  EXPECT_EQ(Groups().size(), 1u);
}

// ---- events ----

// How the events were made, in order, while this is there.
class MadeEvents {
 public:
  struct Made {
    std::string mName;
    bool mHasSecurity = false;
    BOOL mIsManual = FALSE;
    BOOL mIsSignalled = FALSE;
  };

  MadeEvents() {
    List().clear();
    Test_ReceivePortSetAccess::MakeEventsBy(
        [](auto* iSecurityP, BOOL iManual, BOOL iSignalled, auto* iNameP) {
          Made made{"", iSecurityP != nullptr, iManual, iSignalled};
          CComBSTRLite::BSTRToString(iNameP, &made.mName);
          List().push_back(made);
          return CreateEventW(iSecurityP, iManual, iSignalled, iNameP);
        });
  }
  ~MadeEvents() { Test_ReceivePortSetAccess::MakeEventsBy(&CreateEventW); }
  MadeEvents(const MadeEvents&) = delete;
  MadeEvents& operator=(const MadeEvents&) = delete;

  static std::vector<Made>& List() {
    static std::vector<Made> sList;
    return sList;
  }
  static std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const Made& made : List()) names.push_back(made.mName);
    return names;
  }
};

TEST_F(ReceivePorts, EventsBearTheNameOfTheSetAndOfThePortTheLastThatOfTheEnd) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Zweiter \xC3\x84ther");
  const MadeEvents events;
  Apply(mRaw, {first, second});
  const std::string umid = Test_ReceivePortSetAccess::Umid(mSet);
  EXPECT_EQ(umid.size(), 32u);
  EXPECT_THAT(MadeEvents::Names(), ElementsAre(umid + "MIDI Message Received Event:First",
                                               umid + "MIDI Message Received Event:Zweiter \xC3\x84ther",
                                               umid + "MIDI Receive Kill Event"));
}

TEST_F(ReceivePorts, NoOtherSetGivesItsEventsTheseNames) {
  EXPECT_NE(Test_ReceivePortSetAccess::Umid(mSet), Test_ReceivePortSetAccess::Umid(ReceivePortSet()));
}

TEST_F(ReceivePorts, EventsAreForAllOfTheProcessResetThemselvesAndBeginUnsignalled) {
  const Line line = AddLine(1, "In");
  const MadeEvents events;
  Apply(mRaw, {line});
  ASSERT_EQ(MadeEvents::List().size(), 2u);
  for (const MadeEvents::Made& made : MadeEvents::List()) {
    EXPECT_FALSE(made.mHasSecurity) << made.mName;
    EXPECT_EQ(made.mIsManual, FALSE) << made.mName;
    EXPECT_EQ(made.mIsSignalled, FALSE) << made.mName;
  }
}

// While it is there so many events can be made, and then none: as where no descriptor is left. (Without one
// the checker of undefined behaviour can't look at memory.)
class EventLimit {
 public:
  explicit EventLimit(int iCount) {
    sLeft = iCount;
    Test_ReceivePortSetAccess::MakeEventsBy(
        [](void* iSecurityP, BOOL iManualReset, BOOL iInitialState, const OLECHAR* iName) -> HANDLE {
          return sLeft-- > 0 ? CreateEventW(iSecurityP, iManualReset, iInitialState, iName) : nullptr;
        });
  }
  ~EventLimit() { Test_ReceivePortSetAccess::MakeEventsBy(&CreateEventW); }
  EventLimit(const EventLimit&) = delete;
  EventLimit& operator=(const EventLimit&) = delete;

 private:
  static inline int sLeft = 0;
};

TEST_F(ReceivePorts, KillEventThatCannotBeMadeIsReportedAndTheThreadStillEnds) {
  const Line line = AddLine(1, "In");
  const Test_AssertRecorder recorder;
  {
    const EventLimit limit(1);  // enough for the port's event alone
    EXPECT_EQ(Apply(mRaw, {line}), 0);
  }
  ASSERT_EQ(recorder.Count("theEvent"), 1);
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_directmusic/mlox_directmusic_callbacks");
  EXPECT_TRUE(IsRunning());
  mSet.Shutdown();
  EXPECT_FALSE(IsRunning());
}

TEST_F(ReceivePorts, PortEventThatCannotBeMadeLeavesThePortOut) {
  const Line line = AddLine(1, "In");
  {
    const EventLimit limit(0);
    EXPECT_EQ(Apply(mRaw, {line}), 0);
  }
  EXPECT_FALSE(IsRunning());
  EXPECT_FALSE(line.mPortP->IsActive());
}

// ---- the thread's beginning ----

// While it is there, who makes a thread is held behind the making, until its body has gone on or 200 ms have
// passed. Counts the bodies that went on, and those among them that found no thread or no task.
class HeldMaker {
 public:
  HeldMaker() {
    sBodies = 0;
    sLostBodies = 0;
    Platform_SetComInitializer([](DWORD) {
      if (sReceiveThread.load() == nullptr || sReceiveTask.load() == nullptr) ++sLostBodies;
      ++sBodies;
      return S_OK;
    });
    Test_ReceivePortSetAccess::MakeThreadBy([](Sys_RawThreadTask* iTaskP) {
      const int before = sBodies;
      Sys_RawThread* const threadP = Sys_RawThread::Create(iTaskP);
      const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
      while (sBodies == before && std::chrono::steady_clock::now() < until) std::this_thread::yield();
      return threadP;
    });
  }
  ~HeldMaker() {
    Test_ReceivePortSetAccess::MakeThreadBy(&Sys_RawThread::Create);
    Platform_SetComInitializer(nullptr);
  }
  HeldMaker(const HeldMaker&) = delete;
  HeldMaker& operator=(const HeldMaker&) = delete;

  static int Bodies() { return sBodies; }
  static int LostBodies() { return sLostBodies; }

 private:
  static inline std::atomic<int> sBodies{0};
  static inline std::atomic<int> sLostBodies{0};
};

TEST_F(ReceivePorts, ThreadBeginsOnlyWhenItIsKnownByItsPointer) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  {
    const HeldMaker maker;
    Apply(mRaw, {first});
    ASSERT_TRUE(Test_WaitUntil([] { return HeldMaker::Bodies() == 1; }));
    Apply(mRaw, {first, second});  // a restart
    ASSERT_TRUE(Test_WaitUntil([] { return HeldMaker::Bodies() == 2; }));
    EXPECT_EQ(HeldMaker::LostBodies(), 0);
  }
  second.mPortP->Feed({0x90, 60, 100});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

TEST_F(ReceivePorts, WhereNoThreadCanBeHadThePortsAreClosedAndTheNextRestartTriesAgain) {
  const Line line = AddLine(1, "In");
  const std::ptrdiff_t descriptors = Test_OpenDescriptors();
  Test_ReceivePortSetAccess::MakeThreadBy([](Sys_RawThreadTask*) -> Sys_RawThread* { return nullptr; });
  EXPECT_EQ(Apply(mRaw, {line}), 0);
  Test_ReceivePortSetAccess::MakeThreadBy(&Sys_RawThread::Create);
  EXPECT_FALSE(IsRunning());
  EXPECT_FALSE(line.mPortP->IsArmed());
  EXPECT_FALSE(line.mPortP->IsActive());
  EXPECT_EQ(Test_OpenDescriptors(), descriptors) << "the events are closed";
  Apply(mRaw, {});
  Apply(mRaw, {line});
  line.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
}

// ---- waiting and stopping ----

TEST_F(ReceivePorts, ApplyWaitsForTheDeliveryInProgress) {
  const Line line = AddLine(1, "In");
  Test_Gate gate;
  std::atomic<bool> hasReturned{false};
  mRaw.mOnReceive = [&](Mlox_MidiData&) {
    gate.Wait();
    return 0;
  };
  Apply(mRaw, {line});
  line.mPortP->Feed({0xF8});
  ASSERT_TRUE(mRaw.WaitFor(1));
  std::thread other([&] {
    Apply(mSecond, {line});  // no restart
    hasReturned = true;
  });
  ASSERT_TRUE(Test_WaitUntil([] { return GetDirectMusicReceivers()->size() == 2; }));
  EXPECT_FALSE(hasReturned);
  gate.Open();
  other.join();
  EXPECT_TRUE(hasReturned);
}

TEST_F(ReceivePorts, AfterItsWithdrawalAReceiverIsNotCalledAgain) {
  const Line line = AddLine(1, "In");
  Apply(mRaw, {line});
  Apply(mSecond, {line});
  std::atomic<bool> isDone{false};
  std::thread player([&] {
    while (!isDone.load()) {
      if (line.mPortP->Waiting() < 100) line.mPortP->Feed({0xF8});
      std::this_thread::yield();
    }
  });
  ASSERT_TRUE(mRaw.WaitFor(50));
  Apply(mRaw, {});  // no restart: the other still listens
  const std::size_t count = mRaw.Count();
  const std::size_t other = mSecond.Count();
  EXPECT_TRUE(mSecond.WaitFor(other + 200));
  EXPECT_EQ(mRaw.Count(), count);
  isDone = true;
  player.join();
}

TEST_F(ReceivePorts, ApplyOnTheReceiveThreadReportsAndRefuses) {
  const Line line = AddLine(1, "In");
  const Test_AssertRecorder recorder;
  std::atomic<HRESULT> result{0};
  std::atomic<int> refusals{0};
  const Receiver own = NewReceiver(mRaw, {});
  mRaw.mOnReceive = [&](Mlox_MidiData&) {
    result = mSet.Apply(own);
    mSet.Shutdown();
    ++refusals;
    return 0;
  };
  Apply(mRaw, {line});
  line.mPortP->Feed({0xF8});
  line.mPortP->Feed({0xFA});
  EXPECT_TRUE(Test_WaitUntil([&] { return refusals == 2; }));
  EXPECT_EQ(result, E_UNEXPECTED);
  EXPECT_EQ(recorder.Count("!isReceiveThread"), 4);
  EXPECT_TRUE(IsRunning());
  mSet.Shutdown();
}

TEST_F(ReceivePorts, ApplyUnderTheSubsystemsLockReportsAndRefuses) {
  const Line line = AddLine(1, "In");
  const Test_AssertRecorder recorder;
  {
    const DirectMusicSubsystemLock lock;
    EXPECT_EQ(Apply(mRaw, {line}), E_UNEXPECTED);
    mSet.Shutdown();
  }
  EXPECT_EQ(recorder.Count("!isLocked"), 2);
  EXPECT_FALSE(IsRunning());
  EXPECT_EQ(Apply(mRaw, {line}), 0);
  EXPECT_EQ(recorder.Count(), 2);
}

TEST_F(ReceivePorts, ReceiverThatNeverTakesTheRecordDoesNotKeepItsOwnWithdrawal) {
  const Line line = AddLine(1, "In");
  mRaw.mOnReceive = [](Mlox_MidiData&) { return 2; };
  Apply(mSecond, {line});
  Apply(mRaw, {line});
  line.mPortP->Feed({0xF8});
  ASSERT_TRUE(mRaw.WaitFor(3));
  Apply(mRaw, {});
  const std::size_t count = mRaw.Count();
  line.mPortP->Feed({0xFA});
  EXPECT_TRUE(mSecond.WaitFor(2));
  EXPECT_EQ(mRaw.Count(), count);
}

TEST_F(ReceivePorts, ReceiverThatNeverTakesTheRecordDoesNotKeepARestart) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  mRaw.mOnReceive = [](Mlox_MidiData&) { return 2; };
  Apply(mRaw, {first});
  first.mPortP->Feed({0xF8});
  ASSERT_TRUE(mRaw.WaitFor(3));
  Apply(mSecond, {second});
  second.mPortP->Feed({0xF8});
  EXPECT_TRUE(mSecond.WaitFor(1));
}

TEST_F(ReceivePorts, DeliveryInProgressKnowsItsThreadToItsEndWhileARestartWaitsForIt) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  mRaw.mOnReceive = [](Mlox_MidiData&) {
    Test_WaitUntil([] { return DirectMusicReceiveTask::IsStopRequestedOnThisThread(); });
    return 0;
  };
  Apply(mRaw, {first});
  first.mPortP->FeedAll({{0xF8}, {0xFA}});
  ASSERT_TRUE(mRaw.WaitFor(1));
  Apply(mSecond, {second});
  EXPECT_THAT(mRaw.Bytes(), ElementsAre(Bytes{0xF8}, Bytes{0xFA}));
}

TEST_F(ReceivePorts, ReceiverThatComesBackAfterItsWithdrawalIsServedAsBefore) {
  const Line line = AddLine(1, "In");
  const Receiver receiver = NewReceiver(mRaw, {line});
  const Receiver empty = std::make_shared<CGenericMIDIReceiver>();
  std::shared_ptr<IDirectMusicMIDIReceiveCallback> callback;
  receiver->GetCallback(&callback);
  empty->SetCallback(callback);
  mSet.Apply(receiver);
  mSet.Apply(empty);
  std::atomic<int> calls{0};
  mRaw.mOnReceive = [&](Mlox_MidiData&) { return ++calls < 3 ? 2 : 0; };
  mSet.Apply(receiver);
  line.mPortP->Feed({0xF8});
  EXPECT_TRUE(Test_WaitUntil([&] { return calls == 3; }));
  mSet.Shutdown();
}

TEST_F(ReceivePorts, ShutdownWithdrawsEverythingAndEndsTheThread) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  Apply(mRaw, {first});
  Apply(mSecond, {second});
  mSet.Shutdown();
  EXPECT_FALSE(IsRunning());
  EXPECT_THAT(*GetDirectMusicReceivers(), IsEmpty());
  EXPECT_THAT(Groups(), IsEmpty());
  EXPECT_FALSE(first.mPortP->IsArmed());
  EXPECT_FALSE(second.mPortP->IsArmed());
  mSet.Shutdown();
}

TEST_F(ReceivePorts, ShutdownLeavesNoGroupOfAnInputThatNoReceiverWanted) {
  const Line line = AddLine(1, "In");
  AddUserLine("User", line);
  Apply(mRaw, {line});
  Apply(mRaw, {line});  // the user-defined input has joined the port's group
  mSet.Shutdown();
  EXPECT_THAT(Groups(), IsEmpty());
  EXPECT_FALSE(line.mPortP->IsArmed());
}

TEST_F(ReceivePorts, ShutdownEndsAlsoWithoutARootAndWithAReceiverThatHidesItsCallback) {
  class Hiding : public CGenericMIDIReceiver {
   public:
    HRESULT GetCallback(std::shared_ptr<IDirectMusicMIDIReceiveCallback>* callback) override {
      return mIsHiding ? E_FAIL : CGenericMIDIReceiver::GetCallback(callback);
    }
    std::atomic<bool> mIsHiding{false};
  };
  const Line line = AddLine(1, "In");
  const auto hiding = std::make_shared<Hiding>();
  hiding->SetCallback(std::make_shared<Mlox_DirectMusic_MIDIReceiveCallback>());
  hiding->AddSource(mStudio->IDsOf(*line.mNodeP));
  mSet.Apply(hiding);
  hiding->mIsHiding = true;
  Apply(mRaw, {line});
  DirectMusicClient::ReleaseDirectMusicPtr();
  mSet.Shutdown();
  EXPECT_FALSE(IsRunning());
  EXPECT_THAT(*GetDirectMusicReceivers(), IsEmpty());
}

TEST_F(ReceivePorts, ReceptionBeginsAgainAfterAShutdown) {
  const Line line = AddLine(1, "In");
  for (std::size_t round = 1; round <= 20; ++round) {
    Apply(mRaw, {line});
    line.mPortP->Feed({0xF8});
    ASSERT_TRUE(mRaw.WaitFor(round));
    mSet.Shutdown();
  }
}

TEST_F(ReceivePorts, ThreadsThatConnectAtOnceAreServedOneAfterTheOther) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  const Receiver firstOn = NewReceiver(mRaw, {first});
  const Receiver firstOff = NewReceiver(mRaw, {});
  const Receiver secondOn = NewReceiver(mSecond, {second});
  const Receiver secondOff = NewReceiver(mSecond, {});
  const auto toggle = [&](const Receiver& iOn, const Receiver& iOff) {
    for (int i = 0; i < 30; ++i) {
      mSet.Apply(iOn);
      mSet.Apply(iOff);
    }
    mSet.Apply(iOn);
  };
  // The manager's list of inputs is read by both; it doesn't change meanwhile.
  std::thread other([&] { toggle(firstOn, firstOff); });
  toggle(secondOn, secondOff);
  other.join();
  first.mPortP->Feed({0xF8});
  second.mPortP->Feed({0xF8});
  EXPECT_TRUE(mRaw.WaitFor(1));
  EXPECT_TRUE(mSecond.WaitFor(1));
}

TEST_F(ReceivePorts, ProcessMayEndWithTheReceiveThreadRunning) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        const Line line = AddLine(1, "In");
        sReceivePortSet.Apply(NewReceiver(mRaw, {line}));
        line.mPortP->Feed({0xF8});
        mRaw.WaitFor(1);
        std::exit(IsRunning() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

// ---- connecting ----

class Connecting : public ReceivePorts {
 protected:
  void Connect(const std::vector<Line>& iLines) {
    Mlox_InputList inputs;
    for (const Line& line : iLines) inputs.push_back(line.mInput);
    ConnectInputs(&mPort, inputs);
  }

  DirectMusicInputPortState mPort{kServiceIndex, &mRaw};
};

TEST_F(Connecting, InputsSendToThePortsReceiver) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  Connect({first, second});
  first.mPortP->Feed({0xF8});
  ASSERT_TRUE(mRaw.WaitFor(1));
  second.mPortP->Feed({0xFA});
  ASSERT_TRUE(mRaw.WaitFor(2));
  EXPECT_THAT(mRaw.IDs(), ElementsAre(first.ID(), second.ID()));
}

TEST_F(Connecting, ConnectionReplacesTheEarlierOne) {
  const Line first = AddLine(1, "First");
  const Line second = AddLine(2, "Second");
  Connect({first});
  Connect({second});
  EXPECT_FALSE(first.mPortP->IsArmed());
  EXPECT_TRUE(second.mPortP->IsArmed());
  EXPECT_EQ(GetDirectMusicReceivers()->size(), 1u);
}

TEST_F(Connecting, EmptyListEndsTheConnection) {
  const Line line = AddLine(1, "In");
  Connect({line});
  Connect({});
  EXPECT_FALSE(IsRunning());
  EXPECT_THAT(*GetDirectMusicReceivers(), IsEmpty());
}

TEST_F(Connecting, EmptyListWithoutAConnectionChangesNothing) {
  const Line line = AddLine(1, "In");
  DirectMusicInputPortState other{kServiceIndex, &mSecond};
  Mlox_InputList inputs{line.mInput};
  ConnectInputs(&other, inputs);
  const DirectMusicReceiveTask* const taskP = sReceiveTask.load();
  Connect({});
  EXPECT_EQ(sReceiveTask.load(), taskP);
  EXPECT_EQ(GetDirectMusicReceivers()->size(), 1u);
}

TEST_F(Connecting, InputsOfAnotherServiceAndThoseWithoutIdentifiersArePassedOver) {
  const Line line = AddLine(1, "In");
  const Line unknown = AddLine(2, "Unknown");
  const Mlox_InputID id = line.ID();
  ClearRegisteredIDs();
  GetMloxIDFromIDs(mStudio->IDsOf(*line.mNodeP));
  ConnectInputs(&mPort, {Mlox_InputRef(), mInputsP->mForeign, unknown.mInput, line.mInput});
  const Receiver receiver =
      std::dynamic_pointer_cast<CGenericMIDIReceiver>(GetDirectMusicReceivers()->front());
  int count = 0;
  receiver->GetSourceCount(&count);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(receiver->IsListeningToID(id), 0);
}

TEST_F(Connecting, InputOfAnEarlierServiceIndexIsPassedOver) {
  const Line line = AddLine(1, "In");
  DirectMusicInputPortState other{kServiceIndex + 1, &mRaw};
  ConnectInputs(&other, {line.mInput});
  EXPECT_THAT(*GetDirectMusicReceivers(), IsEmpty());
}

TEST_F(Connecting, WithoutAPortNothingHappens) {
  const Line line = AddLine(1, "In");
  ConnectInputs(nullptr, {line.mInput});
  EXPECT_FALSE(IsRunning());
}

}  // namespace
