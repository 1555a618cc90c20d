// SPDX-License-Identifier: MIT
/// \file
/// `mlox latency`: how long a message takes from an output to an input that is wired to it.
#pragma once

#include <string>

namespace tool {

struct LatencyRequest {
  std::string mOutput;
  std::string mInput;
  int mCount = 1000;
  std::string mSvg;  ///< where a picture goes; empty for none
};

/// Throws ToolError, also when a message doesn't come back.
void Latency(const LatencyRequest& iRequest);

}  // namespace tool
