// SPDX-License-Identifier: MIT
/// \file
/// `mlox watch`: prints how the lists of outputs and inputs change.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct WatchRequest {
  std::vector<std::string> mFollow;  ///< outputs or inputs, by name: told when lost and found again
  double mSeconds = 0;               ///< 0: until interrupted
};

/// Throws ToolError.
void Watch(const WatchRequest& iRequest);

}  // namespace tool
