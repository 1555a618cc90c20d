// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/limit_checks.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/tools/doctor/good_machine.h"

namespace {

using Names = std::vector<std::string>;
using tool::LookEnd;
using tool::Machine;

const Names kRaisePriority = {"echo '@audio - rtprio 95' | sudo tee -a /etc/security/limits.d/95-audio.conf",
                              "# then log in again"};

class LimitChecks : public testing::Test {
 protected:
  void UseJack() {
    mMachine.mEnvironment["MLOX_MIDI_DRIVERS"] = "jack";
    mMachine.mJack = {true, LookEnd::kDone, {true, true, "", 0, 0}};
  }
  void RefusePriority(std::uint64_t iSoft, std::uint64_t iHard) {
    mMachine.mRealtime.mPriority = {iSoft, iHard};
    mMachine.mRealtime.mIsGranted = false;
  }
  void RefuseMemory(std::uint64_t iSoft, std::uint64_t iHard) {
    mMachine.mRealtime.mMemory = {iSoft, iHard};
    mMachine.mRealtime.mIsPinned = false;
  }

  Machine mMachine = Test_GoodMachine();
};

TEST_F(LimitChecks, WhoMayRunInRealTimeIsToldTheHighestPriority) {
  Test_ExpectOk(CheckRealtimePriority(mMachine), "threads may run in real time, priority 95 at most");
  mMachine.mRealtime.mPriority.mSoft = UINT64_MAX;
  Test_ExpectOk(CheckRealtimePriority(mMachine), "priority 99 at most");
}

TEST_F(LimitChecks, APrivilegeStandsAboveTheLimit) {
  mMachine.mRealtime.mPriority = {0, 0};
  Test_ExpectOk(CheckRealtimePriority(mMachine), "threads may run in real time");
}

TEST_F(LimitChecks, WithoutRealTimeTheGroupGetsIt) {
  RefusePriority(0, 0);
  Test_ExpectNote(CheckRealtimePriority(mMachine), "no thread may run in real time", kRaisePriority);
}

TEST_F(LimitChecks, WithoutRealTimeTheThreadsOfAJackServersClientsAreLate) {
  RefusePriority(0, 0);
  UseJack();
  Test_ExpectWrong(CheckRealtimePriority(mMachine), "no thread may run in real time", kRaisePriority);
  mMachine.mJackServer.mIsPipeWire = true;
  Test_ExpectNote(CheckRealtimePriority(mMachine), "no thread may run in real time", kRaisePriority);
}

TEST_F(LimitChecks, WhoIsNotInTheGroupIsPutIntoItToo) {
  RefusePriority(0, 0);
  mMachine.mUser = {"ann", false, true, false, false};
  Test_ExpectNote(CheckRealtimePriority(mMachine), "no thread may run in real time",
                  {kRaisePriority.front(), "sudo usermod -aG audio ann", "# then log in again"});
}

TEST_F(LimitChecks, RootHasALimitOfItsOwn) {
  RefusePriority(0, 0);
  mMachine.mUser = {"root", true, true, false, false};
  Test_ExpectNote(
      CheckRealtimePriority(mMachine), "no thread may run in real time",
      {"echo 'root - rtprio 95' | sudo tee -a /etc/security/limits.d/95-audio.conf", "# then log in again"});
}

TEST_F(LimitChecks, AHigherHardLimitIsTakenUp) {
  RefusePriority(0, 20);
  Test_ExpectNote(CheckRealtimePriority(mMachine), "no thread may run in real time", {"ulimit -r 20"});
}

TEST_F(LimitChecks, AContainerGetsItsLimitsWhenItStarts) {
  mMachine.mIsContainer = true;
  RefusePriority(0, 0);
  Test_ExpectNote(CheckRealtimePriority(mMachine), "no thread may run in real time",
                  {"# start the container with --ulimit rtprio=95"});
  RefuseMemory(65536, 65536);
  Test_ExpectWrong(CheckLockedMemory(mMachine), "may be swapped out",
                   {"# start the container with --ulimit memlock=-1"});
}

TEST_F(LimitChecks, ARefusalInSpiteOfTheLimitIsSaidSo) {
  RefusePriority(95, 95);
  Test_ExpectNote(
      CheckRealtimePriority(mMachine), "the limit allows priority 95, but the kernel refuses",
      {"# look for cpu.rt_runtime_us in the control group of this session, or for a sandbox around it"});
}

TEST_F(LimitChecks, LimitsThatCouldNotBeTriedAreNotSaidToRefuse) {
  mMachine.mRealtime = {};
  mMachine.mRealtime.mEnd = {LookEnd::kNotHad, EMFILE};
  Test_ExpectWrong(CheckRealtimePriority(mMachine), "threads in real time: not looked at: no more files",
                   {"ulimit -n 4096"});
  Test_ExpectWrong(CheckLockedMemory(mMachine), "memory that stays in place: not looked at: no more files",
                   {"ulimit -n 4096"});
  mMachine.mRealtime.mEnd = LookEnd::kDied;
  Test_ExpectWrong(CheckRealtimePriority(mMachine), "not looked at: the process that looked has ended",
                   {"mlox doctor  # looks again"});
  mMachine.mRealtime.mEnd = LookEnd::kTooLong;
  Test_ExpectWrong(CheckLockedMemory(mMachine), "not looked at: no answer within 5 s",
                   {"mlox doctor  # looks again"});
}

TEST_F(LimitChecks, ThreadsThatReceiveAreToldTheirNiceValue) {
  Test_ExpectOk(CheckReceivePriority(mMachine), "threads that receive run at a nice value of -10");
}

TEST_F(LimitChecks, WithoutTheNiceValueTheGroupGetsIt) {
  mMachine.mRealtime.mTakesNice = false;
  mMachine.mRealtime.mNice = {0, 0};
  Test_ExpectNote(
      CheckReceivePriority(mMachine), "what arrives waits for its turn",
      {"echo '@audio - nice -10' | sudo tee -a /etc/security/limits.d/95-audio.conf", "# then log in again"});
  mMachine.mIsContainer = true;
  Test_ExpectNote(CheckReceivePriority(mMachine), "what arrives waits for its turn",
                  {"# start the container with --ulimit nice=30"});
  mMachine.mRealtime.mNice.mHard = 30;
  Test_ExpectNote(CheckReceivePriority(mMachine), "what arrives waits for its turn", {"ulimit -e 30"});
}

TEST_F(LimitChecks, PinnedMemoryIsToldWithItsLimit) {
  Test_ExpectOk(CheckLockedMemory(mMachine), "the library pins 2 MB; the limit is no limit");
  mMachine.mRealtime.mMemory.mSoft = 8 * 1024 * 1024;
  Test_ExpectOk(CheckLockedMemory(mMachine), "the limit is 8 MB");
}

TEST_F(LimitChecks, MemoryThatCannotBePinnedIsWrong) {
  RefuseMemory(65536, 65536);
  Test_ExpectWrong(CheckLockedMemory(mMachine), "the limit is 64 kB: what can't be pinned may be swapped out",
                   {"echo '@audio - memlock unlimited' | sudo tee -a /etc/security/limits.d/95-audio.conf",
                    "# then log in again"});
  RefuseMemory(65536, std::uint64_t{64} << 20);
  Test_ExpectWrong(CheckLockedMemory(mMachine), "may be swapped out", {"ulimit -l $(ulimit -H -l)"});
}

}  // namespace
