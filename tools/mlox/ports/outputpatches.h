// SPDX-License-Identifier: MIT
/// \file
/// `mlox names patches`: what an output calls its patches.
#pragma once

#include <string>

namespace tool {

struct OutputPatchesRequest {
  std::string mOutput;
  int mChannel = 0;  ///< 1 to 16; 0: every channel
  bool mJson = false;
};

/// Prints the banks and patches of each channel that the device listens on, out of its own document. Throws
/// ToolError when a channel has none to show because something is wrong, after the channels that are well,
/// and when there is no such channel. JSON has every channel that there is, one that something is wrong with
/// with its count below 0.
void ShowOutputPatches(const OutputPatchesRequest& iRequest);

}  // namespace tool
