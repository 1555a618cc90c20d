// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/driver_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <utility>

#include "tools/mlox/doctor/mending.h"

namespace tool {

namespace {

constexpr const char* kAlsa = "alsa";
constexpr const char* kJack = "jack";
constexpr const char* kLoopback = "loopback";
constexpr const char* kDevice = "/dev/snd/seq";

bool Contains(const std::vector<std::string>& iNames, const std::string& iName) {
  return std::find(iNames.begin(), iNames.end(), iName) != iNames.end();
}

std::string Joined(const std::vector<std::string>& iWords, const char* iBetween) {
  std::string text;
  for (const std::string& word : iWords) text += (text.empty() ? "" : iBetween) + word;
  return text;
}

bool HasStarted(const DriverFacts& iDriver) {
  return iDriver.mIsTried && iDriver.mEnd == LookEnd::kDone && iDriver.mTrial.mStarts;
}

bool Starts(const Machine& iMachine, const std::string& iName) {
  const SequencerFacts& sequencer = iMachine.mSequencer;
  if (iName == kAlsa) {
    // The first program that opens the device loads the module.
    const bool comesWhenOpened = iMachine.mAlsa.mTrial.mIsBuilt && !iMachine.mAlsa.mIsTried &&
                                 sequencer.mAccess == 0 && !sequencer.mIsLoaded && sequencer.mIsInstalled;
    return HasStarted(iMachine.mAlsa) || comesWhenOpened;
  }
  if (iName == kJack) return HasStarted(iMachine.mJack);
  return iName == kLoopback && HasStarted(iMachine.mLoopback);
}

// Whether ports are missing because this driver doesn't start: the user wants it, or nothing else gives any.
bool IsMissed(const Machine& iMachine, const std::string& iName) {
  const std::vector<std::string> chosen = ChosenDrivers(iMachine);
  if (!chosen.empty()) return Contains(chosen, iName);
  return !Starts(iMachine, kAlsa) && !Starts(iMachine, kJack);
}

// Whether the user has ruled it out.
bool IsUnwanted(const Machine& iMachine, const std::string& iName) {
  const std::vector<std::string> chosen = ChosenDrivers(iMachine);
  return !chosen.empty() && !Contains(chosen, iName);
}

const DriverFacts& FactsOf(const Machine& iMachine, const std::string& iName) {
  if (iName == kAlsa) return iMachine.mAlsa;
  return iName == kJack ? iMachine.mJack : iMachine.mLoopback;
}

// A driver of which nobody knows whether it would be used, because it could not be tried; null when it is
// known of each.
const DriverFacts* UntriedOf(const Machine& iMachine) {
  const std::vector<std::string> chosen = ChosenDrivers(iMachine);
  for (const std::string& name : DriverNames()) {
    if (!chosen.empty() && !Contains(chosen, name)) continue;
    const DriverFacts& driver = FactsOf(iMachine, name);
    if (driver.mEnd == LookEnd::kNotHad) return &driver;
    if (chosen.empty() && Starts(iMachine, name)) break;
  }
  return nullptr;
}

Finding NotTried(const Machine& iMachine, const char* iName, bool iIsWrong, const std::string& iWhat) {
  Finding finding = NotLooked(iMachine, iName, iWhat, FactsOf(iMachine, iName).mEnd);
  if (!iIsWrong) finding.mState = FindingState::kNote;
  return finding;
}

Finding WrongIf(bool iIsWrong, const char* iName, std::string iSeen, Lines iMend) {
  return {iName, iIsWrong ? FindingState::kWrong : FindingState::kNote, std::move(iSeen), std::move(iMend)};
}

std::string PortsText(const Platform_DriverTrial& iTrial) {
  return fmt::format("{} input{}, {} output{}", iTrial.mInputs, iTrial.mInputs == 1 ? "" : "s",
                     iTrial.mOutputs, iTrial.mOutputs == 1 ? "" : "s");
}

Finding NotBuilt(const Machine& iMachine, const char* iName, const char* iPackage) {
  return WrongIf(Contains(ChosenDrivers(iMachine), iName), iName, "this build has no such driver",
                 {fmt::format("sudo apt install {}  # and build mlox again", iPackage)});
}

// ---- alsa ----

Lines ModuleMend(const Machine& iMachine) {
  if (iMachine.mIsContainer) return {"# start the container with --device /dev/snd, on a host that has it"};
  if (iMachine.mSequencer.mIsInstalled) return {"sudo modprobe snd-seq"};
  // Kernels for machines in a cloud come without sound.
  return {"sudo apt install linux-image-$(dpkg --print-architecture)", "# then start the machine anew"};
}

Finding MissingDevice(const Machine& iMachine) {
  const SequencerFacts& sequencer = iMachine.mSequencer;
  const bool isWrong = IsMissed(iMachine, kAlsa);
  if (sequencer.mIsLoaded) {
    const Lines mend = iMachine.mIsContainer
                           ? ModuleMend(iMachine)
                           : Lines{"sudo udevadm trigger --action=add /sys/class/sound/seq"};
    return WrongIf(isWrong, kAlsa, fmt::format("the kernel's sequencer runs, but {} is missing", kDevice),
                   mend);
  }
  const std::string module = sequencer.mIsInstalled
                                 ? "the module snd-seq is not loaded"
                                 : fmt::format("kernel {} has no module snd-seq", iMachine.mKernel);
  return WrongIf(isWrong, kAlsa, fmt::format("there is no {}: {}", kDevice, module), ModuleMend(iMachine));
}

Finding ClosedDevice(const Machine& iMachine) {
  const int fault = iMachine.mSequencer.mAccess;
  const bool isForbidden = fault == EACCES || fault == EPERM;
  return WrongIf(!IsUnwanted(iMachine, kAlsa), kAlsa,
                 fmt::format("{}: {}", kDevice, isForbidden ? "no permission" : std::strerror(fault)),
                 isForbidden ? SequencerAccessMend(iMachine) : Lines{fmt::format("ls -l {}", kDevice)});
}

Finding UntriedDevice(const Machine& iMachine) {
  if (iMachine.mSequencer.mIsInstalled) {
    return Ok(kAlsa, fmt::format("{} can be opened, which loads its module", kDevice));
  }
  return WrongIf(IsMissed(iMachine, kAlsa), kAlsa,
                 fmt::format("{} is there, but kernel {} has no module snd-seq", kDevice, iMachine.mKernel),
                 ModuleMend(iMachine));
}

Finding FailedAlsa(const Machine& iMachine) {
  const DriverFacts& driver = iMachine.mAlsa;
  const bool isWrong = !IsUnwanted(iMachine, kAlsa);
  if (driver.mEnd == LookEnd::kNotHad) return NotTried(iMachine, kAlsa, isWrong, kDevice);
  if (driver.mEnd == LookEnd::kTooLong) {
    return WrongIf(isWrong, kAlsa, fmt::format("{} does not answer within {} s", kDevice, kLookSeconds),
                   {fmt::format("fuser -v {}  # shows who uses it", kDevice)});
  }
  if (driver.mEnd == LookEnd::kDied) {
    return WrongIf(isWrong, kAlsa, "a program that opens the sequencer ends at once",
                   {"sudo apt install --reinstall libasound2"});
  }
  if (!iMachine.mSequencer.mHasConfiguration) {
    return WrongIf(isWrong, kAlsa, driver.mTrial.mReason + "; the settings of ALSA's library are missing",
                   {"sudo apt install --reinstall libasound2-data"});
  }
  return WrongIf(isWrong, kAlsa, driver.mTrial.mReason,
                 {fmt::format("fuser -v {}  # shows who uses it: there is room for 64 programs", kDevice)});
}

// ---- jack ----

std::string ServerKind(const Machine& iMachine) {
  return fmt::format("{} ({})", iMachine.mJackServer.mIsPipeWire ? "PipeWire" : "a JACK server",
                     iMachine.mJackServer.mLibrary.empty() ? "libjack" : iMachine.mJackServer.mLibrary);
}

Finding SilentServer(const Machine& iMachine, const std::string& iHow) {
  const bool isPipeWire = iMachine.mJackServer.mIsPipeWire;
  return WrongIf(!IsUnwanted(iMachine, kJack), kJack,
                 fmt::format("{} does not answer{}", ServerKind(iMachine), iHow),
                 {isPipeWire ? "systemctl --user restart pipewire"
                             : "kill -KILL $(pidof jackd jackdbus)  # then start the server again"});
}

Finding NoServer(const Machine& iMachine) {
  const JackFacts& jack = iMachine.mJackServer;
  const bool isWrong = IsMissed(iMachine, kJack);
  if (jack.mIsPipeWire) {
    return WrongIf(isWrong, kJack, "no server answers PipeWire's libjack (" + jack.mLibrary + ")",
                   {"systemctl --user start pipewire"});
  }
  if (jack.mHasPipeWire) {
    Lines mend;
    if (!jack.mHasPwJack) mend.emplace_back("sudo apt install pipewire-jack");
    mend.emplace_back("pw-jack mlox list  # and so for every application");
    return WrongIf(isWrong, kJack,
                   fmt::format("no JACK server runs. PipeWire does, and this libjack ({}) is not its own",
                               jack.mLibrary),
                   mend);
  }
  Lines mend;
  if (!jack.mHasJackd) mend.emplace_back("sudo apt install jackd2");
  mend.emplace_back("jackd -d alsa &  # or start any other JACK server");
  return WrongIf(isWrong, kJack, fmt::format("no JACK server runs (libjack is {})", jack.mLibrary), mend);
}

}  // namespace

const std::vector<std::string>& DriverNames() {
  static const std::vector<std::string> sNames = {kAlsa, kJack, kLoopback};
  return sNames;
}

std::vector<std::string> ChosenDrivers(const Machine& iMachine) {
  std::vector<std::string> names;
  std::istringstream text(iMachine.Variable("MLOX_MIDI_DRIVERS"));
  for (std::string name; std::getline(text, name, ',');) {
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

std::vector<std::string> DriversInUse(const Machine& iMachine) {
  std::vector<std::string> names;
  const bool isChosen = !iMachine.Variable("MLOX_MIDI_DRIVERS").empty();
  for (const std::string& name : isChosen ? ChosenDrivers(iMachine) : DriverNames()) {
    if (!Starts(iMachine, name)) continue;
    names.push_back(name);
    if (!isChosen) break;
  }
  return names;
}

Finding CheckDrivers(const Machine& iMachine) {
  constexpr const char* kName = "drivers";
  if (const DriverFacts* const untriedP = UntriedOf(iMachine)) {
    return NotLooked(iMachine, kName, "which drivers start", untriedP->mEnd);
  }
  const std::vector<std::string> used = DriversInUse(iMachine);
  const std::string chosen = iMachine.Variable("MLOX_MIDI_DRIVERS");
  const std::string why = chosen.empty() ? "" : fmt::format(" (MLOX_MIDI_DRIVERS={})", chosen);
  if (used.empty()) {
    if (chosen.empty())
      return Wrong(kName, "no driver starts", {"ulimit -u -v  # each driver needs a thread"});
    return Wrong(kName, fmt::format("no driver starts{}", why), {"unset MLOX_MIDI_DRIVERS"});
  }
  const std::string text = fmt::format("ports come from {}{}", Joined(used, " and "), why);
  if (Contains(used, kAlsa) && Contains(used, kJack)) return Note(kName, text + ": hardware shows twice");
  if (chosen.empty() && used.front() == kLoopback) {
    return Note(kName, text + ": none of this machine is reached");
  }
  return Ok(kName, text);
}

Finding CheckAlsa(const Machine& iMachine) {
  const DriverFacts& driver = iMachine.mAlsa;
  const SequencerFacts& sequencer = iMachine.mSequencer;
  if (!driver.mTrial.mIsBuilt && driver.mEnd == LookEnd::kDone) {
    return NotBuilt(iMachine, kAlsa, "libasound2-dev");
  }
  if (sequencer.mAccess == ENOENT) return MissingDevice(iMachine);
  if (sequencer.mAccess != 0) return ClosedDevice(iMachine);
  if (!driver.mIsTried) return UntriedDevice(iMachine);
  if (!HasStarted(driver)) return FailedAlsa(iMachine);
  return Ok(kAlsa, fmt::format("{} opens: {}", kDevice, PortsText(driver.mTrial)));
}

Finding CheckAudioGroup(const Machine& iMachine) {
  constexpr const char* kName = "audio_group";
  const UserFacts& user = iMachine.mUser;
  const SequencerFacts& sequencer = iMachine.mSequencer;
  const std::string name = user.mName.empty() ? "this user" : user.mName;
  if (user.mIsRoot) return Ok(kName, "root needs no group");
  if (sequencer.mAccess == ENOENT)
    return Ok(kName, fmt::format("nothing to decide: there is no {}", kDevice));
  if (user.mIsMemberNow) return Ok(kName, fmt::format("{} is in it", name));
  if (sequencer.mAccess == 0) return Ok(kName, fmt::format("{} reaches {} without it", name, kDevice));
  const bool isWrong = !IsUnwanted(iMachine, kAlsa);
  if (!user.mIsMember)
    return WrongIf(isWrong, kName, fmt::format("{} is not in it", name), MembershipMend(user));
  return WrongIf(isWrong, kName, fmt::format("{} is in it, but this login is older than that", name),
                 {"newgrp audio  # for this shell; everything else needs a new login"});
}

Finding CheckJack(const Machine& iMachine) {
  const DriverFacts& driver = iMachine.mJack;
  if (driver.mEnd == LookEnd::kNotHad) {
    return NotTried(iMachine, kJack, !IsUnwanted(iMachine, kJack), ServerKind(iMachine));
  }
  if (driver.mEnd == LookEnd::kTooLong) {
    return SilentServer(iMachine, fmt::format(" within {} s", kLookSeconds));
  }
  if (driver.mEnd == LookEnd::kDied) {
    return WrongIf(!IsUnwanted(iMachine, kJack), kJack,
                   fmt::format("a program that joins {} ends at once", ServerKind(iMachine)),
                   {"export MLOX_MIDI_DRIVERS=alsa  # and start the server again"});
  }
  if (!driver.mTrial.mIsBuilt) return NotBuilt(iMachine, kJack, "libjack-jackd2-dev");
  if (!HasStarted(driver)) return NoServer(iMachine);
  // The driver has waited for it, and has gone on without.
  if (!driver.mTrial.mReason.empty()) return SilentServer(iMachine, "");
  return Ok(kJack, fmt::format("{} answers: {}", ServerKind(iMachine), PortsText(driver.mTrial)));
}

Finding CheckPipeWire(const Machine& iMachine) {
  constexpr const char* kName = "pipewire";
  const JackFacts& jack = iMachine.mJackServer;
  if (jack.mIsPipeWire && iMachine.mJack.mEnd == LookEnd::kNotHad) {
    Finding finding = NotLooked(iMachine, kName, ServerKind(iMachine), iMachine.mJack.mEnd);
    finding.mState = FindingState::kNote;
    return finding;
  }
  if (!jack.mIsPipeWire || !HasStarted(iMachine.mJack)) {
    return Ok(kName, "it is not the JACK server here");
  }
  if (!jack.mFixes.value_or(true)) return Ok(kName, "it passes every note as it is");
  return Note(kName, "it rewrites a note-on with velocity 0 as a note-off (jack.fix-midi-events)",
              {"mkdir -p ~/.config/pipewire/jack.conf.d",
               "echo 'jack.properties = { jack.fix-midi-events = false }' "
               ">~/.config/pipewire/jack.conf.d/mlox.conf"});
}

Finding CheckLoopback(const Machine& iMachine) {
  const DriverFacts& driver = iMachine.mLoopback;
  if (driver.mEnd == LookEnd::kNotHad) {
    return NotTried(iMachine, kLoopback, IsMissed(iMachine, kLoopback), "ports within a process");
  }
  if (!HasStarted(driver)) {
    const std::string reason = driver.mTrial.mReason.empty() ? "" : ": " + driver.mTrial.mReason;
    return WrongIf(IsMissed(iMachine, kLoopback), kLoopback, "it does not start" + reason,
                   {"export MLOX_LOOPBACK_PORTS=A,B"});
  }
  const int pairs = iMachine.mLoopback.mTrial.mOutputs;
  return Ok(kLoopback, fmt::format("always there: {} pair{} in each process", pairs, pairs == 1 ? "" : "s"));
}

}  // namespace tool
