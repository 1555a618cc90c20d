// SPDX-License-Identifier: MIT
/// \file
/// `mlox names scan`: the documents that the library finds.
#pragma once

#include <optional>
#include <string>

namespace tool {

/// What `mlox names scan` is asked.
struct ScanRequest {
  /// The base folder; the library's own if there is none.
  std::optional<std::string> mBase;
  /// A sub-folder to look in first.
  std::optional<std::string> mFolder;
  bool mDeviceTypes = false;
  bool mJson = false;
};

/// Prints the names to standard output.
void ScanNames(const ScanRequest& iRequest);

}  // namespace tool
