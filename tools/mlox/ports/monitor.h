// SPDX-License-Identifier: MIT
/// \file
/// `mlox monitor`: prints what arrives.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct MonitorRequest {
  std::vector<std::string> mInputs;  ///< none: all, those that come later too
  double mSeconds = 0;               ///< 0: until interrupted
  bool mJson = false;
};

/// Throws ToolError.
void Monitor(const MonitorRequest& iRequest);

}  // namespace tool
