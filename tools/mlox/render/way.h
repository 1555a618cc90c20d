// SPDX-License-Identifier: MIT
/// \file
/// A way for messages from the writers to the audio thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "tools/mlox/render/blockmessages.h"
#include "tools/mlox/render/timeline.h"

namespace tool {

/// What passed through which classes: shows that a way is the one it says it is.
struct WayCounters {
  std::uint64_t mPulls = 0;           ///< Calls of a buffered delivery.
  std::uint64_t mPulledMessages = 0;  ///< Messages that those calls gave.
  std::uint64_t mDirectCalls = 0;     ///< Calls of a direct delivery's client.
  std::uint64_t mHandedOver = 0;      ///< Messages that crossed the tool's own queues.
};

/// The way. Made and destroyed on the main thread, with nobody inside.
class Way {
 public:
  Way() = default;
  Way(const Way&) = delete;
  Way& operator=(const Way&) = delete;
  virtual ~Way() = default;

  /// [writer] Sends a message. One thread for each writer, 0 to kMaxWriters - 1; messages of one writer come
  /// in the order of the timeline. `iBytes` live for the call.
  virtual void Write(int iWriter, const TimedMessage& iMessage, std::span<const std::uint8_t> iBytes) = 0;

  /// [audio] Adds every message due in `iFirst` to `iLast`, both included, to `oMessages`, in the order of
  /// the timeline. Called for one block after the other; all writers have passed `iLast`.
  virtual void Pull(std::int64_t iFirst, std::int64_t iLast, BlockMessages& oMessages) = 0;

  /// [main] What a workstation does now and then while music plays.
  virtual void Idle() {}

  /// [main] When nothing plays any more.
  virtual WayCounters Counters() const = 0;
};

}  // namespace tool
