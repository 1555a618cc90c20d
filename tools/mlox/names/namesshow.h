// SPDX-License-Identifier: MIT
/// \file
/// `mlox names show`: a name document as a musician reads it.
#pragma once

#include <optional>
#include <string>

namespace tool {

/// What `mlox names show` is asked.
struct ShowRequest {
  std::string mFile;
  /// Only this mode.
  std::optional<std::string> mMode;
  /// Only this channel, 1 to 16.
  std::optional<int> mChannel;
};

/// Prints tables that fit the terminal: devices, modes, banks with their select bytes, patches, notes and
/// controllers. Throws ToolError if the document has a fault, or nothing that was asked for.
void ShowNames(const ShowRequest& iRequest);

}  // namespace tool
