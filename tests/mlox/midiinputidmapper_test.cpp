// SPDX-License-Identifier: MIT
#include "mlox/midiinputidmapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/assert_recorder.h"
#include "tests/support/fake_service.h"
#include "tests/support/manager_fixture.h"
#include "tests/support/named_listener.h"

/// Looks at the storage of the list.
struct Test_MidiInputIDMapperAccess {
  static std::size_t Capacity() { return MidiInputIDMapper::sMidiInputIDList.capacity(); }
};

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Both are signed: the -1 of a common entry comes before the channels.
static_assert(std::is_same_v<decltype(MidiInputIDMapper_Entry::mIndex), std::int32_t> &&
              std::is_same_v<decltype(MidiInputIDMapper_Entry::mChannel), std::int16_t> &&
              offsetof(MidiInputIDMapper_Entry, mIndex) < offsetof(MidiInputIDMapper_Entry, mChannel));

class NamedListener : public MidiInputIDMapper_Listener, public Test_NamedListener {
 public:
  using Test_NamedListener::Test_NamedListener;
  void MidiInputIDMapper_IDsChanged() override { Hear(); }
};

// An application's listener of the manager that stands before the mapper's own.
class EarlyManagerListener : public Mlox_Manager_Listener {
 public:
  void Mlox_Manager_InputsChanged() override {
    if (mAct) mAct();
  }
  std::function<void()> mAct;
};

class MidiInputIDMapperTest : public Test_ManagerFixture {
 protected:
  MidiInputIDMapperTest() : mServiceP(new Test_FakeService("service")) {
    Manager().AddService(mServiceP, 16);
  }

  Cmn_AliasedRefCountPtr<Test_FakeInput> AddInput(const std::string& iName, unsigned iChannelMask) {
    auto input = mServiceP->AddInput(iName);
    input->mChannelMask = iChannelMask;
    Manager().ServiceInputListChanged(mServiceP);
    return input;
  }

  // What all ids stand for, "name:channel".
  static std::vector<std::string> Ids() {
    std::vector<std::string> ids;
    for (int id = 0; id <= MidiInputIDMapper::GetMaxID(); ++id) {
      const Mlox_InputRef input = MidiInputIDMapper::IDToInput(id);
      ids.push_back((input ? input->GetName() : "none") + ":" +
                    std::to_string(MidiInputIDMapper::IDToChannel(id)));
    }
    return ids;
  }

  Test_FakeService* mServiceP;
};

TEST_F(MidiInputIDMapperTest, WithNoDevicesTheHighestIDIsZeroAndStandsForNothing) {
  const Test_AssertRecorder recorder;
  EXPECT_EQ(MidiInputIDMapper::GetMaxID(), 0);
  EXPECT_EQ(MidiInputIDMapper::IDToChannel(0), -1);
  EXPECT_EQ(MidiInputIDMapper::IDToInput(0), nullptr);
  EXPECT_THAT(recorder.Texts(), IsEmpty()) << "the manager isn't asked for what doesn't exist";
}

TEST_F(MidiInputIDMapperTest, AnInputWithChannelsZeroAndOneYieldsNoneCommonChannelZeroChannelOne) {
  AddInput("Keys", 0x0003);
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "Keys:-1", "Keys:0", "Keys:1"));
}

TEST_F(MidiInputIDMapperTest, AnInputWithoutChannelsYieldsNoneAndCommon) {
  AddInput("Clock", 0);
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "Clock:-1"));
}

TEST_F(MidiInputIDMapperTest, ChannelFifteenIsTheLastOne) {
  AddInput("Keys", 0xFFFF);
  EXPECT_EQ(MidiInputIDMapper::GetMaxID(), 17);
  EXPECT_EQ(MidiInputIDMapper::IDToChannel(17), 15);
}

TEST_F(MidiInputIDMapperTest, InputsFollowInTheManagersOrder) {
  AddInput("A", 0x8000);
  AddInput("B", 0x0001);
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "A:-1", "A:15", "B:-1", "B:0"));
}

TEST_F(MidiInputIDMapperTest, ANullInputAmongTheInputsHasACommonEntryWithoutInput) {
  AddInput("Keys", 0x0001);
  mServiceP->mInputs.insert(mServiceP->mInputs.begin(), Cmn_AliasedRefCountPtr<Test_FakeInput>());
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "none:-1", "Keys:-1", "Keys:0"));
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(nullptr, -1), 0) << "null never is that one";
}

// ---- from an input to an id ----

TEST_F(MidiInputIDMapperTest, AnAssignmentMapsToItsPosition) {
  AddInput("A", 0x0003);
  const auto second = AddInput("B", 0x8001);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(second, -1), 4);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(second, 0), 5);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(second, 15), 6);
}

TEST_F(MidiInputIDMapperTest, AnInputThatIsThereTwiceMapsToItsFirstPlace) {
  const auto input = AddInput("Keys", 0x0001);
  Manager().AddService(mServiceP, 16);
  Manager().ServiceInputListChanged(mServiceP);
  ASSERT_THAT(Ids(), ElementsAre("none:-1", "Keys:-1", "Keys:0", "Keys:-1", "Keys:0"));
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(input, -1), 1);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(input, 0), 2);
}

TEST_F(MidiInputIDMapperTest, EveryIDMapsBackToItself) {
  AddInput("A", 0x5555);
  AddInput("B", 0);
  AddInput("C", 0xAAAA);
  for (int id = 1; id <= MidiInputIDMapper::GetMaxID(); ++id) {
    EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(MidiInputIDMapper::IDToInput(id),
                                                     MidiInputIDMapper::IDToChannel(id)),
              id);
  }
}

TEST_F(MidiInputIDMapperTest, AnUnknownInputOrChannelIsTheNoneEntryAndNotReported) {
  const Test_AssertRecorder recorder;
  const auto input = AddInput("Keys", 0x0003);
  const Mlox_InputRef stranger = new Test_FakeInput("Keys");
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(nullptr, 0), 0);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(stranger, 0), 0);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(input, 2), 0);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(input, 16), 0);
  EXPECT_EQ(MidiInputIDMapper::InputAssignmentToID(input, -2), 0);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

// ---- ids outside ----

TEST_F(MidiInputIDMapperTest, AnIDBehindTheLastReportsAndIsTheNoneEntry) {
  AddInput("Keys", 0x0001);
  EXPECT_EQ(MidiInputIDMapper::GetMaxID(), 2);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(MidiInputIDMapper::IDToInput(3), nullptr);
  EXPECT_EQ(MidiInputIDMapper::IDToChannel(0x7FFFFFFF), -1);
  ASSERT_THAT(recorder.Texts(), ElementsAre("iID < (Cmn_Int32)sMidiInputIDList.size()",
                                            "iID < (Cmn_Int32)sMidiInputIDList.size()"));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/midiinputidmapper");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST_F(MidiInputIDMapperTest, ANegativeIDIsTheNoneEntryWithoutAReport) {
  AddInput("Keys", 0x0001);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(MidiInputIDMapper::IDToInput(-1), nullptr);
  EXPECT_EQ(MidiInputIDMapper::IDToChannel(-0x7FFFFFFF - 1), -1);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST_F(MidiInputIDMapperTest, AnOldIDLookedUpInsideAnEarlierManagerListenerIsAnsweredWithoutACrash) {
  EarlyManagerListener early;
  Manager().AddListener(&early);
  AddInput("Keys", 0xFFFF);
  ASSERT_EQ(MidiInputIDMapper::GetMaxID(), 17);
  // The first look-up has installed the mapper's own listener, behind the early one.
  mServiceP->mInputs.clear();
  Manager().ServiceInputListChanged(mServiceP);
  const Test_AssertRecorder recorder;
  bool isCalled = false;
  early.mAct = [&] {
    isCalled = true;
    EXPECT_EQ(MidiInputIDMapper::IDToInput(17), nullptr);
  };
  Manager().CheckStudioSetup();
  EXPECT_TRUE(isCalled);
}

// ---- changes ----

TEST_F(MidiInputIDMapperTest, AReportedChangeIsPickedUpByTheNextLookUpWhichCallsEachListenerOnce) {
  MidiInputIDMapper::GetMaxID();
  NamedListener first(&mLog, "first");
  NamedListener second(&mLog, "second");
  MidiInputIDMapper::AddListener(&first);
  MidiInputIDMapper::AddListener(&second);
  AddInput("Keys", 0x0001);
  EXPECT_THAT(mLog, IsEmpty());
  EXPECT_EQ(MidiInputIDMapper::GetMaxID(), 2);
  EXPECT_THAT(mLog, ElementsAre("first", "second"));
  EXPECT_EQ(MidiInputIDMapper::GetMaxID(), 2);
  EXPECT_THAT(mLog, ElementsAre("first", "second"));
}

TEST_F(MidiInputIDMapperTest, EveryLookUpPicksAChangeUp) {
  const auto input = AddInput("A", 0x0001);
  const std::vector<std::function<void()>> lookUps = {
      [] { MidiInputIDMapper::GetMaxID(); }, [] { MidiInputIDMapper::IDToChannel(0); },
      [] { MidiInputIDMapper::IDToInput(0); }, [] { MidiInputIDMapper::InputAssignmentToID(nullptr, 0); }};
  NamedListener listener(&mLog);
  MidiInputIDMapper::GetMaxID();
  MidiInputIDMapper::AddListener(&listener);
  for (const auto& lookUp : lookUps) {
    mLog.clear();
    Manager().ServiceInputListChanged(mServiceP);
    lookUp();
    EXPECT_THAT(mLog, ElementsAre("listener"));
  }
}

// Counts how often it is asked for its channels.
class AskedInput : public Test_FakeInput {
 public:
  using Test_FakeInput::Test_FakeInput;
  bool IsMidiChannelAvailable(short iChannel) const override {
    ++mQuestions;
    return Test_FakeInput::IsMidiChannelAvailable(iChannel);
  }
  mutable int mQuestions = 0;
};

TEST_F(MidiInputIDMapperTest, AnInputIsAskedOnceForEachChangeByTheNextLookUpAndNotBefore) {
  const Cmn_AliasedRefCountPtr<AskedInput> input = new AskedInput("Keys");
  mServiceP->mInputs.emplace_back(input.get());
  Manager().ServiceInputListChanged(mServiceP);
  for (const int questions : {16, 32}) {
    Manager().CheckStudioSetup();
    EXPECT_EQ(input->mQuestions, questions - 16) << "nobody has looked up yet";
    MidiInputIDMapper::GetMaxID();
    MidiInputIDMapper::GetMaxID();
    EXPECT_EQ(input->mQuestions, questions);
    Manager().ServiceInputListChanged(mServiceP);
  }
}

TEST_F(MidiInputIDMapperTest, AChangeKeepsTheStorageOfTheList) {
  AddInput("Keys", 0xFFFF);
  MidiInputIDMapper::GetMaxID();
  const std::size_t capacity = Test_MidiInputIDMapperAccess::Capacity();
  ASSERT_GE(capacity, 17u);
  Manager().ServiceInputListChanged(mServiceP);
  Manager().CheckStudioSetup();
  EXPECT_EQ(Test_MidiInputIDMapperAccess::Capacity(), capacity);
}

TEST_F(MidiInputIDMapperTest, AListenerMayLookUpAndGetsTheNewIDs) {
  MidiInputIDMapper::GetMaxID();
  NamedListener listener(&mLog);
  int maxIDInside = -1;
  listener.mAct = [&] { maxIDInside = MidiInputIDMapper::GetMaxID(); };
  MidiInputIDMapper::AddListener(&listener);
  AddInput("Keys", 0x0007);
  EXPECT_EQ(MidiInputIDMapper::GetMaxID(), 4);
  EXPECT_EQ(maxIDInside, 4);
}

TEST_F(MidiInputIDMapperTest, AListenerMayRemoveItselfInsideItsCallback) {
  MidiInputIDMapper::GetMaxID();
  auto leaving = std::make_unique<NamedListener>(&mLog, "leaving");
  leaving->mAct = [&] { leaving->RemoveFromList(); };
  NamedListener staying(&mLog, "staying");
  MidiInputIDMapper::AddListener(leaving.get());
  MidiInputIDMapper::AddListener(&staying);
  Manager().ServiceInputListChanged(mServiceP);
  MidiInputIDMapper::GetMaxID();
  Manager().ServiceInputListChanged(mServiceP);
  MidiInputIDMapper::GetMaxID();
  EXPECT_THAT(mLog, ElementsAre("leaving", "staying", "staying"));
}

TEST_F(MidiInputIDMapperTest, AListenerAddedInsideACallbackIsCalledInTheSameWalk) {
  MidiInputIDMapper::GetMaxID();
  NamedListener first(&mLog, "first");
  NamedListener late(&mLog, "late");
  first.mAct = [&] { MidiInputIDMapper::AddListener(&late); };
  MidiInputIDMapper::AddListener(&first);
  Manager().ServiceInputListChanged(mServiceP);
  MidiInputIDMapper::GetMaxID();
  EXPECT_THAT(mLog, ElementsAre("first", "late"));
}

TEST_F(MidiInputIDMapperTest, AChangeOfAnythingButTheInputsTellsNobody) {
  MidiInputIDMapper::GetMaxID();
  NamedListener listener(&mLog);
  MidiInputIDMapper::AddListener(&listener);
  Manager().ServiceOutputListChanged(mServiceP, true);
  Manager().Service_OutputPreSendChanged();
  Manager().BroadcastPlugInNodeRegistered(nullptr);
  MidiInputIDMapper::GetMaxID();
  EXPECT_THAT(mLog, IsEmpty());
}

TEST_F(MidiInputIDMapperTest, NullIsNoListener) {
  const Test_AssertRecorder recorder;
  MidiInputIDMapper::AddListener(nullptr);
  AddInput("Keys", 0x0001);
  EXPECT_EQ(MidiInputIDMapper::GetMaxID(), 2);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

// 0 if a listener hears of a change once the ids have been looked up, and not before.
int ListenBeforeAnyLookUp() {
  Test_CallLog log;
  NamedListener listener(&log);
  MidiInputIDMapper::AddListener(&listener);
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  managerP->ServiceInputListChanged(nullptr);
  managerP->CheckStudioSetup();
  if (!log.empty()) return 1;
  MidiInputIDMapper::GetMaxID();
  managerP->ServiceInputListChanged(nullptr);
  managerP->CheckStudioSetup();
  return log.size() == 1 ? 0 : 2;
}

// The mapper listens to the manager from its first look-up on, and every fixture here has looked up.
TEST(MidiInputIDMapperDeathTest, AListenerHearsNothingBeforeTheFirstLookUpOfAProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(ListenBeforeAnyLookUp()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
