// SPDX-License-Identifier: MIT
/// \file
/// `mlox send`: messages to an output, now.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct SendRequest {
  std::string mOutput;
  std::vector<std::string> mBytes;  ///< hexadecimal
  std::string mSysexFile;           ///< a file of whole messages; empty for none
};

/// Throws ToolError and UsageError.
void Send(const SendRequest& iRequest);

}  // namespace tool
