// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_portactivator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/mlox/mlox_directmusic/hardware_fixture.h"

namespace {

using Calls = std::vector<std::string>;

// Notes locks and unlocks, and never waits.
class RecordingThreads final : public IPSModule_Thread {
 public:
  class Mutex final : public PSMutex {
   public:
    explicit Mutex(RecordingThreads& iOwner) : mOwner(iOwner) {}
    void Lock() override {
      mOwner.Note("Lock");
      ++mOwner.mLocks;
    }
    void Unlock() override {
      mOwner.Note("Unlock");
      --mOwner.mLocks;
    }

   private:
    RecordingThreads& mOwner;
  };

  explicit RecordingThreads(Test_FakeCalls& ioCalls) : mCalls(ioCalls) {}
  int GetRevision() const noexcept override { return 1; }
  std::uint64_t GetCurrentThreadID() const noexcept override { return 1; }
  void YieldThread() noexcept override {}
  void SetCurrentThreadName(const char*) noexcept override {}
  PSMutex* NewMutex(const char* iNameP) override {
    mNames.emplace_back(iNameP);
    return mHasMutexes ? new Mutex(*this) : nullptr;
  }

  void Note(const char* iCallP) {
    HRESULT result = S_OK;
    mCalls.Enter(iCallP, iCallP, &result);
  }

  Test_FakeCalls& mCalls;
  std::vector<std::string> mNames;
  int mLocks = 0;  // held now
  bool mHasMutexes = true;
};

class Mlox_PortActivatorTest : public ::testing::Test {
 protected:
  Calls TakeLines() { return Test_TakeLines(mRoot.Calls()); }

  Test_FakeDirectMusic mRoot;
  Test_FakePort& mPort = mRoot.AddOutput(1, "P");
  RecordingThreads mThreads{mRoot.Calls()};
};

constexpr Mlox_InputID kID{3, 4711};

TEST_F(Mlox_PortActivatorTest, IsMadeWithADeactivatedPortANameForItsMutexAndNoUsers) {
  {
    const Mlox_PortActivator activator(kID, &mPort, mThreads);
    EXPECT_EQ(TakeLines(), (Calls{"P: Activate 0"}));
    EXPECT_EQ(mThreads.mNames, (Calls{"Mlox_PortActivator_Mutex"}));
    EXPECT_EQ(activator.GetCount(), 0);
    EXPECT_EQ(activator.GetPort(), &mPort);
    EXPECT_EQ(activator.GetID(), kID);
    EXPECT_EQ(mPort.References(), 1);
  }
  EXPECT_EQ(mPort.References(), 0);
}

TEST_F(Mlox_PortActivatorTest, APortThatRefusesToBeDeactivatedIsLetGoAtOnce) {
  mRoot.Calls().Fail("P: Activate 0", E_FAIL);
  const Mlox_PortActivator activator(kID, &mPort, mThreads);
  EXPECT_EQ(activator.GetPort(), nullptr);
  EXPECT_EQ(mPort.References(), 0);
}

TEST_F(Mlox_PortActivatorTest, OneIsNoFailure) {
  mRoot.Calls().Fail("Activate", S_FALSE);
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  activator.Count(true);
  EXPECT_EQ(activator.GetPort(), &mPort);
  EXPECT_EQ(activator.GetCount(), 1);
}

TEST_F(Mlox_PortActivatorTest, TwoIsAFailure) {
  mRoot.Calls().Fail("P: Activate 1", 2);
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  activator.Count(true);
  EXPECT_EQ(activator.GetPort(), nullptr);
}

TEST_F(Mlox_PortActivatorTest, TheFirstUserActivatesAndTheLastDeactivates) {
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  TakeLines();
  activator.Count(true);
  EXPECT_EQ(TakeLines(), (Calls{"Lock", "P: Activate 1", "Unlock"}));
  activator.Count(true);
  EXPECT_EQ(activator.GetCount(), 2);
  EXPECT_EQ(TakeLines(), (Calls{"Lock", "Unlock"}));
  activator.Count(false);
  EXPECT_EQ(activator.GetCount(), 1);
  EXPECT_EQ(TakeLines(), (Calls{"Lock", "Unlock"}));
  activator.Count(false);
  EXPECT_EQ(activator.GetCount(), 0);
  EXPECT_EQ(TakeLines(), (Calls{"Lock", "P: Activate 0", "Unlock"}));
  activator.Count(true);
  EXPECT_EQ(TakeLines(), (Calls{"Lock", "P: Activate 1", "Unlock"}));
}

TEST_F(Mlox_PortActivatorTest, ASecondDeactivationOfAPortWhoseCountIs0LeavesTheMutexLocked) {
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  activator.Count(true);
  activator.Count(false);
  EXPECT_EQ(mThreads.mLocks, 0);
  TakeLines();
  activator.Count(false);
  EXPECT_EQ(TakeLines(), (Calls{"Lock"}));
  EXPECT_EQ(mThreads.mLocks, 1);
  EXPECT_EQ(activator.GetCount(), 0);
}

TEST_F(Mlox_PortActivatorTest, WithoutAMutexNothingIsCounted) {
  mThreads.mHasMutexes = false;
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  TakeLines();
  activator.Count(true);
  EXPECT_EQ(TakeLines(), Calls{});
  EXPECT_EQ(activator.GetCount(), 0);
}

TEST_F(Mlox_PortActivatorTest, APortThatFailedActivationStaysDead) {
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  mRoot.Calls().Fail("P: Activate 1", E_FAIL);
  activator.Count(true);
  EXPECT_EQ(activator.GetPort(), nullptr);
  EXPECT_EQ(activator.GetCount(), 0);
  EXPECT_EQ(mPort.References(), 0);
  EXPECT_EQ(mThreads.mLocks, 0);
  mRoot.Calls().Mend("P: Activate 1");
  TakeLines();
  activator.Count(true);
  EXPECT_EQ(TakeLines(), (Calls{"Lock", "Unlock"}));
  EXPECT_EQ(activator.GetPort(), nullptr);
  EXPECT_EQ(activator.GetCount(), 1) << "users are counted all the same";
}

// What the process's activators keep for ever.
Test_FakeDirectMusic& ImmortalRoot() {
  static Test_FakeDirectMusic& sRoot = *new Test_FakeDirectMusic;
  return sRoot;
}

// Never the same twice, however often the tests are run.
Mlox_InputID NewID() {
  static int sNumber = 0;
  return {77, ++sNumber};
}

TEST(Mlox_PortActivatorOfTheProcess, OneActivatorServesAllUsersOfAnIdentityWithThePortOfTheFirst) {
  Test_FakeCalls& calls = ImmortalRoot().Calls();
  Test_FakePort& first = ImmortalRoot().AddOutput(1, "First");
  Test_FakePort& second = ImmortalRoot().AddOutput(2, "Second");
  Test_FakePort& other = ImmortalRoot().AddOutput(3, "Other");
  calls.Clear();
  const Mlox_InputID shared = NewID();
  Mlox_PortActivator::Apply(shared, &first, true);
  EXPECT_EQ(Test_TakeLines(calls), (Calls{"First: Activate 0", "First: Activate 1"}));
  EXPECT_EQ(first.References(), 1) << "the activator's; the step gave its own back";
  Mlox_PortActivator::Apply(shared, &second, true);
  EXPECT_EQ(Test_TakeLines(calls), Calls{}) << "counted, on the port of the first";
  EXPECT_EQ(second.References(), 0);
  Mlox_PortActivator::Apply({shared.mServiceIndex + 1, shared.mInputNumber}, &other, true);
  EXPECT_EQ(Test_TakeLines(calls), (Calls{"Other: Activate 0", "Other: Activate 1"}))
      << "both halves make the identity";
  Mlox_PortActivator::Apply(shared, &first, false);
  Mlox_PortActivator::Apply(shared, &first, false);
  EXPECT_EQ(Test_TakeLines(calls), (Calls{"First: Activate 0"})) << "the last of two";
  EXPECT_EQ(first.References(), 1) << "elements are never removed";
}

TEST(Mlox_PortActivatorOfTheProcess, NoPortIsNothingToCount) {
  Test_FakePort& port = ImmortalRoot().AddOutput(4, "Fourth");
  const Mlox_InputID id = NewID();
  Mlox_PortActivator::Apply(id, nullptr, true);
  ImmortalRoot().Calls().Clear();
  Mlox_PortActivator::Apply(id, &port, true);
  EXPECT_EQ(Test_TakeLines(ImmortalRoot().Calls()), (Calls{"Fourth: Activate 0", "Fourth: Activate 1"}))
      << "the first that counted";
}

}  // namespace
