// SPDX-License-Identifier: MIT
/// \file
/// `mlox monitor`: prints what arrives.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/mlox/ports/receivedqueue.h"

namespace tool {

struct MonitorRequest {
  std::vector<std::string> mInputs;  ///< none: all, those that come later too
  double mSeconds = 0;               ///< 0: until interrupted
  bool mJson = false;
  std::size_t mMostWaiting = ReceivedQueue::kMostMessages;  ///< messages that nobody has read yet
};

/// Where what is printed isn't read, messages are dropped in the end; standard error says at their place how
/// many. Throws ToolError.
void Monitor(const MonitorRequest& iRequest);

}  // namespace tool
