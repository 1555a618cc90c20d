// SPDX-License-Identifier: MIT
#include "tools/mlox/doctor/limit_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "cmn/sys_rawthread.h"
#include "tools/mlox/doctor/driver_checks.h"
#include "tools/mlox/doctor/mending.h"

namespace tool {

namespace {

// In binary units, as limits are set.
std::string BytesText(std::uint64_t iBytes) {
  constexpr std::uint64_t kKilo = 1024;
  if (iBytes == UINT64_MAX) return "no limit";
  if (iBytes < kKilo * kKilo) return fmt::format("{:.3g} kB", static_cast<double>(iBytes) / kKilo);
  return fmt::format("{:.3g} MB", static_cast<double>(iBytes) / (kKilo * kKilo));
}

// MIDI passes through threads of libjack's, which jackd's clients run in real time by their own right;
// PipeWire's clients get it from a service of the system.
bool NeedsPriority(const Machine& iMachine) {
  const std::vector<std::string> used = DriversInUse(iMachine);
  return std::find(used.begin(), used.end(), "jack") != used.end() && !iMachine.mJackServer.mIsPipeWire;
}

}  // namespace

Finding CheckRealtimePriority(const Machine& iMachine) {
  constexpr const char* kName = "realtime_priority";
  if (iMachine.mRealtime.mEnd != LookEnd::kDone) {
    return NotLooked(iMachine, kName, "threads in real time", iMachine.mRealtime.mEnd);
  }
  const LimitFacts& limit = iMachine.mRealtime.mPriority;
  if (iMachine.mRealtime.mIsGranted) {
    return Ok(kName, limit.mSoft == 0 ? "threads may run in real time"
                                      : fmt::format("threads may run in real time, priority {} at most",
                                                    std::min<std::uint64_t>(limit.mSoft, 99)));
  }
  const FindingState state = NeedsPriority(iMachine) ? FindingState::kWrong : FindingState::kNote;
  if (limit.mSoft > 0) {
    return {
        kName,
        state,
        fmt::format("the limit allows priority {}, but the kernel refuses", limit.mSoft),
        {"# look for cpu.rt_runtime_us in the control group of this session, or for a sandbox around it"}};
  }
  const std::string seen = "no thread may run in real time: audio threads can be late on a busy machine";
  if (limit.mHard > 0)
    return {kName, state, seen, {fmt::format("ulimit -r {}", std::min<std::uint64_t>(limit.mHard, 99))}};
  return {kName, state, seen, LimitMend(iMachine, "rtprio 95")};
}

Finding CheckReceivePriority(const Machine& iMachine) {
  constexpr const char* kName = "receive_priority";
  constexpr int kLimit = 20 - Sys_RawThread::kNice;  // as RLIMIT_NICE counts
  const RealtimeFacts& realtime = iMachine.mRealtime;
  if (realtime.mEnd != LookEnd::kDone) {
    return NotLooked(iMachine, kName, "the priority of what arrives", realtime.mEnd);
  }
  if (realtime.mTakesNice) {
    return Ok(kName, fmt::format("threads that receive run at a nice value of {}", Sys_RawThread::kNice));
  }
  const std::string seen =
      fmt::format("threads that receive may not take a nice value of {}: what arrives waits for its turn",
                  Sys_RawThread::kNice);
  if (realtime.mNice.mHard >= kLimit)
    return {kName, FindingState::kNote, seen, {fmt::format("ulimit -e {}", kLimit)}};
  return {kName, FindingState::kNote, seen,
          LimitMend(iMachine, fmt::format("nice {}", Sys_RawThread::kNice))};
}

Finding CheckLockedMemory(const Machine& iMachine) {
  constexpr const char* kName = "locked_memory";
  const RealtimeFacts& realtime = iMachine.mRealtime;
  if (realtime.mEnd != LookEnd::kDone) {
    return NotLooked(iMachine, kName, "memory that stays in place", realtime.mEnd);
  }
  const auto pool = static_cast<std::uint64_t>(std::max<std::int64_t>(realtime.mPoolBytes, 0));
  const std::string seen =
      fmt::format("the library pins {}; the limit is {}", BytesText(pool), BytesText(realtime.mMemory.mSoft));
  if (realtime.mIsPinned) return Ok(kName, seen);
  const std::string refused = seen + ": what can't be pinned may be swapped out";
  if (realtime.mMemory.mHard / 2 > pool) return Wrong(kName, refused, {"ulimit -l $(ulimit -H -l)"});
  return Wrong(kName, refused, LimitMend(iMachine, "memlock unlimited"));
}

}  // namespace tool
