// SPDX-License-Identifier: MIT
/// \file
/// Lines that mend something, as several checks give them.
#pragma once

#include <string>
#include <vector>

#include "tools/mlox/doctor/finding.h"
#include "tools/mlox/doctor/machine.h"

namespace tool {

using Lines = std::vector<std::string>;

/// A text as one word of a shell; with bytes that can't be shown by their numbers, as bash and zsh take them.
std::string ShellWord(const std::string& iText);

/// The user as a word of a shell.
std::string UserWord(const UserFacts& iUser);

/// Makes the user a member of group `audio`, as far as that is missing. Groups have names for members.
Lines MembershipMend(const UserFacts& iUser);

/// Gives the sequencer's device to this user.
Lines SequencerAccessMend(const Machine& iMachine);

/// Raises a limit for group `audio`. \param iLimit  "rtprio 95"
Lines LimitMend(const Machine& iMachine, const std::string& iLimit);

/// What a check says whose look didn't come to an end: that it knows nothing, and why.
Finding NotLooked(const Machine& iMachine, const char* iName, const std::string& iWhat,
                  const LookOutcome& iOutcome);

/// Lets this user read, or read and write, what lies at a path.
Lines PathMend(const Machine& iMachine, const PathFacts& iPath, bool iForWriting);

}  // namespace tool
