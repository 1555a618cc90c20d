// SPDX-License-Identifier: MIT
#include "mlox/mlox_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cmn/cmn_assert.h"
#include "cmn/cmn_realtimescope.h"
#include "cmn/mem2_masterallocator.h"
#include "cmn/sys_clock.h"
#include "mlox/mlox_inputport.h"
#include "mlox/mlox_persistentoutputregistry.h"
#include "tests/support/assert_mode.h"
#include "tests/support/assert_recorder.h"
#include "tests/support/fake_service.h"
#include "tests/support/manager_fixture.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

// A listener that does what a test tells it, inside its callback for outputs.
class ActingListener : public Test_RecordingListener {
 public:
  ActingListener(Test_CallLog* iLogP, const std::string& iName) : Test_RecordingListener(iLogP, iName) {}
  void Mlox_Manager_OutputsChanged(bool iFlag) override {
    Test_RecordingListener::Mlox_Manager_OutputsChanged(iFlag);
    if (mAct) mAct();
  }

  std::function<void()> mAct;
};

class Mlox_ManagerTest : public Test_ManagerFixture {
 protected:
  Test_FakeService* AddNewService(const std::string& iName, int iMask = 16) {
    auto* serviceP = new Test_FakeService(iName, &mLog);
    Manager().AddService(serviceP, iMask);
    return serviceP;
  }

  // A service with so many devices, named after it and counted from 0.
  Test_FakeService* AddServiceWithDevices(const std::string& iName, int iCount) {
    auto* serviceP = new Test_FakeService(iName, &mLog);
    for (int i = 0; i < iCount; ++i) serviceP->AddDevice(iName + std::to_string(i));
    Manager().AddService(serviceP, 16);
    return serviceP;
  }

  Test_FakeService* AddServiceWithInputs(const std::string& iName, int iCount) {
    auto* serviceP = new Test_FakeService(iName, &mLog);
    for (int i = 0; i < iCount; ++i) serviceP->AddInput(iName + std::to_string(i));
    Manager().AddService(serviceP, 16);
    Manager().ServiceInputListChanged(serviceP);
    return serviceP;
  }
};

// ---- lifetime ----

TEST_F(Mlox_ManagerTest, InitMakesTheOneSingleton) {
  Mlox_Manager::Init();
  Mlox_Manager* managerP = Mlox_Manager::Singleton();
  EXPECT_NE(managerP, nullptr);
  Mlox_Manager::Init();
  EXPECT_EQ(Mlox_Manager::Singleton(), managerP);
}

// 0 if threads that all begin at once get the same object from a first use.
template <class T>
int RaceForFirstUse(T* (*iFirstUse)()) {
  std::vector<T*> seen(8, nullptr);
  std::atomic<std::size_t> ready{0};
  std::vector<std::thread> threads;
  for (T*& seenP : seen) {
    threads.emplace_back([&, iFirstUse] {
      ready.fetch_add(1);
      while (ready.load() != seen.size()) std::this_thread::yield();
      seenP = iFirstUse();
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const T* seenP : seen) {
    if (seenP == nullptr || seenP != iFirstUse()) return 1;
  }
  return 0;
}

// A first use happens once in a process, and every fixture here has had it: so each race runs in one of its
// own.
TEST(Mlox_ManagerDeathTest, ThreadsThatRaceForTheFirstUseGetOneManager) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(RaceForFirstUse<Mlox_Manager>(&Mlox_Manager::Singleton)),
              ::testing::ExitedWithCode(0), "");
}

TEST(Mlox_ManagerDeathTest, ThreadsThatRaceForTheFirstUseGetOneRegistryOfPersistentOutputs) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(RaceForFirstUse<Mlox_PersistentOutputRegistry>(
                  [] { return &Mlox_PersistentOutputRegistry::Singleton(); })),
              ::testing::ExitedWithCode(0), "");
}

// 0 if a manager that nothing has been counted in yet counts what its first service has.
int CountOfAFreshManager() {
  auto* serviceP = new Test_FakeService;
  serviceP->AddDevice("Piano");
  serviceP->AddInput("Keys");
  const Test_AssertRecorder recorder;
  Mlox_Manager& manager = *Mlox_Manager::Singleton();
  // Both index spaces are dirty from the start, so a fetch without a count is reported.
  if (manager.GetOutputDevice(0) != nullptr || manager.GetInput(0)) return 1;
  if (recorder.Count("!mOutputIndicesAreDirty") != 1 || recorder.Count("!mInputIndicesAreDirty") != 1)
    return 2;
  manager.AddService(serviceP, 16);
  if (manager.GetNumberOfOutputDevices() != 1) return 3;
  return manager.GetNumberOfInputs() == 1 ? 0 : 4;
}

TEST(Mlox_ManagerDeathTest, BothIndexSpacesOfAFreshManagerAreDirty) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(CountOfAFreshManager()), ::testing::ExitedWithCode(0), "");
}

TEST_F(Mlox_ManagerTest, GetOSServiceIsNullBeforeActivationAndNeverAnAddedService) {
  EXPECT_EQ(Manager().GetOSService(), nullptr);
  AddNewService("service", 8);
  EXPECT_EQ(Manager().GetOSService(), nullptr);
}

// ---- without services ----

TEST_F(Mlox_ManagerTest, WithNoServiceBothCountsAre0AndTheFlagsBecomeFalse) {
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().ServiceInputListChanged(nullptr);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 0);
  EXPECT_EQ(Manager().GetOutputDevice(0), nullptr);
  EXPECT_FALSE(Manager().GetInput(0));
  EXPECT_EQ(recorder.Count("!mOutputIndicesAreDirty"), 0);
  EXPECT_EQ(recorder.Count("!mInputIndicesAreDirty"), 0);
}

TEST_F(Mlox_ManagerTest, WithNoServiceGetInputsClearsTheList) {
  Mlox_InputList inputs = {new Test_FakeInput("Keys"), new Test_FakeInput("Pads")};
  Manager().GetInputs(&inputs, kMlox_VirtualAndNonVirtualInputs, kMlox_SyncAndNonSyncInputs);
  EXPECT_TRUE(inputs.empty());
}

TEST_F(Mlox_ManagerTest, CheckStudioSetupWithNoFlagsMakesNoCall) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, IsEmpty());
}

// ---- AddService ----

TEST_F(Mlox_ManagerTest, AddServiceNumbersFrom1OffersContextsThenPortsThenBroadcastsOutputsOnly) {
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  auto* serviceP = new Test_FakeService("a", &mLog);
  Manager().AddService(serviceP, 16);

  ASSERT_GE(serviceP->mContexts.size(), 4u);
  Test_CallLog expected = {"a SetServiceIndex 1"};
  expected.insert(expected.end(), serviceP->mContexts.size(), "a CreateOutputContext");
  expected.insert(expected.end(), {"a CreateInputPort", "listener OutputsChanged true"});
  EXPECT_EQ(mLog, expected);
}

TEST_F(Mlox_ManagerTest, TheSecondServiceGetsIndex2) {
  EXPECT_EQ(AddNewService("a")->mServiceIndex, 1);
  EXPECT_EQ(AddNewService("b")->mServiceIndex, 2);
}

TEST_F(Mlox_ManagerTest, AServiceAddedLaterReceivesAllContextsTheBuiltInOnesFirstAndAllPortsFromHeadToTail) {
  const Mlox_OutputContextRef later = Manager().CreateOutputContext();
  const std::unique_ptr<Mlox_InputPort> first(Manager().CreateInputPort(nullptr));
  const std::unique_ptr<Mlox_InputPort> second(Manager().CreateInputPort(nullptr));
  Test_FakeService* serviceP = AddNewService("a");

  const auto& contexts = serviceP->mContexts;
  ASSERT_GE(contexts.size(), 5u);
  const auto uidOf = [&](std::size_t i) { return reinterpret_cast<std::uintptr_t>(contexts[i]); };
  EXPECT_EQ(uidOf(0), Manager().GetDefaultOutputContext().GetUID());
  EXPECT_EQ(uidOf(1), Manager().GetImmediateOutputContext().GetUID());
  EXPECT_EQ(uidOf(2), Manager().GetPatchThruContext().GetUID());
  EXPECT_EQ(uidOf(3), Manager().GetSlightlyEarlyPlayerContext().GetUID());
  EXPECT_EQ(uidOf(contexts.size() - 1), later.GetUID());
  EXPECT_THAT(serviceP->mPorts, ElementsAre(first.get(), second.get()));
}

TEST_F(Mlox_ManagerTest, AddServiceLeavesTheInputCountAloneUntilTheServiceReportsItsInputs) {
  auto* serviceP = new Test_FakeService("a", &mLog);
  serviceP->AddInput("Keys");
  Manager().AddService(serviceP, 16);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 0);
  Manager().ServiceInputListChanged(serviceP);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 1);
}

TEST_F(Mlox_ManagerTest, AddServiceMakesTheOutputCountDirty) {
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  AddServiceWithDevices("a", 2);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 2);
}

// Counts what there is whenever it hears of a change.
class CountingInsideListener : public Mlox_Manager_Listener {
 public:
  void Mlox_Manager_OutputsChanged(bool) override {
    mOutputDevices.push_back(Mlox_Manager::Singleton()->GetNumberOfOutputDevices());
  }
  void Mlox_Manager_InputsChanged() override {
    mInputs.push_back(Mlox_Manager::Singleton()->GetNumberOfInputs());
  }

  std::vector<int> mOutputDevices, mInputs;
};

TEST_F(Mlox_ManagerTest, AListenerThatAddServiceTellsCountsTheNewDevices) {
  CountingInsideListener listener;
  Manager().AddListener(&listener);
  AddServiceWithDevices("a", 2);
  AddServiceWithDevices("b", 1);
  EXPECT_THAT(listener.mOutputDevices, ElementsAre(2, 3));
}

TEST_F(Mlox_ManagerTest, ListenersThatRemoveAllServicesTellsCountNothingAnyMore) {
  AddServiceWithDevices("a", 2);
  AddServiceWithInputs("b", 3);
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 2);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 3);
  CountingInsideListener listener;
  Manager().AddListener(&listener);
  Manager().RemoveAllServices();
  EXPECT_THAT(listener.mInputs, ElementsAre(0));
  EXPECT_THAT(listener.mOutputDevices, ElementsAre(0));
}

// What is told at once takes nothing away from what is pending, and adds nothing to it.
TEST_F(Mlox_ManagerTest, AddServiceAndRemoveAllServicesRaiseNoFlag) {
  AddNewService("a");
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, Not(Contains(StartsWith("listener"))));
  Manager().RemoveAllServices();
  mLog.clear();
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, IsEmpty());
}

TEST_F(Mlox_ManagerTest, AddServiceAndRemoveAllServicesLeavePendingChangesToTheNextCheck) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().ServiceOutputListChanged(nullptr, false);
  Manager().ServiceInputListChanged(nullptr);
  Manager().Service_OutputPreSendChanged();
  AddNewService("a");
  Manager().RemoveAllServices();
  mLog.clear();
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged false", "listener InputsChanged",
                                "listener OutputPreSendChanged"));
}

// Kept: the row of a new service begins at input 0 until the next count, so it answers for every index.
TEST_F(Mlox_ManagerTest, UntilANewServiceReportsItsInputsItsRowAnswersForTheCountThatIsStillTheOldOne) {
  AddServiceWithInputs("a", 2);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 2);
  auto* secondP = new Test_FakeService("b", &mLog);
  secondP->AddInput("b0");
  Manager().AddService(secondP, 16);
  const Test_AssertRecorder recorder;
  ASSERT_EQ(Manager().GetNumberOfInputs(), 2);
  EXPECT_EQ(Manager().GetInput(0)->GetName(), "b0");
  EXPECT_FALSE(Manager().GetInput(1));
  EXPECT_EQ(recorder.Count(), 0);
  Manager().ServiceInputListChanged(secondP);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 3);
  EXPECT_EQ(Manager().GetInput(0)->GetName(), "a0");
  EXPECT_EQ(Manager().GetInput(2)->GetName(), "b0");
}

TEST_F(Mlox_ManagerTest, ANullServiceIsReportedInTheThrowingFormAndChangesNothing) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  const Test_AssertMode mode(Cmn_Assert::kReport);
  const Test_AssertRecorder recorder;
  Manager().AddService(nullptr, 16);
  ASSERT_EQ(recorder.Count(), 1);
  const auto report = recorder.Reports()[0];
  EXPECT_EQ(report.mText, "iServiceP != nullptr");
  EXPECT_EQ(report.mSource, "mlox/mlox_manager");
  EXPECT_FALSE(report.mFlag);
  EXPECT_TRUE(report.mThrowing);
  EXPECT_THAT(mLog, IsEmpty());
  EXPECT_EQ(AddNewService("a")->mServiceIndex, 1);
}

TEST_F(Mlox_ManagerTest, AFifthServiceIsReportedAndAddedAllTheSame) {
  for (const char* name : {"a", "b", "c", "d"}) AddServiceWithDevices(name, 1);
  const Test_AssertMode mode(Cmn_Assert::kReport);
  const Test_AssertRecorder recorder;
  Test_FakeService* fifthP = AddServiceWithDevices("e", 1);
  ASSERT_EQ(recorder.Count(), 1);
  const auto report = recorder.Reports()[0];
  EXPECT_EQ(report.mText, "(mServicesP->size() + 1) <= Mlox_cMaxInstalledServices");
  EXPECT_FALSE(report.mFlag);
  EXPECT_TRUE(report.mThrowing);
  EXPECT_EQ(fifthP->mServiceIndex, 5);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 5);
  EXPECT_EQ(Manager().GetOutputDevice(4)->GetName(), "e0");
}

TEST_F(Mlox_ManagerTest, AFourthServiceIsNotReportedAndWorks) {
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  const Test_AssertRecorder recorder;
  for (const char* name : {"a", "b", "c", "d"}) AddServiceWithDevices(name, 1);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 4);
  EXPECT_EQ(Manager().GetOutputDevice(3)->GetName(), "d0");
  port->ConnectToInputs({});
  port->CloseCurrentConnections();
  EXPECT_EQ(recorder.Count(), 0);
}

TEST_F(Mlox_ManagerTest, InModeThrowAFifthServiceThrowsAndIsNotAdded) {
  for (const char* name : {"a", "b", "c", "d"}) AddServiceWithDevices(name, 1);
  const Cmn_Assert::EMode before = Cmn_Assert::GetMode();
  const Test_AssertRecorder recorder;
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  const auto fifth = std::make_unique<Test_FakeService>();
  EXPECT_THROW(Manager().AddService(fifth.get(), 16), Cmn_AssertException);
  Cmn_Assert::SetMode(before);
  EXPECT_EQ(fifth->mServiceIndex, -1);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 4);
}

TEST_F(Mlox_ManagerTest, InModeThrowANullServiceThrowsAndChangesNothing) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  const Test_AssertRecorder recorder;
  const Test_AssertMode mode(Cmn_Assert::kThrow);
  EXPECT_THROW(Manager().AddService(nullptr, 16), Cmn_AssertException);
  EXPECT_THAT(mLog, IsEmpty());
  EXPECT_EQ(AddNewService("a")->mServiceIndex, 1);
}

// ---- RemoveAllServices ----

TEST_F(Mlox_ManagerTest, RemoveAllServicesClosesPortsDeletesInReverseAndBroadcastsInputsThenOutputs) {
  const std::unique_ptr<Mlox_InputPort> first(Manager().CreateInputPort(nullptr));
  const std::unique_ptr<Mlox_InputPort> second(Manager().CreateInputPort(nullptr));
  AddNewService("a");
  AddNewService("b");
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  mLog.clear();
  Manager().RemoveAllServices();
  EXPECT_THAT(mLog, ElementsAre("a InputPortCloseConnections", "b InputPortCloseConnections",
                                "a InputPortCloseConnections", "b InputPortCloseConnections", "b deleted",
                                "a deleted", "listener InputsChanged", "listener OutputsChanged true"));
}

TEST_F(Mlox_ManagerTest, RemoveAllServicesMakesBothCountsDirty) {
  AddServiceWithDevices("a", 2);
  AddServiceWithInputs("b", 3);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 2);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 3);
  Manager().RemoveAllServices();
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 0);
}

TEST_F(Mlox_ManagerTest, RemoveAllServicesTellsListenersAlsoWhenThereWasNone) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().RemoveAllServices();
  EXPECT_THAT(mLog, ElementsAre("listener InputsChanged", "listener OutputsChanged true"));
}

TEST_F(Mlox_ManagerTest, AfterRemoveAllServicesIndicesStartAt1Again) {
  AddNewService("a");
  Manager().RemoveAllServices();
  EXPECT_EQ(AddNewService("b")->mServiceIndex, 1);
}

TEST_F(Mlox_ManagerTest, RemoveAllServicesKeepsPortsContextsAndTheStaleOSService) {
  const Mlox_OutputContextRef context = Manager().CreateOutputContext();
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  Test_FakeService* serviceP = AddNewService("a", 8);
  Test_ManagerAccess::SetOSService(serviceP);
  Manager().RemoveAllServices();
  // Stale from here to the next activation: compared, and never used.
  EXPECT_EQ(Manager().GetOSService(), serviceP);
  Test_FakeService* nextP = AddNewService("b");
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(nextP->mContexts.back()), context.GetUID());
  EXPECT_THAT(nextP->mPorts, ElementsAre(port.get()));
}

TEST_F(Mlox_ManagerTest, AServiceInstalledTwiceShowsUpTwiceAndIsDeletedOnce) {
  auto* serviceP = new Test_FakeService("a", &mLog);
  serviceP->mDeletionsP = &mDeletions;
  serviceP->AddDevice("Piano");
  Manager().AddService(serviceP, 8);
  AddNewService("b");
  Manager().AddService(serviceP, 8);
  EXPECT_EQ(serviceP->mServiceIndex, 3);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 2);
  EXPECT_EQ(Manager().GetOutputDevice(0), Manager().GetOutputDevice(1));
  mLog.clear();
  Manager().RemoveAllServices();
  EXPECT_EQ(mDeletions, 1);
  EXPECT_THAT(mLog, ElementsAre("a deleted", "b deleted"));
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
}

TEST_F(Mlox_ManagerTest, AServiceCannotBeReachedThroughTheManagerWhileItDies) {
  class DyingService : public Test_FakeService {
   public:
    DyingService() : Test_FakeService("dying") {}
    ~DyingService() override {
      Mlox_Manager& manager = *Mlox_Manager::Singleton();
      manager.ServiceOutputListChanged(this, true);
      *mCountWhileDyingP = manager.GetNumberOfOutputDevices();
      manager.StopServicesPlayback();
    }
    int* mCountWhileDyingP = nullptr;
  };
  int countWhileDying = -1;
  AddServiceWithDevices("a", 2);
  auto* dyingP = new DyingService;
  dyingP->mCountWhileDyingP = &countWhileDying;
  dyingP->AddDevice("Piano");
  Manager().AddService(dyingP, 16);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 3);
  Manager().RemoveAllServices();
  EXPECT_EQ(countWhileDying, 2);
}

// Does what a test tells it while it dies.
class ActingService : public Test_FakeService {
 public:
  ActingService(const std::string& iName, Test_CallLog* iLogP, std::function<void()> iAct)
      : Test_FakeService(iName, iLogP), mAct(std::move(iAct)) {}
  ~ActingService() override { mAct(); }

 private:
  std::function<void()> mAct;
};

TEST_F(Mlox_ManagerTest, AServiceAddedByADestructorIsDeletedByTheSameRemoval) {
  AddNewService("a");
  auto* dyingP = new ActingService("b", &mLog, [&] {
    mLog.push_back("b dying");
    AddServiceWithDevices("late", 1);
  });
  Manager().AddService(dyingP, 16);
  mLog.clear();
  Manager().RemoveAllServices();
  const Test_CallLog deletions = [&] {
    Test_CallLog log;
    for (const std::string& call : mLog) {
      if (call.ends_with(" dying") || call.ends_with(" deleted")) log.push_back(call);
    }
    return log;
  }();
  EXPECT_THAT(deletions, ElementsAre("b dying", "b deleted", "late deleted", "a deleted"));
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 0);
  EXPECT_EQ(AddNewService("c")->mServiceIndex, 1);
}

TEST_F(Mlox_ManagerTest, ADestructorMayRemoveAllServicesAgain) {
  AddNewService("a");
  Manager().AddService(new ActingService("b", &mLog, [&] { Manager().RemoveAllServices(); }), 16);
  mLog.clear();
  Manager().RemoveAllServices();
  EXPECT_THAT(mLog, ElementsAre("a deleted", "b deleted"));
  EXPECT_EQ(AddNewService("c")->mServiceIndex, 1);
}

TEST_F(Mlox_ManagerTest, InModeThrowNoCheckThrowsOutOfAServicesDestructor) {
  const Cmn_Assert::EMode before = Cmn_Assert::GetMode();
  const Test_AssertRecorder recorder;
  Cmn_Assert::SetMode(Cmn_Assert::kThrow);
  Manager().AddService(new ActingService("a", &mLog, [&] { Manager().AddService(nullptr, 16); }), 16);
  EXPECT_NO_THROW(Manager().RemoveAllServices());
  Cmn_Assert::SetMode(before);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iServiceP != nullptr"));
}

TEST_F(Mlox_ManagerTest, RemoveAllServicesClosesThePortsFromHeadToTail) {
  class ClosingService : public Test_FakeService {
   public:
    explicit ClosingService(std::vector<Mlox_InputPort*>* iClosedP) : mClosedP(iClosedP) {}
    void InputPortCloseConnections(Mlox_InputPort* iInputPortP) override { mClosedP->push_back(iInputPortP); }

   private:
    std::vector<Mlox_InputPort*>* mClosedP;
  };
  std::vector<Mlox_InputPort*> closed;
  const std::unique_ptr<Mlox_InputPort> first(Manager().CreateInputPort(nullptr));
  const std::unique_ptr<Mlox_InputPort> second(Manager().CreateInputPort(nullptr));
  Manager().AddService(new ClosingService(&closed), 16);
  Manager().RemoveAllServices();
  EXPECT_THAT(closed, ElementsAre(first.get(), second.get()));
}

// ---- the index spaces ----

TEST_F(Mlox_ManagerTest, OutputDevicesOfAllServicesFormOneIndexSpace) {
  AddServiceWithDevices("a", 2);
  AddServiceWithDevices("b", 1);
  AddServiceWithDevices("c", 2);
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 5);
  const char* names[] = {"a0", "a1", "b0", "c0", "c1"};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Manager().GetOutputDevice(i)->GetName(), names[i]);
}

TEST_F(Mlox_ManagerTest, InputsOfAllServicesFormOneIndexSpace) {
  AddServiceWithInputs("a", 1);
  AddServiceWithInputs("b", 0);
  AddServiceWithInputs("c", 2);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 3);
  const char* names[] = {"a0", "c0", "c1"};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Manager().GetInput(i)->GetName(), names[i]);
}

TEST_F(Mlox_ManagerTest, AFirstServiceWithZeroDevicesAndASecondWithThreeResolveToTheSecondWithLocalIndices) {
  Test_FakeService* emptyP = AddServiceWithDevices("a", 0);
  Test_FakeService* fullP = AddServiceWithDevices("b", 3);
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Manager().GetOutputDevice(i), fullP->mDevices[static_cast<std::size_t>(i)].get());
    EXPECT_EQ(fullP->mLastDeviceIndex, i);
  }
  EXPECT_EQ(emptyP->mLastDeviceIndex, -1);
}

TEST_F(Mlox_ManagerTest, CountsAreCachedUntilAServiceReportsAChange) {
  Test_FakeService* serviceP = AddServiceWithDevices("a", 1);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 1);
  serviceP->mCounts = 0;
  serviceP->AddDevice("a1");
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 1);
  EXPECT_EQ(serviceP->mCounts, 0);
  Manager().ServiceOutputListChanged(serviceP, false);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 2);
}

TEST_F(Mlox_ManagerTest, AReportOfAServiceAsksForNoCountButItsOwn) {
  Test_FakeService* serviceP = AddServiceWithInputs("a", 1);
  const auto countedAgain = [&] {
    serviceP->mCounts = 0;
    Manager().GetNumberOfOutputDevices();
    const int outputs = serviceP->mCounts;
    Manager().GetNumberOfInputs();
    return std::pair(outputs, serviceP->mCounts - outputs);
  };
  countedAgain();
  Manager().Service_OutputPreSendChanged();
  EXPECT_EQ(countedAgain(), std::pair(0, 0));
  Manager().ServiceOutputListChanged(serviceP, true);
  EXPECT_EQ(countedAgain(), std::pair(1, 0));
  Manager().ServiceInputListChanged(serviceP);
  EXPECT_EQ(countedAgain(), std::pair(0, 1));
}

TEST_F(Mlox_ManagerTest, GetOutputDeviceRightAfterAChangeReportsAndAnswersFromTheOldFirstIndices) {
  Test_FakeService* firstP = AddServiceWithDevices("a", 2);
  AddServiceWithDevices("b", 1);
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 3);
  firstP->AddDevice("a2");
  Manager().ServiceOutputListChanged(firstP, true);
  const Test_AssertRecorder recorder;
  // Index 2 would be "a2" after a count; the old first indices still say "b0".
  EXPECT_EQ(Manager().GetOutputDevice(2)->GetName(), "b0");
  EXPECT_THAT(recorder.Texts(), ElementsAre("!mOutputIndicesAreDirty"));
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 4);
  EXPECT_EQ(Manager().GetOutputDevice(2)->GetName(), "a2");
  EXPECT_EQ(recorder.Count(), 1);
}

TEST_F(Mlox_ManagerTest, GetInputRightAfterAChangeReportsAndAnswersFromTheOldFirstIndices) {
  Test_FakeService* firstP = AddServiceWithInputs("a", 1);
  AddServiceWithInputs("b", 1);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 2);
  firstP->AddInput("a1");
  Manager().ServiceInputListChanged(firstP);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Manager().GetInput(1)->GetName(), "b0");
  EXPECT_THAT(recorder.Texts(), ElementsAre("!mInputIndicesAreDirty"));
}

TEST_F(Mlox_ManagerTest, AnOutputIndexBelow0OrPastTheEndIsReportedAndAnswersNull) {
  AddServiceWithDevices("a", 2);
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 2);
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Manager().GetOutputDevice(-1), nullptr);
  EXPECT_EQ(Manager().GetOutputDevice(2), nullptr);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iOutputIndex >= 0", "iOutputIndex < mNumOutputDevices"));
}

TEST_F(Mlox_ManagerTest, AnInputIndexBelow0OrPastTheEndIsReportedAndAnswersNull) {
  AddServiceWithInputs("a", 2);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 2);
  const Test_AssertRecorder recorder;
  EXPECT_FALSE(Manager().GetInput(-1));
  EXPECT_FALSE(Manager().GetInput(2));
  EXPECT_THAT(recorder.Texts(), ElementsAre("iInputIndex >= 0", "iInputIndex < mNumInputs"));
}

TEST_F(Mlox_ManagerTest, AnIndexOfAServiceThatIsGoneIsReportedAndAnswersNull) {
  AddServiceWithDevices("a", 1);
  AddServiceWithInputs("b", 1);
  ASSERT_EQ(Manager().GetNumberOfOutputDevices(), 1);
  ASSERT_EQ(Manager().GetNumberOfInputs(), 1);
  Manager().RemoveAllServices();
  const Test_AssertRecorder recorder;
  EXPECT_EQ(Manager().GetOutputDevice(0), nullptr);
  EXPECT_FALSE(Manager().GetInput(0));
  EXPECT_THAT(recorder.Texts(), ElementsAre("!mOutputIndicesAreDirty", "i != mServicesP->begin()",
                                            "!mInputIndicesAreDirty", "i != mServicesP->begin()"));
}

// Has one device and one input more after each count, up to a limit, and says so.
class GrowingService : public Test_FakeService {
 public:
  explicit GrowingService(int iLimit) : Test_FakeService("growing"), mLimit(iLimit) {}
  int GetNumberOfOutputDevices() override {
    const int count = Test_FakeService::GetNumberOfOutputDevices();
    if (count < mLimit) {
      AddDevice("Piano");
      Mlox_Manager::Singleton()->ServiceOutputListChanged(this, true);
    }
    return count;
  }
  int GetNumberOfInputs() override {
    const int count = Test_FakeService::GetNumberOfInputs();
    if (count < mLimit) {
      AddInput("Keys");
      Mlox_Manager::Singleton()->ServiceInputListChanged(this);
    }
    return count;
  }

 private:
  int mLimit;
};

TEST_F(Mlox_ManagerTest, ACountIsRepeatedWhileAChangeIsReportedDuringIt) {
  auto* serviceP = new GrowingService(2);
  Manager().AddService(serviceP, 16);
  Manager().ServiceInputListChanged(serviceP);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 2);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 2);
  const Test_AssertRecorder recorder;
  EXPECT_NE(Manager().GetOutputDevice(1), nullptr);
  EXPECT_TRUE(Manager().GetInput(1));
  EXPECT_EQ(recorder.Count(), 0) << "the indices are clean";
}

TEST_F(Mlox_ManagerTest, ACountIsRepeatedThreeTimesAtMostAndTheRestCountsForTheNextOne) {
  auto* serviceP = new GrowingService(100);
  Manager().AddService(serviceP, 16);
  Manager().ServiceInputListChanged(serviceP);
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 3) << "0, then 1, 2 and 3 in three more walks";
  EXPECT_EQ(Manager().GetNumberOfOutputDevices(), 7);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 3);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 7);
}

TEST_F(Mlox_ManagerTest, TheInputCountIsCachedUntilAServiceReportsAChange) {
  Test_FakeService* serviceP = AddServiceWithInputs("a", 1);
  EXPECT_EQ(Manager().GetNumberOfInputs(), 1);
  serviceP->mCounts = 0;
  serviceP->AddInput("a1");
  EXPECT_EQ(Manager().GetNumberOfInputs(), 1);
  EXPECT_EQ(serviceP->mCounts, 0);
}

TEST_F(Mlox_ManagerTest, GetInputsWithoutAListIsReportedAndAsksNobody) {
  Test_FakeService* serviceP = AddServiceWithInputs("a", 1);
  const Test_AssertRecorder recorder;
  Manager().GetInputs(nullptr, kMlox_VirtualAndNonVirtualInputs, kMlox_SyncAndNonSyncInputs);
  EXPECT_THAT(recorder.Texts(), ElementsAre("oInputsP != nullptr"));
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_EQ(serviceP->mVirtualSelection, -1);
}

TEST_F(Mlox_ManagerTest, GetInputsReplacesTheListAndAsksServicesInTableOrderWithTheFiltersAsGiven) {
  auto* firstP = new Test_FakeService("a", &mLog);
  firstP->AddInput("real", 1, false);
  firstP->AddInput("virtual", 2, true);
  auto* secondP = new Test_FakeService("b", &mLog);
  secondP->AddInput("another", 3, true);
  Manager().AddService(firstP, 16);
  Manager().AddService(secondP, 16);
  Mlox_InputList inputs = {new Test_FakeInput("old")};
  Manager().GetInputs(&inputs, kMlox_VirtualInputs, kMlox_NonSyncInputs);
  ASSERT_EQ(inputs.size(), 2u);
  EXPECT_EQ(inputs[0]->GetName(), "virtual");
  EXPECT_EQ(inputs[1]->GetName(), "another");
  EXPECT_EQ(secondP->mVirtualSelection, 1);
  EXPECT_EQ(secondP->mSyncSelection, 0);
}

// ---- ports and contexts ----

TEST_F(Mlox_ManagerTest, CreateOutputContextOffersItToEveryServiceInTableOrder) {
  Test_FakeService* firstP = AddNewService("a");
  Test_FakeService* secondP = AddNewService("b");
  mLog.clear();
  const Mlox_OutputContextRef context = Manager().CreateOutputContext();
  EXPECT_THAT(mLog, ElementsAre("a CreateOutputContext", "b CreateOutputContext"));
  EXPECT_EQ(firstP->mContexts.back(), secondP->mContexts.back());
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(firstP->mContexts.back()), context.GetUID());
}

TEST_F(Mlox_ManagerTest, ANewContextIsInTheListWhenServicesSeeIt) {
  class LookingService : public Test_FakeService {
   public:
    void CreateOutputContext(Mlox_OutputContext* iContextP) override {
      mLastListedP = Test_ManagerAccess::OutputContexts().back();
      mContexts.push_back(iContextP);
    }
    Mlox_OutputContext* mLastListedP = nullptr;
  };
  auto* serviceP = new LookingService;
  Manager().AddService(serviceP, 16);
  Manager().CreateOutputContext();
  EXPECT_EQ(serviceP->mLastListedP, serviceP->mContexts.back());
}

TEST_F(Mlox_ManagerTest, CreateInputPortOffersItToEveryServiceInTableOrder) {
  Test_FakeService* firstP = AddNewService("a");
  Test_FakeService* secondP = AddNewService("b");
  Test_RecordingReceiver receiver;
  mLog.clear();
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(&receiver));
  EXPECT_THAT(mLog, ElementsAre("a CreateInputPort", "b CreateInputPort"));
  EXPECT_EQ(port->GetRawMidiReceiver(), &receiver);
  EXPECT_THAT(firstP->mPorts, ElementsAre(port.get()));
  EXPECT_THAT(secondP->mPorts, ElementsAre(port.get()));
}

TEST_F(Mlox_ManagerTest, ANewPortIsInTheListWhenServicesSeeIt) {
  class LookingService : public Test_FakeService {
   public:
    void CreateInputPort(Mlox_InputPort* iInputPortP) override {
      mWasListed = iInputPortP->GetListPtr() != nullptr;
    }
    bool mWasListed = false;
  };
  auto* serviceP = new LookingService;
  Manager().AddService(serviceP, 16);
  const std::unique_ptr<Mlox_InputPort> port(Manager().CreateInputPort(nullptr));
  EXPECT_TRUE(serviceP->mWasListed);
}

TEST_F(Mlox_ManagerTest, ANullPortIsReportedAndNoServiceIsAsked) {
  Manager().AddService(new Test_FakeService("first", &mLog), 16);
  mLog.clear();
  const Test_AssertRecorder recorder;
  Manager().ConnectInputsToInputPort({}, nullptr);
  Manager().InputPortCloseConnections(nullptr);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iInputPortP != nullptr", "iInputPortP != nullptr"));
  EXPECT_EQ(recorder.Reports()[0].mSource, "mlox/mlox_manager");
  EXPECT_FALSE(recorder.Reports()[0].mThrowing);
  EXPECT_THAT(mLog, IsEmpty());
}

// ---- notifications ----

TEST_F(Mlox_ManagerTest, ANullListenerIsReportedAndBroadcastsGoOnWithoutIt) {
  const Test_AssertRecorder recorder;
  Manager().AddListener(nullptr);
  EXPECT_THAT(recorder.Texts(), ElementsAre("iListenerP != nullptr"));
  Manager().ServiceInputListChanged(nullptr);
  Manager().CheckStudioSetup();
  EXPECT_EQ(recorder.Count(), 1);
}

TEST_F(Mlox_ManagerTest, CheckStudioSetupBroadcastsOutputsInputsPreSendInThisOrder) {
  Test_RecordingListener first(&mLog, "first"), second(&mLog, "second");
  Manager().AddListener(&first);
  Manager().AddListener(&second);
  Manager().Service_OutputPreSendChanged();
  Manager().ServiceInputListChanged(nullptr);
  Manager().ServiceOutputListChanged(nullptr, false);
  EXPECT_THAT(mLog, IsEmpty());
  Manager().CheckStudioSetup();
  EXPECT_THAT(
      mLog, ElementsAre("first OutputsChanged false", "second OutputsChanged false", "first InputsChanged",
                        "second InputsChanged", "first OutputPreSendChanged", "second OutputPreSendChanged"));
}

TEST_F(Mlox_ManagerTest, TwoOutputChangesTrueThenFalseYieldOneBroadcastOfTrueAndThenSilence) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().ServiceOutputListChanged(nullptr, false);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged true"));
  mLog.clear();
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, IsEmpty());
  // The argument was taken too.
  Manager().ServiceOutputListChanged(nullptr, false);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged false"));
}

TEST_F(Mlox_ManagerTest, AFlagRaisedInsideAListenerSurvivesUntilTheNextCall) {
  ActingListener listener(&mLog, "listener");
  listener.mAct = [&] {
    listener.mAct = nullptr;
    Manager().ServiceOutputListChanged(nullptr, true);
  };
  Manager().AddListener(&listener);
  Manager().ServiceOutputListChanged(nullptr, false);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged false"));
  mLog.clear();
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged true"));
}

// Each flag is looked at when its turn comes.
TEST_F(Mlox_ManagerTest, AFlagWhoseTurnIsStillToComeIsDeliveredByTheSameCall) {
  ActingListener listener(&mLog, "listener");
  listener.mAct = [&] {
    Manager().ServiceInputListChanged(nullptr);
    Manager().Service_OutputPreSendChanged();
  };
  Manager().AddListener(&listener);
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener OutputsChanged true", "listener InputsChanged",
                                "listener OutputPreSendChanged"));
}

TEST_F(Mlox_ManagerTest, EachOfTheThreeFlagsIsDownBeforeItsListenersRun) {
  // Raises each flag again inside the first callback for it.
  class RaisingListener : public Test_RecordingListener {
   public:
    using Test_RecordingListener::Test_RecordingListener;
    void Mlox_Manager_InputsChanged() override {
      Test_RecordingListener::Mlox_Manager_InputsChanged();
      if (mInputCalls++ == 0) Mlox_Manager::Singleton()->ServiceInputListChanged(nullptr);
    }
    void Mlox_Manager_OutputPreSendChanged() override {
      Test_RecordingListener::Mlox_Manager_OutputPreSendChanged();
      if (mPreSendCalls++ == 0) Mlox_Manager::Singleton()->Service_OutputPreSendChanged();
    }
    int mInputCalls = 0, mPreSendCalls = 0;
  };
  RaisingListener listener(&mLog);
  Manager().AddListener(&listener);
  Manager().ServiceInputListChanged(nullptr);
  Manager().Service_OutputPreSendChanged();
  for (int call = 0; call < 2; ++call) {
    mLog.clear();
    Manager().CheckStudioSetup();
    EXPECT_THAT(mLog, ElementsAre("listener InputsChanged", "listener OutputPreSendChanged")) << call;
  }
  mLog.clear();
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, IsEmpty());
}

TEST_F(Mlox_ManagerTest, AListenerAddedInsideACallbackIsCalledInTheSameWalk) {
  ActingListener first(&mLog, "first");
  Test_RecordingListener late(&mLog, "late");
  first.mAct = [&] {
    first.mAct = nullptr;
    Manager().AddListener(&late);
  };
  Manager().AddListener(&first);
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("first OutputsChanged true", "late OutputsChanged true"));
}

TEST_F(Mlox_ManagerTest, AListenerMayUnlinkItselfInsideACallback) {
  ActingListener first(&mLog, "first");
  Test_RecordingListener second(&mLog, "second");
  first.mAct = [&] { first.RemoveFromList(); };
  Manager().AddListener(&first);
  Manager().AddListener(&second);
  for (int i = 0; i < 2; ++i) {
    Manager().ServiceOutputListChanged(nullptr, true);
    Manager().CheckStudioSetup();
  }
  EXPECT_THAT(mLog, ElementsAre("first OutputsChanged true", "second OutputsChanged true",
                                "second OutputsChanged true"));
}

TEST_F(Mlox_ManagerTest, AListenerMayDeleteItselfAndItsNeighbourInsideACallback) {
  auto* firstP = new ActingListener(&mLog, "first");
  auto second = std::make_unique<Test_RecordingListener>(&mLog, "second");
  Test_RecordingListener third(&mLog, "third");
  firstP->mAct = [&] {
    second.reset();
    delete firstP;
  };
  Manager().AddListener(firstP);
  Manager().AddListener(second.get());
  Manager().AddListener(&third);
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("first OutputsChanged true", "third OutputsChanged true"));
}

TEST_F(Mlox_ManagerTest, AListenerMayStartABroadcastInsideItsCallback) {
  ActingListener first(&mLog, "first");
  Test_RecordingListener second(&mLog, "second");
  first.mAct = [&] {
    first.mAct = nullptr;
    Manager().ServiceInputListChanged(nullptr);
    Manager().CheckStudioSetup();
  };
  Manager().AddListener(&first);
  Manager().AddListener(&second);
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("first OutputsChanged true", "first InputsChanged", "second InputsChanged",
                                "second OutputsChanged true"));
}

TEST_F(Mlox_ManagerTest, BroadcastPlugInNodeRegisteredTellsEveryListenerAtOnce) {
  Test_RecordingListener first(&mLog, "first"), second(&mLog, "second");
  Manager().AddListener(&first);
  Manager().AddListener(&second);
  int something = 0;
  auto* specP = reinterpret_cast<SFicPlugInSpec*>(&something);
  Manager().BroadcastPlugInNodeRegistered(specP);
  EXPECT_THAT(mLog, ElementsAre("first PlugInNodeRegistered", "second PlugInNodeRegistered"));
  EXPECT_EQ(first.mLastSpecP, specP);
  EXPECT_EQ(second.mLastSpecP, specP);
}

TEST_F(Mlox_ManagerTest, AListenersDestructorLeavesTheList) {
  {
    Test_RecordingListener listener(&mLog);
    Manager().AddListener(&listener);
  }
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, IsEmpty());
}

TEST_F(Mlox_ManagerTest, AListenersDefaultBodiesAreEmpty) {
  class SilentListener : public Mlox_Manager_Listener {};
  SilentListener listener;
  Manager().AddListener(&listener);
  Manager().ServiceOutputListChanged(nullptr, true);
  Manager().ServiceInputListChanged(nullptr);
  Manager().Service_OutputPreSendChanged();
  const Test_AssertRecorder recorder;
  Manager().CheckStudioSetup();
  Manager().BroadcastPlugInNodeRegistered(nullptr);
  EXPECT_EQ(recorder.Count(), 0);
  EXPECT_NE(listener.GetListPtr(), nullptr);
}

TEST_F(Mlox_ManagerTest, AListenerAddedTwiceIsReportedAndStandsInTheListOnce) {
  Test_RecordingListener listener(&mLog);
  Manager().AddListener(&listener);
  const Test_AssertRecorder recorder;
  Manager().AddListener(&listener);
  EXPECT_EQ(recorder.Count(), 1);
  Manager().ServiceInputListChanged(nullptr);
  Manager().CheckStudioSetup();
  EXPECT_THAT(mLog, ElementsAre("listener InputsChanged"));
}

// Services report from their own threads; nothing that they report is lost, and a true survives.
TEST_F(Mlox_ManagerTest, ChangesReportedByManyThreadsAreNeverLost) {
  class CountingListener : public Mlox_Manager_Listener {
   public:
    void Mlox_Manager_OutputsChanged(bool iFlag) override {
      ++mOutputs;
      if (iFlag) ++mTrues;
    }
    void Mlox_Manager_InputsChanged() override { ++mInputs; }
    int mOutputs = 0, mTrues = 0, mInputs = 0;
  };
  CountingListener listener;
  Manager().AddListener(&listener);
  for (int round = 0; round < 200; ++round) {
    listener.mOutputs = listener.mTrues = listener.mInputs = 0;
    std::atomic<int> running{3};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&, i] {
        Manager().ServiceOutputListChanged(nullptr, i == 1);
        Manager().ServiceInputListChanged(nullptr);
        Manager().Service_OutputPreSendChanged();
        running.fetch_sub(1);
      });
    }
    while (running.load() != 0) Manager().CheckStudioSetup();
    Manager().CheckStudioSetup();
    for (std::thread& thread : threads) thread.join();
    ASSERT_GE(listener.mOutputs, 1) << round;
    ASSERT_GE(listener.mTrues, 1) << round;
    ASSERT_GE(listener.mInputs, 1) << round;
    ASSERT_LE(listener.mOutputs, 3) << round;
  }
}

// Has as many devices and inputs as another thread says.
class CountedService : public Test_FakeService {
 public:
  int GetNumberOfOutputDevices() override { return mCount; }
  int GetNumberOfInputs() override { return mCount; }
  std::atomic<int> mCount{0};
};

// Counts inside each callback, and remembers.
class FlagListener : public CountingInsideListener {
 public:
  void Mlox_Manager_OutputsChanged(bool iFlag) override {
    mHeardFalse = mHeardFalse || !iFlag;
    CountingInsideListener::Mlox_Manager_OutputsChanged(iFlag);
  }
  bool mHeardFalse = false;
};

// Whoever is told of a change finds all of it: the flag that came with it, and the new counts.
TEST_F(Mlox_ManagerTest, AChangeReportedByAnotherThreadIsToldWithItsFlagAndItsCounts) {
  constexpr int kRounds = 3000;
  auto* serviceP = new CountedService;
  Manager().AddService(serviceP, 16);
  FlagListener listener;
  Manager().AddListener(&listener);
  // Each report is heard before the next one is made, so that neither waits for the other's sake.
  std::atomic<int> heard{0};
  std::thread reporter([&] {
    for (int report = 1; report <= 2 * kRounds; ++report) {
      serviceP->mCount = report;
      if (report % 2 != 0) {
        Manager().ServiceOutputListChanged(serviceP, true);
      } else {
        Manager().ServiceInputListChanged(serviceP);
      }
      while (heard != report) std::this_thread::yield();
    }
  });
  std::vector<int> expectedOutputs, expectedInputs;
  for (int report = 1; report <= 2 * kRounds; ++report) {
    (report % 2 != 0 ? expectedOutputs : expectedInputs).push_back(report);
    for (int checks = 1; listener.mOutputDevices.size() < expectedOutputs.size() ||
                         listener.mInputs.size() < expectedInputs.size();
         ++checks) {
      Manager().CheckStudioSetup();
      if (checks % 4096 == 0) std::this_thread::yield();  // seldom: both threads should be running
    }
    heard = report;
  }
  reporter.join();
  EXPECT_FALSE(listener.mHeardFalse);
  EXPECT_EQ(listener.mOutputDevices, expectedOutputs);
  EXPECT_EQ(listener.mInputs, expectedInputs);
}

// ---- housekeeping ----

TEST_F(Mlox_ManagerTest, CheckStudioSetupGivesOutTheReportsOfRealTimeThreads) {
  std::vector<int> lines;
  Cmn_Assert::SetHandler(
      [](void* iContextP, const Cmn_AssertReport& iReport) {
        static_cast<std::vector<int>*>(iContextP)->push_back(iReport.mLine);
      },
      &lines);
  const auto reportFromRealTimeThread = [](int iLine) {
    std::thread([iLine] {
      const Cmn_RealTimeScope scope;
      Cmn_Assert::HandleMagicAssertNoThrow(true, "text@$^$@mlox/mlox_manager_test", iLine);
    }).join();
  };
  reportFromRealTimeThread(11);
  EXPECT_THAT(lines, IsEmpty());
  Manager().CheckStudioSetup();
  EXPECT_THAT(lines, ElementsAre(11));
  reportFromRealTimeThread(12);
  Manager().RemoveAllServices();
  EXPECT_THAT(lines, ElementsAre(11, 12));
  Cmn_Assert::SetHandler(nullptr, nullptr);
}

// A clock that passes the age of deletion between any two readings.
class JumpingClock {
 public:
  JumpingClock() {
    sNow = Sys_Clock::Microseconds();
    Sys_Clock::SetSourceForTest([] { return sNow.fetch_add(2000000) + 2000000; });
  }
  ~JumpingClock() { Sys_Clock::SetSourceForTest(nullptr); }
  JumpingClock(const JumpingClock&) = delete;
  JumpingClock& operator=(const JumpingClock&) = delete;

 private:
  inline static std::atomic<std::int64_t> sNow{0};
};

Cmn_AliasedRefCountPtr<Test_FakeOutput> MakeOutput(const std::string& iName, Test_CallLog* iDeletionLogP) {
  Cmn_AliasedRefCountPtr<Test_FakeOutput> output(
      new Test_FakeOutput(nullptr, Test_MakeDescriptor(iName, 1), 0));
  output->mName = iName;
  output->mDeletionLogP = iDeletionLogP;
  return output;
}

TEST_F(Mlox_ManagerTest, CheckStudioSetupGrowsThePoolsAhead) {
  constexpr Mem2_MasterAllocator::Presize kPresizes[] = {{128, 64}};
  Mem2_MasterAllocator pool(kPresizes);
  std::vector<void*> blocks;
  for (int i = 0; i < 60; ++i) blocks.push_back(pool.Alloc(128, nullptr));
  EXPECT_EQ(pool.GetCounters().mGrownAhead, 0u);
  Manager().CheckStudioSetup();
  EXPECT_EQ(pool.GetCounters().mGrownAhead, 1u);
  EXPECT_EQ(pool.GetCounters().mGrownInPlace, 0u);
  for (void* blockP : blocks) pool.Free(blockP, nullptr);
}

TEST_F(Mlox_ManagerTest, CheckStudioSetupRunsTheDeletionPass) {
  static Test_CallLog deletionLog;
  deletionLog.clear();
  const JumpingClock clock;
  auto output = MakeOutput("output", &deletionLog);
  output = nullptr;
  EXPECT_THAT(deletionLog, IsEmpty());
  Manager().CheckStudioSetup();
  Manager().CheckStudioSetup();
  EXPECT_THAT(deletionLog, ElementsAre("output deleted"));
}

TEST_F(Mlox_ManagerTest, RemoveAllServicesRunsTheDeletionPassBeforeAndAfterItDeletes) {
  static Test_CallLog deletionLog;
  deletionLog.clear();
  const JumpingClock clock;
  // Whatever earlier tests have left goes first.
  Manager().CheckStudioSetup();
  Manager().CheckStudioSetup();

  class LoggingService : public Test_FakeService {
   public:
    ~LoggingService() override {
      deletionLog.push_back("service deleted");
      mLastOutput = nullptr;
    }
    Cmn_AliasedRefCountPtr<Test_FakeOutput> mLastOutput;
  };
  auto* serviceP = new LoggingService;
  serviceP->mLastOutput = MakeOutput("late", &deletionLog);
  Manager().AddService(serviceP, 16);
  MakeOutput("early", &deletionLog);
  Manager().RemoveAllServices();
  EXPECT_THAT(deletionLog, ElementsAre("early deleted", "service deleted", "late deleted"));
}

}  // namespace
