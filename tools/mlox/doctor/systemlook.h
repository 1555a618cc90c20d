// SPDX-License-Identifier: MIT
/// \file
/// Looks at the kernel, the user and the libraries of this process.
#pragma once

#include <map>
#include <string>

#include "tools/mlox/doctor/machine.h"

namespace tool {

/// Every variable that is set.
std::map<std::string, std::string> LookAtEnvironment();

/// The release of the kernel that runs.
std::string LookAtKernel();

/// Whether this is a container, which has the kernel, the modules and the devices of another system.
/// \param iRoot  where the system's files lie: "/"
bool LookAtContainer(const std::string& iRoot);

UserFacts LookAtUser();

/// The sequencer of a kernel. Doesn't open it, which would load its module.
/// \param iRoot  where the system's files lie: "/"
SequencerFacts LookAtSequencer(const std::string& iRoot, const std::string& iKernel);

/// What stands around a JACK server; asks none. \param iRoot  where the system's files lie: "/"
JackFacts LookAtJack(const std::string& iRoot, const std::map<std::string, std::string>& iEnvironment);

/// What text of PipeWire's settings says of jack.fix-midi-events; nothing when it doesn't name it.
std::optional<bool> FixMidiEventsIn(const std::string& iText);

/// A limit of this process. \param iResource  as getrlimit takes it
LimitFacts LookAtLimit(int iResource);

/// Limits, and what comes of asking for what they limit. In a process of its own: a thread of it gets
/// real-time scheduling.
RealtimeFacts LookAtRealtime();

TracingFacts LookAtTracing();

}  // namespace tool
