// SPDX-License-Identifier: MIT
/// \file
/// Standard output of a command that prints as things happen, and ends when nobody takes it.
#pragma once

#include <atomic>
#include <string>

namespace tool {

/// Prints lines to standard output, each handed on at once. PrintLine on one thread at a time, the questions
/// on any.
class CheckedOutput {
 public:
  /// The text and a line break; nothing more after a failure.
  void PrintLine(const std::string& iText);

  bool HasFailed() const { return mFault.load() != 0; }

  /// Throws ToolError with the reason if a line couldn't be printed.
  void Check() const;

 private:
  std::atomic<int> mFault{0};
};

}  // namespace tool
