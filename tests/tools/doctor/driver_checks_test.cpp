// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/driver_checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "platform/directmusic/drivers.h"
#include "tests/tools/doctor/good_machine.h"

namespace {

using Names = std::vector<std::string>;
using tool::LookEnd;
using tool::Machine;

class DriverChecks : public testing::Test {
 protected:
  void Choose(const std::string& iDrivers) { mMachine.mEnvironment["MLOX_MIDI_DRIVERS"] = iDrivers; }
  void HaveNoDevice() {
    mMachine.mSequencer = {};
    mMachine.mAlsa = {false, LookEnd::kDone, {true, false, "", 0, 0}};
  }
  void ForbidDevice() {
    mMachine.mSequencer.mAccess = EACCES;
    mMachine.mAlsa = {false, LookEnd::kDone, {true, false, "", 0, 0}};
  }
  void HaveJack() { mMachine.mJack = {true, LookEnd::kDone, {true, true, "", 4, 3}}; }

  Machine mMachine = Test_GoodMachine();
};

// ---- which drivers ----

// The doctor knows those that this build leaves out, too.
TEST_F(DriverChecks, EveryDriverOfTheLibraryIsKnownInTheLibrarysOrder) {
  const Names& known = tool::DriverNames();
  auto at = known.begin();
  for (const std::string& name : Platform_DriverNames()) {
    at = std::find(at, known.end(), name);
    EXPECT_NE(at, known.end()) << name;
  }
}

TEST_F(DriverChecks, TheFirstThatStartsIsUsedWhenNoneIsChosen) {
  HaveJack();
  EXPECT_EQ(DriversInUse(mMachine), Names{"alsa"});
  Test_ExpectOk(CheckDrivers(mMachine), "ports come from alsa");
  HaveNoDevice();
  EXPECT_EQ(DriversInUse(mMachine), Names{"jack"});
  mMachine.mJack.mTrial.mStarts = false;
  EXPECT_EQ(DriversInUse(mMachine), Names{"loopback"});
  Test_ExpectNote(CheckDrivers(mMachine), "ports come from loopback: none of this machine is reached");
}

TEST_F(DriverChecks, AllThatAreChosenAndStartAreUsed) {
  HaveJack();
  Choose("jack,loopback,,nonsense");
  EXPECT_EQ(DriversInUse(mMachine), (Names{"jack", "loopback"}));
  Test_ExpectOk(CheckDrivers(mMachine),
                "ports come from jack and loopback (MLOX_MIDI_DRIVERS=jack,loopback,,nonsense)");
}

TEST_F(DriverChecks, TwoDriversOfHardwareAreWorthANote) {
  HaveJack();
  Choose("alsa,jack");
  Test_ExpectNote(CheckDrivers(mMachine), "hardware shows twice");
}

TEST_F(DriverChecks, LoopbackAloneIsFineForWhoChoseIt) {
  HaveNoDevice();
  Choose("loopback");
  Test_ExpectOk(CheckDrivers(mMachine), "ports come from loopback");
}

TEST_F(DriverChecks, AChoiceOfWhichNoneStartsIsWrong) {
  for (const char* const choice : {"jack", "nonsense", ","}) {
    Choose(choice);
    Test_ExpectWrong(CheckDrivers(mMachine), "no driver starts", {"unset MLOX_MIDI_DRIVERS"});
  }
}

TEST_F(DriverChecks, AMachineOnWhichNotEvenLoopbackStartsIsWrong) {
  HaveNoDevice();
  mMachine.mLoopback.mTrial.mStarts = false;
  Test_ExpectWrong(CheckDrivers(mMachine), "no driver starts",
                   {"ulimit -u -v  # each driver needs a thread"});
}

TEST_F(DriverChecks, ADeviceWhoseModuleComesWithTheFirstOpeningCounts) {
  mMachine.mSequencer.mIsLoaded = false;
  mMachine.mAlsa = {false, LookEnd::kDone, {true, false, "", 0, 0}};
  EXPECT_EQ(DriversInUse(mMachine), Names{"alsa"});
  mMachine.mSequencer.mIsInstalled = false;
  EXPECT_EQ(DriversInUse(mMachine), Names{"loopback"});
}

// ---- alsa ----

TEST_F(DriverChecks, ASequencerThatOpensTellsItsPorts) {
  Test_ExpectOk(CheckAlsa(mMachine), "/dev/snd/seq opens: 2 inputs, 1 output");
}

TEST_F(DriverChecks, AMissingSequencerIsMendedByItsModuleOrAKernelThatHasIt) {
  HaveNoDevice();
  Test_ExpectWrong(
      CheckAlsa(mMachine), "there is no /dev/snd/seq: kernel 6.1.0-amd64 has no module snd-seq",
      {"sudo apt install linux-image-$(dpkg --print-architecture)", "# then start the machine anew"});
  mMachine.mSequencer.mIsInstalled = true;
  Test_ExpectWrong(CheckAlsa(mMachine), "the module snd-seq is not loaded", {"sudo modprobe snd-seq"});
  mMachine.mIsContainer = true;
  Test_ExpectWrong(CheckAlsa(mMachine), "there is no /dev/snd/seq",
                   {"# start the container with --device /dev/snd, on a host that has it"});
}

TEST_F(DriverChecks, ASequencerWithoutItsDeviceFileGetsItAgain) {
  HaveNoDevice();
  mMachine.mSequencer.mIsLoaded = true;
  Test_ExpectWrong(CheckAlsa(mMachine), "the kernel's sequencer runs, but /dev/snd/seq is missing",
                   {"sudo udevadm trigger --action=add /sys/class/sound/seq"});
  mMachine.mIsContainer = true;
  Test_ExpectWrong(CheckAlsa(mMachine), "the kernel's sequencer runs",
                   {"# start the container with --device /dev/snd, on a host that has it"});
}

TEST_F(DriverChecks, AMissingSequencerIsANoteWherePortsComeFromElsewhere) {
  HaveNoDevice();
  HaveJack();
  EXPECT_EQ(CheckAlsa(mMachine).mState, tool::FindingState::kNote);
  Choose("loopback");
  EXPECT_EQ(CheckAlsa(mMachine).mState, tool::FindingState::kNote);
  Choose("alsa");
  EXPECT_EQ(CheckAlsa(mMachine).mState, tool::FindingState::kWrong);
}

TEST_F(DriverChecks, AForbiddenSequencerIsMendedByTheGroup) {
  ForbidDevice();
  mMachine.mUser.mIsMember = false;
  mMachine.mUser.mIsMemberNow = false;
  const Names mend = {"sudo usermod -aG audio ann", "# then log in again"};
  Test_ExpectWrong(CheckAlsa(mMachine), "/dev/snd/seq: no permission", mend);
  mMachine.mUser.mHasAudioGroup = false;
  Test_ExpectWrong(CheckAlsa(mMachine), "no permission",
                   {"sudo groupadd --system audio", "sudo usermod -aG audio ann", "# then log in again"});
  Choose("jack");
  EXPECT_EQ(CheckAlsa(mMachine).mState, tool::FindingState::kNote);
}

TEST_F(DriverChecks, ASequencerOfTheWrongGroupIsGivenToTheRightOne) {
  ForbidDevice();
  mMachine.mSequencer.mGroup = "root";
  Test_ExpectWrong(CheckAlsa(mMachine), "no permission",
                   {"sudo chgrp audio /dev/snd/seq && sudo chmod g+rw /dev/snd/seq"});
  mMachine.mSequencer.mGroup = "audio";
  mMachine.mSequencer.mGroupMayUse = false;
  mMachine.mUser = {"ann", false, false, false, false};
  Test_ExpectWrong(CheckAlsa(mMachine), "no permission",
                   {"sudo groupadd --system audio", "sudo usermod -aG audio ann", "# then log in again",
                    "sudo chgrp audio /dev/snd/seq && sudo chmod g+rw /dev/snd/seq"});
}

TEST_F(DriverChecks, WhomNoFilePermissionStopsIsStoppedByAContainer) {
  ForbidDevice();
  const Names mend = {"# start the container with --device /dev/snd"};
  Test_ExpectWrong(CheckAlsa(mMachine), "no permission", mend);
  mMachine.mUser = {"root", true, true, false, false};
  Test_ExpectWrong(CheckAlsa(mMachine), "no permission", mend);
}

TEST_F(DriverChecks, ASequencerThatCannotBeAskedForIsWrong) {
  ForbidDevice();
  mMachine.mSequencer.mAccess = ELOOP;
  Test_ExpectWrong(CheckAlsa(mMachine), "/dev/snd/seq: Too many levels", {"ls -l /dev/snd/seq"});
}

TEST_F(DriverChecks, ASequencerThatIsNotLoadedIsNotOpened) {
  mMachine.mSequencer.mIsLoaded = false;
  mMachine.mAlsa = {false, LookEnd::kDone, {true, false, "", 0, 0}};
  Test_ExpectOk(CheckAlsa(mMachine), "/dev/snd/seq can be opened, which loads its module");
  mMachine.mSequencer.mIsInstalled = false;
  Test_ExpectWrong(
      CheckAlsa(mMachine), "/dev/snd/seq is there, but kernel 6.1.0-amd64 has no module snd-seq",
      {"sudo apt install linux-image-$(dpkg --print-architecture)", "# then start the machine anew"});
}

TEST_F(DriverChecks, ASequencerThatFailsTellsWhy) {
  mMachine.mAlsa.mTrial = {true, false, "the ALSA sequencer does not open: Device busy", 0, 0};
  Test_ExpectWrong(CheckAlsa(mMachine), "does not open: Device busy",
                   {"fuser -v /dev/snd/seq  # shows who uses it: there is room for 64 programs"});
  mMachine.mSequencer.mHasConfiguration = false;
  Test_ExpectWrong(CheckAlsa(mMachine), "the settings of ALSA's library are missing",
                   {"sudo apt install --reinstall libasound2-data"});
  mMachine.mAlsa.mEnd = LookEnd::kTooLong;
  Test_ExpectWrong(CheckAlsa(mMachine), "/dev/snd/seq does not answer within 5 s",
                   {"fuser -v /dev/snd/seq  # shows who uses it"});
  mMachine.mAlsa.mEnd = LookEnd::kDied;
  Test_ExpectWrong(CheckAlsa(mMachine), "a program that opens the sequencer ends at once",
                   {"sudo apt install --reinstall libasound2"});
  Choose("loopback");
  EXPECT_EQ(CheckAlsa(mMachine).mState, tool::FindingState::kNote);
}

TEST_F(DriverChecks, ADriverThatWasNotBuiltIsWrongForWhoChoseIt) {
  mMachine.mAlsa = {};
  mMachine.mJack = {};
  const Names alsa = {"sudo apt install libasound2-dev  # and build mlox again"};
  const Names jack = {"sudo apt install libjack-jackd2-dev  # and build mlox again"};
  Test_ExpectNote(CheckAlsa(mMachine), "this build has no such driver", alsa);
  Test_ExpectNote(CheckJack(mMachine), "this build has no such driver", jack);
  Choose("alsa,jack");
  Test_ExpectWrong(CheckAlsa(mMachine), "this build has no such driver", alsa);
  Test_ExpectWrong(CheckJack(mMachine), "this build has no such driver", jack);
}

// ---- what could not be tried ----

TEST_F(DriverChecks, ADriverThatCouldNotBeTriedIsNotSaidToFail) {
  const tool::LookOutcome end = {LookEnd::kNotHad, EAGAIN};
  const std::string why =
      "not looked at: no process or thread can be started: Resource temporarily unavailable";
  const Names mend = {"# end programs of this user, or ask in a shell that may start more (ulimit -u)"};
  for (tool::DriverFacts* const factsP : {&mMachine.mAlsa, &mMachine.mJack, &mMachine.mLoopback}) {
    *factsP = {true, end, {true, false, "", 0, 0}};
  }
  mMachine.mJackServer.mIsPipeWire = true;
  Test_ExpectWrong(CheckDrivers(mMachine), "which drivers start: " + why, mend);
  Test_ExpectWrong(CheckAlsa(mMachine), "/dev/snd/seq: " + why, mend);
  Test_ExpectWrong(CheckJack(mMachine), "PipeWire (/usr/lib/libjack.so.0): " + why, mend);
  Test_ExpectNote(CheckPipeWire(mMachine), why, mend);
  Test_ExpectWrong(CheckLoopback(mMachine), why, mend);
  mMachine.mProcesses = {1, 30000};
  Test_ExpectWrong(CheckLoopback(mMachine), why, {"ulimit -u 30000"});
  mMachine.mProcesses.mHard = UINT64_MAX;
  Test_ExpectWrong(CheckLoopback(mMachine), why, {"ulimit -u unlimited"});
  Choose("nonsense");
  EXPECT_EQ(CheckAlsa(mMachine).mState, tool::FindingState::kNote);
  EXPECT_EQ(CheckJack(mMachine).mState, tool::FindingState::kNote);
  EXPECT_EQ(CheckLoopback(mMachine).mState, tool::FindingState::kNote);
  Test_ExpectWrong(CheckDrivers(mMachine), "no driver starts", {"unset MLOX_MIDI_DRIVERS"});
}

TEST_F(DriverChecks, WhichDriverIsUsedIsKnownWithoutThoseBehindIt) {
  mMachine.mJack.mEnd = {LookEnd::kNotHad, EMFILE};
  Test_ExpectOk(CheckDrivers(mMachine), "ports come from alsa");
  Choose("alsa,jack");
  Test_ExpectWrong(CheckDrivers(mMachine), "not looked at: no more files can be opened: Too many open files",
                   {"ulimit -n 4096"});
  Choose("alsa");
  Test_ExpectOk(CheckDrivers(mMachine), "ports come from alsa");
}

// ---- the group ----

TEST_F(DriverChecks, WhoReachesTheSequencerNeedsNoGroup) {
  Test_ExpectOk(CheckAudioGroup(mMachine), "ann is in it");
  mMachine.mUser.mIsMemberNow = false;
  Test_ExpectOk(CheckAudioGroup(mMachine), "ann reaches /dev/snd/seq without it");
  mMachine.mUser.mIsRoot = true;
  Test_ExpectOk(CheckAudioGroup(mMachine), "root needs no group");
}

TEST_F(DriverChecks, WithoutASequencerTheGroupDecidesNothing) {
  HaveNoDevice();
  mMachine.mUser.mIsMemberNow = false;
  Test_ExpectOk(CheckAudioGroup(mMachine), "nothing to decide: there is no /dev/snd/seq");
}

TEST_F(DriverChecks, WhoIsNotInTheGroupIsPutIntoIt) {
  ForbidDevice();
  mMachine.mUser = {"ann lee", false, true, false, false};
  Test_ExpectWrong(CheckAudioGroup(mMachine), "ann lee is not in it",
                   {"sudo usermod -aG audio 'ann lee'", "# then log in again"});
  Choose("jack");
  EXPECT_EQ(CheckAudioGroup(mMachine).mState, tool::FindingState::kNote);
  Choose("");
  mMachine.mUser.mName.clear();
  Test_ExpectWrong(
      CheckAudioGroup(mMachine), "this user is not in it",
      {"# this user id has no name: add it to /etc/passwd first, or run as a user that has one"});
  mMachine.mUser.mHasAudioGroup = false;
  Test_ExpectWrong(
      CheckAudioGroup(mMachine), "this user is not in it",
      {"sudo groupadd --system audio",
       "# this user id has no name: add it to /etc/passwd first, or run as a user that has one"});
}

TEST_F(DriverChecks, ALoginThatIsOlderThanTheMembershipNeedsANewOne) {
  ForbidDevice();
  mMachine.mUser.mIsMemberNow = false;
  Test_ExpectWrong(CheckAudioGroup(mMachine), "ann is in it, but this login is older than that",
                   {"newgrp audio  # for this shell; everything else needs a new login"});
  Test_ExpectWrong(CheckAlsa(mMachine), "no permission", {"# then log in again"});
}

// ---- jack ----

TEST_F(DriverChecks, AServerThatAnswersTellsItsPorts) {
  HaveJack();
  Test_ExpectOk(CheckJack(mMachine), "a JACK server (/usr/lib/libjack.so.0) answers: 4 inputs, 3 outputs");
  mMachine.mJackServer.mIsPipeWire = true;
  Test_ExpectOk(CheckJack(mMachine), "PipeWire (/usr/lib/libjack.so.0) answers");
}

TEST_F(DriverChecks, WithoutAServerOneIsStartedWhereItIsMissed) {
  const Names mend = {"jackd -d alsa &  # or start any other JACK server"};
  Test_ExpectNote(CheckJack(mMachine), "no JACK server runs (libjack is /usr/lib/libjack.so.0)", mend);
  HaveNoDevice();
  Test_ExpectWrong(CheckJack(mMachine), "no JACK server runs", mend);
  mMachine.mJackServer.mHasJackd = false;
  Test_ExpectWrong(CheckJack(mMachine), "no JACK server runs",
                   {"sudo apt install jackd2", "jackd -d alsa &  # or start any other JACK server"});
  Choose("loopback");
  EXPECT_EQ(CheckJack(mMachine).mState, tool::FindingState::kNote);
}

TEST_F(DriverChecks, APipeWireThatIsNotAskedIsReachedByItsOwnLibjack) {
  mMachine.mJackServer.mHasPipeWire = true;
  mMachine.mJackServer.mHasPwJack = true;
  Choose("jack");
  Test_ExpectWrong(CheckJack(mMachine),
                   "PipeWire does, and this libjack (/usr/lib/libjack.so.0) is not its own",
                   {"pw-jack mlox list  # and so for every application"});
  mMachine.mJackServer.mHasPwJack = false;
  Test_ExpectWrong(CheckJack(mMachine), "PipeWire does",
                   {"sudo apt install pipewire-jack", "pw-jack mlox list  # and so for every application"});
}

TEST_F(DriverChecks, APipeWireThatDoesNotRunIsStarted) {
  mMachine.mJackServer.mIsPipeWire = true;
  Choose("jack");
  Test_ExpectWrong(CheckJack(mMachine), "no server answers PipeWire's libjack",
                   {"systemctl --user start pipewire"});
}

TEST_F(DriverChecks, AServerThatTheDriverWaitsForIsSaidNotToAnswer) {
  mMachine.mJack = {true, LookEnd::kDone, {true, true, "the JACK server does not answer", 0, 0}};
  Test_ExpectWrong(CheckJack(mMachine), "a JACK server (/usr/lib/libjack.so.0) does not answer",
                   {"kill -KILL $(pidof jackd jackdbus)  # then start the server again"});
}

TEST_F(DriverChecks, AServerThatHangsIsSaidSo) {
  mMachine.mJack = {true, LookEnd::kTooLong, {true, false, "", 0, 0}};
  Test_ExpectWrong(CheckJack(mMachine), "a JACK server (/usr/lib/libjack.so.0) does not answer within 5 s",
                   {"kill -KILL $(pidof jackd jackdbus)  # then start the server again"});
  mMachine.mJackServer.mIsPipeWire = true;
  Test_ExpectWrong(CheckJack(mMachine), "PipeWire (/usr/lib/libjack.so.0) does not answer within 5 s",
                   {"systemctl --user restart pipewire"});
  EXPECT_EQ(DriversInUse(mMachine), Names{"alsa"});
  Choose("alsa");
  EXPECT_EQ(CheckJack(mMachine).mState, tool::FindingState::kNote);
}

TEST_F(DriverChecks, ALibjackThatEndsItsProgramIsSaidSo) {
  mMachine.mJack = {true, LookEnd::kDied, {true, false, "", 0, 0}};
  Test_ExpectWrong(CheckJack(mMachine),
                   "a program that joins a JACK server (/usr/lib/libjack.so.0) ends at once",
                   {"export MLOX_MIDI_DRIVERS=alsa  # and start the server again"});
}

// ---- PipeWire's notes ----

TEST_F(DriverChecks, PipeWireMattersWhereItIsTheServer) {
  Test_ExpectOk(CheckPipeWire(mMachine), "it is not the JACK server here");
  mMachine.mJackServer.mIsPipeWire = true;
  Test_ExpectOk(CheckPipeWire(mMachine), "it is not the JACK server here");
  HaveJack();
  const Names mend = {"mkdir -p ~/.config/pipewire/jack.conf.d",
                      "echo 'jack.properties = { jack.fix-midi-events = false }' "
                      ">~/.config/pipewire/jack.conf.d/mlox.conf"};
  Test_ExpectNote(CheckPipeWire(mMachine), "it rewrites a note-on with velocity 0 as a note-off", mend);
  mMachine.mJackServer.mFixes = true;
  Test_ExpectNote(CheckPipeWire(mMachine), "it rewrites a note-on", mend);
  mMachine.mJackServer.mFixes = false;
  Test_ExpectOk(CheckPipeWire(mMachine), "it passes every note as it is");
}

// ---- loopback ----

TEST_F(DriverChecks, ALoopbackThatDoesNotStartTellsWhy) {
  mMachine.mLoopback.mTrial = {true, false, "no thread", 0, 0};
  Test_ExpectNote(CheckLoopback(mMachine), "it does not start: no thread",
                  {"export MLOX_LOOPBACK_PORTS=A,B"});
}

TEST_F(DriverChecks, LoopbackIsAlwaysThere) {
  Test_ExpectOk(CheckLoopback(mMachine), "always there: 1 pair in each process");
  mMachine.mLoopback.mTrial.mOutputs = 2;
  Test_ExpectOk(CheckLoopback(mMachine), "2 pairs");
  mMachine.mLoopback.mEnd = LookEnd::kDied;
  Test_ExpectNote(CheckLoopback(mMachine), "it does not start", {"export MLOX_LOOPBACK_PORTS=A,B"});
  Choose("loopback");
  Test_ExpectWrong(CheckLoopback(mMachine), "it does not start", {"export MLOX_LOOPBACK_PORTS=A,B"});
}

}  // namespace
