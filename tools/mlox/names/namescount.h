// SPDX-License-Identifier: MIT
/// \file
/// `mlox names count`: what an output would tell about the patches of a channel.
#pragma once

#include <string>
#include <tuple>
#include <vector>

namespace tool {

/// What `mlox names count` is asked.
struct CountRequest {
  std::string mFile;
  std::string mManufacturer;
  std::string mModel;
  std::string mMode;
  /// From 1 to 16; anything else gives the library's code for it.
  int mChannel = 1;
  std::string mNameSet;
  /// Overrides of banks: name of the bank, document, name of the list in it.
  std::vector<std::tuple<std::string, std::string, std::string>> mBanks;
  bool mJson = false;
};

/// What a count below 0 means.
const char* CountCodeText(int iCode);

/// Prints the answers to standard output. Throws ToolError afterwards if the count is a code below 0.
void CountNames(const CountRequest& iRequest);

}  // namespace tool
