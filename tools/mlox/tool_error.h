// SPDX-License-Identifier: MIT
/// \file
/// What the tool throws when it can't go on: one line for standard error.
#pragma once

#include <stdexcept>
#include <string>

namespace tool {

/// A fault of what the user gave us. The text is one line that names the file, the place where there is one,
/// and the reason. `main` prints it and ends with status 1.
class ToolError : public std::runtime_error {
 public:
  explicit ToolError(const std::string& iText) : std::runtime_error(iText) {}
};

/// A command line that makes no sense, such as an output that is also the input. `main` prints it and ends
/// with status 2.
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& iText) : std::runtime_error(iText) {}
};

}  // namespace tool
