// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/mlox_portactivator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/mlox/mlox_directmusic/recording_port.h"

namespace {

using Calls = std::vector<std::string>;

// Notes locks and unlocks, and never waits.
class RecordingThreads final : public IPSModule_Thread {
 public:
  class Mutex final : public PSMutex {
   public:
    explicit Mutex(RecordingThreads& iOwner) : mOwner(iOwner) {}
    void Lock() override {
      mOwner.mNotesP->Add("Lock");
      ++mOwner.mLocks;
    }
    void Unlock() override {
      mOwner.mNotesP->Add("Unlock");
      --mOwner.mLocks;
    }

   private:
    RecordingThreads& mOwner;
  };

  explicit RecordingThreads(Test_CallNotes& iNotes) : mNotesP(&iNotes) {}
  int GetRevision() const noexcept override { return 1; }
  std::uint64_t GetCurrentThreadID() const noexcept override { return 1; }
  void YieldThread() noexcept override {}
  void SetCurrentThreadName(const char*) noexcept override {}
  PSMutex* NewMutex(const char* iNameP) override {
    mNames.emplace_back(iNameP);
    return mHasMutexes ? new Mutex(*this) : nullptr;
  }

  Test_CallNotes* mNotesP;
  std::vector<std::string> mNames;
  int mLocks = 0;  // held now
  bool mHasMutexes = true;
};

class Mlox_PortActivatorTest : public ::testing::Test {
 protected:
  Test_CallNotes mNotes;
  Test_RecordingPort mPort{mNotes};
  RecordingThreads mThreads{mNotes};
};

constexpr Mlox_InputID kID{3, 4711};

TEST_F(Mlox_PortActivatorTest, IsMadeWithADeactivatedPortANameForItsMutexAndNoUsers) {
  {
    const Mlox_PortActivator activator(kID, &mPort, mThreads);
    EXPECT_EQ(mNotes.Take(), (Calls{"Activate 0"}));
    EXPECT_EQ(mThreads.mNames, (Calls{"Mlox_PortActivator_Mutex"}));
    EXPECT_EQ(activator.GetCount(), 0);
    EXPECT_EQ(activator.GetPort(), &mPort);
    EXPECT_EQ(activator.GetID(), kID);
    EXPECT_EQ(mPort.References(), 1);
  }
  EXPECT_EQ(mPort.References(), 0);
}

TEST_F(Mlox_PortActivatorTest, APortThatRefusesToBeDeactivatedIsLetGoAtOnce) {
  mPort.mDeactivateResult = E_FAIL;
  const Mlox_PortActivator activator(kID, &mPort, mThreads);
  EXPECT_EQ(activator.GetPort(), nullptr);
  EXPECT_EQ(mPort.References(), 0);
}

TEST_F(Mlox_PortActivatorTest, OneIsNoFailure) {
  mPort.mDeactivateResult = S_FALSE;
  mPort.mActivateResult = S_FALSE;
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  activator.Count(true);
  EXPECT_EQ(activator.GetPort(), &mPort);
  EXPECT_EQ(activator.GetCount(), 1);
}

TEST_F(Mlox_PortActivatorTest, TwoIsAFailure) {
  mPort.mActivateResult = 2;
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  activator.Count(true);
  EXPECT_EQ(activator.GetPort(), nullptr);
}

TEST_F(Mlox_PortActivatorTest, TheFirstUserActivatesAndTheLastDeactivates) {
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  mNotes.Take();
  activator.Count(true);
  EXPECT_EQ(mNotes.Take(), (Calls{"Lock", "Activate 1", "Unlock"}));
  activator.Count(true);
  EXPECT_EQ(activator.GetCount(), 2);
  EXPECT_EQ(mNotes.Take(), (Calls{"Lock", "Unlock"}));
  activator.Count(false);
  EXPECT_EQ(activator.GetCount(), 1);
  EXPECT_EQ(mNotes.Take(), (Calls{"Lock", "Unlock"}));
  activator.Count(false);
  EXPECT_EQ(activator.GetCount(), 0);
  EXPECT_EQ(mNotes.Take(), (Calls{"Lock", "Activate 0", "Unlock"}));
  activator.Count(true);
  EXPECT_EQ(mNotes.Take(), (Calls{"Lock", "Activate 1", "Unlock"}));
}

TEST_F(Mlox_PortActivatorTest, ASecondDeactivationOfAPortWhoseCountIs0LeavesTheMutexLocked) {
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  activator.Count(true);
  activator.Count(false);
  EXPECT_EQ(mThreads.mLocks, 0);
  mNotes.Take();
  activator.Count(false);
  EXPECT_EQ(mNotes.Take(), (Calls{"Lock"}));
  EXPECT_EQ(mThreads.mLocks, 1);
  EXPECT_EQ(activator.GetCount(), 0);
}

TEST_F(Mlox_PortActivatorTest, WithoutAMutexNothingIsCounted) {
  mThreads.mHasMutexes = false;
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  mNotes.Take();
  activator.Count(true);
  EXPECT_EQ(mNotes.Take(), Calls{});
  EXPECT_EQ(activator.GetCount(), 0);
}

TEST_F(Mlox_PortActivatorTest, APortThatFailedActivationStaysDead) {
  Mlox_PortActivator activator(kID, &mPort, mThreads);
  mPort.mActivateResult = E_FAIL;
  activator.Count(true);
  EXPECT_EQ(activator.GetPort(), nullptr);
  EXPECT_EQ(activator.GetCount(), 0);
  EXPECT_EQ(mPort.References(), 0);
  EXPECT_EQ(mThreads.mLocks, 0);
  mPort.mActivateResult = S_OK;
  mNotes.Take();
  activator.Count(true);
  EXPECT_EQ(mNotes.Take(), (Calls{"Lock", "Unlock"}));
  EXPECT_EQ(activator.GetPort(), nullptr);
  EXPECT_EQ(activator.GetCount(), 1) << "users are counted all the same";
}

// Ports that the process's activators keep for ever.
Test_RecordingPort& ImmortalPort(Test_CallNotes& iNotes) { return *new Test_RecordingPort(iNotes); }

TEST(Mlox_PortActivatorOfTheProcess, OneActivatorServesAllUsersOfAnIdentityWithThePortOfTheFirst) {
  static Test_CallNotes& sNotes = *new Test_CallNotes;
  static Test_RecordingPort& sFirst = ImmortalPort(sNotes);
  static Test_RecordingPort& sSecond = ImmortalPort(sNotes);
  static Test_RecordingPort& sOther = ImmortalPort(sNotes);
  constexpr Mlox_InputID kShared{77, 1};
  Mlox_PortActivator::Apply(kShared, &sFirst, true);
  EXPECT_EQ(sNotes.Take(), (Calls{"Activate 0", "Activate 1"}));
  EXPECT_EQ(sFirst.References(), 1) << "the activator's; the step gave its own back";
  Mlox_PortActivator::Apply(kShared, &sSecond, true);
  EXPECT_EQ(sNotes.Take(), Calls{}) << "counted, on the port of the first";
  EXPECT_EQ(sSecond.References(), 0);
  Mlox_PortActivator::Apply({77, 2}, &sOther, true);
  EXPECT_EQ(sNotes.Take(), (Calls{"Activate 0", "Activate 1"})) << "both halves make the identity";
  Mlox_PortActivator::Apply(kShared, &sFirst, false);
  Mlox_PortActivator::Apply(kShared, &sFirst, false);
  EXPECT_EQ(sNotes.Take(), (Calls{"Activate 0"})) << "the last of two";
  EXPECT_EQ(sFirst.References(), 1) << "elements are never removed";
}

TEST(Mlox_PortActivatorOfTheProcess, NoPortIsNothingToCount) {
  Mlox_PortActivator::Apply({78, 1}, nullptr, true);
  static Test_CallNotes& sNotes = *new Test_CallNotes;
  static Test_RecordingPort& sPort = ImmortalPort(sNotes);
  Mlox_PortActivator::Apply({78, 1}, &sPort, true);
  EXPECT_EQ(sNotes.Take(), (Calls{"Activate 0", "Activate 1"})) << "the first that counted";
}

}  // namespace
