// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/mending.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "cmn/cmn_validateutf8string.h"

namespace tool {

namespace {

bool IsPlain(char iCharacter) {
  const bool isLetter = (iCharacter >= 'a' && iCharacter <= 'z') || (iCharacter >= 'A' && iCharacter <= 'Z');
  const bool isDigit = iCharacter >= '0' && iCharacter <= '9';
  return isLetter || isDigit || std::string_view("_@%+=:,./-").find(iCharacter) != std::string_view::npos;
}

bool IsControl(char iCharacter) {
  return static_cast<unsigned char>(iCharacter) < 0x20 || iCharacter == 0x7F;
}

// Neither a terminal nor JSON takes every byte, so they stand there by their numbers.
std::string WordOfBytes(const std::string& iText) {
  std::string word = "$'";
  for (const char character : iText) {
    const auto byte = static_cast<unsigned char>(character);
    if (IsControl(character) || byte >= 0x80) {
      word += fmt::format("\\x{:02x}", byte);
    } else {
      if (character == '\'' || character == '\\') word += '\\';
      word += character;
    }
  }
  return word + "'";
}

std::string ReasonText(const LookOutcome& iOutcome) {
  if (iOutcome.mEnd == LookEnd::kTooLong) return fmt::format("no answer within {} s", kLookSeconds);
  if (iOutcome.mEnd == LookEnd::kDied) return "the process that looked has ended";
  switch (iOutcome.mFault) {
    case EAGAIN:
      return fmt::format("no process or thread can be started: {}", std::strerror(EAGAIN));
    case EMFILE:
    case ENFILE:
      return fmt::format("no more files can be opened: {}", std::strerror(iOutcome.mFault));
    default:
      return std::strerror(iOutcome.mFault);
  }
}

// The number stands there itself: a shell that may start no process can't ask for it.
Lines RaisedLimit(const LimitFacts& iLimit, char iOption, const char* iOtherwise) {
  if (iLimit.mSoft >= iLimit.mHard) return {iOtherwise};
  const std::string value = iLimit.mHard == UINT64_MAX ? "unlimited" : std::to_string(iLimit.mHard);
  return {fmt::format("ulimit -{} {}", iOption, value)};
}

Lines LookAgain(const Machine& iMachine, const LookOutcome& iOutcome) {
  if (iOutcome.mEnd != LookEnd::kNotHad) return {"mlox doctor  # looks again"};
  switch (iOutcome.mFault) {
    case EAGAIN:
      return RaisedLimit(iMachine.mProcesses, 'u',
                         "# end programs of this user, or ask in a shell that may start more (ulimit -u)");
    case EMFILE:
      return RaisedLimit(iMachine.mOpenFiles, 'n', "# ask in a shell that may open more files (ulimit -n)");
    default:
      return {"# end programs, then ask again"};
  }
}

}  // namespace

std::string ShellWord(const std::string& iText) {
  if (!iText.empty() && std::all_of(iText.begin(), iText.end(), IsPlain)) return iText;
  const bool canBeShown =
      std::none_of(iText.begin(), iText.end(), IsControl) && Cmn_ValidateUTF8String(iText) == iText;
  if (!canBeShown) return WordOfBytes(iText);
  std::string word = "'";
  for (const char character : iText) {
    if (character == '\'') {
      word += "'\\''";
    } else {
      word += character;
    }
  }
  return word + "'";
}

std::string UserWord(const UserFacts& iUser) {
  return iUser.mName.empty() ? "$(id -u)" : ShellWord(iUser.mName);
}

Lines MembershipMend(const UserFacts& iUser) {
  Lines lines;
  if (!iUser.mHasAudioGroup) lines.emplace_back("sudo groupadd --system audio");
  if (!iUser.mIsMember && iUser.mName.empty()) {
    lines.emplace_back(
        "# this user id has no name: add it to /etc/passwd first, or run as a user that has one");
    return lines;
  }
  if (!iUser.mIsMember) lines.push_back("sudo usermod -aG audio " + UserWord(iUser));
  if (!iUser.mIsMemberNow) lines.emplace_back("# then log in again");
  return lines;
}

Lines SequencerAccessMend(const Machine& iMachine) {
  // Whom file permissions don't stop, a container does.
  if (iMachine.mUser.mIsRoot) return {"# start the container with --device /dev/snd"};
  Lines lines;
  const SequencerFacts& sequencer = iMachine.mSequencer;
  if (sequencer.mGroup != "audio" || !sequencer.mGroupMayUse) {
    lines.emplace_back("sudo chgrp audio /dev/snd/seq && sudo chmod g+rw /dev/snd/seq");
  }
  const Lines membership = MembershipMend(iMachine.mUser);
  // The group has to be there before a file is given to it.
  lines.insert(iMachine.mUser.mHasAudioGroup ? lines.end() : lines.begin(), membership.begin(),
               membership.end());
  if (lines.empty()) lines.emplace_back("# start the container with --device /dev/snd");
  return lines;
}

Lines LimitMend(const Machine& iMachine, const std::string& iLimit) {
  if (iMachine.mIsContainer) {
    const std::size_t blank = iLimit.find(' ');
    const std::string name = iLimit.substr(0, blank);
    std::string value = iLimit.substr(blank + 1);
    if (value == "unlimited") value = "-1";
    // A container counts as the kernel does, from 20 down; the file of limits has the nice value itself.
    if (name == "nice") value = std::to_string(20 - std::stoi(value));
    return {fmt::format("# start the container with --ulimit {}={}", name, value)};
  }
  // What a group is granted doesn't reach root.
  const bool isRoot = iMachine.mUser.mIsRoot;
  Lines lines = {fmt::format("echo '{} - {}' | sudo tee -a /etc/security/limits.d/95-audio.conf",
                             isRoot ? "root" : "@audio", iLimit)};
  const Lines membership = isRoot ? Lines() : MembershipMend(iMachine.mUser);
  lines.insert(lines.end(), membership.begin(), membership.end());
  if (isRoot || iMachine.mUser.mIsMemberNow) lines.emplace_back("# then log in again");
  return lines;
}

Finding NotLooked(const Machine& iMachine, const char* iName, const std::string& iWhat,
                  const LookOutcome& iOutcome) {
  return Wrong(iName, fmt::format("{}: not looked at: {}", iWhat, ReasonText(iOutcome)),
               LookAgain(iMachine, iOutcome));
}

Lines PathMend(const Machine& iMachine, const PathFacts& iPath, bool iForWriting) {
  const std::string rights =
      std::string("u+r") + (iForWriting ? "w" : "") + (iPath.mKind == PathKind::kFolder ? "x" : "");
  const std::string path = ShellWord(iPath.mPath);
  if (iPath.mIsOurs) return {fmt::format("chmod {} {}", rights, path)};
  // To read what belongs to the whole machine one need not own it.
  if (!iForWriting) return {fmt::format("sudo chmod a{} {}", rights.substr(1), path)};
  return {fmt::format("sudo chown {0} {2} && sudo chmod {1} {2}", UserWord(iMachine.mUser), rights, path)};
}

}  // namespace tool
