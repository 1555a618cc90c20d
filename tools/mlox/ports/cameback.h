// SPDX-License-Identifier: MIT
/// \file
/// Whether what went out through a port came back through another, and when.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/mlox/ports/portsession.h"
#include "tools/mlox/ports/receivedqueue.h"

namespace tool {

/// Listens on an input from construction on.
class CameBack {
 public:
  /// Throws ToolError when there is no such input.
  /// \param iMostWaiting  how many messages may come between two calls
  CameBack(const PortSession& iSession, const std::string& iInput,
           std::size_t iMostWaiting = ReceivedQueue::kMostMessages);

  /// Takes what has come, and: these bytes are on their way, and due back at a time of Sys_Clock, in
  /// microseconds.
  void Expect(std::span<const std::uint8_t> iBytes, std::int64_t iDue);

  /// Takes what has come so far. True when everything expected has.
  bool Collect();

  /// One line about what came. Throws ToolError that says what is missing or different.
  std::string Verdict() const;

 private:
  struct Due {
    std::size_t mByte;  // where the message begins among the expected bytes
    std::int64_t mTime;
  };
  void NoteArrival(std::size_t iByte, std::int64_t iTime);

  ReceivedQueue mQueue;
  PortSession::Port mPort;
  std::vector<std::uint8_t> mExpected;
  std::vector<std::uint8_t> mReceived;
  std::vector<Due> mDue;
  std::size_t mNextDue = 0;
  std::int64_t mLatest = INT64_MIN;
  std::int64_t mEarliest = INT64_MAX;
};

}  // namespace tool
