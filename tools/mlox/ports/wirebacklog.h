// SPDX-License-Identifier: MIT
/// \file
/// How long a slow device takes over what was written to it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tool {

/// What a wire of MIDI's speed, 31,250 baud, would still have to carry. No port tells what it has not passed
/// on yet; the slowest device there is takes its bytes no slower than this. Times are of Sys_Clock, in
/// microseconds.
class WireBacklog {
 public:
  /// Bytes go to the wire, behind all that went before, at iTime or as soon as it is free.
  void Add(std::int64_t iTime, std::size_t iBytes);

  /// When the wire has carried the last byte. A backlog of more than an hour ends an hour behind the time of
  /// its last message. A time long gone when there was none.
  std::int64_t EmptyAt() const;

 private:
  std::int64_t mEmptyAt = 0;
  std::int64_t mLastTime = 0;
};

}  // namespace tool
