// SPDX-License-Identifier: MIT
#include "mlox/midioutputidmapper.h"

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
struct Test_MidiOutputIDMapperAccess {
  static std::size_t Capacity() { return MidiOutputIDMapper::sMidiOutputIDList.capacity(); }
};

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Both are signed: the -1 of a common entry comes before the channels.
static_assert(std::is_same_v<decltype(MidiOutputIDMapper_Entry::mIndex), std::int32_t> &&
              std::is_same_v<decltype(MidiOutputIDMapper_Entry::mChannel), std::int16_t> &&
              offsetof(MidiOutputIDMapper_Entry, mIndex) < offsetof(MidiOutputIDMapper_Entry, mChannel));

class NamedListener : public MidiOutputIDMapper_Listener, public Test_NamedListener {
 public:
  using Test_NamedListener::Test_NamedListener;
  void MidiOutputIDMapper_IDsChanged() override { Hear(); }
};

// An application's listener of the manager that stands before the mapper's own.
class EarlyManagerListener : public Mlox_Manager_Listener {
 public:
  void Mlox_Manager_OutputsChanged(bool) override {
    if (mAct) mAct();
  }
  std::function<void()> mAct;
};

class MidiOutputIDMapperTest : public Test_ManagerFixture {
 protected:
  MidiOutputIDMapperTest() : mServiceP(new Test_FakeService("service")) {
    Manager().AddService(mServiceP, 16);
  }

  Test_FakeDevice& AddDevice(const std::string& iName, unsigned iChannelMask) {
    Test_FakeDevice& device = mServiceP->AddDevice(iName);
    device.mChannelMask = iChannelMask;
    Manager().ServiceOutputListChanged(mServiceP, true);
    return device;
  }

  // What all ids stand for, "name:channel".
  static std::vector<std::string> Ids() {
    std::vector<std::string> ids;
    for (int id = 0; id <= MidiOutputIDMapper::GetMaxID(); ++id) {
      Mlox_Device* deviceP = MidiOutputIDMapper::IDToDevice(id);
      ids.push_back((deviceP != nullptr ? deviceP->GetName() : "none") + ":" +
                    std::to_string(MidiOutputIDMapper::IDToChannel(id)));
    }
    return ids;
  }

  Test_FakeService* mServiceP;
};

TEST_F(MidiOutputIDMapperTest, WithNoDevicesTheHighestIDIsZeroAndStandsForNothing) {
  const Test_AssertRecorder recorder;
  EXPECT_EQ(MidiOutputIDMapper::GetMaxID(), 0);
  EXPECT_EQ(MidiOutputIDMapper::IDToChannel(0), -1);
  EXPECT_EQ(MidiOutputIDMapper::IDToOutput(0), nullptr);
  EXPECT_EQ(MidiOutputIDMapper::IDToDevice(0), nullptr);
  EXPECT_THAT(recorder.Texts(), IsEmpty()) << "the manager isn't asked for what doesn't exist";
}

TEST_F(MidiOutputIDMapperTest, ADeviceWithChannelsZeroAndOneYieldsNoneChannelZeroChannelOne) {
  AddDevice("Synth", 0x0003);
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "Synth:0", "Synth:1"));
}

TEST_F(MidiOutputIDMapperTest, ADeviceWithNoneOfTheSixteenYieldsNoneAndCommon) {
  AddDevice("Lights", 0);
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "Lights:-1"));
}

TEST_F(MidiOutputIDMapperTest, ChannelFifteenIsTheLastOne) {
  AddDevice("Synth", 0xFFFF);
  EXPECT_EQ(MidiOutputIDMapper::GetMaxID(), 16);
  EXPECT_EQ(MidiOutputIDMapper::IDToChannel(16), 15);
}

TEST_F(MidiOutputIDMapperTest, DevicesFollowInTheManagersOrder) {
  AddDevice("A", 0x8000);
  AddDevice("B", 0);
  AddDevice("C", 0x0001);
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "A:15", "B:-1", "C:0"));
}

TEST_F(MidiOutputIDMapperTest, AnIDGivesTheChannelsOutputOrTheCommonOne) {
  Test_FakeDevice& synth = AddDevice("Synth", 0x0004);
  Test_FakeDevice& lights = AddDevice("Lights", 0);
  EXPECT_EQ(MidiOutputIDMapper::IDToOutput(1), synth.mChannelOutputs[2].get());
  EXPECT_EQ(MidiOutputIDMapper::IDToOutput(2), lights.mCommonOutput.get());
}

TEST_F(MidiOutputIDMapperTest, ANullDeviceAmongTheDevicesHasACommonEntryWithoutDeviceAndOutput) {
  const Test_AssertRecorder recorder;
  AddDevice("A", 0x0001);
  mServiceP->mDevices.insert(mServiceP->mDevices.begin(), nullptr);
  EXPECT_THAT(Ids(), ElementsAre("none:-1", "none:-1", "A:0"));
  EXPECT_EQ(MidiOutputIDMapper::IDToOutput(1), nullptr);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

// ---- from an output to an id ----

TEST_F(MidiOutputIDMapperTest, AnOutputMapsToItsPosition) {
  AddDevice("A", 0x0003);
  Test_FakeDevice& second = AddDevice("B", 0x8001);
  Test_FakeDevice& third = AddDevice("C", 0);
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(second.mChannelOutputs[0].get()), 3);
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(second.mChannelOutputs[15].get()), 4);
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(third.mCommonOutput.get()), 5);
}

TEST_F(MidiOutputIDMapperTest, AnOutputOfADeviceThatIsThereTwiceMapsToItsFirstPlace) {
  Test_FakeDevice& device = AddDevice("Synth", 0x0001);
  Manager().AddService(mServiceP, 16);
  ASSERT_THAT(Ids(), ElementsAre("none:-1", "Synth:0", "Synth:0"));
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(device.mChannelOutputs[0].get()), 1);
}

TEST_F(MidiOutputIDMapperTest, TheCommonOutputOfADeviceWithChannelsFindsNoEntryAndGivesZero) {
  const Test_AssertRecorder recorder;
  Test_FakeDevice& device = AddDevice("Synth", 0x0003);
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(device.mCommonOutput.get()), 0);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST_F(MidiOutputIDMapperTest, AnUnknownOutputIsTheNoneEntryAndNotReported) {
  const Test_AssertRecorder recorder;
  Test_FakeDevice& device = AddDevice("Synth", 0x0003);
  Test_FakeDevice stranger("Synth");
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(nullptr), 0);
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(stranger.mChannelOutputs[0].get()), 0);
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(device.mChannelOutputs[2].get()), 0);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

TEST_F(MidiOutputIDMapperTest, AnOutputThatHasLeftItsDeviceIsUnknownEvenBesideANullDevice) {
  AddDevice("A", 0x0001);
  mServiceP->mDevices.insert(mServiceP->mDevices.begin(), nullptr);
  const Cmn_AliasedRefCountPtr<Test_FakeOutput> dead =
      new Test_FakeOutput(nullptr, Test_MakeDescriptor("gone", 0), -1);
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(dead.get()), 0);
}

TEST_F(MidiOutputIDMapperTest, AnOutputWithoutADescriptorIsUnknown) {
  Test_FakeDevice& device = AddDevice("Synth", 0x0003);
  device.mChannelOutputs[0]->mDescriptorP = nullptr;
  EXPECT_EQ(MidiOutputIDMapper::OutputToID(device.mChannelOutputs[0].get()), 0);
}

// ---- stepping ----

TEST_F(MidiOutputIDMapperTest, FindNextOutputOnTheLastGivesNullAndOnNullTheOutputWithIDOne) {
  Test_FakeDevice& first = AddDevice("A", 0x0001);
  Test_FakeDevice& last = AddDevice("B", 0x8000);
  EXPECT_EQ(MidiOutputIDMapper::FindNextOutput(first.mChannelOutputs[0].get()),
            last.mChannelOutputs[15].get());
  EXPECT_EQ(MidiOutputIDMapper::FindNextOutput(last.mChannelOutputs[15].get()), nullptr);
  EXPECT_EQ(MidiOutputIDMapper::FindNextOutput(nullptr), first.mChannelOutputs[0].get());
}

TEST_F(MidiOutputIDMapperTest, FindNextOutputWithoutDevicesIsNull) {
  EXPECT_EQ(MidiOutputIDMapper::FindNextOutput(nullptr), nullptr);
}

// ---- ids outside ----

TEST_F(MidiOutputIDMapperTest, AnIDOutsideReportsAndIsTheNoneEntry) {
  AddDevice("Synth", 0x0001);
  EXPECT_EQ(MidiOutputIDMapper::GetMaxID(), 1);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(MidiOutputIDMapper::IDToDevice(2), nullptr);
  EXPECT_EQ(MidiOutputIDMapper::IDToOutput(-1), nullptr);
  EXPECT_EQ(MidiOutputIDMapper::IDToChannel(0x7FFFFFFF), -1);
  const std::string text = "iID < (Cmn_Int32)sMidiOutputIDList.size() && iID >= 0";
  ASSERT_THAT(recorder.Texts(), ElementsAre(text, text, text));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/midioutputidmapper");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
}

TEST_F(MidiOutputIDMapperTest, AnOldIDLookedUpInsideAnEarlierManagerListenerIsAnsweredWithoutACrash) {
  EarlyManagerListener early;
  Manager().AddListener(&early);
  AddDevice("Synth", 0xFFFF);
  ASSERT_EQ(MidiOutputIDMapper::GetMaxID(), 16);
  // The first look-up has installed the mapper's own listener, behind the early one.
  mServiceP->mDevices.clear();
  Manager().ServiceOutputListChanged(mServiceP, true);
  const Test_AssertRecorder recorder;
  bool isCalled = false;
  early.mAct = [&] {
    isCalled = true;
    EXPECT_EQ(MidiOutputIDMapper::IDToDevice(16), nullptr);
    EXPECT_EQ(MidiOutputIDMapper::IDToOutput(16), nullptr);
  };
  Manager().CheckStudioSetup();
  EXPECT_TRUE(isCalled);
}

// ---- changes ----

TEST_F(MidiOutputIDMapperTest, AfterServiceOutputListChangedTheNextGetMaxIDRebuildsAndCallsEachListenerOnce) {
  MidiOutputIDMapper::GetMaxID();
  NamedListener first(&mLog, "first");
  NamedListener second(&mLog, "second");
  MidiOutputIDMapper::AddListener(&first);
  MidiOutputIDMapper::AddListener(&second);
  AddDevice("Synth", 0x0001);
  EXPECT_THAT(mLog, IsEmpty());
  EXPECT_EQ(MidiOutputIDMapper::GetMaxID(), 1);
  EXPECT_THAT(mLog, ElementsAre("first", "second"));
  EXPECT_EQ(MidiOutputIDMapper::GetMaxID(), 1);
  EXPECT_THAT(mLog, ElementsAre("first", "second"));
}

TEST_F(MidiOutputIDMapperTest, AChangeWithEitherFlagCounts) {
  MidiOutputIDMapper::GetMaxID();
  NamedListener listener(&mLog);
  MidiOutputIDMapper::AddListener(&listener);
  for (const bool flag : {true, false}) {
    Manager().ServiceOutputListChanged(mServiceP, flag);
    MidiOutputIDMapper::GetMaxID();
  }
  EXPECT_THAT(mLog, ElementsAre("listener", "listener"));
}

TEST_F(MidiOutputIDMapperTest, EveryLookUpPicksAChangeUp) {
  const std::vector<std::function<void()>> lookUps = {
      [] { MidiOutputIDMapper::GetMaxID(); },          [] { MidiOutputIDMapper::IDToChannel(0); },
      [] { MidiOutputIDMapper::IDToDevice(0); },       [] { MidiOutputIDMapper::IDToOutput(0); },
      [] { MidiOutputIDMapper::OutputToID(nullptr); }, [] { MidiOutputIDMapper::FindNextOutput(nullptr); }};
  AddDevice("Synth", 0x0001);
  NamedListener listener(&mLog);
  MidiOutputIDMapper::GetMaxID();
  MidiOutputIDMapper::AddListener(&listener);
  for (const auto& lookUp : lookUps) {
    mLog.clear();
    Manager().ServiceOutputListChanged(mServiceP, true);
    lookUp();
    EXPECT_THAT(mLog, ElementsAre("listener"));
  }
}

// Counts how often it is asked for its channels.
class AskedDevice : public Test_FakeDevice {
 public:
  using Test_FakeDevice::Test_FakeDevice;
  bool IsMidiChannelAvailable(short iChannel) const override {
    ++mQuestions;
    return Test_FakeDevice::IsMidiChannelAvailable(iChannel);
  }
  mutable int mQuestions = 0;
};

TEST_F(MidiOutputIDMapperTest, ADeviceIsAskedOnceForEachChangeByTheNextLookUpAndNotBefore) {
  auto* deviceP = new AskedDevice("Synth");
  mServiceP->mDevices.emplace_back(deviceP);
  Manager().ServiceOutputListChanged(mServiceP, true);
  for (const int questions : {16, 32}) {
    Manager().CheckStudioSetup();
    EXPECT_EQ(deviceP->mQuestions, questions - 16) << "nobody has looked up yet";
    MidiOutputIDMapper::GetMaxID();
    MidiOutputIDMapper::GetMaxID();
    EXPECT_EQ(deviceP->mQuestions, questions);
    Manager().ServiceOutputListChanged(mServiceP, true);
  }
}

TEST_F(MidiOutputIDMapperTest, AChangeKeepsTheStorageOfTheList) {
  AddDevice("Synth", 0xFFFF);
  MidiOutputIDMapper::GetMaxID();
  const std::size_t capacity = Test_MidiOutputIDMapperAccess::Capacity();
  ASSERT_GE(capacity, 17u);
  Manager().ServiceOutputListChanged(mServiceP, true);
  Manager().CheckStudioSetup();
  EXPECT_EQ(Test_MidiOutputIDMapperAccess::Capacity(), capacity);
}

TEST_F(MidiOutputIDMapperTest, AListenerMayLookUpAndGetsTheNewIDs) {
  MidiOutputIDMapper::GetMaxID();
  NamedListener listener(&mLog);
  int maxIDInside = -1;
  listener.mAct = [&] { maxIDInside = MidiOutputIDMapper::GetMaxID(); };
  MidiOutputIDMapper::AddListener(&listener);
  AddDevice("Synth", 0x0007);
  EXPECT_EQ(MidiOutputIDMapper::GetMaxID(), 3);
  EXPECT_EQ(maxIDInside, 3);
}

TEST_F(MidiOutputIDMapperTest, AListenerMayDieInsideItsCallback) {
  MidiOutputIDMapper::GetMaxID();
  auto dying = std::make_unique<NamedListener>(&mLog, "dying");
  NamedListener killer(&mLog, "killer");
  killer.mAct = [&] { dying.reset(); };
  NamedListener last(&mLog, "last");
  MidiOutputIDMapper::AddListener(&killer);
  MidiOutputIDMapper::AddListener(dying.get());
  MidiOutputIDMapper::AddListener(&last);
  Manager().ServiceOutputListChanged(mServiceP, true);
  MidiOutputIDMapper::GetMaxID();
  EXPECT_THAT(mLog, ElementsAre("killer", "last"));
}

TEST_F(MidiOutputIDMapperTest, AListenerAddedInsideACallbackIsCalledInTheSameWalk) {
  MidiOutputIDMapper::GetMaxID();
  NamedListener first(&mLog, "first");
  NamedListener late(&mLog, "late");
  first.mAct = [&] { MidiOutputIDMapper::AddListener(&late); };
  MidiOutputIDMapper::AddListener(&first);
  Manager().ServiceOutputListChanged(mServiceP, true);
  MidiOutputIDMapper::GetMaxID();
  EXPECT_THAT(mLog, ElementsAre("first", "late"));
}

TEST_F(MidiOutputIDMapperTest, AChangeOfAnythingButTheOutputsTellsNobody) {
  MidiOutputIDMapper::GetMaxID();
  NamedListener listener(&mLog);
  MidiOutputIDMapper::AddListener(&listener);
  Manager().ServiceInputListChanged(mServiceP);
  Manager().Service_OutputPreSendChanged();
  Manager().BroadcastPlugInNodeRegistered(nullptr);
  MidiOutputIDMapper::GetMaxID();
  EXPECT_THAT(mLog, IsEmpty());
}

TEST_F(MidiOutputIDMapperTest, NullIsNoListener) {
  const Test_AssertRecorder recorder;
  MidiOutputIDMapper::AddListener(nullptr);
  AddDevice("Synth", 0x0001);
  EXPECT_EQ(MidiOutputIDMapper::GetMaxID(), 1);
  EXPECT_THAT(recorder.Texts(), IsEmpty());
}

// 0 if a listener hears of a change once the ids have been looked up, and not before.
int ListenBeforeAnyLookUp() {
  Test_CallLog log;
  NamedListener listener(&log);
  MidiOutputIDMapper::AddListener(&listener);
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  managerP->ServiceOutputListChanged(nullptr, true);
  managerP->CheckStudioSetup();
  if (!log.empty()) return 1;
  MidiOutputIDMapper::GetMaxID();
  managerP->ServiceOutputListChanged(nullptr, true);
  managerP->CheckStudioSetup();
  return log.size() == 1 ? 0 : 2;
}

// The mapper listens to the manager from its first look-up on, and every fixture here has looked up.
TEST(MidiOutputIDMapperDeathTest, AListenerHearsNothingBeforeTheFirstLookUpOfAProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(ListenBeforeAnyLookUp()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
